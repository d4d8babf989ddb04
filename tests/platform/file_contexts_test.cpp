#include "platform_Fixture.h"

#include <hdf5.h>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

class FileContexts : public platform_Fixture {};

TEST_F(FileContexts, AFileIsOpenForWritingOnce) {
  const std::string path = Path("a.pdm");
  const ORXSimContextID writer = Create(path);
  Put(RootOf(writer), "n", {5});
  ExpectRefused(Create(path), path + ": create file: this process has the file open");
  EXPECT_TRUE(Open(path).IsNull());
  EXPECT_TRUE(Open(path, true).IsNull());
  std::filesystem::create_symlink(path, Path("other name"));
  EXPECT_TRUE(Create(Path("other name")).IsNull());
  EXPECT_TRUE(ORXSimManager::CloseContext(writer));

  const ORXSimContextID reader = Open(path, true), second = Open(path, true);
  EXPECT_FALSE(reader == writer || reader == second) << "numbers are never used again";
  for (const ORXSimContextID none : {writer, ORXSimContextID(-5), ORXSimContextID(1000000)})
    EXPECT_TRUE(!ORXSimContextRef(none).File() && ORXSimManager::CloseContext(none));
  EXPECT_TRUE(Open(path).IsNull());
  EXPECT_TRUE(Create(path).IsNull());
  EXPECT_TRUE(ORXSimManager::CloseContext(reader));
  EXPECT_EQ(Get(RootOf(second).DatasetOpen("n")), std::vector{5}) << "outlives the other reader";
  EXPECT_TRUE(ORXSimContextRef(second).ReadOnly() && ORXSimContextRef(second).Commit());
  const int value = 6;
  hdf_Dataset dataset = RootOf(second).DatasetOpen("n");
  ExpectRefused(dataset.Write(kInt, &value, 1) || dataset.Extend(5) || !!RootOf(second).GroupCreate("g", 0),
                "for reading only");
  EXPECT_TRUE(ORXSimCollectionRef::Create(second, "c", 1).IsNull());
  EXPECT_TRUE(ORXSimManager::CloseContext(second));
}

TEST_F(FileContexts, AFileThatAnotherProgramHasOpenIsLeftAlone) {
  const std::string path = Path("a.pdm");
  ORXSimManager::CloseContext(Create(path));
  const auto size = std::filesystem::file_size(path);
  const int other = ::open(path.c_str(), O_RDWR | O_CLOEXEC); // its own descriptor, as in another program
  ASSERT_EQ(::flock(other, LOCK_SH), 0);
  ExpectRefused(Create(path), "another process has the file open: close it there");
  EXPECT_TRUE(Open(path).IsNull());
  EXPECT_EQ(std::filesystem::file_size(path), size);
  const ORXSimContextID reader = Open(path, true);
  EXPECT_TRUE(!reader.IsNull() && ORXSimManager::CloseContext(reader));
  ::close(other);
  const ORXSimContextID writer = Open(path);
  const int late = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  EXPECT_NE(::flock(late, LOCK_SH | LOCK_NB), 0) << "ours is seen by others";
  ::close(late);
  EXPECT_TRUE(ORXSimManager::CloseContext(writer));
}

TEST_F(FileContexts, CreateTruncatesClosedSimulationFilesOnly) {
  const std::string path = Path("a.pdm");
  ORXSimManager::CloseContext(Create(path));
  ExpectRefused(ORXSimManager::CreateContext(path.c_str(), 1, 102, false, 1), "File exists");
  std::ofstream(Path("notes.txt")) << "precious";
  ExpectRefused(Create(Path("notes.txt")), "not overwritten");
  EXPECT_EQ(std::filesystem::file_size(Path("notes.txt")), 8u);
  std::ofstream(Path("empty"));
  const ORXSimContextID context = Create(Path("empty"));
  EXPECT_TRUE(!context.IsNull() && ORXSimManager::CloseContext(context)) << LastError();
}

