// A host's own interface objects: what they may open, and that they are one object with what they stand for.

#include <framework/framework_Fixture.h>

namespace {

class Own : public framework_Fixture {
 protected:
  static gbb_Class MeshClass() {
    static gbb_ClassDescriptor s_class;
    return gbb_Class::Define(
        s_class, "com.vertana.OwnMesh", msfD_MeshInterface::StaticClass(),
        [](const gbb_Path&, int, const gbb_Group&, int) -> gbb_ObjectInterface* { return nullptr; });
  }
  struct Mesh : msfD_MeshInterface {
    gbb_Class Class() const override { return MeshClass(); }
  };
  static bool AllEqual(const std::vector<gbb_Handle>& handles) {
    bool equal = true;
    for (const gbb_Handle& a : handles)
      for (const gbb_Handle& b : handles)
        equal &= a == b;
    return equal;
  }
};

} // namespace

TEST_F(Own, OpensNoObjectOfADerivedClassAsItsBase) {
  Model a(Path());
  a.mesh.systems().add(fesD_ModalSystem::New("modal", {}, {}, a.nodes, a.elements, 0));
  a.Reopen();
  const gbb_Group group = GroupAt(a.sim, {"sim", "discreteModel", "mesh", "systems", "0"});
  const gbb_Path place = a.mesh.systems().get(0).Path().Parent();
  fesD_FESystemInterface base;
  for (const gbb_Group& each : {group, gbb_Group::Open(group, "#base")}) {
    const fesD_FESystemHolder holder = fesD_FESystemHolder::Open(&base, place, 0, each, 0);
    EXPECT_TRUE(!holder && holder.Flags() == 0);
    if (!!holder)
      holder.Get().SystemName("written over");
    EXPECT_EQ(Lines(), "**ERROR fesD_FESystemHolder::Open: unrelated class com.vertana.ModalSystem\n");
  }
  // As what it is, by its own class or one that descends from it; the part of the base follows.
  struct Modal : fesD_ModalSystemInterface {
    gbb_Class Class() const override {
      static gbb_ClassDescriptor s_class;
      return gbb_Class::Define(s_class, "com.vertana.OwnModal", StaticClass(), nullptr);
    }
  } descends;
  fesD_ModalSystemInterface same;
  for (fesD_ModalSystemInterface* const outer : {&same, static_cast<fesD_ModalSystemInterface*>(&descends)}) {
    const fesD_ModalSystemHolder holder = fesD_ModalSystemHolder::Open(outer, place, 0, group, 0);
    ASSERT_TRUE(!!holder && holder.Get().dofs().Minor() >= 0);
    EXPECT_STREQ(holder.FESystemSubobject().Get().systemName().cStr(), "modal");
    EXPECT_EQ(gbb_Handle(holder.Get()).Object(), static_cast<gbb_ObjectInterface*>(outer));
  }
  EXPECT_TRUE(!fesD_FESystemHolder::Open(nullptr, place, 0, group, 0));
  EXPECT_NE(Lines(), "");
}

TEST_F(Own, StoresItsClassAndOpensWhatItStored) {
  Mesh own;
  msfD_MeshInterface plain;
  {
    msfD_Root root(0);
    const msfD_Sim sim = root.createSim(Path().c_str(), "", -1);
    const msfD_DiscreteModel model = sim.DiscreteModel(msfD_DiscreteModel::New({}, {}, 0));
    msfD_MeshHolder holder = msfD_Mesh::New(&own, ORXSimCollectionID(ContextOf(sim), 3), {}, 0);
    EXPECT_EQ(holder.Flags(), 3u);
    const msfD_Mesh mesh = model.Mesh(std::move(holder));
    const gbb_Handle handle = mesh;
    EXPECT_EQ(handle.Object(), static_cast<gbb_ObjectInterface*>(&own));
    EXPECT_TRUE(handle.Class() == MeshClass() && msfD_Mesh(handle) == mesh && mesh.nodes().Minor() == 3);
    EXPECT_TRUE(own.Path() == mesh.Path() && own.Path().Index() == 6);
  }
  msfD_Root root(0);
  const msfD_Sim sim = root.openSim(Path().c_str(), "", -1);
  EXPECT_TRUE(!MeshOf(sim));
  EXPECT_EQ(Lines(), "**ERROR msfD_MeshHolder::Open: class com.vertana.OwnMesh is not registered\n");
  sim.schemaSnapshot().Register(MeshClass());
  const gbb_Group group = GroupAt(sim, {"sim", "discreteModel", "mesh"});
  const gbb_Path place = sim.discreteModel().Path();
  EXPECT_TRUE(!msfD_MeshHolder::Open(&plain, place, 6, group, 0));
  EXPECT_EQ(Lines(), "**ERROR msfD_MeshHolder::Open: unrelated class com.vertana.OwnMesh\n");
  const msfD_MeshHolder holder = msfD_MeshHolder::Open(&own, place, 6, group, 0);
  ASSERT_FALSE(!holder);
  EXPECT_EQ(holder.Get().nodes().Minor(), 3);
  EXPECT_TRUE(own.Path() == holder.Get().Path() && own.Path().Index() == 6);
  EXPECT_TRUE(!msfD_MeshHolder::Open(place, 6, group, 0)) << "the class opens nothing by itself";
}

