// What all schema classes do alike: new, set, bind, commit, reopen, and the lines they trace.

#include <framework/framework_Fixture.h>

namespace {

using Pattern = framework_Fixture;
using Access = framework_Fixture;
using Holders = framework_Fixture;

} // namespace

TEST_F(Pattern, ValuesSetBeforeBindingAndAfterComeBack) {
  {
    msfD_Root root(0);
    const msfD_Sim sim = root.createSim(Path().c_str(), "", -1);
    const auto id = [&sim](int minor) { return ORXSimCollectionID(ContextOf(sim), minor); };
    // The whole tree is made in memory and bound from the top.
    msfD_DiscreteModelHolder holder = msfD_DiscreteModel::New(id(1), {}, 0);
    const msfD_DiscreteModel model = holder.Get();
    const msfD_Mesh mesh = model.Mesh(msfD_Mesh::New(id(3), {}, 0));
    const fesD_FESystem system = mesh.systems().add(System("first"));
    model.Frames(id(5));
    system.SystemName("renamed");
    EXPECT_TRUE(model.mesh() == mesh && mesh.nodes() == id(3));
    EXPECT_TRUE(sim.DiscreteModel(std::move(holder)) == model && !holder);
    EXPECT_EQ(system.Path().Parent().Parent().Parent().Index(), 0);
    EXPECT_EQ(mesh.Path().Index(), 6);
    EXPECT_EQ(system.Path().Parent().Index(), 18);
    // Connected by now: each setter is one committed write, and a map setter replaces the whole map.
    mesh.LagrangeNodes(ORXSimCSetID(id(3), 9));
    kda_MapString<ORXSimCSetID> sets;
    for (const char* const name : {"all", "", "name/with slash"}) {
      sets.insert(name, ORXSimCSetID(id(3), 2));
      mesh.NodeSets(sets);
    }
    mesh.ElementSets(sets);
    mesh.ElementSets({});
  }
  msfD_Root root(0);
  const msfD_Sim sim = root.openSim(Path().c_str(), "", -1);
  const auto id = [&sim](int minor) { return ORXSimCollectionID(ContextOf(sim), minor); };
  const msfD_DiscreteModel model = sim.discreteModel();
  EXPECT_TRUE(model.vectors() == id(1) && model.frames() == id(5) && model.components().IsNull());
  const msfD_Mesh mesh = model.mesh();
  EXPECT_TRUE(mesh.nodes() == id(3) && mesh.lagrangeNodes() == ORXSimCSetID(id(3), 9));
  EXPECT_EQ(mesh.nodeSets().count(), 3);
  EXPECT_TRUE(mesh.nodeSets().get("name/with slash") == ORXSimCSetID(id(3), 2));
  EXPECT_EQ(mesh.elementSets().count(), 0);
  ASSERT_EQ(mesh.systems().count(), 1);
  EXPECT_STREQ(mesh.systems().get(0).systemName().cStr(), "renamed");
}

TEST_F(Pattern, TracesEveryOperationInOrder) {
  const std::string file = Path();
  Model a(file, 1);
  EXPECT_EQ(Lines(), "msfD_Root::createSim " + file +
                         "\n"
                         "msfD_SimImpl::Bind\n"
                         "msfD_DiscreteModelImpl::Bind\n"
                         "msfD_DiscreteModelImpl::CreateMembers: creating msfD_DiscreteModelMembers\n"
                         "msfD_DiscreteModelImpl::BindMembers: saving msfD_DiscreteModelMembers\n"
                         "msfD_MeshImpl::Bind\n"
                         "msfD_MeshImpl::CreateMembers: creating msfD_MeshMembers\n"
                         "msfD_MeshImpl::BindMembers: saving msfD_MeshMembers\n"
                         "gbb_ArrayImpl::Bind\n");
  a.mesh.Faces({});
  EXPECT_EQ(Lines(), "msfD_MeshImpl::CommitMembers: saving msfD_MeshMembers\n");
  fesD_FESystemHolder holder = System("s", 1);
  const fesD_FESystem system = holder.Get();
  system.SystemName("t");
  EXPECT_EQ(Lines(), "fesD_FESystemImpl::CreateMembers: creating fesD_FESystemMembers\n");
  system.SystemName("u");
  EXPECT_EQ(Lines(), "fesD_FESystemImpl::CopyMembers: copying fesD_FESystemMembers\n");
  a.mesh.systems().add(std::move(holder));
  EXPECT_EQ(Lines(),
            "fesD_FESystemImpl::Bind\nfesD_FESystemImpl::BindMembers: saving fesD_FESystemMembers\n");
  a.root.closeSim(a.sim);
  EXPECT_EQ(Lines(), "msfD_Root::closeSim\n");

  const msfD_Mesh mesh = MeshOf(a.root.openSim(file.c_str(), "", -1));
  EXPECT_EQ(Lines(), "msfD_Root::openSim " + file + "\n") << "opened, nothing loaded";
  mesh.nodes();
  mesh.faces();
  EXPECT_EQ(Lines(), "msfD_MeshImpl::LoadMembers: loading msfD_MeshMembers\n");
  a.root.closeSim(a.root.get(0));
  a.root.openSimReadOnly(file.c_str(), "", -1);
  EXPECT_EQ(Lines(), "msfD_Root::closeSim\nmsfD_Root::openSimReadOnly " + file + "\n");
}

