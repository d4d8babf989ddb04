#include "platform_JournalFixture.h"

#include <UTI_ORXSimDynamicAPI/ORXSim_Journal.h>
#include <UTI_ORXSimDynamicAPI/hdf_Checksum.h>

#include <cerrno>
#include <cstring>
#include <dlfcn.h>
#include <map>
#include <sys/stat.h>

// Stands in place of the system's: notes which length of a file is on the disk, and fails once when asked to.
static bool s_syncFails = false;
static std::map<ino_t, off_t> s_synced;
extern "C" [[gnu::visibility("default")]] int fdatasync(int descriptor) {
  static const auto s_system = reinterpret_cast<int (*)(int)>(::dlsym(RTLD_NEXT, "fdatasync"));
  if (std::exchange(s_syncFails, false)) {
    errno = EIO;
    return -1;
  }
  struct stat status;
  if (::fstat(descriptor, &status) == 0)
    s_synced[status.st_ino] = status.st_size;
  return s_system(descriptor);
}

// The same: notes what a file was like when its first byte was written.
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

using Journal = platform_JournalFixture;

TEST_F(Journal, AHotFileIsReadWithoutAWriteAndRecoveredByItsNextWriter) {
  const std::string path = Hot("a.pdm", 2), journal = path + "-journal";
  const std::string file = sys_Bytes(path), frames = sys_Bytes(journal);
  const ORXSimJournalInfo info = ORXSimJournal::Read(path.c_str());
  EXPECT_TRUE(info.headerValid && info.belongs && !info.writerAtWork);
  EXPECT_EQ(info.commits, 6u);
  EXPECT_EQ(info.unfinishedBytes, 0) << "what died in memory, and zeros written ahead";
  const ORXSimContextID reader = Open(path, true), second = Open(path, true);
  EXPECT_EQ(Get(reader), 7);
  EXPECT_EQ(Get(second), 7);
  EXPECT_TRUE(ORXSimManager::CloseContext(reader) && ORXSimManager::CloseContext(second));
  EXPECT_EQ(sys_Bytes(path), file);
  EXPECT_EQ(sys_Bytes(journal), frames);
  EXPECT_EQ(Value(path), 7);
  EXPECT_FALSE(std::filesystem::exists(journal));
  EXPECT_EQ(Peer("check_number " + path + " 7"), 0) << "it is plain HDF5";
}

TEST_F(Journal, AJournalOfAnotherFileIsRefusedAndLeft) {
  const std::string path = Hot(), other = Path("b.pdm");
  const std::string frames = sys_Bytes(path + "-journal");
  Make(other, 3);
  Put(other + "-journal", frames);
  EXPECT_TRUE(Create(other).IsNull()) << "it is not overwritten either";
  std::string others = frames; // another file's id in the header, and its checksum
  others[48] ^= 1;
  const std::uint64_t sum = hdf_Checksum(others.data(), 504);
  std::memcpy(others.data() + 504, &sum, sizeof sum);
  Put(path + "-journal", others);
  for (const std::string& refused : {other, path}) {
    const std::string whole = sys_Bytes(refused), journal = sys_Bytes(refused + "-journal");
    for (const bool readOnly : {true, false})
      ExpectRefused(Open(refused, readOnly), "belongs to another file");
    EXPECT_EQ(sys_Bytes(refused), whole);
    EXPECT_EQ(sys_Bytes(refused + "-journal"), journal);
  }
  EXPECT_TRUE(ORXSimJournal::Discard(other.c_str()));
  EXPECT_EQ(Value(other), 3);
}

TEST_F(Journal, ASecondProcessIsToldWhoHoldsTheFileAndMayWait) {
  const std::string path = Hot();
  int ready[2];
  ASSERT_EQ(::pipe(ready), 0);
  const pid_t child = ::fork();
  if (child == 0) {
    const ORXSimContextID writer = Open(path);
    char byte = writer.IsNull() ? 'n' : 'y';
    byte = ::write(ready[1], &byte, 1) == 1 ? byte : 'n';
    ::usleep(200000);
    Set(writer, 9);
    ::raise(SIGKILL);
  }
  char byte = 'n';
  ASSERT_EQ(::read(ready[0], &byte, 1), 1);
  ASSERT_EQ(byte, 'y');
  for (const bool readOnly : {false, true}) {
    ExpectRefused(Open(path, readOnly), "process " + std::to_string(child) + " on host ");
    EXPECT_THAT(LastError(), testing::HasSubstr("has the file open for writing: close it there"));
  }
  ORXSimManager::SetWaitingTime(20000);
  EXPECT_EQ(Value(path), 9) << "got when the other one died, with its last commit";
  ORXSimManager::SetWaitingTime(0);
  ::waitpid(child, nullptr, 0);
}

