// Drawers: checksums of bulk data that is damaged byte by byte on disk, at the place that HDF5 names, and
// drawers that stay open while others write, roll back, refresh and close.

#include "platform_Fixture.h"

#include <UTI_ORXSimDynamicAPI/hdf_Checksum.h>
#include <hdf5.h>
#include <support/sys_Process.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <numeric>
#include <optional>
#include <random>

namespace {
using Numbers = std::vector<int>;

constexpr int kRows = 100'000, kComponents = 2, kBlock = 8192; // 64 KiB
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

std::int64_t bytesOf(const Numbers& numbers) {
  return static_cast<std::int64_t>(numbers.size() * sizeof(int));
}
} // namespace

class Drawers : public platform_Fixture {
 protected:
  ~Drawers() override { ORXSimManager::CloseContext(m_context); }

  void Make(int chunk = 0, int deflate = 0) {
    ORXSimManager::CloseContext(m_context);
    m_context = Create(m_file);
    ORXSimCollectionRef::Create(m_context, "nodes", kRows);
    ASSERT_FALSE(ORXSimDistributionRef::Create(m_context, "field", "", nullptr, 0).IsNull()) << LastError();
    ASSERT_EQ(Add(ORXSimItemType::kInt32, chunk, deflate), 0) << LastError();
    m_all.assign(static_cast<std::size_t>(kRows) * kComponents, 0);
  }
  void Reopen(bool readOnly = false) {
    m_context = Open(m_file, readOnly);
    ASSERT_FALSE(m_context.IsNull()) << LastError();
  }
  void Close() { ASSERT_TRUE(ORXSimManager::CloseContext(m_context)); }
  int Add(ORXSimItemType type, int chunk = 0, int deflate = 0) const {
    return Field().AddDrawer({.members = Nodes().FullCSet(),
                              .type = type,
                              .components = kComponents,
                              .chunkItems = chunk,
                              .deflate = deflate});
  }
  ORXSimCollectionRef Nodes() const { return ORXSimCollectionRef(ORXSimCollectionID(m_context, 1)); }
  ORXSimDistributionRef Field() const { return FieldOf(m_context); }
  static ORXSimDistributionRef FieldOf(ORXSimContextID context) {
    return ORXSimDistributionRef(ORXSimDistributionID(context, 1));
  }
  // Which way the rows go does not matter: an open drawer, or the distribution.
  bool Write(int first, int count, int seed, ORXSimOpenDrawer* drawer = nullptr) {
    Numbers rows(static_cast<std::size_t>(count * kComponents));
    std::generate(rows.begin(), rows.end(), std::minstd_rand(static_cast<unsigned>(seed)));
    if (!(drawer != nullptr ? drawer->Write(first, count, rows.data(), bytesOf(rows))
                            : Field().WriteItems(0, first, count, rows.data(), bytesOf(rows))))
      return false;
    std::copy(rows.begin(), rows.end(), m_all.begin() + std::ptrdiff_t{first} * kComponents);
    return true;
  }
  /// Reads rows and compares them. \return false when reading failed.
  bool Read(int first, int count, ORXSimOpenDrawer* drawer = nullptr) const {
    Numbers rows(static_cast<std::size_t>(count * kComponents), 7);
    if (!(drawer != nullptr ? drawer->Read(first, count, rows.data(), bytesOf(rows))
                            : Field().ReadItems(0, first, count, rows.data(), bytesOf(rows))))
      return false;
    EXPECT_TRUE(std::equal(rows.begin(), rows.end(), m_all.begin() + std::ptrdiff_t{first} * kComponents))
        << first << ' ' << count;
    return true;
  }

