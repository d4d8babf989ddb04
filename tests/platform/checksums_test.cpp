// Checksums of bulk data: files are damaged byte by byte on disk, at the place that HDF5 names.

#include "platform_Fixture.h"

#include <UTI_ORXSimDynamicAPI/hdf_Checksum.h>
#include <hdf5.h>

#include <algorithm>
#include <functional>
#include <numeric>
#include <random>
#include <vector>

namespace {
using testing::ElementsAre;
using testing::HasSubstr;

constexpr int kRows = 100'000, kBlock = 8192; // 64 KiB of doubles
constexpr const char* kDrawer = "store/distributions/1/0";

void withDataset(const std::string& file, const std::string& dataset,
                 const std::function<void(hid_t)>& apply) {
  const hid_t opened = H5Fopen(file.c_str(), H5F_ACC_RDWR, H5P_DEFAULT);
  const hid_t data = H5Dopen2(opened, dataset.c_str(), H5P_DEFAULT);
  apply(data);
  H5Dclose(data);
  ASSERT_GE(H5Fclose(opened), 0);
}

// Where the data of a dataset begins: a contiguous one, or the first chunk.
std::int64_t offsetOf(const std::string& file, const std::string& dataset) {
  haddr_t offset = HADDR_UNDEF;
  withDataset(file, dataset, [&](hid_t data) {
    offset = H5Dget_offset(data);
    const hsize_t first[2] = {};
    hsize_t size = 0;
    unsigned filters = 0;
    if (offset == HADDR_UNDEF)
      H5Dget_chunk_info_by_coord(data, first, &filters, &offset, &size);
  });
  return static_cast<std::int64_t>(offset);
}

void flip(const std::string& file, std::int64_t offset) {
  std::fstream stream(file, std::ios::in | std::ios::out | std::ios::binary);
  stream.seekg(offset);
  const char byte = static_cast<char>(stream.get() ^ 0x10);
  stream.seekp(offset).put(byte);
  ASSERT_TRUE(stream.good());
}
} // namespace

class Checksums : public platform_Fixture {
 protected:
  ~Checksums() override { ORXSimManager::CloseContext(m_context); }

  template <class Values>
  static auto& At(Values& values, int i) {
    return values[static_cast<std::size_t>(i)];
  }
  void Reopen(bool readOnly = false) {
    m_context = Open(m_file, readOnly);
    ASSERT_FALSE(m_context.IsNull()) << LastError();
  }
  void Close() { ASSERT_TRUE(ORXSimManager::CloseContext(m_context)); }
  ORXSimDistributionRef Field() const { return ORXSimDistributionRef(ORXSimDistributionID(m_context, 1)); }
  ORXSimCollectionRef Nodes() const { return ORXSimCollectionRef(ORXSimCollectionID(m_context, 1)); }

  void Make(int chunk = 0, int deflate = 0) {
    ORXSimManager::CloseContext(m_context);
    m_context = Create(m_file);
    ORXSimCollectionRef::Create(m_context, "nodes", kRows);
    const ORXSimDrawerDescription drawer{
        .members = Nodes().FullCSet(), .chunkItems = chunk, .deflate = deflate};
    ASSERT_EQ(ORXSimDistributionRef::Create(m_context, "field", "", &drawer, 1).Minor(), 1) << LastError();
    m_values.resize(kRows);
    std::iota(m_values.begin(), m_values.end(), 0.25);
  }
  bool Write(int first, int count) const {
    return Field().WriteItems(0, first, count, &At(m_values, first), Bytes(count));
  }
  /// Reads rows and compares them. \return false when reading failed.
  bool Read(int first, int count) const {
    std::vector<double> rows(static_cast<std::size_t>(count));
    if (!Field().ReadItems(0, first, count, rows.data(), Bytes(count)))
      return false;
    EXPECT_TRUE(std::equal(rows.begin(), rows.end(), &At(m_values, first))) << first << " " << count;
    return true;
  }
  static std::int64_t Bytes(int rows) { return std::int64_t{rows} * 8; }

  const std::string m_file = Path("a.pdm");
  ORXSimContextID m_context;
  std::vector<double> m_values;
};

