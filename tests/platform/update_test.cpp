// Scopes, rolling back, barring: what an open file and its objects are like when an update does not come to
// its end.

#include "platform_Fixture.h"

#include <support/sys_NoRoom.h>

#include <sys/wait.h>
#include <unistd.h>

class Updates : public platform_Fixture {
 protected:
  Updates() : m_path(Path("a.pdm")), m_context(Create(m_path)), m_root(RootOf(m_context)) {
    m_group = m_root.GroupCreate("group", 0);
    m_below = m_group.GroupCreate("below", 0);
    m_number = Put(m_group, "number", {1, 2, 3});
    m_attribute = m_below.AttributeCreate("attribute", kInt, Line(1));
    const int value = 4;
    EXPECT_TRUE(m_attribute.Write(kInt, &value) && ORXSimContextRef(m_context).Commit());
  }
  ~Updates() override { ORXSimManager::CloseContext(m_context); }

  using platform_Fixture::Get;
  static int Get(const hdf_Attribute& attribute) {
    int value = -1;
    return attribute.Read(kInt, &value, 1) ? value : -1;
  }
  // The state of the last commit point, seen through every kind of value that was held over a rollback.
  void ExpectAsCommitted() {
    EXPECT_EQ(Get(m_number), (std::vector{1, 2, 3})) << LastError();
    EXPECT_EQ(m_number.GetSpace().Elements(), 3u);
    EXPECT_EQ(Get(m_attribute), 4) << LastError();
    EXPECT_EQ(m_group.NumLinks(), 2);
    EXPECT_EQ(std::string(m_below.Path().CStr()), "/group/below");
    EXPECT_EQ(m_root.NumLinks(), 1);
    EXPECT_EQ(ORXSimStore(m_context).NumCollections(), 0);
  }
  // Changes everything that ExpectAsCommitted looks at.
  void Change() {
    ASSERT_TRUE(m_number.Extend(40));
    Put(m_group, "number", {7, 8});
    const int value = 9;
    EXPECT_TRUE(m_attribute.Write(kInt, &value));
    m_group.GroupCreate("more", 0);
    m_root.GroupCreate("other", 0);
    EXPECT_FALSE(ORXSimCollectionRef::Create(m_context, "c", 5).IsNull()) << LastError();
  }

  std::string m_path;
  ORXSimContextID m_context;
  hdf_Group m_root, m_group, m_below;
  hdf_Dataset m_number;
  hdf_Attribute m_attribute;
};

TEST_F(Updates, EveryValueThatIsHeldIsAsTheLastCommitPointAfterARollback) {
  const ORXSimContextRef context(m_context);
  const hdf_File file = context.File();
  const auto epoch = context.Epoch();
  const auto sequence = context.LastCommit().sequence;
  for (const bool abandoned : {false, true}) {
    auto update = std::make_unique<ORXSimUpdate>(m_context);
    Change();
    const hdf_Group added = m_group.GroupOpen("more").GroupCreate("x", 0);
    const hdf_Dataset addedNumber = Put(added, "n", {5});
    if (!abandoned) {
      EXPECT_TRUE(update->Rollback()) << LastError();
      EXPECT_FALSE(update->Commit() || update->Rollback()) << "ended";
    }
    update = nullptr;
    ExpectAsCommitted();
    EXPECT_TRUE(!file.RootGroup().GroupOpen("other"));
    for (const auto& use : std::vector<std::function<bool()>>{
             [&] { return added.GetObjinfoExists("n"); }, [&] { return !!added.GroupCreate("y", 0); },
             [&] { return addedNumber.GetSpace().Elements() != 0; },
             [&] { return !Get(addedNumber).empty(); }})
      ExpectRefused(use(), m_path + ": /group/more/x", "the object is not in the file any more");
  }
  EXPECT_GT(context.Epoch(), epoch);
  EXPECT_EQ(context.LastCommit().sequence, sequence);
  // What comes after a rollback is kept.
  Change();
  EXPECT_TRUE(context.Commit() && ORXSimManager::CloseContext(m_context)) << LastError();
  m_context = Open(m_path);
  EXPECT_EQ(Get(RootOf(m_context).GroupOpen("group").DatasetOpen("number")), (std::vector{7, 8}));
}

TEST_F(Updates, TheOutermostScopeDecides) {
  const ORXSimContextRef context(m_context);
  const auto epoch = context.Epoch();
  { // an inner scope that is left changes nothing
    ORXSimUpdate outer(m_context);
    { ORXSimUpdate inner(m_context); }
    { const ORXSimUpdate inner(m_context), innermost(m_context); }
    Put(m_root, "kept", {1});
    EXPECT_TRUE(outer.Commit());
  }
  { // nothing written: nothing to take back
    ORXSimUpdate left(m_context);
    ORXSimUpdate rolledBack(m_context);
    EXPECT_TRUE(rolledBack.Rollback());
  }
  EXPECT_EQ(context.Epoch(), epoch);
  {
    ORXSimUpdate outer(m_context);
    ORXSimUpdate middle(m_context);
    Put(m_root, "lost", {1});
    {
      ORXSimUpdate inner(m_context);
      Put(m_root, "lost too", {1});
      EXPECT_TRUE(inner.Rollback());
    }
    const auto after = context.Epoch();
    ExpectRefused(m_root.GroupCreate("late", 0), "create group: the update was rolled back inside");
    ExpectRefused(context.Commit() || middle.Commit() || outer.Commit(),
                  "end update: the update was rolled back inside");
    EXPECT_EQ(m_root.NumLinks(), 2) << "reading goes on";
    EXPECT_EQ(context.Epoch(), after);
  }
  EXPECT_FALSE(m_root.GetObjinfoExists("lost") || m_root.GetObjinfoExists("lost too"));
  EXPECT_TRUE(!!m_root.GroupCreate("late", 0)) << LastError();

  // Closing within a scope is leaving it.
  auto open = std::make_unique<ORXSimUpdate>(m_context);
  Put(m_root, "unfinished", {1});
  EXPECT_FALSE(ORXSimManager::CloseContext(m_context));
  open = nullptr;
  m_context = Open(m_path, true);
  EXPECT_TRUE(RootOf(m_context).GetObjinfoExists("kept"));
  EXPECT_FALSE(RootOf(m_context).GetObjinfoExists("unfinished"));
}

