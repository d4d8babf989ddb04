#include "dof_Definition.h"

#include <support/err_Capture.h>
#include <support/sys_Directory.h>

using testing::HasSubstr;

namespace {

constexpr const char *kDefinition = "fesD_NodalDofDefinition::fesD_NodalDofDefinition",
                     *kSetup = "fesD_NodalDofDefinition::SetupSolverDofs",
                     *kWrite = "fesD_NodalDofDefinition::WritePermutation";

/// A simulation file with a collection of nodes and one of DOFs.
class DofFile : public testing::Test {
 protected:
  DofFile() {
    m_context = ORXSimManager::CreateContext(m_directory.Path("a.pdm").c_str(), 1, 102, false, 0);
    m_nodes = ORXSimCollectionRef::Create(m_context, "nodes", 3);
    m_dofs = ORXSimCollectionRef::Create(m_context, "dofs", 20);
  }
  ~DofFile() override { ORXSimManager::CloseContext(m_context); }

  void Reopen(int openFlags = 1) {
    ORXSimManager::CloseContext(m_context);
    m_context = ORXSimManager::OpenContext(m_directory.Path("a.pdm").c_str(), openFlags, 102, false, 0);
    m_nodes = {m_context, m_nodes.Minor()};
    m_dofs = {m_context, m_dofs.Minor()};
  }

  /// A distribution of one drawer, in the given order of nodes.
  template <class Number>
  ORXSimDistributionID Store(const std::vector<Number>& rows, ORXSimCSetID members,
                             ORXSimItemType type) const {
    ORXSimDrawerDescription drawer{members, type};
    const ORXSimDistributionID id = ORXSimDistributionRef::Create(m_context, "", "", &drawer, 1);
    ORXSimDistributionRef(id).WriteItems(0, 0, static_cast<int>(rows.size()), rows.data(),
                                         static_cast<std::int64_t>(rows.size() * sizeof(Number)));
    return id;
  }
  ORXSimDistributionID Store(const Ints& rows) const {
    return Store(rows, ORXSimCollectionRef(m_nodes).FullCSet(), ORXSimItemType::kInt32);
  }
  /// Changes one bit of the rows as they stand in the closed file.
  void Damage(const Ints& rows) const {
    std::string file = sys_Bytes(m_directory.Path("a.pdm"));
    const std::string bytes(reinterpret_cast<const char*>(rows.data()), rows.size() * sizeof(int));
    const std::size_t at = file.find(bytes);
    ASSERT_TRUE(at != std::string::npos && file.find(bytes, at + 1) == std::string::npos);
    file[at] = static_cast<char>(file[at] ^ 2);
    std::ofstream(m_directory.Path("a.pdm"), std::ios::binary) << file;
  }
  /// Expects one line of a function, with the last error, which says the cause.
  template <class Call>
  static void ExpectTold(const std::string& function, const std::string& cause, Call call) {
    err_Capture capture;
    call();
    const std::string line = capture.Take();
    EXPECT_EQ(line, "**ERROR " + function + ": " + ORXSimManager::LastError() + "\n");
    EXPECT_THAT(line, HasSubstr(cause));
  }
  static fesD_FESystemHolder System(ORXSimDistributionID labels) {
    return fesD_FESystem::New("s", labels, ORXSimDistributionID(), 0);
  }
  static Ints Internal(const fesD_FESystemHolder& system, int& count) {
    int* const internal = fesD_Utilities::UserToInternalNodes(system.Get(), count);
    return Taken(internal, count + 1);
  }

  sys_Directory m_directory;
  ORXSimContextID m_context;
  ORXSimCollectionID m_nodes, m_dofs;
};

} // namespace

TEST_F(DofFile, MasksComeFromADistribution) {
  const int order[] = {2, 0};
  const ORXSimCSetID some = ORXSimCollectionRef(m_nodes).CreateOrderedCSet(order, 2);
  ORXSimDistributionID whole = Store(Ints{0x80, 0, 1}),
                       part = Store(Ints{4, 3}, some, ORXSimItemType::kInt32);
  Reopen();
  whole = {m_context, whole.Minor()};
  part = {m_context, part.Minor()};
  const fesD_NodalDofDefinition dofs(whole, 1, true);
  EXPECT_THAT(Ints(dofs.ActivityMasks(), dofs.ActivityMasks() + 3), ElementsAre(0x780, 0, 3));
  const fesD_NodalDofDefinition ofPart(part, 0, false);
  EXPECT_THAT(Ints(ofPart.ActivityMasks(), ofPart.ActivityMasks() + 2), ElementsAre(4, 3));
}

