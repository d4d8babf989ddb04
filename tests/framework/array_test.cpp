// Arrays of child objects: the mesh's systems.

#include <framework/framework_Fixture.h>

#include <gbb/pattern/gbb_Holder.h>

#include <climits>

namespace {

using Arrays = framework_Fixture;
using Systems = decltype(msfD_Mesh().systems());
using SystemsHolder = gbb_Holder<Systems, Systems::Impl>;

} // namespace

TEST_F(Arrays, GrowBeforeAndAfterBindingAndAreReadBack) {
  {
    msfD_Root root(0);
    const msfD_Sim sim = root.createSim(Path().c_str(), "", -1);
    const msfD_DiscreteModel model = sim.DiscreteModel(msfD_DiscreteModel::New({}, {}, 0));
    msfD_MeshHolder holder = msfD_Mesh::New({}, {}, 0);
    const msfD_Mesh mesh = holder.Get();
    fesD_FESystemHolder first = System("0");
    const fesD_FESystem system = mesh.systems().add(std::move(first));
    EXPECT_TRUE(!first && mesh.systems().count() == 1 && mesh.systems().get(0) == system);
    model.Mesh(std::move(holder));
    for (int i = 1; i < 12; ++i) // more than one digit, and more than the first storage
      mesh.systems().add(System(std::to_string(i).c_str()));
    EXPECT_TRUE(mesh.systems().get(0) == system) << "elements stay where they are";
    EXPECT_EQ(mesh.systems().get(11).Path().Index(), 11);
  }
  msfD_Root root(1);
  const msfD_Mesh mesh = MeshOf(root.openSim(Path().c_str(), "", -1));
  Lines();
  EXPECT_EQ(mesh.systems().count(), 12);
  const fesD_FESystem tenth = mesh.systems().get(10);
  EXPECT_EQ(Lines(), "");
  EXPECT_STREQ(tenth.systemName().cStr(), "10");
  EXPECT_EQ(Lines(), "fesD_FESystemImpl::LoadMembers: loading fesD_FESystemMembers\n") << "only that one";
  mesh.systems().add(System("12"));
  for (int i = 0; i <= 12; ++i)
    EXPECT_EQ(mesh.systems().get(i).systemName().cStr(), std::to_string(i));
  Lines();
}

// More than one page of slots, with a last page that is full, not full and just begun.
TEST_F(Arrays, GrowBeyondAPageAndAreAddedToAfterReopening) {
  int written = 0;
  const auto add = [&written](const msfD_Sim& sim, int upTo) {
    ORXSimUpdate update(sim.distributionService().Context());
    for (; written < upTo; ++written) {
      const fesD_FESystem added = MeshOf(sim).systems().add(System(std::to_string(written).c_str()));
      EXPECT_EQ(added.Path().Index(), written);
    }
    EXPECT_TRUE(update.Commit());
  };
  {
    Model a(Path());
    add(a.sim, 256);
  }
  for (const int upTo : {257, 300, 513}) {
    msfD_Root root(0);
    const msfD_Sim sim = root.openSim(Path().c_str(), "", -1);
    const auto systems = MeshOf(sim).systems();
    ASSERT_EQ(systems.count(), written);
    const fesD_FESystem last = systems.get(written - 1);
    add(sim, upTo);
    ASSERT_EQ(systems.count(), upTo);
    EXPECT_TRUE(systems.get(upTo == 257   ? 255
                            : upTo == 300 ? 256
                                          : 299) == last)
        << "slots stay where they are";
    for (const int i : {0, 255, 256, upTo - 1}) {
      EXPECT_STREQ(systems.get(i).systemName().cStr(), std::to_string(i).c_str());
      EXPECT_EQ(systems.get(i).Path().Index(), i);
      EXPECT_TRUE(systems.get(i).Path().Parent().Parent() == MeshOf(sim).Path());
    }
    EXPECT_EQ(MeshOf(sim).Path().Index(), 6);
    EXPECT_EQ(systems.get(0).Path().Parent().Index(), 18);
    EXPECT_EQ(sim.discreteModel().Path().Index(), 0);
  }
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
  a.root.closeSim(a.sim);
  const msfD_Mesh mesh = MeshOf(a.root.openSim(Path().c_str(), "", -1));
  EXPECT_EQ(mesh.systems().count(), 2);
  EXPECT_STREQ(mesh.systems().get(1).systemName().cStr(), "behind");
  EXPECT_TRUE(!mesh.systems().get(0));
  EXPECT_EQ(Lines(), "**ERROR fesD_FESystemHolder::Open: class  is not registered\n");

  // In memory as well.
  const msfD_MeshHolder loose = msfD_Mesh::New({}, {}, 0);
  EXPECT_TRUE(!loose.Get().systems().add(fesD_FESystemHolder()));
  EXPECT_EQ(Lines(), "**ERROR gbb_ArrayImpl::add: inserting a NULL item\n");
  EXPECT_TRUE(loose.Get().systems().count() == 1 && !loose.Get().systems().get(0));
}

TEST_F(Arrays, BindOnce) {
  Model a(Path());
  const ORXSimContextID context = a.sim.distributionService().Context();
  const gbb_Group top(ORXSimContextRef(context).File().RootGroup());
  SystemsHolder holder = SystemsHolder::New(1);
  holder.SetPath(a.mesh.Path(), 18);
  holder.Get().add(System("s"));
  holder.Bind(gbb_Group::CreateArray(top, "array", 0));
  EXPECT_EQ(Lines(), "gbb_ArrayImpl::Bind\n");
  EXPECT_EQ(gbb_Group::Open(top, "array").ReadSize(), 1);
  holder.Bind(GroupOf(context, "other"));
  EXPECT_EQ(Lines(), "gbb_ArrayImpl::Bind\n** ERROR gbb_ArrayImpl::Bind: called for a connected object\n");
}