TEST_F(Own, IsOneObjectForEveryHandle) {
  fesD_ModalSystemInterface own;
  Model a(Path());
  fesD_ModalSystemHolder holder = fesD_ModalSystem::New(&own, "modal", {}, {}, {}, {}, 0);
  const fesD_ModalSystem modal = holder.Get();
  const fesD_FESystem part = holder.FESystemSubobject().Get();
  const fesD_FESystem base{gbb_Handle(modal)};
  EXPECT_TRUE(base == part);
  EXPECT_TRUE(AllEqual({modal, base, part}));
  EXPECT_EQ(gbb_Handle(base).Object(), static_cast<gbb_ObjectInterface*>(&own));
  EXPECT_TRUE(gbb_Handle(base).Class() == fesD_ModalSystemInterface::StaticClass());
  const fesD_FESystem added = a.mesh.systems().add(std::move(holder));
  gbb_SimpleLink link(a.sim.Path(), "#/discreteModel/mesh/systems/0");
  EXPECT_TRUE(AllEqual({modal, added, link.Get(0), fesD_ModalSystem(added)}));
  EXPECT_TRUE(fesD_ModalSystem(added) == modal);
  const fesD_FESystem other = a.mesh.systems().add(fesD_ModalSystem::New("other", {}, {}, {}, {}, 0));
  EXPECT_TRUE(AllEqual({other, fesD_ModalSystem(other)}) && !AllEqual({other, modal}));
  // A handle of nothing is no object, whatever class it names.
  EXPECT_TRUE(!msfD_Mesh(gbb_Handle(nullptr, msfD_MeshInterface::StaticClass())) &&
              !msfD_Sim(gbb_Handle(nullptr, msfD_SimInterface::StaticClass())) &&
              !fesD_FESystem(gbb_Handle(nullptr, fesD_ModalSystemInterface::StaticClass())) &&
              !gbb_SchemaSnapshot(gbb_Handle(nullptr, gbb_SchemaSnapshot::StaticClass())) &&
              !gbb_DistributionService(gbb_Handle(nullptr, gbb_DistributionService::StaticClass())));
}

TEST_F(Own, SpeaksForASim) {
  struct Sim : msfD_SimInterface {
    gbb_Class Class() const override {
      static gbb_ClassDescriptor s_class;
      return gbb_Class::Define(s_class, "com.vertana.OwnSim", StaticClass(), nullptr);
    }
  } own;
  msfD_Root root(1);
  const ORXSimContextID context = ORXSimManager::CreateContext(Path().c_str(), 0, 102, false, 1);
  const gbb_Group group = GroupOf(context, "sim");
  {
    const msfD_SimHolder holder = msfD_Sim::New(&own, 1);
    EXPECT_EQ(holder.Flags(), 3u);
    const msfD_Sim sim = holder.Get();
    const msfD_DiscreteModel model = sim.DiscreteModel(msfD_DiscreteModel::New({}, {}, 0));
    model.Mesh(msfD_Mesh::New({}, {}, 0));
    EXPECT_EQ(model.Path().Parent(), sim.Path());
    holder.SetPath(gbb_Root(&root), 5);
    EXPECT_TRUE(own.Path() == sim.Path() && own.Path().Index() == 5 &&
                model.Path().Root() == gbb_Root(&root));
    EXPECT_EQ(gbb_Handle(sim).Object(), static_cast<gbb_ObjectInterface*>(&own));
    EXPECT_TRUE(msfD_Sim(gbb_Handle(sim)) == sim);
    // The model that the Sim was given before it had a file is bound with it.
    holder.Bind(context, group);
    EXPECT_EQ(Lines(), "msfD_SimImpl::Bind\n");
    EXPECT_STREQ(group.ReadClass().text, "com.vertana.OwnSim");
    EXPECT_STREQ(gbb_Group::Open(group, "discreteModel").ReadClass().text, "com.vertana.DiscreteModel");
    EXPECT_TRUE(gbb_Group::Open(gbb_Group::Open(group, "discreteModel"), "mesh").HasChild("systems"));
    EXPECT_TRUE(sim.distributionService().Context() == context && sim.discreteModel() == model);
  }
  EXPECT_TRUE(!own.Path()) << "the interface outlives its Sim and speaks for nothing then";
  const ORXSimContextID again = ORXSimManager::OpenContext(Path().c_str(), 0, 102, false, 1);
  const gbb_Group stored = gbb_Group::Open(gbb_Group(ORXSimContextRef(again).File().RootGroup()), "sim");
  const msfD_SimHolder opened = msfD_SimHolder::Open(&own, gbb_Root(&root), 7, again, stored, 0);
  EXPECT_TRUE(own.Path().Index() == 7 && opened.Get().distributionService().Context() == again);
  EXPECT_TRUE(!!gbb_Handle(opened.Get()) && gbb_Handle(opened.Get()).Class() == own.Class());
  opened.Bind(again, stored);
  EXPECT_EQ(Lines(), "** ERROR msfD_SimImpl::Bind: called for a connected object\n");
}

TEST_F(Own, SpeaksForTheObjectThatItOpenedLast) {
  Model a(Path());
  const gbb_Group group = GroupAt(a.sim, {"sim", "discreteModel", "mesh"});
  msfD_MeshInterface own;
  msfD_MeshHolder holder = msfD_MeshHolder::Open(&own, a.mesh.Path().Parent(), 6, group, 0);
  holder = msfD_MeshHolder::Open(&own, a.mesh.Path().Parent(), 6, group, 0);
  EXPECT_TRUE(!!holder.Get() && msfD_Mesh(gbb_Handle(holder.Get())) == holder.Get());
  EXPECT_TRUE(own.Path() == holder.Get().Path());
}
