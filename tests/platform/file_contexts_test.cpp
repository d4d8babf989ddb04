#include "platform_Fixture.h"

#include <hdf5.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {
using testing::HasSubstr;
constexpr auto kInt = hdf_Datatype(hdf_Datatype::kInt);
} // namespace

class FileContexts : public platform_Fixture {
 protected:
  void WriteNumber(ORXSimContextID context, const char* name, int value) {
    EXPECT_TRUE(RootOf(context).DatasetCreate(name, kInt, Line(1)).Write(kInt, &value, 1));
  }
  // What would be read if the process died now: by a copy of the file and its journal. -1: not there or unreadable.
  int ReadNumberAside(const std::string& path, const char* name) {
    const std::string copy = Path("copy.pdm");
    for (const char* part : {"", "-journal"})
      if (std::filesystem::exists(path + part))
        std::filesystem::copy_file(path + part, copy + part, std::filesystem::copy_options::overwrite_existing);
    const ORXSimContextID context = Open(copy, true);
    int value = -1;
    if (RootOf(context).GetObjinfoExists(name))
      RootOf(context).DatasetOpen(name).Read(kInt, &value, 1);
    ORXSimManager::CloseContext(context);
    return value;
  }
};

TEST_F(FileContexts, NumbersAreNeverReused) {
  const ORXSimContextID first = Create(Path("a.pdm"));
  EXPECT_TRUE(ORXSimManager::CloseContext(first));
  const ORXSimContextID second = Open(Path("a.pdm"));
  EXPECT_FALSE(second.IsNull() || second == first);
  EXPECT_TRUE(!ORXSimContextRef(first).File());
  EXPECT_TRUE(ORXSimManager::CloseContext(second));
  for (const int value : {-1, 1000000, -5}) {
    EXPECT_TRUE(!ORXSimContextRef(ORXSimContextID(value)).File());
    EXPECT_TRUE(ORXSimManager::CloseContext(ORXSimContextID(value)));
  }
}

TEST_F(FileContexts, AFileIsOpenForWritingOnce) {
  const std::string path = Path("a.pdm");
  const ORXSimContextID writer = Create(path);
  WriteNumber(writer, "n", 5);
  EXPECT_TRUE(Create(path).IsNull());
  EXPECT_THAT(LastError(), HasSubstr(path + ": create file: this process has the file open"));
  EXPECT_TRUE(Open(path).IsNull());
  EXPECT_TRUE(Open(path, true).IsNull());
  std::filesystem::create_symlink(path, Path("other name"));
  EXPECT_TRUE(Create(Path("other name")).IsNull());
  EXPECT_TRUE(ORXSimManager::CloseContext(writer));

  const ORXSimContextID reader = Open(path, true), second = Open(path, true);
  EXPECT_TRUE(Open(path).IsNull());
  EXPECT_TRUE(Create(path).IsNull());
  EXPECT_TRUE(ORXSimManager::CloseContext(reader));
  int value = 0;
  EXPECT_TRUE(RootOf(second).DatasetOpen("n").Read(kInt, &value, 1)) << "outlives the other reader";
  EXPECT_EQ(value, 5);
  EXPECT_TRUE(ORXSimManager::CloseContext(second));
}

TEST_F(FileContexts, AFileThatAnotherProgramHasOpenIsLeftAlone) {
  const std::string path = Path("a.pdm");
  ORXSimManager::CloseContext(Create(path));
  const auto size = std::filesystem::file_size(path);
  const int other =
      ::open(path.c_str(), O_RDWR | O_CLOEXEC); // a descriptor of its own, as in another program
  ASSERT_EQ(::flock(other, LOCK_SH), 0);
  EXPECT_TRUE(Create(path).IsNull());
  EXPECT_THAT(LastError(), HasSubstr("another process has the file open: close it there"));
  EXPECT_TRUE(Open(path).IsNull());
  EXPECT_EQ(std::filesystem::file_size(path), size);
  const ORXSimContextID reader = Open(path, true);
  EXPECT_FALSE(reader.IsNull());
  ORXSimManager::CloseContext(reader);
  ::close(other);
  const ORXSimContextID writer = Open(path);
  const int late = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  EXPECT_NE(::flock(late, LOCK_SH | LOCK_NB), 0) << "ours is seen by others";
  ::close(late);
  EXPECT_TRUE(ORXSimManager::CloseContext(writer));
}

TEST_F(FileContexts, CreateTruncatesClosedSimulationFilesOnly) {
  const std::string path = Path("a.pdm");
  ORXSimContextID context = Create(path);
  RootOf(context).GroupCreate("sim", 0);
  ORXSimManager::CloseContext(context);
  EXPECT_TRUE(ORXSimManager::CreateContext(path.c_str(), 1, 102, false, 1).IsNull());
  EXPECT_THAT(LastError(), HasSubstr("File exists"));
  context = Create(path);
  EXPECT_EQ(RootOf(context).NumLinks(), 0);
  ORXSimManager::CloseContext(context);

  std::ofstream(Path("notes.txt")) << "precious";
  EXPECT_TRUE(Create(Path("notes.txt")).IsNull());
  EXPECT_THAT(LastError(), HasSubstr("not overwritten"));
  EXPECT_EQ(std::filesystem::file_size(Path("notes.txt")), 8u);
  std::ofstream(Path("empty"));
  context = Create(Path("empty"));
  EXPECT_FALSE(context.IsNull());
  ORXSimManager::CloseContext(context);
}

