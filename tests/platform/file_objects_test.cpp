#include "platform_Fixture.h"

#include <hdf5.h>

#include <numeric>

namespace {

std::vector<unsigned char> bytes(std::size_t n, unsigned seed) {
  std::vector<unsigned char> result(n);
  std::iota(result.begin(), result.end(), static_cast<unsigned char>(seed));
  return result;
}
} // namespace

class FileObjects : public platform_Fixture {
 protected:
  ~FileObjects() override {
    EXPECT_FALSE(ORXSimContextRef(m_context).Barred()) << "mistakes of the caller bar nothing";
    ORXSimManager::CloseContext(m_context);
  }

  ORXSimContextID m_context = Create(Path("a.pdm"));
  hdf_Group m_root = RootOf(m_context);

  static bool Holds(const hdf_Dataset& dataset, const std::vector<unsigned char>& expected) {
    std::vector<unsigned char> read(expected.size());
    return dataset.Read(kByte, read.data(), read.size()) && read == expected;
  }
};

TEST_F(FileObjects, AttributesMoveWholeAndRefuseOtherShapesAndKinds) {
  const int stamp[2] = {1523728409, 0};
  const hdf_Attribute attribute = m_root.AttributeCreate("type", kInt, Line(2));
  EXPECT_TRUE(attribute.Write(kInt, stamp));
  int read[3] = {};
  EXPECT_TRUE(m_root.AttributeOpen("type").Read(kInt, read, 2));
  EXPECT_EQ(read[0], stamp[0]);
  ExpectRefused(attribute.Read(kInt, read, 3), "2 elements where 3 were expected");
  double real[2];
  EXPECT_FALSE(attribute.Read(hdf_Datatype::NATIVE_DOUBLE, real, 2) || attribute.Read(kByte, read, 2));
  std::int64_t wide[2];
  EXPECT_TRUE(attribute.Read(hdf_Datatype::NATIVE_INT64, wide, 2));
  EXPECT_EQ(wide[0], stamp[0]);
  EXPECT_TRUE(!m_root.AttributeCreate("type", kInt, Line(2)));
  EXPECT_TRUE(m_root.AttributeExists("type") && !m_root.AttributeExists("class"));
}

TEST_F(FileObjects, NamesThatAreNotOneLinkAreRefused) {
  for (const char* name : {"", ".", "a/b", "/", "/a"}) {
    EXPECT_TRUE(!m_root.GroupCreate(name, 0)) << name;
    EXPECT_TRUE(!m_root.GroupOpen(name)) << name;
    EXPECT_TRUE(!m_root.DatasetCreate(name, kByte, Line(1))) << name;
    EXPECT_FALSE(m_root.GetObjinfoExists(name)) << name;
  }
  EXPECT_EQ(m_root.NumLinks(), 0);
  EXPECT_FALSE(!m_root.GroupCreate("..", 0)) << "an ordinary name";
}

TEST_F(FileObjects, AFailedObjectRepeatsItsFirstCause) {
  const hdf_Group missing = m_root.GroupCreate("sim", 0).GroupOpen("mesh");
  ExpectRefused(missing, Path("a.pdm") + ": /sim/mesh: open group: ", "no object of that name");
  const std::string cause = LastError();
  EXPECT_TRUE(!m_root.GroupOpen("elsewhere"));
  EXPECT_TRUE(!missing.DatasetOpen("x") && missing.Found() == ORXSimFound::kMissing);
  EXPECT_EQ(LastError(), cause);
  EXPECT_TRUE(m_root.Found() == ORXSimFound::kFound && m_root.Look("sim") == ORXSimFound::kFound);
  EXPECT_TRUE(m_root.Look("mesh") == ORXSimFound::kMissing);
  hdf_Group().GroupOpen("x");
  EXPECT_THAT(LastError(), HasSubstr("the object is empty"));
}

TEST_F(FileObjects, WritesReachTheFirstElementsOnlyAndReadsAreBounded) {
  for (const std::size_t extent : {100u, 1024u, 1025u, 5000u}) {
    const std::string name = "d" + std::to_string(extent);
    const hdf_Dataset dataset = m_root.DatasetCreate(name.c_str(), kByte, Line(extent));
    auto expected = bytes(60, 200);
    EXPECT_TRUE(dataset.Write(kByte, expected.data(), 60));
    expected.resize(extent, 0);
    EXPECT_TRUE(Holds(dataset, expected)) << "zeros behind the first write";
    expected = bytes(extent, 3);
    EXPECT_TRUE(dataset.Write(kByte, expected.data(), extent));
    EXPECT_TRUE(dataset.Write(kByte, expected.data() + 1, 60));
    std::copy_n(bytes(61, 3).begin() + 1, 60, expected.begin());
    EXPECT_TRUE(Holds(dataset, expected)) << extent;
    EXPECT_TRUE(dataset.Write(kByte, nullptr, 0));
    EXPECT_FALSE(dataset.Write(kByte, expected.data(), extent + 1));
    EXPECT_FALSE(dataset.Read(kByte, expected.data(), extent + 1));
  }
}

