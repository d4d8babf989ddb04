#include "platform_Fixture.h"

#include <numeric>

namespace {

template <class Number>
std::int64_t bytesOf(const std::vector<Number>& values) {
  return static_cast<std::int64_t>(values.size() * sizeof(Number));
}
} // namespace

class Store : public platform_Fixture {
 protected:
  ~Store() override {
    EXPECT_FALSE(ORXSimContextRef(m_context).Barred()) << "mistakes of the caller bar nothing";
    ORXSimManager::CloseContext(m_context);
  }

  void Reopen() {
    EXPECT_TRUE(ORXSimManager::CloseContext(m_context));
    m_context = Open(Path("a.pdm"), true);
    m_nodes = ORXSimCollectionID(m_context, m_nodes.Minor());
  }
  ORXSimDistributionID Field(ORXSimCSetID members, ORXSimItemType type, int components, int chunk = 0,
                             int deflate = 0) {
    const ORXSimDrawerDescription drawer{.members = members,
                                         .type = type,
                                         .components = components,
                                         .unit = "kg",
                                         .longName = "mass",
                                         .chunkItems = chunk,
                                         .deflate = deflate};
    return ORXSimDistributionRef::Create(m_context, "field", "mm", &drawer, 1);
  }

  ORXSimContextID m_context = Create(Path("a.pdm"));
  ORXSimCollectionID m_nodes = ORXSimCollectionRef::Create(m_context, "nodes", 1000);
};

TEST_F(Store, ATransferMovesWholeDrawersOfTheSetInView) {
  std::vector<std::int64_t> values(3000), read(3000);
  std::iota(values.begin(), values.end(), 0);
  const ORXSimDistributionRef field(
      Field(ORXSimCollectionRef(m_nodes).FullCSet(), ORXSimItemType::kInt64, 3, 0, 6));
  ORXSimArray<ORXSimPersistentDrawerDesc> drawers(1);
  ASSERT_TRUE(field.QueryDrawers(drawers)) << LastError();
  EXPECT_EQ(drawers[0].Bytes(), bytesOf(values));
  EXPECT_EQ(drawers[0].Deflate(), 6);
  EXPECT_STREQ(drawers[0].Unit().CStr(), "kg");
  EXPECT_STREQ(drawers[0].LongName().CStr(), "mass");
  EXPECT_STREQ(field.Unit().CStr(), "mm");
  EXPECT_EQ(field.DataSizeItems(0), 1000);
  ORXSimTransfer write(field), transfer(field);
  write.SetWrite();
  write.SetBufferPadding(false);
  write.SetDim(0, drawers[0].CSet());
  write.SetBuffer(0, static_cast<const void*>(values.data()), bytesOf(values));
  EXPECT_FALSE(write.ExecRead());
  EXPECT_TRUE(write.ExecWrite()) << LastError();
  write.RelinquishBuffers();
  EXPECT_FALSE(write.ExecWrite());
  transfer.SetRead();
  transfer.SetDim(0, drawers[0].CSet());
  transfer.SetBuffer(0, read.data(), bytesOf(read) - 8);
  ExpectRefused(transfer.ExecRead(), "a buffer of 23992 bytes where 24000 are needed");
  transfer.SetBuffer(0, read.data(), bytesOf(read));
  EXPECT_TRUE(transfer.ExecRead()) << LastError();
  EXPECT_EQ(read, values);
  EXPECT_TRUE(field.ReadItems(0, 149, 2, read.data(), 48) && field.ReadItems(0, 1000, 0, nullptr, 0));
  EXPECT_TRUE(std::equal(&read[0], &read[6], &values[3 * 149]));
  for (const auto& [drawer, first, count] : {std::tuple(0, 999, 2), {0, -1, 2}, {0, 0, 1}, {1, 0, 2}})
    EXPECT_FALSE(field.ReadItems(drawer, first, count, read.data(), 48)) << first;
  EXPECT_FALSE(field.ReadItems(0, 0, 2, nullptr, 48));
  const int members[] = {4, 2};
  const ORXSimCSetID some = ORXSimCollectionRef(m_nodes).CreateOrderedCSet(members, 2);
  ORXSimTransfer view(ORXSimDistributionRef(Field(some, ORXSimItemType::kInt32, 1)));
  view.SetRead();
  view.SetDim(0, ORXSimCollectionRef(m_nodes).FullCSet());
  ExpectRefused(view.CheckView(), "another member set");
  view.SetDim(1, some);
  EXPECT_FALSE(view.CheckView());
  view.SetDim(0, some);
  EXPECT_TRUE(view.CheckView());
  view.SetBufferPadding(true);
  EXPECT_FALSE(view.CheckView());
}

