#include "dof_Arrays.h"

#include <dof/dof_Order.h>
#include <dof/dof_Selection.h>

#include <memory>
#include <numeric>

using testing::ElementsAre;

namespace {

// An order as it came about.
struct Order {
  explicit Order(const dof_Arrays& of) : places(of.codes.size(), kUnwritten) {}

  Ints places; // the system DOFs, the solver's first
  dof_Used used;
};

Order byNodes(const dof_Arrays& arrays, const int* ranks, const Ints& masks) {
  Order order(arrays);
  order.used = dof_OrderByNodes(arrays.System(), ranks, masks.data(), order.places.data());
  return order;
}

Order byList(const dof_Arrays& arrays, int count, const int* list) {
  Order order(arrays);
  const dof_Fault fault = dof_OrderByList(arrays.System(), count, list, order.places.data(), order.used);
  EXPECT_EQ(fault, nullptr);
  return order;
}

// What an order must come to, told from the solver's DOFs alone.
void checkOrder(const dof_Arrays& arrays, const dof_Telling& telling, const Ints& solver,
                const Order& order) {
  Ints expected = solver;
  std::set<int> rest, used;
  for (int dof = 0; dof < arrays.sums.dofs; ++dof)
    rest.insert(dof);
  for (const int dof : solver) {
    rest.erase(dof);
    used.insert(telling.dofs[static_cast<std::size_t>(dof)].second);
  }
  expected.insert(expected.end(), rest.begin(), rest.end());
  ASSERT_EQ(order.used.count, static_cast<int>(solver.size()));
  ASSERT_EQ(order.places, expected);

  ASSERT_EQ(dof_Telling::LabelsOf(static_cast<int>(order.used.labels)), used);
  Ints bySystem(arrays.labelById.size(), kUnwritten), bySolver(bySystem), toSolver, toSystem;
  dof_NumberSolverLabels(arrays.sums.labels, order.used.labels, bySystem.data(), bySolver.data());
  for (const int label : telling.labels) {
    const bool isUsed = used.count(label) != 0;
    toSolver.push_back(isUsed ? static_cast<int>(toSystem.size()) : -1);
    if (isUsed)
      toSystem.push_back(telling.Id(label));
  }
  toSystem.resize(toSolver.size(), -1);
  ASSERT_EQ(bySystem, toSolver);
  ASSERT_EQ(bySolver, toSystem);
}

// Selects some nodes, with all their DOFs.
void checkSelection(const dof_Arrays& arrays, const dof_Telling& telling, const Order& order,
                    Random& random) {
  const unsigned rarity = 1 + Draw(random) % (Draw(random) % 2 == 0 ? 2 : 60);
  const auto selected = std::make_unique<bool[]>(arrays.masks.size());
  for (std::size_t node = 0; node < arrays.masks.size(); ++node)
    selected[node] = Draw(random) % rarity == 0;
  const auto isSelected = [&](int dof) {
    return selected[static_cast<std::size_t>(telling.dofs[static_cast<std::size_t>(dof)].first)];
  };
  Ints system, solver, found(order.places.size());
  for (int i = 0; i < arrays.sums.dofs; ++i) {
    if (isSelected(i))
      system.push_back(i);
    if (isSelected(order.places[static_cast<std::size_t>(i)]))
      solver.push_back(i);
  }
  const auto taken = [&](int count) { return Ints(found.begin(), found.begin() + count); };
  ASSERT_EQ(taken(dof_SelectSystemDofs(arrays.System(), selected.get(), found.data())), system);
  ASSERT_EQ(taken(dof_SelectPlaces(arrays.System(), order.places.data(), selected.get(), found.data())),
            solver);
}

int acousticIn(const dof_Telling& telling, const Ints& solver) {
  return static_cast<int>(std::count_if(solver.begin(), solver.end(), [&](int dof) {
    return telling.dofs[static_cast<std::size_t>(dof)].second == 8;
  }));
}

} // namespace

