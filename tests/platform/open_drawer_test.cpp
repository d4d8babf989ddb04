// Drawers that stay open while others write, roll back, refresh and close.

#include "platform_Fixture.h"

#include <random>

namespace {
constexpr int kRows = 100'000, kComponents = 2; // enough to be written anew as a whole
using Numbers = std::vector<int>;

std::int64_t bytesOf(const Numbers& numbers) {
  return static_cast<std::int64_t>(numbers.size() * sizeof(int));
}

class OpenDrawer : public platform_Fixture {
 protected:
  ~OpenDrawer() override { ORXSimManager::CloseContext(m_context); }

  void Make(int chunk, int deflate) {
    ORXSimManager::CloseContext(m_context);
    m_context = Create(m_file);
    ORXSimCollectionRef::Create(m_context, "nodes", kRows);
    ASSERT_FALSE(ORXSimDistributionRef::Create(m_context, "field", "", nullptr, 0).IsNull()) << LastError();
    ASSERT_EQ(Add(ORXSimItemType::kInt32, chunk, deflate), 0) << LastError();
    m_all.assign(static_cast<std::size_t>(kRows) * kComponents, 0);
  }
  int Add(ORXSimItemType type, int chunk = 0, int deflate = 0) const {
    return Field().AddDrawer({.members = ORXSimCollectionRef(ORXSimCollectionID(m_context, 1)).FullCSet(),
                              .type = type,
                              .components = kComponents,
                              .chunkItems = chunk,
                              .deflate = deflate});
  }
  ORXSimDistributionRef Field() const { return FieldOf(m_context); }
  static ORXSimDistributionRef FieldOf(ORXSimContextID context) {
    return ORXSimDistributionRef(ORXSimDistributionID(context, 1));
  }
  Numbers Rows(int first, int count) const {
    const auto begin = m_all.begin() + std::ptrdiff_t{first} * kComponents;
    return {begin, begin + std::ptrdiff_t{count} * kComponents};
  }
  // Which way the rows go does not matter: an open drawer, or the distribution.
  bool Write(ORXSimOpenDrawer* drawer, int first, int count, int value) {
    Numbers rows(static_cast<std::size_t>(count * kComponents), value);
    rows.front() = -value;
    std::copy(rows.begin(), rows.end(), m_all.begin() + std::ptrdiff_t{first} * kComponents);
    return drawer != nullptr ? drawer->Write(first, count, rows.data(), bytesOf(rows))
                             : Field().WriteItems(0, first, count, rows.data(), bytesOf(rows));
  }
  bool Reads(ORXSimOpenDrawer& drawer, int first, int count) const {
    const Numbers wanted = Rows(first, count);
    Numbers rows(wanted.size(), 7);
    return drawer.Read(first, count, rows.data(), bytesOf(rows)) && rows == wanted;
  }

  const std::string m_file = Path("a.pdm");
  ORXSimContextID m_context;
  Numbers m_all;
};

// Three writers of one drawer, in and out of updates, taken back or not; a whole drawer that is written again
// moves to another place in the file.
TEST_F(OpenDrawer, SeesWhatOthersWriteAndWhatIsTakenBack) {
  std::mt19937 random(5);
  for (const auto& [chunk, deflate] : {std::pair(0, 0), std::pair(7000, 0), std::pair(30'000, 1)}) {
    Make(chunk, deflate);
    ORXSimOpenDrawer open[2] = {Field().OpenDrawer(0), Field().OpenDrawer(0)};
    ASSERT_TRUE(!!open[0] && !!open[1]) << LastError();
    EXPECT_TRUE(open[0].Items() == kRows && open[0].Components() == kComponents &&
                open[0].Type() == ORXSimItemType::kInt32);
    EXPECT_EQ(open[0].BlockRows(), Field().Verify(0).blockRows);
    ASSERT_TRUE(Write(nullptr, 0, kRows, 1)) << LastError();
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
          ASSERT_TRUE(Write(who < 2 ? &open[who] : nullptr, first, count, 10 * round + piece)) << LastError();
          ASSERT_TRUE(Reads(open[random() % 2], first / 2, count)) << round << ": " << LastError();
        }
        if (takenBack) // as the scope ends
          m_all = before;
        ASSERT_TRUE(!scoped || takenBack || update->Commit()) << LastError();
      }
      const int at = static_cast<int>(random() % (kRows / 2));
      ASSERT_TRUE(Reads(open[round % 2], at, kRows / 2)) << round << takenBack << ": " << LastError();
      ASSERT_TRUE(ORXSimManager::Refresh(reader)) << LastError();
      ASSERT_TRUE(Reads(seen, at, kRows / 2)) << "the commit point has the checksums, too: " << LastError();
    }
    EXPECT_TRUE(Field().Verify(0).Good());
    ORXSimManager::CloseContext(reader);
  }
}

TEST_F(OpenDrawer, RefusesWhenItsDrawerIsGoneOrAnother) {
  Make(0, 0);
  ORXSimOpenDrawer added, none, moved;
  {
    ORXSimUpdate update(m_context);
    ASSERT_EQ(Add(ORXSimItemType::kInt32), 1);
    added = Field().OpenDrawer(1);
    ASSERT_TRUE(added.Write(0, 1, m_all.data(), 8)) << LastError();
  }
  ExpectRefused(Reads(added, 0, 1), "/store/distributions/1/1: read drawer: there is no object of that name");
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
  ASSERT_TRUE(Write(&moved, 5, 3, 9) && Reads(moved, 0, 10)) << LastError();
  EXPECT_TRUE(!drawer);
  ORXSimManager::CloseContext(m_context);
  ExpectRefused(moved.Read(0, 1, m_all.data(), 8), "not open");
  m_context = Open(m_file, true);
  drawer = Field().OpenDrawer(0);
  EXPECT_TRUE(Reads(drawer, 0, kRows)) << LastError();
  ExpectRefused(drawer.Write(0, 1, m_all.data(), 8), "the file is open for reading only");
}
} // namespace