TEST_F(DofFile, MasksHaveOneDrawer) {
  const ORXSimCSetID all = ORXSimCollectionRef(m_nodes).FullCSet();
  const std::string drawers = Assertion("distribution\\.NumDrawers\\(\\) == 1");
  const ORXSimDistributionID two = Store(Ints{1, 1, 1});
  ORXSimDistributionRef(two).AddDrawer({all, ORXSimItemType::kInt32});
  EXPECT_DEATH(fesD_NodalDofDefinition(two, 0, false), drawers);
  EXPECT_DEATH(fesD_NodalDofDefinition(ORXSimDistributionID(), 0, false), drawers);
}

TEST_F(DofFile, MasksAndLabelsOfAnotherTypeAreToldWithTheirOwnCause) {
  const ORXSimCSetID all = ORXSimCollectionRef(m_nodes).FullCSet();
  const ORXSimDistributionID none = ORXSimDistributionRef::Create(m_context, "", "", nullptr, 0);
  const std::uint64_t rows = 3;
  hdf_Group place =
      ORXSimContextRef(m_context).File().RootGroup().GroupOpen("store").GroupOpen("distributions");
  place.GroupOpen(std::to_string(none.Minor()).c_str())
      .DatasetCreate("0", hdf_Datatype(hdf_Datatype::kUChar), hdf_Dataspace::CreateSimple(1, &rows))
      .Write(hdf_Datatype(hdf_Datatype::kUChar), "abc", 3);
  const ORXSimDistributionID reals[] = {Store(std::vector<float>{1, 2, 3}, all, ORXSimItemType::kFloat),
                                        Store(std::vector<double>{1, 2, 3}, all, ORXSimItemType::kDouble)};
  for (const auto& [wrong, cause] :
       {std::pair(none, "/0: query drawers: numbers of a type that is not supported\n"),
        std::pair(reals[0], "/0: check view: the drawer holds numbers of another type\n"),
        std::pair(reals[1], "/0: check view: the drawer holds numbers of another type\n")}) {
    int count = -1;
    ExpectTold(kDefinition, cause, [&, masks = wrong] {
      const fesD_NodalDofDefinition dofs(masks, 0, false);
      EXPECT_EQ(dofs.NumberOfNodes(), 0);
      EXPECT_EQ(dofs.NodalDofIds(0, count), nullptr);
      EXPECT_EQ(count, 0);
    });
    ExpectTold("fesD_Utilities::UserToInternalNodes", cause,
               [&, labels = wrong] { EXPECT_THAT(Internal(System(labels), count), ElementsAre(-1)); });
  }
}

TEST_F(DofFile, WhatIsDamagedIsTold) {
  const Ints rows{0x12345601, 0x12345602, 0x12345603}, order{5, 1, 4, 0};
  ORXSimDistributionID stored = Store(rows);
  fesD_NodalDofDefinition dofs = Number({0x83, 0x83});
  dofs.SetupSolverDofs(4, order.data());
  const int permutation = dofs.WritePermutation(m_dofs).Minor();
  ORXSimManager::CloseContext(m_context);
  Damage(rows);
  Damage(order);
  Reopen();
  stored = {m_context, stored.Minor()};
  ExpectTold(kDefinition, "/0: read drawer: the data is damaged",
             [&] { EXPECT_EQ(fesD_NodalDofDefinition(stored, 0, false).NumberOfNodes(), 0); });
  int count = -1;
  ExpectTold("fesD_Utilities::InternalToUserNodes", "the data is damaged",
             [&] { mem_Free(fesD_Utilities::InternalToUserNodes(System(stored).Get(), count)); });
  EXPECT_EQ(count, 0);
  ExpectTold(kSetup, "", [&] { dofs.SetupSolverDofs(ORXSimCSetID(m_dofs, permutation)); });
  EXPECT_EQ(dofs.NumberOfSolverDofs(), 0);
  ExpectTold(kWrite, "the file is open for reading only",
             [&] { EXPECT_TRUE(dofs.WritePermutation(m_dofs).IsNull()); });

  // Of a store that cannot be read it is not said that there is nothing in it.
  Reopen(0);
  const int later = 2;
  EXPECT_TRUE(
      ORXSimContextRef(m_context).File().RootGroup().GroupOpen("store").AttributeOpen("version").Write(
          hdf_Datatype::NATIVE_INT, &later));
  Reopen();
  ExpectTold(kSetup, "version 2 of the store is not known\n",
             [&] { dofs.SetupSolverDofs(ORXSimCSetID(m_dofs, permutation)); });
}

