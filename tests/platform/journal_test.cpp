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
  static const auto s_system = reinterpret_cast<decltype(&fdatasync)>(::dlsym(RTLD_NEXT, "fdatasync"));
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
  static const auto s_system = reinterpret_cast<decltype(&pwrite)>(::dlsym(RTLD_NEXT, "pwrite"));
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

TEST_F(Journal, ASecondProcessIsToldWhoHoldsTheFile) {
  const std::string path = Hot();
  sys_Process holder([&](const auto& pause) {
    const ORXSimContextID writer = Open(path);
    pause();
    Set(writer, 9);
  });
  const auto before = All();
  for (const bool readOnly : {false, true})
    ExpectRefused(Open(path, readOnly), "process " + std::to_string(holder.Id()) + " on host ",
                  "has the file open for writing: close it there");
  ExpectRefused(Create(path), "has the file open for writing");
  EXPECT_TRUE(All() == before);
  holder.GoOn();
  EXPECT_EQ(Value(path), 9) << "the last commit of one that died";
}

TEST_F(Journal, NothingIsWrittenBesideARecordThatMayCountThoughItsSyncFailed) {
  const std::string path = Path("a.pdm");
  const auto update = [](ORXSimContextID context, int value) {
    ORXSimUpdate scope(context);
    const std::vector<int> many(300000, value);
    const bool written = RootOf(context).DatasetOpen("n").Write(kInt, &value, 1) &&
                         RootOf(context).DatasetOpen("many").Write(kInt, many.data(), many.size());
    return scope.Commit() && written;
  };
  const auto holds = [](ORXSimContextID context, int value) {
    const std::vector<int> many(300000, value);
    return Get(context) == value && platform_Fixture::Get(RootOf(context).DatasetOpen("many")) == many;
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

TEST_F(Journal, ALargeRewriteStandsInItOnce) {
  const std::string path = Path("a.pdm");
  Make(path, 1);
  Die([&] {
    const ORXSimContextID writer = Open(path);
    const hdf_Dataset large = platform_Fixture::Put(RootOf(writer), "large", std::vector<int>(300000));
    Set(writer, 2);
    ORXSimUpdate update(writer);
    for (int i = 1; i <= 20; ++i)
      large.Write(kInt, std::vector<int>(300000, i).data(), 300000);
    Set(writer, 3);
    update.Commit();
  });
  EXPECT_LT(std::filesystem::file_size(path + "-journal"), 3 * std::filesystem::file_size(path));
  EXPECT_EQ(Value(path), 3) << LastError();
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
    EXPECT_GE(s_atFirst.size(), 2u)
        << "the new file and a journal; the second journal may have the first one's number";
    s_atFirst[0] = journal;
    for (const auto& [number, made] : s_atFirst) {
      EXPECT_EQ(made.st_mode & 07777, static_cast<mode_t>(mode)) << mask;
      EXPECT_TRUE(made.st_uid == file.st_uid && made.st_gid == file.st_gid);
    }
  }
}

} // namespace