TEST_F(Journal, NothingIsWrittenBesideARecordThatMayCountThoughItsSyncFailed) {
  const std::string path = Path("a.pdm");
  const auto update = [](ORXSimContextID context, int value) {
    ORXSimUpdate scope(context);
    const std::vector<int> many(300000, value);
    const hdf_Group root = RootOf(context);
    const bool written = root.DatasetOpen("n").Write(kInt, &value, 1) &&
                         root.DatasetOpen("many").Write(kInt, many.data(), many.size());
    return scope.Commit() && written;
  };
  const auto holds = [](ORXSimContextID context, int value) {
    const std::vector<int> many = platform_Fixture::Get(RootOf(context).DatasetOpen("many"));
    return Get(context) == value && many == std::vector<int>(300000, value);
  };
  const ORXSimContextID writer = Create(path, 2);
  Set(writer, 1);
  platform_Fixture::Put(RootOf(writer), "many", std::vector<int>(300000, 1));
  EXPECT_TRUE(ORXSimContextRef(writer).Commit());
  const ORXSimContextID reader = OpenLive(path);
  EXPECT_TRUE(holds(reader, 1));
  s_syncFails = true;
  EXPECT_FALSE(update(writer, 2));
  EXPECT_FALSE(s_syncFails) << "it was called";
  EXPECT_TRUE(ORXSimManager::Refresh(reader)) << LastError();
  const int seen = Get(reader);
  EXPECT_TRUE(holds(reader, seen)) << seen;
  for (const bool rollback : {false, true}) {
    EXPECT_TRUE(!rollback || ORXSimUpdate(writer).Rollback());
    EXPECT_FALSE(update(writer, 3)) << rollback;
    EXPECT_TRUE(holds(reader, seen)) << rollback;
  }
  ORXSimManager::CloseContext(writer);
  EXPECT_TRUE(holds(reader, seen));
  ORXSimManager::CloseContext(reader);
  const ORXSimContextID next = Open(path);
  EXPECT_TRUE(holds(next, seen));
  ORXSimManager::CloseContext(next);
}

// The main file's length reaches the disk with its own sync only: what it was then is what is left of it.
TEST_F(Journal, GivesAFileTheLengthThatItLostWithThePower) {
  for (const int rooms : {1, 3}) {
    const std::string path = Path(std::to_string(rooms));
    const ORXSimContextID context = Create(path, 2);
    Set(context, 1);
    ORXSimManager::CloseContext(context);
    Die([&] {
      const ORXSimContextID writer = Open(path, false, 2);
      Set(writer, 6);
      for (int i = 0; i < rooms; ++i) { // without content
        RootOf(writer).DatasetCreate(std::to_string(i).c_str(), kInt, Line(230000));
        ORXSimContextRef(writer).Commit();
      }
      struct stat status;
      ::stat(path.c_str(), &status);
      std::filesystem::resize_file(path, static_cast<std::uintmax_t>(s_synced.at(status.st_ino)));
    });
    const ORXSimContextID reader = OpenLive(path);
    EXPECT_EQ(Get(reader), 6) << LastError();
    const ORXSimContextID writer = Open(path, false, 2);
    EXPECT_EQ(Get(writer), 6) << LastError();
    ORXSimManager::CloseContext(reader);
    const ORXSimUpdate left(writer);
    const int lost = 9;
    EXPECT_TRUE(RootOf(writer).DatasetOpen("n").Write(kInt, &lost, 1));
    ORXSimManager::CloseContext(writer);
    EXPECT_EQ(Peer("check_number " + path + " 6"), 0);
  }
}

TEST_F(Journal, ALargeRewriteStandsInItOnceAndItIsTiedToItsFile) {
  const std::string path = Path("a.pdm"), journal = path + "-journal";
  std::vector<int> numbers(300000);
  const auto write = [&](ORXSimContextID context) {
    return RootOf(context).DatasetOpen("large").Write(kInt, numbers.data(), numbers.size());
  };
  const ORXSimContextID context = Create(path);
  RootOf(context).DatasetCreate("large", kInt, Line(numbers.size()));
  EXPECT_TRUE(write(context) && ORXSimManager::CloseContext(context));
  const auto bytes = std::filesystem::file_size(path);
  Die([&] {
    const ORXSimContextID writer = Open(path);
    ORXSimUpdate update(writer);
    for (int i = 1; i <= 20; ++i) {
      std::fill(numbers.begin(), numbers.end(), i);
      write(writer);
    }
    Set(writer, 3);
    update.Commit();
  });
  EXPECT_LT(std::filesystem::file_size(journal), 3 * bytes);
  EXPECT_NE(sys_Bytes(journal).substr(48, 16), std::string(16, '\0')) << "the file's id";
  const ORXSimContextID recovered = Open(path);
  EXPECT_TRUE(RootOf(recovered).DatasetOpen("large").Read(kInt, numbers.data(), numbers.size()));
  EXPECT_EQ(numbers, std::vector<int>(numbers.size(), 20));
  EXPECT_EQ(Get(recovered), 3);
  ORXSimManager::CloseContext(recovered);
}

TEST_F(Journal, ANewFileAppearsWithItsFirstCommitPointAndReplacesTheOldOneThen) {
  const std::string path = Path("new.pdm");
  const ORXSimContextID empty = Create(path);
  {
    ORXSimUpdate left(empty);
    RootOf(empty).GroupCreate("lost", 0);
  }
  EXPECT_TRUE(ORXSimManager::CloseContext(empty));
  EXPECT_FALSE(std::filesystem::exists(path)) << "its first update was taken back";
  Die([&] { Create(path); });
  EXPECT_FALSE(std::filesystem::exists(path));
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(m_directory.Name()), {}), 1)
      << "what the dead one left";
  ORXSimContextID context = Create(path);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(m_directory.Name()), {}), 1) << "is swept away";
  EXPECT_FALSE(std::filesystem::exists(path));
  Set(context, 1);
  EXPECT_TRUE(std::filesystem::exists(path));
  ORXSimManager::CloseContext(context);
  ::chmod(path.c_str(), 0640);
  const std::string old = sys_Bytes(path);
  context = Create(path);
  {
    ORXSimUpdate update(context);
    RootOf(context).GroupCreate("lost", 0);
    EXPECT_TRUE(update.Rollback());
  }
  EXPECT_EQ(sys_Bytes(path), old);
  EXPECT_TRUE(Set(context, 2));
  EXPECT_FALSE(RootOf(context).GetObjinfoExists("lost"));
  ORXSimManager::CloseContext(context);
  EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms{0640});
  EXPECT_EQ(Value(path), 2) << LastError();
}

TEST_F(Journal, WhatIsMadeBesideAFileIsItsOwnersFromTheFirstByte) {
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

} // namespace