TEST_F(FileContexts, AFileAppearsAndIsReplacedWithItsFirstCommitPoint) {
  const std::string path = Path("a.pdm");
  for (const auto& [flags, replaces] : {std::pair(0, false), {3, false}, {0, true}, {2, true}})
    for (const char* const what : {"nothing", "taken back", "written"}) {
      std::filesystem::remove(path);
      if (replaces) {
        const ORXSimContextID old = Create(path);
        EXPECT_TRUE(!!RootOf(old).GroupCreate("old", 0) && ORXSimManager::CloseContext(old));
      }
      const std::string before = sys_Bytes(path);
      const ORXSimContextID context = ORXSimManager::CreateContext(path.c_str(), flags, 102, false, 2);
      for (int round = *what == 'n' ? 2 : 0; round < 2; ++round) {
        ORXSimUpdate update(context);
        EXPECT_TRUE(!!RootOf(context).GroupCreate("x", 0)) << LastError();
        EXPECT_EQ(RootOf(context).NumLinks(), 1) << "without what was taken back";
        EXPECT_TRUE(sys_Bytes(path) == before) << what;
        EXPECT_TRUE(*what != 'w' || (round == 0 ? update.Rollback() : update.Commit())) << LastError();
      }
      EXPECT_TRUE(ORXSimManager::CloseContext(context));
      const bool changes = *what == 'w' || (*what == 'n' && flags == 0); // who asks for it gets no empty one
      EXPECT_EQ(std::filesystem::exists(path), replaces || changes) << what << flags;
      EXPECT_EQ(sys_Bytes(path) != before, changes) << what << flags;
    }
}

TEST_F(FileContexts, UnknownVersionsFlagsAndOptionsAreRefused) {
  const cow_String path = Path("a.pdm").c_str();
  ExpectRefused(ORXSimManager::CreateContext(path, 0, 103, false, 1), "103");
  EXPECT_TRUE(ORXSimManager::CreateContext(path, 4, 102, false, 1).IsNull());
  EXPECT_TRUE(ORXSimManager::CreateContext(path, 0, 102, false, 3).IsNull());
  EXPECT_FALSE(std::filesystem::exists(path.CStr()));
}

TEST_F(FileContexts, TheHostsErrorHandlerAndTheTerminalAreLeftAlone) {
  int calls = 0;
  H5E_auto2_t before = nullptr;
  void* data = nullptr;
  H5Eget_auto2(H5E_DEFAULT, &before, &data);
  const auto count = [](hid_t, void* counter) { return ++*static_cast<int*>(counter), herr_t{0}; };
  H5Eset_auto2(H5E_DEFAULT, count, &calls);
  testing::internal::CaptureStderr();
  const ORXSimContextID context = Create(Path("a.pdm"));
  EXPECT_TRUE(!RootOf(context).GroupOpen("x") && !RootOf(context).AttributeOpen("x"));
  EXPECT_TRUE(Open(Path("missing")).IsNull() && Create(Path("")).IsNull());
  { const hdf_Group held = RootOf(context); }
  ORXSimManager::CloseContext(context);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(calls, 0);
  H5Gopen2(-1, "x", H5P_DEFAULT);
  EXPECT_EQ(calls, 1) << "still called for the host's own mistakes";
  H5Eset_auto1(nullptr, nullptr); // a host of the old interface
  EXPECT_TRUE(Open(Path("missing")).IsNull());
  unsigned isNew = 1;
  H5Eauto_is_v2(H5E_DEFAULT, &isNew);
  EXPECT_EQ(isNew, 0u);
  H5Eset_auto2(H5E_DEFAULT, before, data);
}

TEST_F(FileContexts, TheLastFinaliserClosesWhatIsOpenAndTheModuleComesUpAgain) {
  int modules = 0;
  UTI_ORXSimDynamicAPI_initialize(modules);
  const ORXSimContextID context = Create(Path("a.pdm"), 0);
  const hdf_Group root = RootOf(context);
  Put(RootOf(context), "n", {3});
  UTI_ORXSimDynamicAPI_finalize(modules);
  EXPECT_EQ(modules, 0);
  EXPECT_TRUE(!root);
  const ORXSimContextID again = Open(Path("a.pdm"), true);
  EXPECT_EQ(Get(RootOf(again).DatasetOpen("n")), std::vector{3});
  ORXSimManager::CloseContext(again);
}