// An empty holder has nothing to be placed and bound, and says so where its owner would do that.
TEST_F(Pattern, RefusesEmptyHoldersAndSecondChildren) {
  const msfD_SimHolder loose = msfD_Sim::New(0);
  msfD_DiscreteModelHolder holder = msfD_DiscreteModel::New({}, {}, 0);
  const msfD_DiscreteModel model = holder.Get();
  EXPECT_TRUE(!loose.Get().DiscreteModel({}) && !model.Mesh({}));
  const std::string place = "**ERROR msfD_DiscreteModelHolder::SetPath: called on an empty holder\n";
  EXPECT_EQ(Lines(), place);
  const std::string meshExists = "**ERROR:msfD_DiscreteModelImpl::Mesh: already exists\n",
                    modelExists = "**ERROR:msfD_SimImpl::DiscreteModel: already exists\n";
  msfD_Root root(0);
  const msfD_Sim sim = root.createSim(Path().c_str(), "", -1);
  EXPECT_TRUE(!sim.DiscreteModel({}));
  EXPECT_EQ(Lines(), place + "**ERROR msfD_DiscreteModelHolder::Bind: called on an empty holder\n");
  const msfD_Mesh mesh = model.Mesh(msfD_Mesh::New({}, {}, 0));
  for (const bool bound : {false, true}) {
    EXPECT_TRUE(!bound || sim.DiscreteModel(std::move(holder)) == model) << "the place is still free";
    msfD_MeshHolder second = msfD_Mesh::New({}, {}, 0);
    EXPECT_TRUE(model.Mesh(std::move(second)) == mesh && !second && model.Mesh({}) == mesh);
    EXPECT_EQ(Lines(), meshExists + meshExists);
  }
  EXPECT_TRUE(sim.DiscreteModel(msfD_DiscreteModel::New({}, {}, 0)) == model);
  EXPECT_TRUE(sim.DiscreteModel({}) == model);
  EXPECT_EQ(Lines(), modelExists + modelExists);
  root.closeSim(sim);

  // After reopening, without a look at the first one.
  EXPECT_TRUE(!!root.openSim(Path().c_str(), "", -1).discreteModel().Mesh(msfD_Mesh::New({}, {}, 0)));
  EXPECT_EQ(Lines(), meshExists);

  // Over a child that is there and cannot be opened.
  const msfD_Sim other = root.createSim(Path("b.pdm").c_str(), "", -1);
  gbb_Group::Create(GroupAt(other, {"sim"}), "discreteModel").WriteClass(gbb_ClassID("unknown"));
  EXPECT_TRUE(!other.DiscreteModel(msfD_DiscreteModel::New({}, {}, 0)));
  EXPECT_EQ(Lines(),
            "**ERROR msfD_DiscreteModelHolder::Open: class unknown is not registered\n" + modelExists);

  // A bound model without a mesh: an empty holder leaves the place free.
  const msfD_DiscreteModel third =
      root.createSim(Path("c.pdm").c_str(), "", -1).DiscreteModel(msfD_DiscreteModel::New({}, {}, 0));
  EXPECT_TRUE(!third.Mesh({}));
  EXPECT_EQ(Lines(), "**ERROR msfD_MeshHolder::Bind: called on an empty holder\n");
  EXPECT_TRUE(!!third.Mesh(msfD_Mesh::New({}, {}, 0)));
}