TEST_F(Store, RewritingInManySessionsUsesTheSameSpace) {
  constexpr int kItems = 300000;
  const ORXSimCSetID many =
      ORXSimCollectionRef(ORXSimCollectionRef::Create(m_context, "many", kItems)).FullCSet();
  const int minors[] = {Field(many, ORXSimItemType::kDouble, 1).Minor(),
                        Field(many, ORXSimItemType::kInt32, 2, 100000).Minor()};
  const auto values = [](int session, int field) {
    return std::vector<double>(kItems, session + 0.25 * field);
  };
  std::uintmax_t first = 0;
  for (int session = 0; session < 12; ++session) {
    const auto write = [&](int field, int number) {
      const std::vector<double> all = values(number, field);
      return ORXSimDistributionRef(ORXSimDistributionID(m_context, minors[field]))
          .WriteItems(0, 0, kItems, all.data(), bytesOf(all));
    };
    if (session % 3 == 2) { // what is rolled back has taken nothing
      ORXSimUpdate update(m_context);
      EXPECT_TRUE(write(0, 99) && write(1, 98)) << LastError();
      EXPECT_TRUE(update.Rollback());
    }
    for (const int field : {session % 2, 1 - session % 2})
      EXPECT_TRUE(write(field, session)) << LastError();
    EXPECT_TRUE(ORXSimManager::CloseContext(m_context));
    const auto size = std::filesystem::file_size(Path("a.pdm"));
    first = session == 0 ? size : first;
    EXPECT_LT(size, 2 * first + (1u << 20)) << session;
    m_context = Open(Path("a.pdm"));
    for (int field = 0; field < 2; ++field) {
      std::vector<double> read(kItems);
      const ORXSimDistributionRef stored(ORXSimDistributionID(m_context, minors[field]));
      EXPECT_TRUE(stored.ReadItems(0, 0, kItems, read.data(), bytesOf(read))) << LastError();
      EXPECT_EQ(read, values(session, field)) << session;
      RootOf(m_context).GroupCreate(("g" + std::to_string(2 * session + field)).c_str(), 0);
    }
  }
}

TEST_F(Store, ListsAreInTheOrderOfTheirNumbers) {
  for (int i = 0; i < 20; ++i)
    ORXSimCollectionRef::Create(m_context, ("c" + std::to_string(i)).c_str(), i);
  Reopen();
  const ORXSimStore store(m_context);
  const auto collections = store.Collections();
  ASSERT_EQ(collections.size(), 21u);
  EXPECT_STREQ(ORXSimCollectionRef(collections[12]).Name().CStr(), "c11");
  EXPECT_EQ(ORXSimCollectionRef(store.FindCollection("c19")).NumItems(), 19);
  EXPECT_TRUE(store.FindCollection("d").IsNull());
}

TEST_F(Store, WrongMembersAndDescriptionsLeaveNothingBehind) {
  const ORXSimCollectionRef nodes(m_nodes);
  for (const auto& [members, cause] :
       std::vector<std::pair<std::vector<int>, std::string>>{{{0, 1000}, "member 1000 is not an item"},
                                                             {{-1}, "member -1"},
                                                             {{7, 64, 7}, "member 7 is given twice"}})
    ExpectRefused(nodes.CreateOrderedCSet(members.data(), static_cast<int>(members.size())), cause);
  EXPECT_TRUE(nodes.CreateOrderedCSet(nullptr, 3).IsNull());
  EXPECT_EQ(nodes.NumCSets(), 0);
  const ORXSimCSetID full = nodes.FullCSet();
  const ORXSimContextID other = Create(Path("b.pdm"));
  const ORXSimCollectionID foreign = ORXSimCollectionRef::Create(other, "x", 3);
  for (const auto& [members, components, chunk, deflate] :
       {std::tuple(full, 0, 0, 0),
        {full, 1, -1, 0},
        {full, 1, 0, 10},
        {ORXSimCSetID(), 1, 0, 0},
        {ORXSimCSetID(m_nodes, 9), 1, 0, 0},
        {ORXSimCollectionRef(foreign).FullCSet(), 1, 0, 0}})
    EXPECT_TRUE(Field(members, ORXSimItemType::kDouble, components, chunk, deflate).IsNull());
  ORXSimManager::CloseContext(other);
  EXPECT_TRUE(ORXSimCollectionRef::Create(m_context, "negative", -1).IsNull());
  EXPECT_TRUE(ORXSimCollectionRef::Create(m_context, std::string(70000, 'x').c_str(), 1).IsNull());
  EXPECT_EQ(ORXSimStore(m_context).NumDistributions(), 0);
  EXPECT_EQ(ORXSimStore(m_context).NumCollections(), 1);
}

