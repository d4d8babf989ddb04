// Which journal belongs to which file, and to whom: moved, parted, damaged and strangers' ones.
#include "platform_JournalFixture.h"

#include <UTI_ORXSimDynamicAPI/ORXSim_Journal.h>
#include <support/sys_NoRoom.h>

#include <algorithm>
#include <cstring>
#include <dlfcn.h>
#include <functional>
#include <map>
#include <memory>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/stat.h>

namespace fs = std::filesystem;

// Stands in place of the system's: notes what a file was like when its first byte was written.
static std::map<ino_t, struct stat> s_atFirst;
extern "C" [[gnu::visibility("default")]] ssize_t pwrite(int file, const void* bytes, size_t count,
                                                         off_t at) {
  static const auto s_system =
      reinterpret_cast<ssize_t (*)(int, const void*, size_t, off_t)>(::dlsym(RTLD_NEXT, "pwrite"));
  struct stat status;
  if (::fstat(file, &status) == 0 && status.st_size == 0)
    s_atFirst[status.st_ino] = status;
  return s_system(file, bytes, count, at);
}

namespace {

// Another process, which stops within its work and is killed after it.
class Other {
 public:
  explicit Other(const std::function<void(const std::function<void()>&)>& work) {
    if (::pipe(m_there) != 0 || ::pipe(m_back) != 0)
      throw std::bad_alloc();
    m_process = ::fork();
    char byte = 0;
    if (m_process == 0) {
      work([&] { byte = static_cast<char>(::write(m_back[1], "x", 1) + ::read(m_there[0], &byte, 1)); });
      ::raise(SIGKILL);
    }
    EXPECT_EQ(::read(m_back[0], &byte, 1), 1);
  }
  Other(const Other&) = delete;
  Other& operator=(const Other&) = delete;
  ~Other() { GoOn(); }
  void GoOn() {
    if (m_process > 0 && ::write(m_there[1], "x", 1) == 1)
      ::waitpid(std::exchange(m_process, 0), nullptr, 0);
  }

