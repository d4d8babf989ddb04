// What a damaged journal, a full disk and long names leave of the commits that were acknowledged.
#include "platform_JournalFixture.h"

#include <UTI_ORXSimDynamicAPI/ORXSim_Journal.h>
#include <support/sys_NoRoom.h>

#include <algorithm>
#include <memory>
#include <sys/mman.h>
#include <sys/mount.h>

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
    ASSERT_THAT(LastError(), testing::HasSubstr("the damaged journal is kept as a.pdm-journal.lost-"));
    ASSERT_EQ(Value(path), 1 + before) << at;
    for (const auto& [name, bytes] : All())
      fs::remove(Path(name));
    Put(path, file);
  }
}

TEST_F(Damage, AJournalWrittenAnewIsNothingWithoutItsFirstCommit) {
  const std::string path = Path("a.pdm"), journal = path + "-journal";
  Make(path, 1);
  platform_Other writer([&](const auto& pause) {
    const ORXSimContextID context = Open(path);
    pause();
    Set(context, 2);
    fs::copy_file(path, Path("old"));
    std::vector<int> more(5000, 1);
    RootOf(context).DatasetCreate("more", kInt, Line(5000)).Write(kInt, more.data(), 5000);
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

TEST_F(Damage, WhatWasAcknowledgedOnAFullDiskIsThere) {
  const std::string disk = Path("disk"), path = disk + "/a.pdm";
  fs::create_directory(disk);
  const bool small = ::mount("tmpfs", disk.c_str(), "tmpfs", 0, "size=1m") == 0;
  auto* const last = static_cast<int*>(
      ::mmap(nullptr, sizeof(int), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  for (const int option : {1, 2}) {
    Make(path, 1);
    *last = 1;
    Die([&] {
      const ORXSimContextID writer = Open(path, false, option);
      const auto limited = small ? nullptr : std::make_unique<sys_NoRoom>(1 << 20);
      for (int value = 2, failed = 0; failed < 20 && value < 10000; ++value) {
        ORXSimUpdate update(writer);
        platform_Fixture::Put(RootOf(writer), std::to_string(value).c_str(),
                              std::vector<int>(700 * (value % 5)));
        RootOf(writer).DatasetOpen("n").Write(kInt, &value, 1);
        if (update.Commit())
          *last = value;
        else
          ++failed;
      }
      *last = -*last; // it came to the end
    });
    ASSERT_LT(*last, -10);
    const auto limited = small ? nullptr : std::make_unique<sys_NoRoom>(1 << 20);
    EXPECT_EQ(Shown(path), -*last) << LastError();
    EXPECT_EQ(Value(path), -*last) << LastError();
    EXPECT_FALSE(fs::exists(path + "-journal"));
    fs::remove(path);
  }
  ::munmap(last, sizeof *last);
  EXPECT_EQ(small ? ::umount(disk.c_str()) : 0, 0);
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
    Die([&] {
      const ORXSimContextID writer = Open(path);
      for (int value = 3; value < 7; ++value)
        Set(writer, value);
    });
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
