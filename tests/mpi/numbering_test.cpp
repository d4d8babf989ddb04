#include "mpi_File.h"
#include "mpi_Model.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <dof/dof_Definition.h>
#include <mpi/ORXSim_RankNumbering.h>

namespace {

constexpr int kSeeds = 8;

/// A model of which the ranks number their parts, beside the whole by one process.
struct Both : Model {
  explicit Both(unsigned seed, int shift = 0, bool addLabel10 = false)
      : Model(MPI_COMM_WORLD, seed,
              seed == 0   ? 0
              : seed == 1 ? 3
                          : 40 + 10 * static_cast<int>(seed)) {
    EXPECT_TRUE(ranks.SetNodes(MPI_COMM_WORLD, first, count)) << ORXSimRanks::LastError();
    OwnMasks();
    AnyMasks();
    ElementMasks();
    EXPECT_TRUE(ranks.Number(shift, addLabel10)) << ORXSimRanks::LastError();
    serial = std::make_unique<fesD_NodalDofDefinition>(Number(masks, shift, addLabel10));
    masks.assign(serial->ActivityMasks(), serial->ActivityMasks() + masks.size());
  }

  std::vector<ORXSimRankElements> Elements() const {
    std::vector<ORXSimRankElements> drawers;
    for (std::size_t i = 0; i < mine.size(); ++i)
      drawers.push_back({mine[i].data(), static_cast<std::int64_t>(mine[i].size()) / widths[i], widths[i]});
    return drawers;
  }
  /// The serial answers about the nodes or DOFs of this rank.
  Longs OwnPlaces() const {
    std::vector<int> places(static_cast<std::size_t>(serial->NumberOfDofs()));
    serial->MappingToSolverDofs(places.data());
    return {places.begin() + ranks.FirstDof(), places.begin() + ranks.FirstDof() + ranks.DofCount()};
  }

  ORXSimRankNumbering ranks;
  std::unique_ptr<fesD_NodalDofDefinition> serial;