TEST(DofOrder, FaultyListsAreTold) {
  const dof_Arrays arrays({0b11, 0b11});
  const auto faultOf = [&](int count, const Ints& list) {
    Order order(arrays);
    const dof_Fault fault = dof_OrderByList(arrays.System(), count, list.empty() ? nullptr : list.data(),
                                            order.places.data(), order.used);
    return std::string(fault == nullptr ? "none" : fault);
  };
  const std::string inactive = "ATTEMPTED TO SET SOLVER DOF THAT IS NOT AN ACTIVE MESH DOF.\n",
                    inconsistent = "THE SOLVER AND FE MESH HAVE AN INCONSISTENT NUMBER OF DOFS.\n";
  EXPECT_EQ(faultOf(2, {0, -1}), inactive);
  EXPECT_EQ(faultOf(1, {4}), inactive);
  EXPECT_EQ(faultOf(2, {1, 1}), inconsistent);
  EXPECT_EQ(faultOf(3, {1, 1, -5}), inactive) << "entries are looked at before their number";
  EXPECT_EQ(faultOf(6, {0, 1, 2, 3, 0, 1}), inconsistent) << "longer than the mesh has DOFs";
  EXPECT_EQ(faultOf(6, {0, 1, 2, 3, 0, 4}), inactive);
  EXPECT_EQ(faultOf(-1, {}), inconsistent);
  EXPECT_EQ(faultOf(5, {}), inactive);
  EXPECT_EQ(faultOf(4, {}), "none");
}

// A model of random masks a round, its numbering told slowly, and the solver's DOFs that `order` chooses.
template <class Choose>
void compareOrders(unsigned seed, Choose choose) {
  Random random(seed);
  for (int round = 0; round < 250; ++round) {
    SCOPED_TRACE(testing::Message() << "round " << round);
    const dof_Arrays arrays(
        RandomMasks(random, static_cast<int>(Draw(random) % 120), Draw(random) & 0x7fffffff));
    const dof_Telling telling(arrays.masks, 0, false);
    Order order(arrays);
    checkOrder(arrays, telling, choose(round, random, arrays, telling, order), order);
    checkSelection(arrays, telling, order, random);
    if (testing::Test::HasFatalFailure())
      return;
  }
}

TEST(DofOrder, ListsAgreeWithTheSlowTelling) {
  compareOrders(
      21, [](int round, Random& random, const dof_Arrays& arrays, const dof_Telling& telling, Order& order) {
        Ints list(telling.dofs.size());
        std::iota(list.begin(), list.end(), 0);
        const bool identity = round % 5 == 0;
        if (!identity && round % 2 == 0)
          std::shuffle(list.begin(), list.end(), random);
        else if (!identity)
          std::stable_partition(list.begin(), list.end(), [&](int dof) { return dof % 7 < 3; });
        if (round % 3 != 0)
          list.resize(Draw(random) %
                      (round % 7 == 0 ? std::min<std::size_t>(list.size(), 2) + 1 : list.size() + 1));
        order = byList(arrays, static_cast<int>(list.size()), identity ? nullptr : list.data());
        EXPECT_EQ(order.used.acoustic, acousticIn(telling, list));
        return list;
      });
}

TEST(DofOrder, RanksAndMasksAgreeWithTheSlowTelling) {
  compareOrders(
      22, [](int round, Random& random, const dof_Arrays& arrays, const dof_Telling& telling, Order& order) {
        Ints byPlace(arrays.masks.size()), ranks(byPlace.size()), chosen, solver;
        std::iota(byPlace.begin(), byPlace.end(), 0);
        const bool ranked = round % 3 != 0;
        if (ranked)
          std::shuffle(byPlace.begin(), byPlace.end(), random);
        for (std::size_t place = 0; place < byPlace.size(); ++place)
          ranks[static_cast<std::size_t>(byPlace[place])] = static_cast<int>(place) + 1;
        for (const int mask : arrays.masks)
          chosen.push_back(round % 4 == 0 ? mask : mask & static_cast<int>(Draw(random)));
        for (const int node : byPlace)
          for (const int label : dof_Telling::LabelsOf(chosen[static_cast<std::size_t>(node)]))
            solver.push_back(telling.Ordinal({node, label}));
        order = byNodes(arrays, ranked ? ranks.data() : nullptr, chosen);
        return solver;
      });
}
