#include "platform_Fixture.h"

#include <hdf5.h>

#include <sys/stat.h>
#include <unistd.h>

// HDF5 1.10 itself loses memory when it reads damaged metadata; ours is still checked.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions() {
  return "leak:libhdf5\n";
}

class FileDamage : public platform_Fixture {
 protected:
  void ExpectNotOpened(const std::string& path, const std::string& cause) {
    for (const bool readOnly : {false, true}) {
      ExpectRefused(Open(path, readOnly), path + ": open file: " + cause);
      EXPECT_EQ(LastError().find('\n'), std::string::npos);
    }
  }
};

TEST_F(FileDamage, WhatIsNoSimulationFileIsRefusedWithItsCause) {
  ExpectNotOpened(m_directory.Name(), "is a directory");
  ExpectNotOpened(Path("missing"), "No such file or directory");
  std::ofstream(Path("empty"));
  ExpectNotOpened(Path("empty"), "the file is empty");
  std::ofstream(Path("text")) << "\x89HDF but not one";
  ExpectNotOpened(Path("text"), "not an HDF5 file");
  ::mkfifo(Path("pipe").c_str(), 0600);
  ExpectNotOpened(Path("pipe"), "not a regular file");
  if (::geteuid() != 0) {
    std::ofstream(Path("closed")) << "x";
    ::chmod(Path("closed").c_str(), 0);
    ExpectNotOpened(Path("closed"), "Permission denied");
  }
}

TEST_F(FileDamage, ATruncatedFileSaysHowMuchIsMissing) {
  const std::string path = Path("a.pdm");
  const ORXSimContextID context = Create(path);
  const std::vector<int> values(5000, 1);
  EXPECT_TRUE(RootOf(context).DatasetCreate("d", kInt, Line(5000)).Write(kInt, values.data(), 5000));
  ORXSimManager::CloseContext(context);
  const auto size = std::filesystem::file_size(path);
  std::filesystem::resize_file(path, size - 1000);
  ExpectNotOpened(path, "file is truncated: " + std::to_string(size - 1000) + " bytes, " +
                            std::to_string(size) + " expected");
  for (const unsigned length : {95u, 47u, 20u}) {
    std::filesystem::resize_file(path, length);
    EXPECT_TRUE(Open(path).IsNull()) << length;
  }
}

TEST_F(FileDamage, ForeignObjectsOfUnexpectedKindsAreRefused) {
  const std::string path = Path("foreign.h5");
  ASSERT_EQ(Peer("make-foreign " + path), 0);
  const ORXSimContextID context = Open(path);
  ASSERT_FALSE(context.IsNull()) << LastError();
  const hdf_Group root = RootOf(context);
  ExpectRefused(root.GroupOpen("soft"), "soft or external link");
  ExpectRefused(root.DatasetOpen("external"), "soft or external link");
  EXPECT_FALSE(root.GetObjinfoExists("soft") || root.GetObjinfoExists("external"));
  ExpectRefused(root.DatasetOpen("huge"), "larger than what the file stores");
  ExpectRefused(root.DatasetOpen("huge chunked"), "larger than what the file stores");
  ExpectRefused(root.DatasetOpen("no size"), "elements of no size");
  ExpectRefused(root.DatasetOpen("outside"), "in another file");
  ExpectRefused(root.DatasetOpen("virtual"), "in another file");
  int value[3] = {};
  ExpectRefused(root.AttributeOpen("text").Read(kInt, value, 1), "another type");
  ExpectRefused(root.AttributeOpen("large").Read(kInt, value, 1), "too large");
  ExpectRefused(root.AttributeOpen("some bits").Read(kInt, value, 1), "another type");
  float halves[2] = {};
  ExpectRefused(root.DatasetOpen("no IEEE").Read(hdf_Datatype::NATIVE_FLOAT, halves, 2), "another type");
  EXPECT_TRUE(root.DatasetOpen("half").Read(hdf_Datatype::NATIVE_FLOAT, halves, 2)) << LastError();
  EXPECT_EQ(halves[1], -2.0f);
  EXPECT_TRUE(root.AttributeOpen("scalar").Read(kInt, value, 1)) << LastError();
  EXPECT_EQ(value[0], -7);
  ExpectRefused(root.DatasetOpen("wide").Read(kInt, value, 3), "wide: read dataset");
  EXPECT_TRUE(root.DatasetOpen("wide").Read(kInt, value, 2)) << LastError();
  EXPECT_EQ(value[1], -2);
  ExpectRefused(root.DatasetOpen("texts").Read(kByte, value, 1), "another type");
  ExpectRefused(root.DatasetOpen("wide").Read(kByte, value, 1), "another type");
  std::vector<int> zeros(100000, 1);
  EXPECT_TRUE(root.DatasetOpen("deflated").Read(kInt, zeros.data(), zeros.size())) << LastError();
  EXPECT_EQ(zeros, std::vector<int>(100000));
  // The old format can be written to as well.
  EXPECT_FALSE(!root.GroupCreate("sim", 0).DatasetCreate("#s", kByte, Line(5)));
  EXPECT_TRUE(ORXSimManager::CloseContext(context)) << LastError();
  EXPECT_EQ(Peer("check-foreign " + path), 0);
}