 private:
  void OwnMasks() {
    for (int& mask : masks)
      mask = DrawMask();
    EXPECT_TRUE(ranks.AddMasks(Own(masks).data())) << ORXSimRanks::LastError();
  }
  void AnyMasks() {
    Longs nodes;
    std::vector<int> given;
    for (std::size_t i = 0; i < masks.size() / 2; ++i) {
      const int node = Draw(static_cast<int>(masks.size())), mask = DrawMask();
      masks[static_cast<std::size_t>(node)] |= mask;
      if (IsMine(Draw(size))) {
        nodes.insert(nodes.end(), {node, -1});
        given.insert(given.end(), {mask, 1 << 20});
      }
    }
    EXPECT_TRUE(ranks.AddMasks(static_cast<std::int64_t>(nodes.size()), nodes.data(), given.data()));
  }
  // Elements of one width, each of the others a label.
  void ElementMasks() {
    for (const int node : all.front())
      if (node >= 0)
        masks[static_cast<std::size_t>(node)] |= 1 << 5;
    const std::vector<int> given(mine.front().size(), 1 << 5);
    EXPECT_TRUE(ranks.AddElementMasks(Elements().front(), given.data())) << ORXSimRanks::LastError();
  }
};

/// All of a sequence that the ranks hold in pieces.
Longs Together(const Longs& mine) {
  int size = 0;
  MPI_Comm_size(MPI_COMM_WORLD, &size);
  std::vector<int> counts(static_cast<std::size_t>(size)), firsts(counts);
  const int count = static_cast<int>(mine.size());
  MPI_Allgather(&count, 1, MPI_INT, counts.data(), 1, MPI_INT, MPI_COMM_WORLD);
  std::exclusive_scan(counts.begin(), counts.end(), firsts.begin(), 0);
  Longs all(static_cast<std::size_t>(firsts.back() + counts.back()));
  MPI_Allgatherv(mine.data(), count, MPI_INT64_T, all.data(), counts.data(), firsts.data(), MPI_INT64_T,
                 MPI_COMM_WORLD);
  return all;
}

void ExpectSameOrder(const Both& both) {
  const fesD_NodalDofDefinition& serial = *both.serial;
  EXPECT_EQ(both.ranks.NumberOfSolverDofs(), serial.NumberOfSolverDofs());
  EXPECT_EQ(both.ranks.NumberOfSolverAcousticDofs(), serial.NumberOfSolverAcousticDofs());
  const std::int64_t* const places = both.ranks.SolverDofs();
  EXPECT_EQ(Longs(places, places + both.ranks.DofCount()), both.OwnPlaces());
  for (int id = 0; id < serial.MaxNodalDof(); ++id)
    EXPECT_EQ(both.ranks.SolverDofIdFromSystemDofId(id), serial.SolverDofIdFromSystemDofId(id));
  std::int64_t first = -1;
  Longs mine;
  EXPECT_TRUE(both.ranks.SolverOrder(first, mine));
  const Longs order = Together(mine);
  ASSERT_EQ(static_cast<int>(order.size()), serial.NumberOfSolverDofs());
  for (int place = 0; place < serial.NumberOfSolverDofs(); ++place)
    EXPECT_EQ(order[static_cast<std::size_t>(place)], serial.SystemDofFromSolverDof(place));
  EXPECT_TRUE(std::equal(mine.begin(), mine.end(), order.begin() + first));
}

/// A list of some DOFs in any order, and the piece of it that this rank gives.
std::vector<int> ListOrder(Both& both) {
  std::vector<int> list = both.Shuffled(both.serial->NumberOfDofs());
  list.resize(list.size() - list.size() / 3);
  Longs piece;
  for (std::size_t i = 0; i < list.size(); ++i)
    if (both.IsMine(static_cast<int>(i * static_cast<std::size_t>(both.size) / list.size())))
      piece.push_back(list[i]);
  EXPECT_TRUE(both.ranks.SetupSolverDofs(static_cast<std::int64_t>(piece.size()), piece.data()))
      << ORXSimRanks::LastError();
  both.serial->SetupSolverDofs(static_cast<int>(list.size()), list.data());
  return list;
}

void ExpectSamePattern(const Both& both, const pdm::Numbering& serial) {
  const std::vector<ORXSimRankElements> elements = both.Elements();
  ORXSimRankPattern mine;
  ASSERT_TRUE(both.ranks.Pattern(elements.data(), static_cast<int>(elements.size()), mine))
      << ORXSimRanks::LastError();
  const pdm::Pattern all = serial.pattern(both.all, both.widths);
  std::vector<int> seen(all.begin.size() - 1);
  ASSERT_EQ(mine.begin.size(), mine.rows.size() + 1);
  EXPECT_TRUE(std::is_sorted(mine.rows.begin(), mine.rows.end()));
  for (std::size_t i = 0; i < mine.rows.size(); ++i) {
    const auto row = static_cast<std::size_t>(mine.rows[i]);
    ++seen.at(row);
    const Longs columns(mine.columns.begin() + mine.begin[i], mine.columns.begin() + mine.begin[i + 1]);
    ASSERT_EQ(columns, Longs(all.columns.begin() + all.begin[row], all.columns.begin() + all.begin[row + 1]));
  }
  MPI_Allreduce(MPI_IN_PLACE, seen.data(), static_cast<int>(seen.size()), MPI_INT, MPI_SUM, MPI_COMM_WORLD);
  EXPECT_THAT(seen, testing::Each(1)) << "each row on one rank";
}

} // namespace

TEST(RankNumbering, ComesToTheTablesOfOneProcess) {
  for (unsigned seed = 0; seed < kSeeds; ++seed) {
    const Both both(seed, static_cast<int>(seed % 3), seed % 4 == 1);
    const fesD_NodalDofDefinition& serial = *both.serial;
    const ORXSimRankNumbering& ranks = both.ranks;
    EXPECT_EQ(ranks.NumberOfNodes(), serial.NumberOfNodes());
    EXPECT_EQ(ranks.NumberOfDofs(), serial.NumberOfDofs());
    ASSERT_EQ(ranks.MaxNodalDof(), serial.MaxNodalDof());
    EXPECT_EQ(std::vector<int>(ranks.ActivityMasks(), ranks.ActivityMasks() + both.count),
              both.Own(both.masks));
    for (int id = 0; id < serial.MaxNodalDof(); ++id) {
      EXPECT_EQ(ranks.DofLabel(id), serial.DofLabel(id));
      EXPECT_EQ(ranks.SystemDofId(serial.DofLabel(id)), id);
    }
    for (int node = 0; node < serial.NumberOfNodes(); ++node) {
      const bool own = node >= both.first && node < both.first + both.count;
      int lowest = -1;
      for (int id = serial.MaxNodalDof() - 1; id >= 0; --id) {
        EXPECT_EQ(ranks.SystemOrdinal(node, id), own ? serial.SystemOrdinal(node, id) : -1);
        lowest = serial.SystemOrdinal(node, id) >= 0 ? serial.SystemOrdinal(node, id) : lowest;
      }
      EXPECT_EQ(ranks.FirstDofOfNode(node), own ? lowest : -1);
    }
    for (int dof = 0; dof < serial.NumberOfDofs(); ++dof) {
      const ORXSimRankNodeDof is = ranks.NodeDofFromSystemDof(dof);
      const fesD_NodeDof must = serial.NodeDofFromSystemDof(dof);
      const bool own = must.node >= both.first && must.node < both.first + both.count;
      EXPECT_EQ(std::pair(is.node, is.dofId),
                own ? std::pair(std::int64_t{must.node}, must.dofId) : std::pair(std::int64_t{-1}, -1));
    }
  }
}

