// Which journal belongs to which file, and to whom: moved, parted, damaged and strangers' ones.
#include "platform_JournalFixture.h"

#include <UTI_ORXSimDynamicAPI/ORXSim_Journal.h>

#include <sys/stat.h>

namespace fs = std::filesystem;

namespace {

class Ownership : public platform_JournalFixture {
 protected:
  void ExpectRefusedAndLeft(const std::string& path, const std::string& words) const {
    SCOPED_TRACE(path + ' ' + words);
    const auto before = All();
    for (const auto& [readOnly, option] : {std::pair{true, 1}, {true, 3}, {false, 1}, {false, 2}})
      ExpectRefused(Open(path, readOnly, option), words, "pdmsim recover");
    EXPECT_FALSE(ORXSimJournal::Apply(path.c_str()));
    EXPECT_TRUE(All() == before);
    EXPECT_THAT(ORXSimJournal::Read(path.c_str()).cause, HasSubstr(words));
  }
  // As `value`, once what cannot be had is given up.
  static void ExpectDiscarded(const std::string& path, int value) {
    EXPECT_TRUE(ORXSimJournal::Discard(path.c_str())) << LastError();
    EXPECT_EQ(Value(path), value) << path << LastError();
    EXPECT_FALSE(fs::exists(path + "-journal"));
  }
  static void Change(const std::string& path, int value) {
    const ORXSimContextID context = Open(path, false, 2);
    EXPECT_TRUE(Set(context, value) && ORXSimManager::CloseContext(context)) << LastError();
  }
  static void Copy(const std::string& from, const std::string& to) {
    fs::copy_file(from, to, fs::copy_options::overwrite_existing);
  }
};

TEST_F(Ownership, AJournalThatOthersMayHaveWrittenIsRefusedAndLeft) {
  const std::string path = Hot(), journal = path + "-journal", kept = Path("kept");
  fs::rename(journal, kept);
  const auto refuse = [&](const char* words, auto make) {
    make();
    ExpectRefusedAndLeft(path, words);
    fs::remove(journal);
  };
  const auto give = [&](uid_t user, mode_t mode) {
    Copy(kept, journal);
    EXPECT_EQ(::chown(journal.c_str(), user, user) | ::chmod(journal.c_str(), mode), 0);
  };
  if (::geteuid() == 0)
    refuse("belongs to user 12345", [&] { give(12345, 0600); });
  refuse("by more people", [&] { give(static_cast<uid_t>(-1), 0666); });
  refuse("another name", [&] { fs::create_hard_link(kept, journal); });
  refuse("not a regular file", [&] { fs::create_symlink(kept, journal); });
  refuse("not a regular file", [&] { ::mkfifo(journal.c_str(), 0600); });
  refuse("not a regular file", [&] { fs::create_directory(journal); });
  fs::rename(kept, journal);
  EXPECT_EQ(Value(path), 7);
}

TEST_F(Ownership, FilesAreFoundByWhatTheyAreAndNotByTheirNames) {
  const std::string path = Path("a.pdm"), away = Path("away.pdm");
  // The first one closes its file; dies; dies, and had just begun a generation when that happened.
  for (const char end : {'c', 'd', 'g'}) {
    Make(path, 1);
    sys_Process first([&](const auto& pause) {
      const ORXSimContextID context = Open(path);
      do
        Set(context, 2);
      while (end == 'g' && ORXSimContextRef(context).LastCommit().journalBytes > 512);
      pause();
      Set(context, 9);
      if (end == 'c')
        ORXSimManager::CloseContext(context);
    });
    fs::rename(path, away);
    sys_Process second([&](const auto& pause) {
      const ORXSimContextID context = Create(path);
      Set(context, 5);
      Set(context, 6);
      pause();
    });
    first.GoOn();
    second.GoOn();
    EXPECT_EQ(Value(path), 6) << end << LastError();
    if (end != 'c')
      ExpectRefusedAndLeft(away, "its journal is missing");
    for (const auto& [name, bytes] : All())
      if (name.starts_with("a.pdm-journal.lost-"))
        fs::rename(Path(name), end == 'c' ? Path("lost") : away + "-journal");
    EXPECT_EQ(Value(away), 9) << end << LastError();
    fs::remove(path);
    fs::remove(away);
  }
  // The name of a new file, or of one to be replaced, is taken before its first commit point.
  for (const bool replace : {false, true}) {
    if (replace)
      Make(path, 1);
    const ORXSimContextID context = Create(path);
    if (replace)
      fs::rename(path, away);
    sys_Process other([&](const auto& pause) {
      const ORXSimContextID second = Create(path);
      for (int value = 5; value < 8; ++value)
        Set(second, value);
      pause();
      Set(second, 8);
    });
    EXPECT_FALSE(Set(context, 2));
    ORXSimManager::CloseContext(context);
    other.GoOn();
    EXPECT_EQ(Value(path), 8) << replace << LastError();
    fs::remove(path);
  }
}

TEST_F(Ownership, DirectoriesMayMoveAndTheCallerToo) {
  const std::string here = Path("d"), there = Path("e"), before = fs::current_path();
  fs::create_directory(here);
  Make(here + "/a.pdm", 1);
  const ORXSimContextID context = Open(here + "/a.pdm");
  EXPECT_TRUE(Set(context, 2));
  fs::current_path(here);
  const ORXSimContextID reader = OpenLive("a.pdm");
  fs::current_path("/");
  EXPECT_TRUE(Set(context, 3));
  EXPECT_TRUE(ORXSimManager::Refresh(reader)) << LastError();
  EXPECT_EQ(Get(reader), 3);
  ORXSimManager::CloseContext(reader);
  fs::rename(here, there);
  fs::create_directory(here);
  EXPECT_TRUE(Set(context, 4));
  EXPECT_TRUE(ORXSimManager::CloseContext(context));
  EXPECT_FALSE(fs::exists(there + "/a.pdm-journal"));
  EXPECT_EQ(Value(there + "/a.pdm"), 4);
  fs::current_path(before);
}

TEST_F(Ownership, ARemovedJournalTakesNoCommitsAndLosesNone) {
  const std::string path = Path("a.pdm");
  Make(path, 1);
  for (const bool live : {false, true}) { // for a live reader's sake it is made anew
    const ORXSimContextID reader = live ? OpenLive(path) : ORXSimContextID();
    const ORXSimContextID writer = Open(path);
    EXPECT_TRUE(Set(writer, 2 + live));
    fs::remove(path + "-journal");
    ::usleep(2000);
    ExpectRefused(Set(writer, 9), "its journal has been removed: close the file");
    ORXSimManager::CloseContext(writer);
    EXPECT_EQ(Shown(path), 2 + live) << LastError();
    EXPECT_EQ(fs::exists(path + "-journal"), live);
    ORXSimManager::CloseContext(reader);
    EXPECT_EQ(Value(path), 2 + live) << LastError();
  }
  const ORXSimContextID writer = Open(path);
  EXPECT_TRUE(Set(writer, 5));
  Copy(path + "-journal", Path("kept"));
  ORXSimManager::CloseContext(writer);
  fs::rename(Path("kept"), path + "-journal");
  EXPECT_EQ(Value(path), 5) << "a journal that comes back says nothing new";
}

// Copies of a file from before its generation ended, and from within an update that was given up.
TEST_F(Ownership, AnOlderCopyDoesNotMeetTheNextGenerationNorTheNextUpdate) {
  const std::string path = Path("a.pdm"), old = Path("old");
  std::vector<int> numbers;
  const auto put = [&](ORXSimContextID context, const char* name, int value, std::size_t count) {
    const hdf_Group root = RootOf(context);
    numbers.assign(count, value);
    (root.GetObjinfoExists(name) ? root.DatasetOpen(name) : root.DatasetCreate(name, kInt, Line(count)))
        .Write(kInt, numbers.data(), count);
  };
  const ORXSimContextID context = Create(path);
  put(context, "large", 1, 1200000);
  EXPECT_TRUE(Set(context, 1) && ORXSimManager::CloseContext(context)) << LastError();
  Copy(path, Path("closed"));
  Die([&] {
    const ORXSimContextID writer = Open(path);
    Set(writer, 2);
    Copy(path, old);
    put(writer, "large", 3, 1200000); // more than what ends a generation
    Set(writer, 3);
  });
  EXPECT_EQ(Shown(path), 3) << LastError();
  Copy(old, path);
  ExpectRefusedAndLeft(path, "or this file was changed without it");

  fs::remove(path + "-journal");
  Copy(Path("closed"), path);
  Die([&] {
    const ORXSimContextID writer = Open(path);
    ORXSimUpdate given(writer);
    put(writer, "more", 4, 300000);
    put(writer, "large", 4, 1200000);
    given.Rollback();
    Copy(path, old);
    put(writer, "more", 5, 300000);
    Set(writer, 5);
  });
  Copy(old, path);
  const ORXSimContextID reader = Open(path, true);
  EXPECT_EQ(Get(reader), 5) << LastError();
  EXPECT_EQ(platform_Fixture::Get(RootOf(reader).DatasetOpen("more")), std::vector<int>(300000, 5));
  ORXSimManager::CloseContext(reader);
}

TEST_F(Ownership, WhatWasPartedIsRefusedAndSaysWhatIsMissing) {
  const std::string path = Hot(), journal = path + "-journal", other = Path("b.pdm");
  for (const auto& part : {+[](const std::string&a, const std::string&b) { Copy(a, b); },
                           +[](const std::string&a, const std::string&b) { fs::create_hard_link(a, b); },
                           +[](const std::string&a, const std::string&b) { fs::rename(a, b); }}) {
    part(path, other);
    ExpectRefusedAndLeft(other, "its journal is missing: process ");
    EXPECT_TRUE(ORXSimJournal::Read(other.c_str()).missing);
    if (fs::exists(path))
      fs::remove(other);
  }
  Copy(other, path);
  fs::rename(journal, Path("kept"));
  ExpectRefusedAndLeft(path, "left a.pdm-journal beside it");
  ExpectDiscarded(path, 1);
  ExpectDiscarded(other, 1);
  Make(path, 11);
  Copy(Path("kept"), journal);
  EXPECT_TRUE(Create(path).IsNull()) << "nor is it overwritten";
  ExpectRefusedAndLeft(path, "belongs to another file, or this");
  ExpectDiscarded(path, 11);
}

TEST_F(Ownership, WhatIsOfAnotherTimeIsRefused) {
  const std::string foreign = "belongs to another file, or this";
  const std::string path = Path("a.pdm"), journal = path + "-journal", copy = Path("c.pdm");
  Make(path, 1);
  Copy(path, Path("backup"));
  DieAfter(path, {2}, 2);
  Copy(journal, Path("older"));
  EXPECT_EQ(Value(path), 2);
  Copy(path, copy);
  Change(copy, 3);
  DieAfter(path, {4}, 2);
  fs::rename(path, Path("newest"));
  Copy(Path("backup"), path);
  ExpectRefusedAndLeft(path, foreign);
  Copy(Path("newest"), path);
  fs::rename(journal, copy + "-journal");
  ExpectRefusedAndLeft(copy, foreign);
  Copy(Path("older"), journal);
  ExpectRefusedAndLeft(path, foreign);
  Copy(copy + "-journal", journal);
  EXPECT_EQ(Value(path), 4);
  ExpectDiscarded(copy, 3);
  DieAfter(path, {5}, 2);
  Copy(Path("backup"), path);
  ExpectDiscarded(path, 1);
}

// Copies that were made while one writer was at work, and one that plain HDF5 has written.
TEST_F(Ownership, WhatIsOfAnotherMomentOfOneGenerationIsRefused) {
  const std::string path = Path("a.pdm"), journal = path + "-journal", newer = "is newer than this file";
  Make(path, 1);
  Die([&] {
    const ORXSimContextID writer = Open(path);
    Set(writer, 2);
    Copy(path, Path("old"));
    platform_Fixture::Put(RootOf(writer), "more", std::vector<int>(5000, 1));
    Set(writer, 3);
    Copy(journal, Path("old-journal"));
    Set(writer, 4);
  });
  Copy(path, Path("file"));
  Copy(Path("old"), path);
  ExpectRefusedAndLeft(path, newer);
  ASSERT_EQ(Peer("edit " + path), 0);
  ExpectRefusedAndLeft(path, newer);
  Copy(Path("file"), path);
  ASSERT_EQ(Peer("edit " + path), 0);
  ExpectRefusedAndLeft(path, "or this file was changed without it");
  Copy(Path("file"), path);
  Copy(journal, Path("journal"));
  Copy(Path("old-journal"), journal);
  ExpectRefusedAndLeft(path, "2 commits before it are whole, and at least 1 behind it");
  EXPECT_TRUE(ORXSimJournal::Discard(path.c_str()));
  EXPECT_THAT(LastError(), HasSubstr("note: what was given up may have written over"));
  Copy(Path("file"), path);
  Copy(Path("journal"), journal);
  EXPECT_EQ(Value(path), 4);
}

TEST_F(Ownership, AJournalOfAFileThatVanishedIsKept) {
  const std::string path = Hot(), journal = path + "-journal", frames = sys_Bytes(journal);
  const std::string lost = "a.pdm-journal.lost-";
  fs::remove(path);
  const ORXSimContextID context = Create(path);
  EXPECT_TRUE(Set(context, 1));
  EXPECT_THAT(LastError(), HasSubstr(lost));
  int kept = 0;
  for (const auto& [name, bytes] : All())
    kept += name.starts_with(lost) && name.size() == lost.size() + 16 && bytes == frames ? 1 : 0;
  EXPECT_EQ(kept, 1);
  ORXSimManager::CloseContext(context);
  EXPECT_EQ(Value(path), 1);
}

TEST_F(Ownership, OnlyWhatDeadWritersLeftIsSwept) {
  const std::string path = Path("a.pdm"), notes = "my notes";
  std::map<std::string, std::string> users{{"a.pdm.new-1", notes}, {"a.pdm-journal-next", notes}};
  users["a.pdm.new-" + std::to_string(::getpid())] = notes;
  users["a.pdm.new-2"] = std::string(600, 'n');
  for (const auto& [name, bytes] : users)
    Put(Path(name), bytes);
  const auto expectUsers = [&] {
    for (const auto& [name, bytes] : users)
      EXPECT_EQ(sys_Bytes(Path(name)), bytes) << name;
  };
  Die([&] { Create(path); });
  EXPECT_EQ(All().size(), users.size() + 1) << "of the dead one";
  Make(path, 1);
  EXPECT_EQ(All().size(), users.size() + 1) << "the file";
  Make(path, 2);
  Change(path, 3);
  expectUsers();
  users["a.pdm-journal"] = notes;
  Put(path + "-journal", notes);
  ExpectRefusedAndLeft(path, "is damaged and may hold commits");
  EXPECT_TRUE(Create(path).IsNull());
  fs::remove(path);
  const ORXSimContextID context = Create(path);
  EXPECT_TRUE(context.IsNull() || !Set(context, 4));
  EXPECT_THAT(LastError(), HasSubstr("a.pdm-journal"));
  ORXSimManager::CloseContext(context);
  expectUsers();
  EXPECT_FALSE(fs::exists(path));
}

} // namespace