 private:
  int m_there[2], m_back[2];
  pid_t m_process;
};

class Ownership : public platform_JournalFixture {
 protected:
  // What lies in the directory.
  std::map<std::string, std::string> All() const {
    std::map<std::string, std::string> all;
    for (const auto& entry : fs::directory_iterator(m_directory.Name()))
      all[entry.path().filename()] =
          entry.is_regular_file() && !entry.is_symlink() ? sys_Bytes(entry.path()) : "special";
    return all;
  }
  void ExpectRefusedAndLeft(const std::string& path, const std::string& words) const {
    SCOPED_TRACE(path + ' ' + words);
    const auto before = All();
    for (const auto& [readOnly, option] : {std::pair{true, 1}, {true, 3}, {false, 1}, {false, 2}}) {
      ExpectRefused(Open(path, readOnly, option), words);
      EXPECT_THAT(LastError(), testing::HasSubstr("pdmsim recover")) << readOnly << option;
    }
    EXPECT_FALSE(ORXSimJournal::Apply(path.c_str()));
    EXPECT_TRUE(All() == before);
    EXPECT_THAT(ORXSimJournal::Read(path.c_str()).cause, testing::HasSubstr(words));
  }
  // As `value`, once what cannot be had is given up.
  static void ExpectDiscarded(const std::string& path, int value) {
    EXPECT_TRUE(ORXSimJournal::Discard(path.c_str())) << LastError();
    EXPECT_EQ(Value(path), value) << path << LastError();
    EXPECT_FALSE(fs::exists(path + "-journal"));
  }
  // As a reader sees it, -1 when it is refused.
  static int Shown(const std::string& path) {
    const ORXSimContextID context = Open(path, true);
    const int value = context.IsNull() ? -1 : Get(context);
    ORXSimManager::CloseContext(context);
    return value;
  }
  static void Change(const std::string& path, int value) {
    const ORXSimContextID context = Open(path, false, 2);
    EXPECT_TRUE(Set(context, value) && ORXSimManager::CloseContext(context)) << LastError();
  }
  static void Make(const std::string& path, int value) {
    const ORXSimContextID context = Create(path);
    EXPECT_TRUE(Set(context, value) && ORXSimManager::CloseContext(context)) << LastError();
  }
  static void Copy(const std::string& from, const std::string& to) {
    fs::copy_file(from, to, fs::copy_options::overwrite_existing);
  }
};

TEST_F(Ownership, WhatIsMadeBesideAFileIsItsOwnersFromTheFirstByte) {
  const std::string path = Path("a.pdm");
  const bool root = ::geteuid() == 0;
  for (const auto& [mode, mask] : {std::pair{0600, 077}, {0600, 0}, {0660, 077}, {0660, 0}, {0644, 022}}) {
    Make(path, 1);
    EXPECT_EQ(::chmod(path.c_str(), static_cast<mode_t>(mode)), 0);
    EXPECT_EQ(root ? ::chown(path.c_str(), 4711, 4712) : 0, 0);
    struct stat file, journal;
    ::stat(path.c_str(), &file);
    s_atFirst.clear();
    const mode_t before = ::umask(static_cast<mode_t>(mask));
    ORXSimContextID context = Open(path);
    EXPECT_TRUE(Set(context, 2) && ::stat((path + "-journal").c_str(), &journal) == 0);
    ORXSimManager::CloseContext(context);
    context = Create(path); // replaces it
    Set(context, 3);
    Set(context, 4);
    ORXSimManager::CloseContext(context);
    ::umask(before);
    EXPECT_EQ(s_atFirst.size(), 2u) << "journals may have the number of one that is gone";
    s_atFirst[0] = journal;
    for (const auto& [number, made] : s_atFirst) {
      EXPECT_EQ(made.st_mode & 07777, static_cast<mode_t>(mode)) << mask;
      EXPECT_TRUE(made.st_uid == file.st_uid && made.st_gid == file.st_gid);
    }
  }
}

TEST_F(Ownership, AJournalThatOthersMayHaveWrittenIsRefusedAndLeft) {
  const std::string path = Hot(), journal = path + "-journal", kept = Path("kept");
  fs::rename(journal, kept);
  const auto put = [&] { return Copy(kept, journal), journal.c_str(); };
  if (::geteuid() == 0) {
    EXPECT_EQ(::chown(put(), 12345, 12345), 0);
    ExpectRefusedAndLeft(path, "belongs to user 12345");
    fs::remove(journal);
  }
  EXPECT_EQ(::chmod(put(), 0666), 0);
  ExpectRefusedAndLeft(path, "by more people");
  fs::remove(journal);
  fs::create_hard_link(kept, journal);
  ExpectRefusedAndLeft(path, "another name");
  fs::remove(journal);
  fs::create_symlink(kept, journal);
  ExpectRefusedAndLeft(path, "not a regular file");
  fs::remove(journal);
  EXPECT_EQ(::mkfifo(journal.c_str(), 0600), 0);
  ExpectRefusedAndLeft(path, "not a regular file");
  fs::remove(journal);
  fs::create_directory(journal);
  ExpectRefusedAndLeft(path, "not a regular file");
  fs::remove(journal);
  fs::rename(kept, journal);
  EXPECT_EQ(Value(path), 7);
}

TEST_F(Ownership, FilesAreFoundByWhatTheyAreAndNotByTheirNames) {
  const std::string path = Path("a.pdm"), away = Path("away.pdm");
  // The first one closes its file; dies; dies, and had just begun a generation when its journal was set
  // aside.
  for (const char end : {'c', 'd', 'g'}) {
    Make(path, 1);
    Other first([&](const auto& pause) {
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
    Other second([&](const auto& pause) {
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
    Other other([&](const auto& pause) {
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

TEST_F(Ownership, WhatWasPartedIsRefusedAndSaysWhatIsMissing) {
  const std::string path = Hot(), journal = path + "-journal", other = Path("b.pdm");
  const std::string missing = "its journal is missing: process ",
                    foreign = "belongs to another file, or this";
  for (const auto& part : {+[](const std::string&a, const std::string&b) { Copy(a, b); },
                           +[](const std::string&a, const std::string&b) { fs::create_hard_link(a, b); },
                           +[](const std::string&a, const std::string&b) { fs::rename(a, b); }}) {
    part(path, other);
    ExpectRefusedAndLeft(other, missing);
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
  ExpectRefusedAndLeft(path, foreign);
  ExpectDiscarded(path, 11);
}

TEST_F(Ownership, WhatIsOfAnotherTimeIsRefused) {
  const std::string foreign = "belongs to another file, or this";
  const std::string path = Path("a.pdm"), journal = path + "-journal", copy = Path("c.pdm");
  const auto die = [&](int value) {
    Die([&] {
      const ORXSimContextID writer = Open(path, false, 2);
      Set(writer, value);
    });
  };
  Make(path, 1);
  Copy(path, Path("backup"));
  die(2);
  Copy(journal, Path("older"));
  EXPECT_EQ(Value(path), 2);
  Copy(path, copy);
  Change(copy, 3);
  die(4);
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
  die(5);
  Copy(Path("backup"), path);
  ExpectDiscarded(path, 1);
}

TEST_F(Ownership, AnyChangedByteIsFoundOrWithinTheLastCommit) {
  const std::string path = Hot(), journal = path + "-journal";
  const std::string file = sys_Bytes(path), frames = sys_Bytes(journal);
  std::vector<std::size_t> ends; // of the commits
  for (std::size_t at = 512; ends.size() < 6 && at < frames.size();)
    if (frames[at] == 1)
      at += 4120;
    else
      ends.push_back(at += 40);
  ASSERT_EQ(ends.back(), frames.size());
  for (std::size_t at = 0, i = 0; at < frames.size(); at += 97, ++i) {
    std::string damaged = frames;
    damaged[at] = static_cast<char>(damaged[at] ^ (1 << i % 8));
    Put(journal, damaged);
    const auto before =
        static_cast<int>(std::count_if(ends.begin(), ends.end(), [&](auto end) { return end <= at; }));
    const int expected = at < 512 || before < 5 ? -1 : 1 + before;
    ASSERT_EQ(Shown(path), expected) << at;
    if (i % 8 != 0 || at < 512)
      continue;
    ASSERT_TRUE(ORXSimJournal::Apply(path.c_str(), true)) << at << LastError();
    ASSERT_EQ(Value(path), 1 + before) << at;
    for (const auto& [name, bytes] : All())
      fs::remove(Path(name));
    Put(path, file);
  }
}

TEST_F(Ownership, AJournalOfAFileThatVanishedIsKeptAndAnOpenFileIsNotReplaced) {
  const std::string path = Hot(), journal = path + "-journal", frames = sys_Bytes(journal);
  const std::string lost = "a.pdm-journal.lost-";
  fs::remove(path);
  const ORXSimContextID context = Create(path);
  EXPECT_TRUE(Set(context, 1));
  EXPECT_THAT(LastError(), testing::HasSubstr(lost));
  int kept = 0;
  for (const auto& [name, bytes] : All())
    kept += name.starts_with(lost) && name.size() == lost.size() + 16 && bytes == frames ? 1 : 0;
  EXPECT_EQ(kept, 1);
  ORXSimManager::CloseContext(context);
  EXPECT_EQ(Value(path), 1);
  Other other([&](const auto& pause) {
    const ORXSimContextID writer = Open(path);
    Set(writer, 2);
    pause();
  });
  const auto before = All();
  ExpectRefused(Create(path), "has the file open for writing");
  EXPECT_TRUE(All() == before);
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
  EXPECT_THAT(LastError(), testing::HasSubstr("a.pdm-journal"));
  ORXSimManager::CloseContext(context);
  expectUsers();
  EXPECT_FALSE(fs::exists(path));
}

TEST_F(Ownership, WhatWasAcknowledgedOnAFullDiskIsThere) {
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

TEST_F(Ownership, NamesOfAnyLengthWorkOrAreRefusedBeforeAnythingIsMade) {
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
    const auto before = All();
    if (ORXSimJournal::Apply(path.c_str(), true))
      EXPECT_EQ(All().size(), 2u) << "the damaged journal is kept";
    else
      EXPECT_TRUE(All() == before) << LastError();
    for (const auto& [name, bytes] : All())
      fs::remove(Path(name));
  }
}

} // namespace