TEST_F(Pattern, BindsOnce) {
  Model a(Path());
  const msfD_MeshHolder bound = msfD_Mesh::New(a.nodes, {}, 1);
  bound.SetPath(a.sim.Path(), 0);
  bound.Bind(GroupOf(ContextOf(a.sim), "place"));
  Lines();
  bound.Bind(GroupOf(ContextOf(a.sim), "elsewhere"));
  EXPECT_EQ(Lines(), "msfD_MeshImpl::Bind\n** ERROR msfD_MeshImpl::Bind: called for a connected object\n");
  EXPECT_TRUE(bound.Get().nodes() == a.nodes &&
              !GroupAt(a.sim, {"elsewhere"}).HasChild("#simpleTypeMembers"));
}

// Which file it is in, an object learns from its path, and from that of its owners.
TEST_F(Pattern, FindsItsFileOnceItOrAnOwnerIsPlaced) {
  Model a(Path()), b(Path("b.pdm"));
  const msfD_DiscreteModelHolder tree = msfD_DiscreteModel::New({}, {}, 0);
  const msfD_Mesh mesh = tree.Get().Mesh(msfD_Mesh::New({}, {}, 0));
  const fesD_ModalSystem modal(mesh.systems().add(fesD_ModalSystem::New("s", {}, {}, {}, {}, 0)));
  const fesD_ModalEvent event = modal.events().add(fesD_ModalEvent::New("e", 1, {}, {}, 0));
  tree.Bind(GroupOf(ContextOf(a.sim), "loose"));
  ORXSimContextRef(ContextOf(a.sim)).Commit(); // of what has no file no commit is made
  mesh.Regions(a.nodes);
  EXPECT_THAT(Lines(), testing::EndsWith("root is empty\n**ERROR msfD_MeshImpl::SaveMembers: error 3 saving "
                                         "class data\n"));
  {
    const ORXSimUpdate left(ContextOf(a.sim));
    modal.PropertyEvaluation(2);
  }
  EXPECT_EQ(modal.propertyEvaluation(), 2) << "which file went back is not known";
  tree.SetPath(a.sim.Path(), 0);
  Lines();
  EXPECT_EQ(modal.propertyEvaluation(), 0);
  mesh.Regions(a.nodes);
  modal.Dofs(a.nodes);
  event.Frames(a.elements);
  EXPECT_EQ(Lines(), "");
  mesh.systems().add(System("later"));
  { msfD_MeshAccess(mesh).members(); } // forgets the cache
  EXPECT_TRUE(mesh.regions() == a.nodes && mesh.systems().count() == 2);
  // A rollback is seen as well.
  {
    const ORXSimUpdate left(ContextOf(a.sim));
    modal.Dofs(a.elements);
    mesh.systems().add(System("never"));
  }
  EXPECT_TRUE(modal.dofs() == a.nodes && mesh.systems().count() == 2);
  // In another place it is all of the file there.
  tree.SetPath(b.sim.Path(), 3);
  tree.Get().Vectors(b.nodes);
  mesh.Regions(b.nodes);
  modal.Dofs(b.nodes);
  event.Frames(b.elements);
  EXPECT_EQ(Lines(), "");
}

TEST_F(Pattern, RefusesForeignIdentifiersAndLeavesTheFileAlone) {
  Model a(Path()), b(Path("b.pdm"));
  const char* const line = "**ERROR msfD_MeshImpl::SaveMembers: error 3 saving class data\n";
  kda_MapString<ORXSimCSetID> sets;
  for (const auto& [key, id] : {std::pair{"own", a.nodes}, {"z none", {}}, {"foreign", b.nodes}})
    sets.insert(key, ORXSimCSetID(id, id.IsNull() ? -1 : 0));
  a.mesh.Faces(a.nodes);
  a.mesh.NodeSets(sets);
  EXPECT_EQ(Lines(), line);
  // What cannot be stored is gone from memory too, where it would stand in the way of all that comes.
  EXPECT_EQ(a.mesh.nodeSets().count(), 0);
  a.mesh.Instances(a.elements);
  EXPECT_TRUE(a.mesh.instances() == a.elements);
  sets.remove("foreign");
  a.mesh.NodeSets(sets);
  EXPECT_EQ(Lines(), "");
  a.mesh.Regions(b.nodes);
  EXPECT_EQ(Lines(), line);
  a.Reopen();
  EXPECT_TRUE(a.mesh.regions().IsNull() && a.mesh.nodeSets().count() == 2);
  EXPECT_TRUE(a.mesh.faces() == a.nodes && a.mesh.instances() == a.elements);
}