TEST(RankNumbering, ComesToTheOrderOfOneProcess) {
  for (unsigned seed = 0; seed < kSeeds; ++seed) {
    Both both(seed);
    ListOrder(both);
    ExpectSameOrder(both);
    std::vector<int> chosen = both.masks, nodeRank = both.Shuffled(both.serial->NumberOfNodes());
    for (int& mask : chosen)
      mask &= both.Draw(1 << 12);
    std::transform(nodeRank.begin(), nodeRank.end(), nodeRank.begin(), [](int place) { return place + 1; });
    const std::vector<int> ownRank = both.Own(nodeRank);
    EXPECT_TRUE(
        both.ranks.SetupSolverDofs(Longs(ownRank.begin(), ownRank.end()).data(), both.Own(chosen).data()))
        << ORXSimRanks::LastError();
    both.serial->SetupSolverDofs(nodeRank.data(), chosen.data());
    ExpectSameOrder(both);
    EXPECT_TRUE(both.ranks.SetupSolverDofs(nullptr, both.Own(chosen).data())) << ORXSimRanks::LastError();
    both.serial->SetupSolverDofs(nullptr, chosen.data());
    ExpectSameOrder(both);
    const int some = both.serial->NumberOfDofs() / 2;
    EXPECT_TRUE(both.ranks.SetupSolverDofs(both.rank == both.size - 1 ? some : 0, nullptr));
    both.serial->SetupSolverDofs(some, static_cast<const int*>(nullptr));
    ExpectSameOrder(both);
  }
}

TEST(RankNumbering, ComesToThePatternOfOneProcess) {
  for (unsigned seed = 0; seed < kSeeds; ++seed) {
    Both both(seed);
    ExpectSamePattern(both, pdm::Numbering(both.masks));
    const std::vector<int> list = ListOrder(both);
    ExpectSamePattern(both, pdm::Numbering(both.masks, list));
  }
}

namespace {

/// Two nodes a rank, of which the last rank gives something wrong.
class WrongOnOneRank : public testing::Test {
 protected:
  WrongOnOneRank() {
    MPI_Comm_rank(MPI_COMM_WORLD, &rank);
    MPI_Comm_size(MPI_COMM_WORLD, &size);
    last = size - 1, nodes = 2 * size, dofs = 4 * size;
    wrong = rank == last;
    there = std::to_string(nodes);
    outside[1] = nodes;
  }
  void Refused(bool answer, const std::string& cause) const {
    EXPECT_FALSE(answer);
    EXPECT_STREQ(ORXSimRanks::LastError(),
                 ("numbering: rank " + std::to_string(last) + ": " + cause).c_str());
  }

  int rank = 0, size = 1, last = 0, nodes = 0, dofs = 0;
  bool wrong = false;
  std::string there;
  const int good[2] = {3, 3};
  const std::int64_t inside[2] = {0, 1};
  std::int64_t outside[2] = {0, 0};
  ORXSimRankNumbering ranks;
};

} // namespace

TEST_F(WrongOnOneRank, MasksAreRefusedOnAll) {
  EXPECT_FALSE(ranks.Number(0, false));
  EXPECT_STREQ(ORXSimRanks::LastError(), "numbering: no nodes are set");
  Refused(ranks.SetNodes(MPI_COMM_WORLD, 2 * rank + wrong, 2),
          "its first node is " + std::to_string(2 * last + 1) + ", the ranks before it end with " +
              std::to_string(2 * last - 1));
  Refused(ranks.SetNodes(MPI_COMM_WORLD, 2 * rank, wrong ? -1 : 2), "-1 nodes");
  ASSERT_TRUE(ranks.SetNodes(MPI_COMM_WORLD, 2 * rank, 2));

  const int bad[] = {3, INT_MIN};
  Refused(ranks.AddMasks(wrong ? bad : good), "label 32 is active at node " + std::to_string(nodes - 1));
  EXPECT_THAT(Longs(ranks.ActivityMasks(), ranks.ActivityMasks() + 2), testing::Each(0)) << "of no rank";
  Refused(ranks.AddMasks(2, wrong ? outside : inside, good),
          "node " + there + " where there are " + there + " nodes");
  Refused(ranks.AddMasks(wrong ? -1 : 0, nullptr, nullptr),
          "a count below 0, or entries without arrays of them");
  Refused(ranks.AddElementMasks({inside, 1, wrong ? 0 : 2}, good),
          "a count below 0, or entries without arrays of them");
  ASSERT_TRUE(ranks.AddMasks(good));
  if (size > 1)
    Refused(ranks.Number(wrong, false), "transforms the masks otherwise than rank 0");
  EXPECT_FALSE(ranks.Number(30, false));
  EXPECT_STREQ(ORXSimRanks::LastError(), "numbering: rank 0: label 32 is active at node 0");
  ASSERT_TRUE(ranks.Number(0, false));
  EXPECT_FALSE(ranks.AddMasks(good));
  EXPECT_STREQ(ORXSimRanks::LastError(), "numbering: is numbered already");
}