TEST_F(Updates, WithoutAJournalNothingIsTakenBack) {
  const ORXSimContextID context = Create(Path("scratch.pdm"), 0);
  EXPECT_TRUE(ORXSimContextRef(context).Commit());
  for (const char* const name : {"left", "given up"}) {
    ORXSimUpdate update(context);
    Put(RootOf(context), name, {1});
    if (*name == 'g')
      ExpectRefused(update.Rollback(), "no journal");
  }
  EXPECT_EQ(RootOf(context).NumLinks(), 2);
  EXPECT_TRUE(ORXSimManager::CloseContext(context));
}

TEST_F(Updates, ACommitPointThatFindsNoRoomMayBeTriedAgainOrTakenBack) {
  for (const bool again : {true, false}) {
    ORXSimUpdate update(m_context);
    Put(m_root, again ? "again" : "back", std::vector<int>(100000, 1));
    {
      const sys_NoRoom full;
      ExpectRefused(update.Commit(), "File too large");
    }
    EXPECT_FALSE(ORXSimContextRef(m_context).Barred());
    EXPECT_TRUE(again ? update.Commit() : update.Rollback()) << LastError();
  }
  EXPECT_TRUE(m_root.GetObjinfoExists("again"));
  EXPECT_FALSE(m_root.GetObjinfoExists("back"));
}

TEST_F(Updates, AWriteThatFailsHalfwayBarsTheContextUntilItIsRolledBack) {
  const ORXSimContextRef context(m_context);
  Put(m_root, "n", std::vector<int>(200000, 1)); // of a size that bypasses memory
  EXPECT_TRUE(context.Commit());
  const std::vector<int> twos(200000, 2);
  const auto fail = [&] {
    const sys_NoRoom full;
    EXPECT_FALSE(
        m_root.DatasetCreate("large", kInt, Line(twos.size())).Write(kInt, twos.data(), twos.size()));
    EXPECT_TRUE(context.Barred()) << LastError();
  };
  fail();
  ExpectRefused(m_root.GroupCreate("late", 0), "create group: barred since: ", "; roll back or close");
  EXPECT_FALSE(context.Commit());
  EXPECT_EQ(Get(m_number), (std::vector{1, 2, 3})) << "reading goes on";
  EXPECT_TRUE(ORXSimUpdate(m_context).Rollback()) << LastError();
  EXPECT_FALSE(context.Barred() || m_root.GetObjinfoExists("large"));
  Put(m_root, "after", {1});
  EXPECT_TRUE(context.Commit()) << LastError();

  fail();
  ExpectRefused(ORXSimManager::CloseContext(m_context), "barred since: ");
  m_context = Open(m_path);
  EXPECT_TRUE(RootOf(m_context).GetObjinfoExists("after"));
  EXPECT_FALSE(RootOf(m_context).GetObjinfoExists("large"));
}

TEST_F(Updates, AChildProcessReadsAndLeavesTheFileAlone) {
  Put(m_root, "committed", {1});
  EXPECT_TRUE(ORXSimContextRef(m_context).Commit());
  Put(m_root, "pending", {1});
  const auto size = std::filesystem::file_size(m_path);
  const pid_t child = ::fork();
  if (child == 0) {
    int value = 5;
    const bool refused = !m_number.Write(kInt, &value, 1) &&
                         LastError().find("belongs to another process") != std::string::npos &&
                         !m_root.GroupCreate("child", 0) && !ORXSimContextRef(m_context).Commit() &&
                         !ORXSimUpdate(m_context).Commit();
    const bool read = Get(m_number).size() == 3 && ORXSimManager::CloseContext(m_context);
    std::exit(refused && read ? 0 : 1); // HDF5's exit handler closes its copies of the files
  }
  int status = 1;
  ::waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(std::filesystem::file_size(m_path), size);
  EXPECT_TRUE(std::filesystem::exists(m_path + "-journal"));
  EXPECT_TRUE(ORXSimContextRef(m_context).Commit()) << LastError();
  EXPECT_TRUE(m_root.GetObjinfoExists("pending") && ORXSimManager::CloseContext(m_context));
  m_context = Open(m_path, true);
  EXPECT_EQ(Get(RootOf(m_context).DatasetOpen("pending")), std::vector{1});
}
