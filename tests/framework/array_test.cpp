// Arrays of child objects: the mesh's systems.

#include <framework/framework_Fixture.h>

#include <climits>

namespace {

using Arrays = framework_Fixture;

} // namespace

// Before and after binding and after reopening; more than one page of slots, with a last page that is full,
// not full and just begun.
TEST_F(Arrays, GrowAndAreReadBack) {
  msfD_Root root(1);
  msfD_Sim sim = root.createSim(Path().c_str(), "", -1);
  const msfD_DiscreteModel model = sim.DiscreteModel(msfD_DiscreteModel::New({}, {}, 0));
  msfD_MeshHolder holder = msfD_Mesh::New({}, {}, 0);
  fesD_FESystemHolder first = System("0");
  const fesD_FESystem added = holder.Get().systems().add(std::move(first));
  EXPECT_TRUE(!first && holder.Get().systems().get(0) == added);
  EXPECT_TRUE(model.Mesh(std::move(holder)).systems().get(0) == added);
  int written = 1;
  for (const int upTo : {12, 256, 257, 300, 513}) {
    const msfD_Mesh mesh = MeshOf(sim);
    const Systems systems = mesh.systems();
    ASSERT_EQ(systems.count(), written);
    Lines();
    const int held = written - 1;
    const fesD_FESystem last = systems.get(held);
    EXPECT_EQ(Lines(), "");
    EXPECT_EQ(last.systemName().cStr(), std::to_string(held));
    EXPECT_EQ(Lines(), held == 0 ? "" : "fesD_FESystemImpl::LoadMembers: loading fesD_FESystemMembers\n")
        << "only that one";
    ORXSimUpdate update(ContextOf(sim));
    for (; written < upTo; ++written)
      EXPECT_EQ(systems.add(System(std::to_string(written).c_str())).Path().Index(), written);
    EXPECT_TRUE(update.Commit());
    ASSERT_EQ(systems.count(), upTo);
    EXPECT_TRUE(systems.get(held) == last) << "slots stay where they are";
    for (const int i : {0, std::min(255, held), std::min(256, held), upTo - 1}) {
      EXPECT_EQ(systems.get(i).systemName().cStr(), std::to_string(i));
      EXPECT_EQ(systems.get(i).Path().Index(), i);
      EXPECT_TRUE(systems.get(i).Path().Parent().Parent() == mesh.Path());
    }
    EXPECT_EQ(mesh.Path().Index(), 6);
    EXPECT_EQ(systems.get(0).Path().Parent().Index(), 18);
    EXPECT_EQ(sim.discreteModel().Path().Index(), 0);
    root.closeSim(sim);
    sim = root.openSim(Path().c_str(), "", -1);
  }
  const Systems systems = MeshOf(sim).systems();
  for (int i = 0; i < 513; ++i)
    EXPECT_EQ(systems.get(i).systemName().cStr(), std::to_string(i));
  Lines();
}

TEST_F(Arrays, ArePlacedWithTheirElements) {
  const SystemsHolder array = SystemsHolder::New(0);
  for (int i = 0; i < 257; ++i)
    array.Get().add(System("s"));
  const gbb_PathImpl owner;
  array.SetPath(gbb_Path(&owner), 18);
  for (const int i : {0, 255, 256})
    EXPECT_EQ(array.Get().get(i).Path().Index(), i);
  EXPECT_TRUE(array.Get().get(256).Path().Parent().Parent() == gbb_Path(&owner));
}

TEST_F(Arrays, ReportRangesAndNullItemsWhichKeepTheirPlace) {
  Model a(Path());
  const Systems systems = a.mesh.systems();
  for (const int i : {0, -1, INT_MAX}) {
    EXPECT_TRUE(!systems.get(i));
    EXPECT_EQ(Lines(),
              "**ERROR gbb_ArrayImpl::get: index out of range: " + std::to_string(i) + ", length = 0\n");
  }
  EXPECT_TRUE(!systems.add(fesD_FESystemHolder()));
  EXPECT_EQ(Lines(), "**ERROR gbb_ArrayImpl::add: inserting a NULL item\n");
  systems.add(System("behind"));
  a.Reopen();
  EXPECT_EQ(a.mesh.systems().count(), 2);
  EXPECT_STREQ(a.mesh.systems().get(1).systemName().cStr(), "behind");
  EXPECT_TRUE(!a.mesh.systems().get(0));
  EXPECT_EQ(Lines(), "**ERROR fesD_FESystemHolder::Open: class  is not registered\n");

  // In memory as well.
  const msfD_MeshHolder loose = msfD_Mesh::New({}, {}, 0);
  EXPECT_TRUE(!loose.Get().systems().add(fesD_FESystemHolder()));
  EXPECT_EQ(Lines(), "**ERROR gbb_ArrayImpl::add: inserting a NULL item\n");
  EXPECT_TRUE(loose.Get().systems().count() == 1 && !loose.Get().systems().get(0));
}

TEST_F(Arrays, BindOnce) {
  Model a(Path());
  const gbb_Group top = RootOf(a.sim);
  SystemsHolder holder = SystemsHolder::New(1);
  holder.SetPath(a.mesh.Path(), 18);
  holder.Get().add(System("s"));
  holder.Bind(gbb_Group::CreateArray(top, "array", 0));
  EXPECT_EQ(Lines(), "gbb_ArrayImpl::Bind\n");
  EXPECT_EQ(gbb_Group::Open(top, "array").ReadSize(), 1);
  holder.Bind(GroupOf(ContextOf(a.sim), "other"));
  EXPECT_EQ(Lines(), "gbb_ArrayImpl::Bind\n** ERROR gbb_ArrayImpl::Bind: called for a connected object\n");
}