TEST_F(WrongOnOneRank, OrdersAndElementsAreRefusedOnAll) {
  ASSERT_TRUE(ranks.SetNodes(MPI_COMM_WORLD, 2 * rank, 2) && ranks.AddMasks(good) && ranks.Number(0, false));
  const std::int64_t list[] = {2 * rank, 2 * rank + 1}, twice[] = {0, 0}, beyond[] = {0, dofs};
  Refused(ranks.SetupSolverDofs(2, wrong ? beyond : list),
          "degree of freedom " + std::to_string(dofs) + " where there are " + std::to_string(dofs));
  Refused(ranks.SetupSolverDofs(wrong ? 2 : 0, twice), "degree of freedom 0 a second time");
  Refused(ranks.SetupSolverDofs(wrong ? dofs + 1 : 0, nullptr),
          "a list of " + std::to_string(dofs + 1) + " degrees of freedom, there are " + std::to_string(dofs));
  const std::int64_t places[] = {2 * rank + 1, 2 * rank + 2}, same[] = {nodes, nodes}, none[] = {0, 1};
  const int more[] = {3, 7};
  Refused(ranks.SetupSolverDofs(nullptr, wrong ? more : good),
          "the solver's mask 7 of node " + std::to_string(nodes - 1) + " has labels that its mask 3 has not");
  Refused(ranks.SetupSolverDofs(wrong ? same : places, good),
          "a second node has place " + there + " in the solver");
  Refused(ranks.SetupSolverDofs(wrong ? none : places, good),
          "node " + std::to_string(nodes - 2) + " has place 0 in the solver, of " + there);
  if (size > 1)
    Refused(ranks.SetupSolverDofs(wrong ? nullptr : places, good),
            "no places of its nodes in the solver, which other ranks give");
  EXPECT_FALSE(ranks.HasSolverOrder());
  const ORXSimRankElements right{inside, 1, 2}, far{outside, 1, 2}, flat{inside, 1, 0};
  ORXSimRankPattern pattern;
  Refused(ranks.Pattern(wrong ? &far : &right, 1, pattern),
          "element 0 has node " + there + ", there are " + there + " nodes");
  Refused(ranks.Pattern(wrong ? &flat : &right, 1, pattern), "1 elements of 0 nodes");
  EXPECT_TRUE(pattern.rows.empty() && pattern.begin.empty());
  EXPECT_TRUE(ranks.Pattern(wrong ? &right : nullptr, wrong ? 1 : 0, pattern)) << ORXSimRanks::LastError();
}