// Of the hash's own test program: bytes of a generator, their number, seed and sum. The long ones take the
// wide registers of the machine if it has them.
TEST(Checksum, GivesThePublishedValues) {
  constexpr std::uint64_t kSeed = 0x9E3779B185EBCA8D;
  std::vector<unsigned char> bytes(2367);
  for (std::uint64_t i = 0, generator = 2654435761; i < bytes.size(); ++i, generator *= kSeed)
    bytes[i] = static_cast<unsigned char>(generator >> 56);
  EXPECT_EQ(hdf_Checksum(nullptr, 0), 0x2D06800538D394C2);
  EXPECT_EQ(hdf_Checksum(bytes.data(), 6), 0x27B56A84CD2D7325);
  EXPECT_EQ(hdf_Checksum(bytes.data(), 2048), 0xDD59E2C3A5F038E0);
  EXPECT_EQ(hdf_Checksum(bytes.data(), 2048, kSeed), 0x66F81670669ABABC);
  EXPECT_EQ(hdf_Checksum(bytes.data(), 2367), 0xCB37AEB9E5D361ED);
}

TEST_F(Checksums, DamageIsFoundInItsBlockAndNowhereElse) {
  Make();
  ASSERT_TRUE(Write(0, kRows)) << LastError();
  Close();
  flip(m_file, offsetOf(m_file, kDrawer) + Bytes(5 * kBlock + 100) + 3);
  Reopen();
  const ORXSimVerification found = Field().Verify(0);
  EXPECT_TRUE(found.opened && found.hasChecksums && found.unwritten.empty());
  EXPECT_EQ(found.blocks, 13);
  EXPECT_THAT(found.damaged, ElementsAre(5));

  ExpectRefused(Read(0, kRows), "/store/distributions/1/0: read drawer");
  EXPECT_THAT(LastError(), HasSubstr("block 5 (rows 40960 to 49151) does not match its checksum"));
  EXPECT_TRUE(Read(0, 5 * kBlock)) << LastError();
  EXPECT_TRUE(Read(6 * kBlock, kRows - 6 * kBlock)) << LastError();
  EXPECT_FALSE(Read(6 * kBlock - 1, 2)); // a row of the block that is whole itself
  EXPECT_FALSE(Write(6 * kBlock - 1, 1)) << "a new checksum would hide the damage";
  EXPECT_FALSE(Write(4 * kBlock, 2 * kBlock - 1));
  EXPECT_TRUE(Write(5 * kBlock, kBlock)) << LastError();
  EXPECT_TRUE(Field().Verify(0).Good() && Read(0, kRows)) << LastError();
}

// Ranges of all kinds in every layout, against a copy in memory.
TEST_F(Checksums, PartialWritesKeepEveryBlocksSumAndDamageIsFoundInEveryLayout) {
  std::mt19937 random(11);
  for (const auto& [chunk, deflate, blockRows] :
       {std::tuple(0, 0, kBlock), std::tuple(3000, 0, 9000), std::tuple(30'000, 4, 30'000)}) {
    Make(chunk, deflate);
    const int blocks = (kRows + blockRows - 1) / blockRows;
    EXPECT_EQ(static_cast<int>(Field().Verify(0).unwritten.size()), blocks);
    std::vector<double> stored(kRows, 0.0); // of a block that is written in part the rest is zero
    std::vector<bool> written(static_cast<std::size_t>(blocks));
    for (int round = 0; round < 25; ++round) {
      const int first = static_cast<int>(random() % kRows);
      const int most = std::min(kRows - first, round % 3 == 0 ? kRows : 2 * blockRows);
      const int count = 1 + static_cast<int>(random() % static_cast<unsigned>(most));
      for (int row = first; row < first + count; ++row) {
        At(stored, row) = static_cast<double>(random());
        written[static_cast<std::size_t>(row / blockRows)] = true;
      }
      m_values = stored;
      ASSERT_TRUE(Write(first, count)) << LastError();
      if (round == 12) {
        Close();
        Reopen();
      }
    }
    const ORXSimVerification found = Field().Verify(0);
    EXPECT_TRUE(found.Good()) << LastError();
    EXPECT_EQ(found.blockRows, blockRows);
    EXPECT_EQ(static_cast<int>(found.unwritten.size()), std::count(written.begin(), written.end(), false));
    for (int block = 0; block < blocks; ++block) {
      const int start = block * blockRows, count = std::min(blockRows, kRows - start);
      const bool wanted = written[static_cast<std::size_t>(block)];
      EXPECT_TRUE(!wanted || (Read(start, count) && Read(start + count / 3, count / 2))) << LastError();
    }
    Close();
    flip(m_file, offsetOf(m_file, kDrawer) + 1000);
    Reopen(true);
    EXPECT_THAT(Field().Verify(0).damaged, ElementsAre(0));
    EXPECT_FALSE(Read(blockRows - 1, 2));
    EXPECT_TRUE(Read(blockRows, kRows - blockRows)) << LastError();
  }
}