TEST_F(Access, CommitsOnceAndDiscardsWithoutACommit) {
  Model a(Path(), 0);
  {
    msfD_MeshAccess access(a.mesh);
    msfD_MeshMembers* const members = access.members();
    EXPECT_EQ(access.members(), members);
    EXPECT_EQ(a.mesh.ReadMembers(), members) << "a connected object gives its cached members themselves";
    members->faces = a.elements;
  }
  EXPECT_TRUE(a.mesh.faces().IsNull()) << "discarded: read from the file again";
  {
    msfD_MeshAccess access(a.mesh);
    access.members()->faces = a.elements;
    access.commit();
    access.commit();
    access.members()->regions = a.nodes; // a second transaction of the same access, not committed
  }
  EXPECT_TRUE(a.mesh.faces() == a.elements && a.mesh.regions().IsNull());

  // Unbound: the first access works on the cache itself, later ones on a copy.
  const msfD_MeshHolder holder = msfD_Mesh::New(a.nodes, a.elements, 0);
  const msfD_Mesh mesh = holder.Get();
  { msfD_MeshAccess(mesh).members()->nodes = a.elements; }
  EXPECT_TRUE(mesh.nodes() == a.nodes) << "the cache was forgotten: what New was given";
  {
    msfD_MeshAccess access(mesh);
    access.members()->nodes = a.elements;
    EXPECT_TRUE(mesh.nodes() == a.nodes);
    access.commit();
    EXPECT_TRUE(mesh.nodes() == a.elements);
  }
  { msfD_MeshAccess(mesh).members()->nodes = {}; }
  EXPECT_TRUE(mesh.nodes() == a.elements);
}

TEST_F(Access, OutlivesTheMembersThatAnotherOneDiscarded) {
  Model a(Path());
  msfD_MeshAccess first(a.mesh);
  first.members()->faces = a.nodes;
  { msfD_MeshAccess(a.mesh).members(); }
  first.commit();
  EXPECT_EQ(Lines(),
            "**ERROR msfD_MeshAccess::commit: the members have been discarded or taken back since they were "
            "asked for\n");
  a.root.closeSim(a.sim);
  const msfD_Mesh mesh = MeshOf(a.root.openSimReadOnly(Path().c_str(), "", -1));
  msfD_MeshAccess access(mesh);
  access.members();
  mesh.Regions({}); // cannot be written
  EXPECT_THAT(Lines(), testing::StartsWith("**ERROR msfD_Mesh::Regions: " + Path()));
  access.commit();
  EXPECT_THAT(Lines(), testing::EndsWith("since they were asked for\n"));
  EXPECT_EQ(mesh.nodes().Minor(), a.nodes.Minor());
}

TEST_F(Holders, MoveAndNameWhatTheyHold) {
  static_assert(!std::is_copy_constructible_v<msfD_MeshHolder> && sizeof(msfD_Mesh) == sizeof(void*) &&
                sizeof(msfD_MeshHolder) == 2 * sizeof(void*) && std::is_trivially_copyable_v<msfD_Mesh>);
  msfD_MeshHolder a = msfD_Mesh::New({}, {}, 0);
  EXPECT_EQ(a.Flags(), 1u);
  const msfD_Mesh mesh = a.Get();
  msfD_MeshHolderMoveSrc source = a;
  EXPECT_TRUE(!a && a.Flags() == 0 && !a.Get());
  msfD_MeshHolder b(std::move(source));
  EXPECT_TRUE(b.Get() == mesh && b.Flags() == 1);
  msfD_MeshHolder c = msfD_Mesh::New({}, {}, 0);
  c = std::move(b);
  EXPECT_TRUE(c.Get() == mesh && !b && b.Flags() == 0);
  c.Close();
  EXPECT_TRUE(!c && c.Flags() == 0);
  EXPECT_EQ(fesD_FESystem::New("s", {}, {}, 0).Flags(), 3u);
}