TEST(RankNumbering, OneProcessReadsWhatRanksStored) {
  const mpi_Directory directory;
  Both both(5);
  ListOrder(both);
  const int nodes = both.serial->NumberOfNodes(), dofs = both.serial->NumberOfDofs();
  const ORXSimRanks file =
      ORXSimRanks::Create(MPI_COMM_WORLD, directory.Path("a.pdm").c_str(), 1, 102, false, 1);
  const bool root = both.IsMine(0);
  const auto collection = [&](const char* name, int items) {
    return root ? ORXSimCollectionRef::Create(file.Context(), name, items) : ORXSimCollectionID();
  };
  const ORXSimCollectionID nodeItems = collection("nodes", nodes), dofItems = collection("dofs", dofs);
  ORXSimDistributionID masks, equations;
  ORXSimCSetID order;
  const std::string other = "numbering: rank 0: the collection has ";
  EXPECT_FALSE(both.ranks.StoreMasks(file, dofItems, masks));
  EXPECT_THAT(ORXSimRanks::LastError(), testing::StartsWith(other + std::to_string(dofs) + " items"));
  EXPECT_FALSE(both.ranks.StoreOrder(file, nodeItems, order));
  EXPECT_THAT(ORXSimRanks::LastError(), testing::StartsWith(other + std::to_string(nodes) + " items"));
  EXPECT_FALSE(both.ranks.StoreMasks(ORXSimRanks(), nodeItems, masks));
  EXPECT_STREQ(ORXSimRanks::LastError(), "numbering: the file's ranks are others");
  ASSERT_TRUE(both.ranks.StoreMasks(file, nodeItems, masks)) << ORXSimRanks::LastError();
  ASSERT_TRUE(both.ranks.StoreEquations(file, nodeItems, equations)) << ORXSimRanks::LastError();
  ASSERT_TRUE(both.ranks.StoreOrder(file, dofItems, order)) << ORXSimRanks::LastError();
  EXPECT_EQ(masks.IsNull() && equations.IsNull() && order.IsNull(), !root);
  if (!root)
    return;
  fesD_NodalDofDefinition read(masks, 0, false);
  read.SetupSolverDofs(order);
  EXPECT_EQ(std::vector<int>(read.ActivityMasks(), read.ActivityMasks() + nodes), both.masks);
  EXPECT_EQ(OrderOf(read), OrderOf(*both.serial));
  const int columns = read.MaxNodalDof();
  Longs stored(static_cast<std::size_t>(nodes * columns)), must;
  EXPECT_TRUE(ORXSimDistributionRef(equations).ReadItems(0, 0, nodes, stored.data(), nodes * columns * 8));
  std::vector<int> places(static_cast<std::size_t>(dofs));
  read.MappingToSolverDofs(places.data());
  for (int i = 0; i < nodes * columns; ++i) {
    const int dof = read.SystemOrdinal(i / columns, i % columns);
    const int place = dof < 0 ? -1 : places[static_cast<std::size_t>(dof)];
    must.push_back(place < read.NumberOfSolverDofs() ? place : -1);
  }
  EXPECT_EQ(stored, must);
}

// One process would not number so many, but reads what is stored of them.
TEST(RankNumbering, MoreNodesThanOneProcessNumbers) {
  constexpr int kNodes = fesD_NodalDofDefinition::kMaxNodes + 5, kStep = 4096;
  int rank = 0, size = 1;
  MPI_Comm_rank(MPI_COMM_WORLD, &rank);
  MPI_Comm_size(MPI_COMM_WORLD, &size);
  const std::int64_t first = std::int64_t{kNodes} * rank / size,
                     end = std::int64_t{kNodes} * (rank + 1) / size;
  ORXSimRankNumbering ranks;
  ASSERT_TRUE(ranks.SetNodes(MPI_COMM_WORLD, first, end - first));
  Longs active; // said by any rank
  for (std::int64_t i = 0; i < kNodes; i += kStep)
    if (i / kStep % size == rank)
      active.push_back(i);
  ASSERT_TRUE(ranks.AddMasks(static_cast<std::int64_t>(active.size()), active.data(),
                             std::vector<int>(active.size(), 4).data()));
  ASSERT_TRUE(ranks.Number(0, false)) << ORXSimRanks::LastError();
  EXPECT_EQ(ranks.NumberOfDofs(), (kNodes + kStep - 1) / kStep);
  for (std::int64_t dof = ranks.FirstDof(); dof < ranks.FirstDof() + ranks.DofCount(); ++dof) {
    ASSERT_EQ(ranks.NodeDofFromSystemDof(dof).node, dof * kStep);
    ASSERT_EQ(ranks.FirstDofOfNode(dof * kStep), dof);
    ASSERT_EQ(ranks.FirstDofOfNode(dof * kStep + 1), -1);
  }
  const mpi_Directory directory;
  const ORXSimRanks file =
      ORXSimRanks::Create(MPI_COMM_WORLD, directory.Path("a.pdm").c_str(), 1, 102, false, 1);
  ORXSimCollectionID nodes;
  if (rank == 0)
    nodes = ORXSimCollectionRef::Create(file.Context(), "nodes", kNodes);
  ORXSimDistributionID masks;
  ASSERT_TRUE(ranks.StoreMasks(file, nodes, masks)) << ORXSimRanks::LastError();
  if (rank != 0)
    return;
  std::vector<int> read(kNodes);
  EXPECT_TRUE(ORXSimDistributionRef(masks).ReadItems(0, 0, kNodes, read.data(), std::int64_t{kNodes} * 4));
  for (int i = 0; i < kNodes; ++i)
    ASSERT_EQ(read[static_cast<std::size_t>(i)], i % kStep == 0 ? 4 : 0) << i;
}