TEST_F(Checksums, WithoutTheAttributeNothingIsChecked) {
  Make();
  ASSERT_TRUE(Write(0, kRows));
  Close();
  withDataset(m_file, kDrawer, [](hid_t data) { EXPECT_GE(H5Adelete(data, "checksums"), 0); });
  flip(m_file, offsetOf(m_file, kDrawer) + 6);
  Reopen();
  double first = 0;
  EXPECT_TRUE(Field().ReadItems(0, 0, 1, &first, 8)) << LastError();
  EXPECT_NE(first, m_values[0]);
  EXPECT_TRUE(Write(0, 1) && Read(0, kRows)) << LastError();
  EXPECT_FALSE(Field().Verify(0).hasChecksums);
  EXPECT_TRUE(Field().Verify(0).Good());
  Close();
  // An attribute of that name that cannot be the sums is damage, no older file.
  withDataset(m_file, kDrawer, [](hid_t data) {
    const hid_t space = H5Screate(H5S_SCALAR);
    H5Aclose(H5Acreate2(data, "checksums", H5T_STD_U64LE, space, H5P_DEFAULT, H5P_DEFAULT));
    H5Sclose(space);
  });
  Reopen();
  ExpectRefused(Read(0, 1) || Write(0, kRows) || Field().Verify(0).opened,
                "attribute 'checksums' is not 13 unsigned numbers");
}

TEST_F(Checksums, AnUnwrittenDrawerOfASetThatIsNotThereSaysThat) {
  Make(1000);
  Close();
  withDataset(m_file, kDrawer, [](hid_t data) {
    const hid_t members = H5Aopen(data, "members", H5P_DEFAULT);
    const int noSet[] = {7, 0};
    EXPECT_GE(H5Awrite(members, H5T_NATIVE_INT, noSet), 0);
    H5Aclose(members);
  });
  Reopen(true);
  ExpectRefused(Field().DataSizeItems(0) != 0, "/store/collections/7: size of a drawer's member set: ");
}

TEST_F(Checksums, ADamagedMemberSetIsRefused) {
  Make();
  std::vector<int> members(kRows);
  std::iota(members.rbegin(), members.rend(), 0);
  ASSERT_FALSE(Nodes().CreateOrderedCSet(members.data(), kRows).IsNull()) << LastError();
  ASSERT_FALSE(Nodes().CreateOrderedCSet(members.data(), 10).IsNull()) << LastError();
  Close();
  flip(m_file, offsetOf(m_file, "store/collections/1/sets/1") + 4 * 20'000); // still an item
  Reopen(true);
  const ORXSimCSet large(ORXSimCSetID(Nodes().ID(), 1)), small(ORXSimCSetID(Nodes().ID(), 2));
  EXPECT_FALSE(large.OrderedMembers(members.data(), kRows));
  EXPECT_THAT(LastError(),
              HasSubstr("/store/collections/1/sets/1: read member set: the data is damaged: block 1"));
  EXPECT_THAT(large.Verify().damaged, ElementsAre(1));
  EXPECT_TRUE(small.OrderedMembers(members.data(), 10)) << LastError();
  EXPECT_TRUE(small.Verify().hasChecksums && small.Verify().Good());
  EXPECT_TRUE(ORXSimCSet(Nodes().FullCSet()).Verify().Good());
}
