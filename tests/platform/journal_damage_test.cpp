// What a damaged journal and long names leave of the commits that were acknowledged.
#include "platform_JournalFixture.h"

#include <UTI_ORXSimDynamicAPI/ORXSim_Journal.h>

#include <algorithm>

namespace fs = std::filesystem;

namespace {

using Damage = platform_JournalFixture;

TEST_F(Damage, AnyChangedByteAndAnyMissingEndIsFound) {
  const std::string path = Hot(), journal = path + "-journal";
  const std::string file = sys_Bytes(path), frames = sys_Bytes(journal);
  std::vector<std::size_t> ends; // of the commits
  for (std::size_t at = 512; ends.size() < 6 && at < frames.size();)
    if (frames[at] == 1)
      at += 4120;
    else
      ends.push_back(at += 40);
  ASSERT_EQ(ends.back(), frames.size());
  // A live reader keeps a damaged journal from being applied, and it stays as it is.
  const ORXSimContextID reader = OpenLive(path);
  std::string torn = frames;
  torn[ends[1] + 100] ^= 1;
  Put(journal, torn);
  EXPECT_FALSE(ORXSimJournal::Apply(path.c_str(), true));
  EXPECT_TRUE(sys_Bytes(journal) == torn);
  ORXSimManager::CloseContext(reader);
  for (std::size_t at = 0, i = 0; at < frames.size(); at += 97, ++i) {
    std::string damaged = frames;
    damaged[at] = static_cast<char>(damaged[at] ^ (1 << i % 8));
    Put(journal, frames.substr(0, at));
    ASSERT_EQ(Shown(path), -1) << at;
    Put(journal, damaged);
    ASSERT_EQ(Shown(path), -1) << at;
    const auto before =
        static_cast<int>(std::count_if(ends.begin(), ends.end(), [&](auto end) { return end <= at; }));
    if (i % 8 != 0 || at < 512)
      continue;
    const ORXSimJournalInfo info = ORXSimJournal::Read(path.c_str());
    ASSERT_TRUE(info.damaged && info.belongs && info.commits + info.lostCommits == 6u) << at;
    ASSERT_FALSE(ORXSimJournal::Apply(path.c_str()));
    ASSERT_EQ(sys_Bytes(journal), damaged);
    ASSERT_TRUE(ORXSimJournal::Apply(path.c_str(), true)) << at << LastError();
    ASSERT_THAT(LastError(), HasSubstr("the damaged journal is kept as a.pdm-journal.lost-"));
    ASSERT_EQ(Value(path), 1 + before) << at;
    for (const auto& [name, bytes] : All())
      fs::remove(Path(name));
    Put(path, file);
  }
}

TEST_F(Damage, AJournalWrittenAnewIsNothingWithoutItsFirstCommit) {
  const std::string path = Path("a.pdm"), journal = path + "-journal";
  Make(path, 1);
  sys_Process writer([&](const auto& pause) {
    const ORXSimContextID context = Open(path);
    pause();
    Set(context, 2);
    fs::copy_file(path, Path("old"));
    platform_Fixture::Put(RootOf(context), "more", std::vector<int>(5000, 1));
    std::int64_t before = 0, now = 0;
    for (int value = 3; now >= before; ++value) {
      Set(context, value);
      before = std::exchange(now, ORXSimContextRef(context).LastCommit().journalBytes);
    }
  });
  const ORXSimContextID reader = OpenLive(path);
  writer.GoOn();
  ORXSimManager::CloseContext(reader);
  const std::string frames = sys_Bytes(journal);
  EXPECT_LT(frames.size(), 1u << 20);
  std::string damaged = frames;
  damaged[1000] ^= 1;
  for (const std::string& bytes : {damaged, frames.substr(0, 600), frames.substr(0, 512)}) {
    Put(journal, bytes);
    ExpectRefused(Open(path, true), "damaged at byte 512");
  }
  Put(journal, frames);
  fs::rename(path, Path("new"));
  fs::rename(Path("old"), path);
  ExpectRefused(Open(path, true), "is newer than this file");
  fs::rename(Path("new"), path);
  EXPECT_GT(Value(path), 100);
}

TEST_F(Damage, NamesOfAnyLengthWorkOrAreRefusedBeforeAnythingIsMade) {
  for (const std::size_t length : {200, 225, 226, 239, 240, 255, 256}) {
    const std::string path = Path(std::string(length, 'n'));
    const ORXSimContextID context = Create(path);
    if (context.IsNull()) {
      EXPECT_GT(length, 239u);
      EXPECT_TRUE(All().empty());
      continue;
    }
    EXPECT_TRUE(Set(context, 1) && Set(context, 2) && ORXSimManager::CloseContext(context)) << LastError();
    DieAfter(path, {3, 4, 5, 6});
    std::string damaged = sys_Bytes(path + "-journal");
    damaged[damaged.size() / 2] ^= 1;
    Put(path + "-journal", damaged);
    for (const std::size_t kept : {1, 2}) { // it may be put back
      EXPECT_TRUE(ORXSimJournal::Apply(path.c_str(), true)) << LastError();
      EXPECT_EQ(All().size(), 1 + kept) << "the damaged journals are kept";
      Put(path + "-journal", damaged);
    }
    for (const auto& [name, bytes] : All())
      fs::remove(Path(name));
  }
}

} // namespace