  const std::string m_file = Path("a.pdm");
  ORXSimContextID m_context;
  Numbers m_all;
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

TEST_F(Drawers, DamageIsFoundInItsBlockAndNowhereElse) {
  Make();
  ASSERT_TRUE(Write(0, kRows, 1)) << LastError();
  Close();
  flip(m_file, offsetOf(m_file, kDrawer) + 8 * (5 * kBlock + 100) + 3);
  Reopen();
  const ORXSimVerification found = Field().Verify(0);
  EXPECT_TRUE(found.opened && found.hasChecksums && found.unwritten.empty());
  EXPECT_EQ(found.blocks, 13);
  EXPECT_THAT(found.damaged, ElementsAre(5));

  ExpectRefused(Read(0, kRows), "/store/distributions/1/0: read drawer",
                "block 5 (rows 40960 to 49151) does not match its checksum");
  EXPECT_TRUE(Read(0, 5 * kBlock)) << LastError();
  EXPECT_TRUE(Read(6 * kBlock, kRows - 6 * kBlock)) << LastError();
  EXPECT_FALSE(Read(6 * kBlock - 1, 2)); // a row of the block that is whole itself
  EXPECT_FALSE(Write(6 * kBlock - 1, 1, 2)) << "a new checksum would hide the damage";
  EXPECT_FALSE(Write(4 * kBlock, 2 * kBlock - 1, 2));
  EXPECT_TRUE(Write(5 * kBlock, kBlock, 3)) << LastError();
  EXPECT_TRUE(Field().Verify(0).Good() && Read(0, kRows)) << LastError();
}

// Three writers of one drawer, in and out of updates, taken back or not; a whole drawer that is written again
// moves to another place in the file.
TEST_F(Drawers, HoldWhatIsWrittenAndWhatIsTakenBackInEveryLayout) {
  std::mt19937 random(5);
  for (const auto& [chunk, deflate, blockRows] :
       {std::tuple(0, 0, kBlock), std::tuple(3000, 0, 9000), std::tuple(30'000, 4, 30'000)}) {
    Make(chunk, deflate);
    const auto blocks = static_cast<std::size_t>((kRows + blockRows - 1) / blockRows);
    EXPECT_EQ(Field().Verify(0).unwritten.size(), blocks);
    ASSERT_TRUE(Write(blockRows - 2, 4, 1)) << "parts of two blocks, whose rest is zero: " << LastError();
    Close();
    Reopen();
    EXPECT_TRUE(Field().Verify(0).Good() && Read(0, 2 * blockRows)) << LastError();
    EXPECT_EQ(Field().Verify(0).unwritten.size(), blocks - 2);
    ORXSimOpenDrawer open[2] = {Field().OpenDrawer(0), Field().OpenDrawer(0)};
    ASSERT_TRUE(!!open[0] && !!open[1]) << LastError();
    EXPECT_TRUE(open[0].Items() == kRows && open[0].Components() == kComponents &&
                open[0].Type() == ORXSimItemType::kInt32);
    EXPECT_TRUE(open[0].BlockRows() == blockRows && Field().Verify(0).blockRows == blockRows);
    for (int value = 1; value < 5; ++value)
      ASSERT_TRUE(Write(0, kRows, value)) << LastError();
    EXPECT_LT(std::filesystem::file_size(m_file), 3u * sizeof(int) * m_all.size()) << "freed space is used";
    Numbers held = m_all;
    const ORXSimContextID reader = Open(m_file, true, 3);
    ORXSimOpenDrawer seen = FieldOf(reader).OpenDrawer(0);
    for (int round = 2; round < 22; ++round) {
      const auto before = m_all;
      const bool scoped = random() % 2 == 0, takenBack = scoped && random() % 2 == 0;
      {
        std::optional<ORXSimUpdate> update;
        if (scoped)
          update.emplace(m_context);
        for (int piece = 0; piece < 4; ++piece) {
          const int first = random() % 5 == 0 ? 0 : static_cast<int>(random() % kRows);
          const int most = std::min(kRows - first, first == 0 ? kRows : 20'000);
          const int count = first == 0 ? most : 1 + static_cast<int>(random() % static_cast<unsigned>(most));
          const auto who = random() % 3;
          ASSERT_TRUE(Write(first, count, 10 * round + piece, who < 2 ? &open[who] : nullptr)) << LastError();
          ASSERT_TRUE(Read(first / 2, count, &open[random() % 2])) << round << ": " << LastError();
        }
        if (takenBack) // as the scope ends
          m_all = before;
        ASSERT_TRUE(!scoped || takenBack || update->Commit()) << LastError();
      }
      const int at = static_cast<int>(random() % (kRows / 2));
      ASSERT_TRUE(Read(at, kRows / 2, &open[round % 2])) << round << takenBack << ": " << LastError();
      m_all.swap(held);
      ASSERT_TRUE(Read(at, kRows / 2, &seen)) << "space is left alone that a live reader looks at";
      m_all = held;
      ASSERT_TRUE(ORXSimManager::Refresh(reader)) << LastError();
      ASSERT_TRUE(Read(at, kRows / 2, &seen)) << "the commit point has the checksums, too: " << LastError();
    }
    EXPECT_TRUE(Field().Verify(0).Good());
    ORXSimManager::CloseContext(reader);
    Close();
    flip(m_file, offsetOf(m_file, kDrawer) + 1000);
    Reopen(true);
    EXPECT_THAT(Field().Verify(0).damaged, ElementsAre(0));
    EXPECT_FALSE(Read(blockRows - 1, 2));
    EXPECT_TRUE(Read(blockRows, kRows - blockRows)) << LastError();
  }
}

TEST_F(Drawers, AreMappedWhereTheFileItselfHasTheirNumbers) {
  Make();
  ASSERT_EQ(Add(ORXSimItemType::kInt32, 1000), 1) << LastError();
  ASSERT_TRUE(Write(0, kRows, 1) && Field().WriteItems(1, 0, kRows, m_all.data(), bytesOf(m_all)));
  ExpectRefused(!!Field().MapDrawer(0), "map drawer", "nobody writes to");
  Close();
  Reopen(true);
  ExpectRefused(!!Field().MapDrawer(1), "/store/distributions/1/1: map drawer", "in one piece");
  EXPECT_TRUE(!Field().MapDrawer(2));
  std::optional<ORXSimMappedDrawer> map = Field().MapDrawer(0);
  ASSERT_FALSE(!*map) << LastError();
  Close();
  ASSERT_EQ(map->Bytes(), bytesOf(m_all));
  EXPECT_EQ(std::memcmp(map->Data(), m_all.data(), static_cast<std::size_t>(map->Bytes())), 0);
  EXPECT_TRUE(Open(m_file).IsNull()) << "the numbers would change under those who look at them";
  map.reset();

  sys_Process([&](const auto& pause) {
    pause();
    Reopen();
    const Numbers zeros(m_all.size());
    Field().WriteItems(0, 0, kRows, zeros.data(), bytesOf(zeros));
    ::raise(SIGKILL);
  });
  Reopen(true);
  ExpectRefused(!!Field().MapDrawer(0), "map drawer", "in the journal");
}

TEST_F(Drawers, WithoutTheAttributeNothingIsChecked) {
  Make();
  ASSERT_TRUE(Write(0, kRows, 1));
  Close();
  withDataset(m_file, kDrawer, [](hid_t data) { EXPECT_GE(H5Adelete(data, "checksums"), 0); });
  flip(m_file, offsetOf(m_file, kDrawer) + 6);
  Reopen();
  int first[2] = {};
  EXPECT_TRUE(Field().ReadItems(0, 0, 1, first, 8)) << LastError();
  EXPECT_NE(first[1], m_all[1]);
  EXPECT_TRUE(Write(0, 1, 2) && Read(0, kRows)) << LastError();
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
  ExpectRefused(Read(0, 1) || Write(0, kRows, 1) || Field().Verify(0).opened,
                "attribute 'checksums' is not 13 unsigned numbers");
}

TEST_F(Drawers, AnUnwrittenDrawerOfASetThatIsNotThereSaysThat) {
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

TEST_F(Drawers, ADamagedMemberSetIsRefused) {
  Make();
  std::vector<int> members(kRows);
  std::iota(members.rbegin(), members.rend(), 0);
  ASSERT_FALSE(Nodes().CreateOrderedCSet(members.data(), kRows).IsNull()) << LastError();
  ASSERT_FALSE(Nodes().CreateOrderedCSet(members.data(), 10).IsNull()) << LastError();
  Close();
  flip(m_file, offsetOf(m_file, "store/collections/1/sets/1") + 4 * 20'000); // still an item
  Reopen(true);
  const ORXSimCSet large(ORXSimCSetID(Nodes().ID(), 1)), small(ORXSimCSetID(Nodes().ID(), 2));
  ExpectRefused(large.OrderedMembers(members.data(), kRows),
                "/store/collections/1/sets/1: read member set: the data is damaged: block 1");
  EXPECT_THAT(large.Verify().damaged, ElementsAre(1));
  EXPECT_TRUE(small.OrderedMembers(members.data(), 10)) << LastError();
  EXPECT_TRUE(small.Verify().hasChecksums && small.Verify().Good());
  EXPECT_TRUE(ORXSimCSet(Nodes().FullCSet()).Verify().Good());
}

TEST_F(Drawers, ThatAreOpenRefuseWhenTheirDrawerIsGoneOrAnother) {
  Make();
  ORXSimOpenDrawer added, none, moved;
  {
    ORXSimUpdate update(m_context);
    ASSERT_EQ(Add(ORXSimItemType::kInt32), 1);
    added = Field().OpenDrawer(1);
    ASSERT_TRUE(added.Write(0, 1, m_all.data(), 8)) << LastError();
  }
  ExpectRefused(Read(0, 1, &added), "/store/distributions/1/1: read drawer: there is no object of that name");
  ASSERT_EQ(Add(ORXSimItemType::kFloat), 1);
  ExpectRefused(added.Write(0, 1, m_all.data(), 8), "another type or shape");
  EXPECT_EQ(Field().Verify(1).unwritten.size(), 13u) << "nothing was written";
  ExpectRefused(Field().OpenDrawer(2), "there is no object of that name");
  ExpectRefused(none.Read(0, 1, m_all.data(), 8), "read drawer: there is no drawer");
  EXPECT_TRUE(!none && none.Items() == 0 && none.Components() == 0 && none.BlockRows() == 1);

  ORXSimOpenDrawer drawer = Field().OpenDrawer(0);
  ExpectRefused(drawer.Write(kRows - 1, 2, m_all.data(), 16), "the drawer has 100000 rows");
  ExpectRefused(drawer.Read(0, 2, m_all.data(), 15), "a buffer of 15 bytes where 16 are needed");
  moved = std::move(drawer);
  ASSERT_TRUE(Write(5, 3, 9, &moved) && Read(0, 10, &moved)) << LastError();
  EXPECT_TRUE(!drawer);
  ORXSimManager::CloseContext(m_context);
  ExpectRefused(moved.Read(0, 1, m_all.data(), 8), "not open");
  Reopen(true);
  drawer = Field().OpenDrawer(0);
  EXPECT_TRUE(Read(0, kRows, &drawer)) << LastError();
  ExpectRefused(drawer.Write(0, 1, m_all.data(), 8), "the file is open for reading only");
}