TEST_F(FileObjects, ExtendingAndReplacingReachEveryOpenValue) {
  hdf_Dataset dataset = m_root.GroupCreate("g", 0).DatasetCreate("#s", kByte, Line(100));
  const hdf_Dataset other = m_root.GroupOpen("g").DatasetOpen("#s");
  auto expected = bytes(100, 9);
  EXPECT_TRUE(dataset.Write(kByte, expected.data(), 100));
  for (const std::uint64_t room : {900u, 2000u, 500u, 200000u}) {
    EXPECT_TRUE(dataset.Extend(room));
    EXPECT_GE(dataset.GetSpace().Elements(), room);
    EXPECT_TRUE(Holds(dataset, expected));
    EXPECT_TRUE(Holds(other, expected)) << "opened through another group value";
    expected = bytes(static_cast<std::size_t>(room), static_cast<unsigned>(room));
    EXPECT_TRUE(other.Write(kByte, expected.data(), room));
    EXPECT_TRUE(Holds(m_root.GroupOpen("g").DatasetOpen("#s"), expected));
  }
  // Creating it again replaces it for everyone.
  const int values[3] = {1, 2, 3};
  EXPECT_TRUE(m_root.GroupOpen("g").DatasetCreate("#s", kInt, Line(3)).Write(kInt, values, 3));
  int read[3] = {};
  EXPECT_TRUE(dataset.Read(kInt, read, 3) && read[2] == 3);
  EXPECT_EQ(m_root.GroupOpen("g").NumLinks(), 1);
}

// More groups than the context keeps datasets open for; the handles in the file stay bounded, and each object
// stays small on disk.
TEST_F(FileObjects, ThousandsOfLiveGroupsKeepWorking) {
  constexpr int kObjects = 3000;
  std::vector<hdf_Group> groups;
  {
    ORXSimUpdate update(m_context);
    for (int i = 0; i < kObjects; ++i) {
      groups.push_back(m_root.GroupCreate(std::to_string(i).c_str(), 0));
      const auto content = bytes(200, static_cast<unsigned>(i));
      ASSERT_TRUE(groups.back().AttributeCreate("class", kByte, Line(80)).Write(kByte, content.data()));
      ASSERT_TRUE(groups.back().DatasetCreate("#s", kByte, Line(200)).Write(kByte, content.data(), 200));
    }
    EXPECT_TRUE(update.Commit());
  }
  EXPECT_LE(H5Fget_obj_count(static_cast<hid_t>(H5F_OBJ_ALL), H5F_OBJ_DATASET), 256);
  for (int pass = 0; pass < 2; ++pass)
    for (int i = kObjects - 1; i >= 0; i -= 7)
      ASSERT_TRUE(
          Holds(groups[static_cast<std::size_t>(i)].DatasetOpen("#s"), bytes(200, static_cast<unsigned>(i))));
  groups.erase(groups.begin() + 10, groups.end());
  EXPECT_TRUE(ORXSimManager::CloseContext(m_context));
  EXPECT_EQ(H5Fget_obj_count(static_cast<hid_t>(H5F_OBJ_ALL), H5F_OBJ_ALL), 0);
  EXPECT_LE(std::filesystem::file_size(Path("a.pdm")) / kObjects, 700u);
}

TEST_F(FileObjects, EveryCallIsSafeAfterTheContextClosed) {
  const hdf_File file = ORXSimContextRef(m_context).File();
  const hdf_Group group = m_root.GroupCreate("g", 0);
  const hdf_Attribute attribute = group.AttributeCreate("a", kInt, Line(1));
  hdf_Dataset dataset = group.DatasetCreate("d", kInt, Line(1));
  ORXSimUpdate update(m_context);
  EXPECT_TRUE(ORXSimManager::CloseContext(m_context));
  EXPECT_TRUE(ORXSimManager::CloseContext(m_context));
  int value = 0;
  EXPECT_TRUE(!file && !group && !attribute && !dataset && !file.RootGroup());
  EXPECT_TRUE(!group.GroupCreate("x", 0) && !group.GroupOpen("x") && !group.DatasetOpen("d"));
  EXPECT_TRUE(!group.AttributeOpen("a") && !group.DatasetCreate("d", kInt, Line(1)));
  EXPECT_FALSE(attribute.Write(kInt, &value) || attribute.Read(kInt, &value, 1));
  EXPECT_FALSE(dataset.Write(kInt, &value, 1) || dataset.Read(kInt, &value, 1) || dataset.Extend(9));
  EXPECT_EQ(dataset.GetSpace().Elements() + attribute.GetSpace().Elements(), 0u);
  EXPECT_TRUE(group.NumLinks() == -1 && group.Path().Empty());
  for (const ORXSimFound found :
       {group.Found(), group.Look("d"), group.GroupOpen("x").Found(), dataset.Found(),
        dataset.Fetch(kInt, &value, 1), attribute.Fetch(kInt, &value, 1)})
    EXPECT_TRUE(found == ORXSimFound::kUnreadable);
  EXPECT_FALSE(group.GetObjinfoExists("d") || group.AttributeExists("a") || update.Commit());
  ExpectRefused(ORXSimContextRef(m_context).Commit(), "not open");
}