TEST_F(FileContexts, UnknownVersionsFlagsAndOptionsAreRefused) {
  const cow_String path = Path("a.pdm").c_str();
  EXPECT_TRUE(ORXSimManager::CreateContext(path, 0, 103, false, 1).IsNull());
  EXPECT_THAT(LastError(), HasSubstr("103"));
  EXPECT_TRUE(ORXSimManager::CreateContext(path, 2, 102, false, 1).IsNull());
  EXPECT_TRUE(ORXSimManager::CreateContext(path, 0, 102, false, 3).IsNull());
  EXPECT_TRUE(ORXSimManager::OpenContext(path, 0, 102, false, 1).IsNull());
  EXPECT_THAT(LastError(), HasSubstr("No such file"));
  EXPECT_FALSE(std::filesystem::exists(path.CStr()));
}

TEST_F(FileContexts, NothingIsWrittenThroughAReadOnlyContext) {
  const std::string path = Path("a.pdm");
  ORXSimContextID context = Create(path);
  WriteNumber(context, "n", 5);
  ORXSimManager::CloseContext(context);
  context = Open(path, true);
  EXPECT_TRUE(ORXSimContextRef(context).ReadOnly());
  const int value = 6;
  hdf_Dataset dataset = RootOf(context).DatasetOpen("n");
  EXPECT_FALSE(dataset.Write(kInt, &value, 1) || dataset.Extend(5));
  EXPECT_THAT(LastError(), HasSubstr("for reading only"));
  EXPECT_TRUE(!RootOf(context).GroupCreate("g", 0));
  EXPECT_TRUE(ORXSimCollectionRef::Create(context, "c", 1).IsNull());
  EXPECT_TRUE(ORXSimContextRef(context).Commit());
  ORXSimManager::CloseContext(context);
}

TEST_F(FileContexts, OnlyTheOutermostScopeMakesTheCommitPoint) {
  const std::string path = Path("a.pdm");
  const ORXSimContextID context = Create(path);
  EXPECT_TRUE(ORXSimContextRef(context).Commit());
  WriteNumber(context, "n", 1);
  EXPECT_EQ(ReadNumberAside(path, "n"), -1);
  {
    ORXSimUpdate outer(context);
    {
      ORXSimUpdate inner(context);
      EXPECT_TRUE(ORXSimContextRef(context).Commit());
      EXPECT_TRUE(inner.Commit());
      EXPECT_FALSE(inner.Commit()) << "ended already";
    }
    { ORXSimUpdate abandoned(context); }
    EXPECT_EQ(ReadNumberAside(path, "n"), -1);
    EXPECT_TRUE(outer.Commit());
  }
  EXPECT_EQ(ReadNumberAside(path, "n"), 1);
  WriteNumber(context, "m", 2);
  { ORXSimUpdate abandoned(context); }
  EXPECT_EQ(ReadNumberAside(path, "m"), -1);
  EXPECT_TRUE(ORXSimContextRef(context).Commit());
  EXPECT_EQ(ReadNumberAside(path, "m"), 2);
  ORXSimManager::CloseContext(context);
}

TEST_F(FileContexts, AKilledWriterLeavesNoLock) {
  const std::string path = Path("a.pdm");
  const pid_t child = ::fork();
  if (child == 0) {
    const ORXSimContextID context = Create(path);
    ::_exit(ORXSimContextRef(context).Commit() ? 0 : 1);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  const ORXSimContextID context = Open(path);
  EXPECT_FALSE(context.IsNull()) << LastError();
  ORXSimManager::CloseContext(context);
}

namespace {
herr_t countingHandler(hid_t, void* calls) {
  ++*static_cast<int*>(calls);
  return 0;
}
} // namespace

TEST_F(FileContexts, TheHostsErrorHandlerAndTheTerminalAreLeftAlone) {
  int calls = 0;
  H5E_auto2_t before = nullptr;
  void* data = nullptr;
  H5Eget_auto2(H5E_DEFAULT, &before, &data);
  H5Eset_auto2(H5E_DEFAULT, &countingHandler, &calls);
  testing::internal::CaptureStderr();
  const ORXSimContextID context = Create(Path("a.pdm"));
  EXPECT_TRUE(!RootOf(context).GroupOpen("x") && !RootOf(context).AttributeOpen("x"));
  EXPECT_TRUE(Open(Path("missing")).IsNull() && Create(Path("")).IsNull());
  { const hdf_Group held = RootOf(context); }
  ORXSimManager::CloseContext(context);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(calls, 0);
  H5E_auto2_t after = nullptr;
  void* afterData = nullptr;
  H5Eget_auto2(H5E_DEFAULT, &after, &afterData);
  EXPECT_TRUE(after == &countingHandler && afterData == &calls);
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
  WriteNumber(context, "n", 3);
  UTI_ORXSimDynamicAPI_finalize(modules);
  EXPECT_EQ(modules, 0);
  EXPECT_TRUE(!root);
  EXPECT_EQ(ReadNumberAside(Path("a.pdm"), "n"), 3);
}