TEST_F(DofFile, APermutationGoesToTheFileAndBack) {
  fesD_NodalDofDefinition dofs = Number({0x83, 0x83});
  dofs.SetupSolverDofs(2, nullptr);
  const ORXSimCSetID identity = dofs.WritePermutation(m_dofs);
  const int list[] = {5, 0, 2};
  dofs.SetupSolverDofs(3, list);
  ORXSimCSetID stored = dofs.WritePermutation(m_dofs);
  Ints members(2);
  ASSERT_TRUE(ORXSimCSet(identity).OrderedMembers(members.data(), 2)) << "the solver's own DOFs only";
  EXPECT_THAT(members, ElementsAre(0, 1));

  Reopen();
  fesD_NodalDofDefinition read = Number({0x83, 0x83});
  read.SetupSolverDofs(ORXSimCSetID(m_dofs, stored.Minor()));
  EXPECT_EQ(read.NumberOfSolverDofs(), 3);
  EXPECT_EQ(read.NumberOfSolverAcousticDofs(), 2);
  EXPECT_THAT(OrderOf(read), ElementsAre(5, 0, 2, 1, 3, 4));
  ExpectTold(kWrite, "", [&] { EXPECT_TRUE(read.WritePermutation({}).IsNull()); });
  ExpectTold(kSetup, "", [&] { read.SetupSolverDofs(ORXSimCSetID()); });
  EXPECT_EQ(read.NumberOfSolverDofs(), 0);
  EXPECT_THAT(OrderOf(read), ElementsAre(0, 1, 2, 3, 4, 5));
  Reopen(0);
  const int foreign[] = {5, 0, 99}; // of which the last is no item of the collection
  EXPECT_TRUE(ORXSimContextRef(m_context)
                  .File()
                  .RootGroup()
                  .GroupOpen("store")
                  .GroupOpen("collections")
                  .GroupOpen(std::to_string(m_dofs.Minor()).c_str())
                  .GroupOpen("sets")
                  .DatasetOpen(std::to_string(stored.Minor()).c_str())
                  .Write(hdf_Datatype::NATIVE_INT, foreign, 3));
  ExpectTold(kSetup, "", [&] {
    read.SetupSolverDofs(ORXSimCSetID({m_context, m_dofs.Minor()}, stored.Minor()));
  });
  EXPECT_EQ(read.NumberOfSolverDofs(), 0);
  const ORXSimCSetID tooMany = ORXSimCollectionRef({m_context, m_dofs.Minor()}).FullCSet();
  EXPECT_DEATH(read.SetupSolverDofs(tooMany), "NOT AN ACTIVE MESH DOF");
}

TEST_F(DofFile, NodeLabelsAreTranslatedBothWays) {
  const fesD_FESystemHolder system = System(Store(Ints{10, 20, 10}));
  int count = -1;
  EXPECT_THAT(Taken(fesD_Utilities::InternalToUserNodes(system.Get(), count), 3), ElementsAre(10, 20, 10));
  EXPECT_EQ(count, 3);
  Ints expected(21, -1);
  expected[10] = 2;
  expected[20] = 1;
  EXPECT_EQ(Internal(system, count), expected);
  EXPECT_EQ(count, 20);
  EXPECT_THAT(Internal(System(Store(Ints{0, -7, -1})), count), ElementsAre(-1));
  EXPECT_THAT(Internal(System(Store(Ints{-2, 1, 0})), count), ElementsAre(-1, 1));

  // Of more drawers the first counts.
  const ORXSimDistributionID two = Store(Ints{3, 2, 1});
  ORXSimDistributionRef(two).AddDrawer({ORXSimCollectionRef(m_nodes).FullCSet(), ORXSimItemType::kInt32});
  EXPECT_THAT(Internal(System(two), count), ElementsAre(-1, 2, 1, 0));
}

TEST_F(DofFile, MissingNodeLabelsAreReportedOnce) {
  err_Capture lines;
  int count = -1;
  EXPECT_THAT(Internal(System({}), count), ElementsAre(-1));
  EXPECT_EQ(count, 0);
  EXPECT_EQ(lines.Take(), "User node labels distribution not found!\n");
  mem_Free(fesD_Utilities::InternalToUserNodes(fesD_FESystem(), count));
  EXPECT_EQ(count, 0);
  EXPECT_EQ(lines.Take(), "**ERROR fesD_FESystem::nodalLabels: called on an empty handle\n"
                          "User node labels distribution not found!\n");

  const ORXSimCollectionRef none(ORXSimCollectionRef::Create(m_context, "none", 0));
  EXPECT_THAT(Internal(System(Store(Ints{}, none.FullCSet(), ORXSimItemType::kInt32)), count),
              ElementsAre(-1));
  EXPECT_EQ(lines.Take(), "");
}
