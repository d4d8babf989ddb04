// Live readers: what they look at stays, and their writer gets along with them.
#include "platform_JournalFixture.h"

#include <H5Journal/H5Journal.h>

#include <UTI_ORXSimDynamicAPI/ORXSim_Journal.h>

#include <dlfcn.h>
#include <sys/stat.h>

// The same: something happens before a file is read.
static std::function<void(int)> s_beforeRead;
extern "C" [[gnu::visibility("default")]] ssize_t pread(int file, void* bytes, size_t count, off_t at) {
  static const auto s_system = reinterpret_cast<decltype(&pread)>(::dlsym(RTLD_NEXT, "pread"));
  if (s_beforeRead)
    s_beforeRead(file);
  return s_system(file, bytes, count, at);
}

namespace {

using Live = platform_JournalFixture;

// Between a live reader's look at the file and that at the journal the writer goes on and ends. And a child
// that refreshes leaves its parent the share that keeps writers from what the parent looks at.
TEST_F(Live, ALiveReaderIsNeitherRefusedForAMomentNorDisturbedByAChild) {
  const std::string path = Path("a.pdm"), journal = path + "-journal";
  Make(path, 1);
  sys_Process writer([&](const auto& pause) {
    const ORXSimContextID context = Open(path);
    Set(context, 2);
    pause();
    platform_Fixture::Put(RootOf(context), "more", std::vector<int>(5000));
    Set(context, 3);
  });
  s_beforeRead = [&](int file) {
    struct stat read, named;
    if (::fstat(file, &read) == 0 && ::stat(journal.c_str(), &named) == 0 && read.st_ino == named.st_ino)
      writer.GoOn();
  };
  const ORXSimContextID reader = OpenLive(path);
  s_beforeRead = nullptr;
  EXPECT_EQ(Get(reader), 3) << LastError();
  ORXSimManager::CloseContext(reader);
  const hid_t access = H5Pcreate(H5P_FILE_ACCESS);
  const H5J_options_t live{H5J_OPTIONS_VERSION, H5J_PROCESS, true, 0, 0, 0};
  EXPECT_GE(H5Pset_fapl_journal(access, &live), 0);
  const hid_t plain = H5Fopen(path.c_str(), H5F_ACC_RDONLY, access);
  Die([&] { H5Jrefresh(plain); });
  const ORXSimContextID next = Open(path);
  EXPECT_TRUE(Set(next, 4) && ORXSimManager::CloseContext(next)) << LastError();
  EXPECT_TRUE(std::filesystem::exists(journal));
  EXPECT_TRUE(H5Fclose(plain) >= 0 && H5Pclose(access) >= 0);
  EXPECT_EQ(Value(path), 4) << LastError();
}

TEST_F(Live, PersistentFreeSpaceIsRefused) {
  const hid_t access = H5Pcreate(H5P_FILE_ACCESS), creation = H5Pcreate(H5P_FILE_CREATE);
  EXPECT_GE(H5Pset_fapl_journal(access, nullptr), 0);
  H5Pset_file_space_strategy(creation, H5F_FSPACE_STRATEGY_FSM_AGGR, true, 1);
  H5Pset_libver_bounds(access, H5F_LIBVER_V110, H5F_LIBVER_V110);
  const hid_t persistent = H5Fcreate(Path("b.h5").c_str(), H5F_ACC_TRUNC, creation, access);
  EXPECT_LT(H5Jcommit(persistent), 0);
  EXPECT_THAT(H5Jlast_error(), HasSubstr("the file has persistent free space"));
  EXPECT_LT(H5Jclose(persistent), 0);
  EXPECT_TRUE(H5Pclose(creation) >= 0 && H5Pclose(access) >= 0 && All().empty());
}

TEST_F(Live, DoesNotGrowForAsLongAsSomebodyReads) {
  constexpr int kLast = 3000; // 12 MB of frames
  const std::string path = Path("a.pdm"), journal = path + "-journal";
  const ORXSimContextID writer = Create(path);
  Set(writer, 0);
  const ORXSimContextID reader = OpenLive(path);
  std::int64_t longest = 0;
  for (int value = 1; value <= kLast; ++value) {
    ASSERT_TRUE(Set(writer, value)) << LastError();
    longest = std::max(longest, ORXSimContextRef(writer).LastCommit().journalBytes);
  }
  EXPECT_GT(longest, 4 << 20);
  EXPECT_LT(longest, 5 << 20);
  const hdf_Dataset held = RootOf(reader).DatasetOpen("n");
  const auto epoch = ORXSimContextRef(reader).Epoch();
  EXPECT_EQ(Get(reader), 0);
  const int uncommitted = -1;
  EXPECT_TRUE(RootOf(writer).DatasetOpen("n").Write(kInt, &uncommitted, 1));
  EXPECT_TRUE(ORXSimManager::Refresh(reader)) << LastError();
  int seen = 0;
  EXPECT_TRUE(held.Read(kInt, &seen, 1) && seen == kLast) << seen;
  EXPECT_GT(ORXSimContextRef(reader).Epoch(), epoch);
  EXPECT_FALSE(held.Write(kInt, &seen, 1));
  EXPECT_TRUE(Set(writer, kLast));
  ExpectRefused(ORXSimManager::Refresh(writer), "not open for live reading");
  ORXSimManager::CloseContext(writer);
  ExpectRefused(ORXSimJournal::Apply(path.c_str()), "live readers have the file open");
  ORXSimManager::CloseContext(reader);
  Put(journal + "-next", sys_Bytes(journal).substr(0, 700)); // of a writer that died
  EXPECT_EQ(Value(path), kLast);
  EXPECT_FALSE(std::filesystem::exists(journal) || std::filesystem::exists(journal + "-next"));
}

} // namespace
