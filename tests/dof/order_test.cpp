#include "dof_Telling.h"

#include <memory>
#include <numeric>

namespace {

// What an order must come to, told from the solver's DOFs alone.
void checkOrder(const fesD_NodalDofDefinition& ours, const dof_Telling& telling, const Ints& solver) {
  Ints order = solver;
  std::set<int> rest;
  for (int dof = 0; dof < ours.NumberOfDofs(); ++dof)
    rest.insert(dof);
  for (const int dof : solver)
    rest.erase(dof);
  order.insert(order.end(), rest.begin(), rest.end());
  ASSERT_EQ(ours.NumberOfSolverDofs(), static_cast<int>(solver.size()));
  ASSERT_EQ(OrderOf(ours), order);

  std::set<int> used;
  for (const int dof : solver)
    used.insert(telling.dofs[static_cast<std::size_t>(dof)].second);
  int solverId = 0;
  for (const int label : telling.labels) {
    const bool isUsed = used.count(label) != 0;
    EXPECT_EQ(ours.SolverDofIdFromSystemDofId(telling.Id(label)), isUsed ? solverId : -1);
    if (isUsed) {
      EXPECT_EQ(ours.SystemDofIdFromSolverDofId(solverId++), telling.Id(label));
    }
  }
  for (; solverId < ours.MaxNodalDof(); ++solverId)
    EXPECT_EQ(ours.SystemDofIdFromSolverDofId(solverId), -1);

  Ints places(order.size()), mapped(order);
  ours.MappingToSolverDofs(places.data());
  ours.MapToSolverDofs(mapped.data(), static_cast<int>(mapped.size()));
  for (std::size_t place = 0; place < order.size(); ++place) {
    ASSERT_EQ(places[static_cast<std::size_t>(order[place])], static_cast<int>(place));
    ASSERT_EQ(mapped[place], static_cast<int>(place));
    const fesD_NodeDof of = ours.NodeDofFromSolverDof(static_cast<int>(place));
    ASSERT_EQ(telling.Ordinal({of.node, ours.DofLabel(of.dofId)}), order[place]);
  }
}

// Selects some nodes, with all their DOFs.
void checkSelection(const fesD_NodalDofDefinition& ours, const dof_Telling& telling, Random& random) {
  const unsigned rarity = 1 + Draw(random) % (Draw(random) % 2 == 0 ? 2 : 60);
  const auto selected = std::make_unique<bool[]>(static_cast<std::size_t>(ours.NumberOfNodes()));
  for (int node = 0; node < ours.NumberOfNodes(); ++node)
    selected[static_cast<std::size_t>(node)] = Draw(random) % rarity == 0;
  const auto isSelected = [&](int dof) {
    return selected[static_cast<std::size_t>(telling.dofs[static_cast<std::size_t>(dof)].first)];
  };
  Ints system, solver;
  for (int i = 0; i < ours.NumberOfDofs(); ++i) {
    if (isSelected(i))
      system.push_back(i);
    if (isSelected(ours.SystemDofFromSolverDof(i)))
      solver.push_back(i);
  }
  int count;
  ASSERT_EQ(Taken(ours.SystemDofsFromNodes(selected.get(), count), count), system);
  ASSERT_EQ(Taken(ours.SolverDofsFromNodes(selected.get(), count), count), solver);
}

int acousticIn(const dof_Telling& telling, const Ints& solver) {
  return static_cast<int>(std::count_if(solver.begin(), solver.end(), [&](int dof) {
    return telling.dofs[static_cast<std::size_t>(dof)].second == 8;
  }));
}

} // namespace

TEST(DofOrder, OnlyListsCountAcousticDofs) {
  fesD_NodalDofDefinition dofs = Number({0x81, 0x80, 0x01});
  const int masks[] = {0x80, 0, 0};
  dofs.SetupSolverDofs(nullptr, masks);
  EXPECT_EQ(dofs.NumberOfSolverAcousticDofs(), 0);
  const int list[] = {2, 1, 3};
  dofs.SetupSolverDofs(3, list);
  EXPECT_EQ(dofs.NumberOfSolverAcousticDofs(), 2);
  dofs.SetupSolverDofs(nullptr, masks);
  EXPECT_EQ(dofs.NumberOfSolverAcousticDofs(), 2) << "stays from the list before";
  dofs.SetupSolverDofs(1, nullptr);
  EXPECT_EQ(dofs.NumberOfSolverAcousticDofs(), 0);
  EXPECT_EQ(dofs.SolverDofIdFromSystemDofId(dofs.SystemDofId(8)), -1) << "the earlier maps are gone";
}

// A model of random masks a round, its numbering told slowly, and the solver's DOFs that `order` chooses.
template <class Order>
void compareOrders(unsigned seed, Order order) {
  Random random(seed);
  for (int round = 0; round < 250; ++round) {
    SCOPED_TRACE(testing::Message() << "round " << round);
    const Ints masks = RandomMasks(random, static_cast<int>(Draw(random) % 120), Draw(random) & 0x7fffffff);
    const dof_Telling telling(masks, 0, false);
    fesD_NodalDofDefinition dofs = Number(masks);
    checkOrder(dofs, telling, order(round, random, masks, telling, dofs));
    checkSelection(dofs, telling, random);
    if (testing::Test::HasFatalFailure())
      return;
  }
}

TEST(DofOrder, ListsAgreeWithTheSlowTelling) {
  compareOrders(21, [](int round, Random& random, const Ints&, const dof_Telling& telling, auto& dofs) {
    Ints list(telling.dofs.size());
    std::iota(list.begin(), list.end(), 0);
    const bool identity = round % 5 == 0;
    if (!identity && round % 2 == 0)
      std::shuffle(list.begin(), list.end(), random);
    else if (!identity)
      std::stable_partition(list.begin(), list.end(), [&](int dof) { return dof % 7 < 3; });
    if (round % 3 != 0)
      list.resize(Draw(random) % (list.size() + 1));
    dofs.SetupSolverDofs(static_cast<int>(list.size()), identity ? nullptr : list.data());
    EXPECT_EQ(dofs.NumberOfSolverAcousticDofs(), acousticIn(telling, list));
    return list;
  });
}

TEST(DofOrder, RanksAndMasksAgreeWithTheSlowTelling) {
  compareOrders(22, [](int round, Random& random, const Ints& masks, const dof_Telling& telling, auto& dofs) {
    Ints byPlace(masks.size()), ranks(byPlace.size()), chosen, solver;
    std::iota(byPlace.begin(), byPlace.end(), 0);
    const bool ranked = round % 3 != 0;
    if (ranked)
      std::shuffle(byPlace.begin(), byPlace.end(), random);
    for (std::size_t place = 0; place < byPlace.size(); ++place)
      ranks[static_cast<std::size_t>(byPlace[place])] = static_cast<int>(place) + 1;
    for (const int mask : masks)
      chosen.push_back(round % 4 == 0 ? mask : mask & static_cast<int>(Draw(random)));
    for (const int node : byPlace)
      for (const int label : dof_Telling::LabelsOf(chosen[static_cast<std::size_t>(node)]))
        solver.push_back(telling.Ordinal({node, label}));
    dofs.SetupSolverDofs(ranked ? ranks.data() : nullptr, chosen.data());
    return solver;
  });
}
