#include "mpi_Model.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <mpi/numbering/rnk_Pattern.h>
#include <mpi/numbering/rnk_Pieces.h>
#include <mpi/numbering/rnk_Post.h>

namespace {

// Numbers that one process could not count to stand before those of the ranks.
constexpr std::int64_t kNodes = std::int64_t{1} << 40, kDofs = (std::int64_t{1} << 33) + 5;

Longs Plus(const std::vector<int>& numbers, std::int64_t base) {
  Longs sums;
  for (const int number : numbers)
    sums.push_back(number + base);
  return sums;
}

rnk_System SystemOf(Model& model) {
  const rnk_Agreement ranks(MPI_COMM_WORLD);
  rnk_System system(ranks, rnk_Parts({model.counts.begin(), model.counts.end()}, kNodes));
  for (int& mask : model.masks)
    mask = model.DrawMask();
  // Rank 0 says what all have.
  const auto node = [](std::int64_t i) { return kNodes + i; };
  const auto mask = [&](std::int64_t i) { return model.masks[static_cast<std::size_t>(i)]; };
  EXPECT_TRUE(system.Add(model.IsMine(0) ? static_cast<std::int64_t>(model.masks.size()) : 0, node, mask));
  EXPECT_TRUE(system.Number(0, false, kDofs)) << rnk_Agreement::LastError();
  return system;
}

std::vector<rnk_Elements> ElementsOf(const Model& model, std::vector<Longs>& moved) {
  std::vector<rnk_Elements> elements;
  for (std::size_t i = 0; i < model.mine.size(); ++i) {
    for (const std::int64_t node : model.mine[i])
      moved[i].push_back(node < 0 ? -1 : kNodes + node);
    elements.push_back(
        {moved[i].data(), static_cast<std::int64_t>(moved[i].size()) / model.widths[i], model.widths[i]});
  }
  return elements;
}

} // namespace

TEST(RankNumberingInside, CountsPastWhatOneProcessCan) {
  Model model(MPI_COMM_WORLD, 4, 60);
  const rnk_System system = SystemOf(model);
  const pdm::Numbering serial(model.masks);
  EXPECT_EQ(system.Dofs().Total(), serial.equation_count());
  std::vector<Longs> moved(model.mine.size());
  const std::vector<rnk_Elements> elements = ElementsOf(model, moved);
  rnk_Pattern mine;
  ASSERT_TRUE(rnk_FillPattern(system, nullptr, elements, mine)) << rnk_Agreement::LastError();
  const pdm::Pattern all = serial.pattern(model.all, model.widths);
  ASSERT_EQ(static_cast<std::int64_t>(mine.rows.size()), system.DofCount());
  for (std::size_t i = 0; i < mine.rows.size(); ++i) {
    EXPECT_EQ(mine.rows[i], system.FirstDof() + static_cast<std::int64_t>(i));
    const auto row = static_cast<std::size_t>(mine.rows[i] - kDofs);
    EXPECT_EQ(Longs(mine.columns.begin() + mine.begin[i], mine.columns.begin() + mine.begin[i + 1]),
              Plus({all.columns.begin() + all.begin[row], all.columns.begin() + all.begin[row + 1]}, kDofs));
  }

  const std::vector<int> list = model.Shuffled(serial.equation_count());
  const std::vector<int> places = pdm::Numbering(model.masks, list).places();
  rnk_Order order;
  const Longs given = model.IsMine(model.size - 1) ? Plus(list, kDofs) : Longs();
  ASSERT_TRUE(rnk_OrderByList(system, static_cast<std::int64_t>(given.size()), given.data(), order));
  const auto from = places.begin() + (system.FirstDof() - kDofs);
  EXPECT_EQ(order.places, Longs(from, from + system.DofCount()));
  std::int64_t first = -1;
  Longs listed;
  EXPECT_TRUE(rnk_ListOrder(system, &order, first, listed));
  EXPECT_EQ(listed, given);
  const Longs nodeRank = model.Own(Plus(model.Shuffled(60), kNodes + 1));
  ASSERT_TRUE(rnk_OrderByNodes(system, nodeRank.data(), model.Own(model.masks).data(), order));
  EXPECT_EQ(order.Count(), serial.equation_count());

  const std::int64_t each = (std::int64_t{1} << 33) + model.rank;
  const rnk_Parts scan = rnk_Scan(system.Ranks(), each);
  EXPECT_EQ(scan.First(model.rank), (std::int64_t{1} << 33) * model.rank + model.rank * (model.rank - 1) / 2);
  EXPECT_EQ(scan.Owner(scan.End() - 1), model.size - 1);
}

TEST(RankNumberingInside, MoreThanACallCanExchangeIsRefusedOnAll) {
  const rnk_Agreement ranks(MPI_COMM_WORLD);
  rnk_Post<std::int64_t> out, in;
  const std::int64_t n = ranks.IsRoot() ? 5 : 1; // for the last rank
  rnk_Fill(
      out, ranks.Size(), n, [&](std::int64_t) { return ranks.Size() - 1; },
      [&](std::int64_t i) { return 10 * ranks.Rank() + i; });
  EXPECT_FALSE(rnk_Deliver(ranks, out, in, 4));
  EXPECT_EQ(rnk_Agreement::LastError(), "numbering: rank 0: 5 values to exchange at once, at most 4 can be");
  EXPECT_TRUE(rnk_Deliver(ranks, out, in, 4 + ranks.Size()));
  EXPECT_EQ(in.values.size(), ranks.Rank() < ranks.Size() - 1 ? 0 : rnk_At(4 + ranks.Size()));
  in.ForEach([next = Longs(rnk_At(ranks.Size()))](int from, std::int64_t value) mutable {
    EXPECT_EQ(value, 10 * from + next[rnk_At(from)]++);
  });
}

TEST(RankNumberingInside, NumbersComeInPiecesAcrossRanks) {
  const Model model(MPI_COMM_WORLD, 2, 20);
  const rnk_Agreement ranks(MPI_COMM_WORLD);
  Longs must(20), taken;
  std::iota(must.begin(), must.end(), 0);
  EXPECT_TRUE(rnk_BringPieces(ranks, rnk_Parts({model.counts.begin(), model.counts.end()}),
                              model.Own(must).data(), 3, [&](const std::int64_t* numbers, int count) {
                                EXPECT_LE(count, 3);
                                taken.insert(taken.end(), numbers, numbers + count);
                              }));
  EXPECT_EQ(taken, ranks.IsRoot() ? must : Longs());
}