TEST_F(Store, NullUnknownAndClosedIdentifiersAreSafe) {
  const ORXSimContextID closed = m_context;
  ORXSimManager::CloseContext(m_context);
  for (const ORXSimContextID context : {ORXSimContextID(), closed, Create(Path("b.pdm"))}) {
    for (const int minor : {-1, 0, 1, 77}) {
      const ORXSimCollectionRef collection(ORXSimCollectionID(context, minor));
      const ORXSimDistributionRef distribution(ORXSimDistributionID(context, minor));
      int value = 0;
      EXPECT_EQ(collection.NumItems() + collection.NumCSets() + ORXSimCSet(collection.FullCSet()).Size(), 0);
      EXPECT_TRUE(collection.CreateOrderedCSet(&value, 1).IsNull() && collection.CSets().empty());
      EXPECT_FALSE(ORXSimCSet(ORXSimCSetID(collection.ID(), 1)).OrderedMembers(&value, 1));
      ORXSimArray<ORXSimPersistentDrawerDesc> drawers(1);
      EXPECT_FALSE(distribution.Exists() || distribution.QueryDrawers(drawers));
      EXPECT_EQ(distribution.NumDrawers() + distribution.DataSizeItems(0), 0);
      EXPECT_EQ(distribution.AddDrawer({}), -1);
      ORXSimTransfer transfer(distribution);
      transfer.SetRead();
      transfer.SetDim(0, drawers[0].CSet());
      transfer.SetBuffer(0, &value, 0);
      EXPECT_FALSE(transfer.CheckView() || transfer.ExecRead());
    }
    EXPECT_EQ(ORXSimStore(context).NumCollections(), 0);
    EXPECT_TRUE(ORXSimStore(context).Distributions().empty());
    ORXSimManager::CloseContext(context);
  }
}

TEST_F(Store, FilesOfH5pyReadBackInOurs) {
  ASSERT_EQ(Peer("make-store " + Path("b.h5")), 0);
  const ORXSimContextID context = Open(Path("b.h5"));
  const ORXSimCollectionID edges = ORXSimStore(context).FindCollection("ar\xc3\xaates");
  EXPECT_EQ(ORXSimCollectionRef(edges).NumItems(), 6);
  int members[2] = {};
  EXPECT_TRUE(ORXSimCSet(ORXSimCSetID(edges, 1)).OrderedMembers(members, 2)) << LastError();
  EXPECT_THAT(members, ElementsAre(5, 0));
  EXPECT_FALSE(ORXSimCSet(ORXSimCSetID(edges, 1)).OrderedMembers(members, 1)) << "two members";
  int all[6];
  EXPECT_TRUE(ORXSimCSet(ORXSimCollectionRef(edges).FullCSet()).OrderedMembers(all, 6));
  EXPECT_THAT(all, ElementsAre(0, 1, 2, 3, 4, 5));
  ExpectRefused(ORXSimCSet(ORXSimCSetID(edges, 2)).OrderedMembers(members, 1), "not an item");
  const ORXSimDistributionRef field(ORXSimStore(context).FindDistribution("flux"));
  EXPECT_STREQ(field.Unit().CStr(), "W");
  EXPECT_STREQ(field.Drawer(0).Unit().CStr(), "kW");
  EXPECT_STREQ(field.Drawer(0).LongName().CStr(), "heat");
  EXPECT_EQ(field.Drawer(0).Type(), ORXSimItemType::kFloat);
  float rows[4] = {};
  EXPECT_TRUE(field.ReadItems(0, 4, 2, rows, sizeof rows)) << LastError();
  EXPECT_THAT(rows, ElementsAre(8, 9, 10, 11));
  EXPECT_EQ(field.DataSizeItems(1), 0) << "16-bit numbers are none of ours";
  EXPECT_THAT(LastError(), HasSubstr("not supported"));
  // What is added to such a file gets the next free numbers.
  const int one = 1;
  EXPECT_EQ(ORXSimCollectionRef(edges).CreateOrderedCSet(&one, 1).Minor(), 3);
  EXPECT_EQ(ORXSimCollectionRef::Create(context, "more", 1).Minor(), 2);
  EXPECT_TRUE(ORXSimManager::CloseContext(context)) << LastError();
}

TEST(Array, AnIndexOutsideStopsTheProcessWithAReport) {
  ORXSimArray<int> array(2);
  array[1] = 3;
  EXPECT_EQ(array[0] + array[1], 3);
  EXPECT_EQ(ORXSimArray<int>(-4).Size(), 0);
  EXPECT_DEATH(array[2] = 0, "i >=0 && i < m_Size");
  EXPECT_DEATH(array[-1] = 0, "i >=0 && i < m_Size");
}
