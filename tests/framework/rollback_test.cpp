// After a rollback or a refresh, handles say what the file says; what a rollback removed is safe to ask.

#include "framework_Fixture.h"

#include <support/sys_NoRoom.h>

using testing::HasSubstr;

namespace {
class Rollback : public framework_Fixture {
 protected:
  Rollback() : m(Path()) {
    m.mesh.systems().add(System("first"));
    m.mesh.Regions(m.elements);
  }
  ORXSimContextID Context() const { return ContextOf(m.sim); }
  static std::string NameOf(const fesD_FESystem& system) { return system.systemName().cStr(); }
  static std::string LastError() { return ORXSimManager::LastError(); }

  Model m;
};
} // namespace

TEST_F(Rollback, HandlesThatWereHeldAreAsTheLastCommitPoint) {
  const auto systems = m.mesh.systems();
  const fesD_FESystem first = systems.get(0);
  fesD_FESystemAccess access(first);
  for (const bool abandoned : {false, true}) {
    ORXSimUpdate update(Context());
    first.SystemName("changed");
    m.mesh.Regions({});
    access.members()->systemName = "never";
    EXPECT_EQ(NameOf(systems.add(System("second"))), "second");
    EXPECT_EQ(systems.count(), 2);
    if (!abandoned)
      EXPECT_TRUE(update.Rollback()) << LastError();
    else {
      ORXSimUpdate(Context()).Rollback();
      EXPECT_FALSE(update.Commit());
    }
    EXPECT_EQ(NameOf(first), "first");
    EXPECT_EQ(m.mesh.regions(), m.elements);
    EXPECT_EQ(systems.count(), 1);
    EXPECT_TRUE(systems.get(0) == first) << "the same handle";
    EXPECT_TRUE(m.sim.discreteModel() == m.model && m.model.mesh() == m.mesh);
    EXPECT_EQ(Lines(), "");
    access.commit();
    EXPECT_THAT(Lines(), testing::StartsWith("**ERROR fesD_FESystemAccess::commit: the members have been"));
    EXPECT_EQ(NameOf(first), "first") << "an access of before the rollback is worth nothing";
  }
  // And what comes then is kept.
  EXPECT_EQ(NameOf(systems.add(System("third"))), "third");
  first.SystemName("renamed");
  m.Reopen();
  const auto read = m.mesh.systems();
  ASSERT_EQ(read.count(), 2);
  EXPECT_EQ(NameOf(read.get(0)), "renamed");
  EXPECT_EQ(NameOf(read.get(1)), "third");
}

TEST_F(Rollback, WhatItRemovedAnswersNothingAndNeverBecomesAnotherObject) {
  const auto systems = m.mesh.systems();
  fesD_ModalSystem asked, unasked;
  gbb_Array<fesD_ModalEvent, fesD_ModalEventHolder, gbb_Repository, fesD_ModalSystem> events;
  for (fesD_ModalSystem* const system : {&asked, &unasked}) {
    ORXSimUpdate update(Context());
    *system = fesD_ModalSystem(gbb_Handle(systems.add(fesD_ModalSystem::New("gone", {}, {}, {}, {}, 0))));
    ASSERT_TRUE(!!*system);
    events = system->events();
    events.add(fesD_ModalEvent::New("e", 1, {}, {}, 0));
    EXPECT_TRUE(update.Rollback());
    if (system == &asked) {
      EXPECT_EQ(NameOf(fesD_FESystem(gbb_Handle(asked))), "");
      EXPECT_THAT(LastError(), HasSubstr("the object is not in the file any more"));
    }
  }
  // A new object takes the place in the file.
  const fesD_ModalSystem fresh(systems.add(fesD_ModalSystem::New("fresh", {}, {}, {}, {}, 0)));
  fresh.events().add(fesD_ModalEvent::New("e", 1, {}, {}, 0));
  EXPECT_EQ(systems.count(), 2);
  Lines();
  for (const fesD_ModalSystem& gone : {asked, unasked}) {
    const fesD_FESystem base{gbb_Handle(gone)};
    EXPECT_FALSE(gone == fresh);
    for (int round = 0; round < 2; ++round) {
      EXPECT_EQ(NameOf(base), "");
      EXPECT_THAT(LastError(), HasSubstr("the object is not in the file any more"));
      base.SystemName("ghost");
    }
    EXPECT_EQ(gone.events().count(), 0);
    EXPECT_TRUE(!gone.events().add(fesD_ModalEvent::New("e", 1, {}, {}, 0)));
  }
  EXPECT_EQ(events.count(), 0);
  EXPECT_EQ(NameOf(fesD_FESystem(gbb_Handle(fresh))), "fresh");
  EXPECT_EQ(fresh.events().count(), 1);
  Lines();
}

TEST_F(Rollback, AChildThatWasGivenIsGoneAndMayBeGivenAgain) {
  const msfD_Sim sim = m.root.createSim(Path("b.pdm").c_str(), "b", -1);
  msfD_DiscreteModel model;
  msfD_Mesh mesh;
  msfD_MeshAccess access(m.mesh);
  access.members()->faces = m.nodes;
  gbb_SimpleLink link(m.mesh.Path(), "b#/discreteModel");
  {
    const ORXSimUpdate left(ContextOf(sim));
    model = sim.DiscreteModel(msfD_DiscreteModel::New({}, {}, 0));
    mesh = model.Mesh(msfD_Mesh::New({}, {}, 0));
    EXPECT_EQ(mesh.systems().count(), 0);
    EXPECT_TRUE(link.Get(0) == model);
  }
  access.commit();
  EXPECT_EQ(m.mesh.faces(), m.nodes) << "nothing of the other Sim went back";
  EXPECT_TRUE(!link.Get(gbb_kUseCache));
  EXPECT_TRUE(!sim.discreteModel());
  EXPECT_TRUE(!model.Mesh(msfD_Mesh::New({}, {}, 0)) || model.mesh() == mesh);
  EXPECT_EQ(mesh.systems().count(), 0);
  EXPECT_EQ(NameOf(m.mesh.systems().get(0)), "first") << "the other Sim is as it was";
  const msfD_DiscreteModel again = sim.DiscreteModel(msfD_DiscreteModel::New({}, {}, 0));
  EXPECT_FALSE(!again || again == model);
  EXPECT_TRUE(!again.mesh()) << "the mesh of the former one is not its mesh";
  Lines();
}

TEST_F(Rollback, AnObjectWithoutAnOwnerIsGoneForEver) {
  const msfD_MeshHolder gone = msfD_Mesh::New({}, {}, 0), fresh = msfD_Mesh::New({}, {}, 0);
  for (const msfD_MeshHolder* const mesh : {&gone, &fresh}) {
    mesh->SetPath(m.sim.Path(), 0);
    ORXSimUpdate update(Context());
    mesh->Bind(GroupOf(Context(), "place"));
    EXPECT_EQ(gone.Get().regions().IsNull(), true);
    EXPECT_TRUE(mesh == &gone ? update.Rollback() : update.Commit());
    Lines();
    gone.Get().Regions(m.elements);
    EXPECT_THAT(Lines(), HasSubstr("the object is not in the file any more"));
  }
  { msfD_MeshAccess(fresh.Get()).members(); }
  EXPECT_TRUE(fresh.Get().regions().IsNull()) << "not written over";
}

TEST_F(Rollback, AnAddThatFailsLeavesNothing) {
  const auto systems = m.mesh.systems();
  for (const bool scoped : {false, true}) {
    const auto update = scoped ? std::make_unique<ORXSimUpdate>(Context()) : nullptr;
    {
      const sys_NoRoom full;
      const fesD_FESystem added = systems.add(System("too much"));
      EXPECT_EQ(!added, !scoped) << "in a scope only its end fails";
      EXPECT_FALSE(scoped && update->Commit());
    }
  }
  EXPECT_EQ(systems.count(), 1);
  EXPECT_EQ(NameOf(systems.add(System("second"))), "second") << LastError();
  EXPECT_EQ(systems.count(), 2);
  Lines();
}

TEST_F(Rollback, ALiveSimMovesOnWithItsFile) {
  msfD_Root readers(0);
  const msfD_Sim live = readers.openSimReadOnly(Path().c_str(), "", 3);
  ASSERT_TRUE(!!live) << LastError();
  const msfD_Mesh mesh = MeshOf(live);
  const auto systems = mesh.systems();
  const fesD_FESystem first = systems.get(0);
  EXPECT_EQ(NameOf(first), "first");
  m.mesh.systems().get(0).SystemName("changed");
  m.mesh.systems().add(System("second"));
  EXPECT_EQ(NameOf(first), "first");
  EXPECT_EQ(systems.count(), 1);
  EXPECT_TRUE(readers.refreshSim(live)) << LastError();
  EXPECT_EQ(NameOf(first), "changed");
  EXPECT_EQ(systems.count(), 2);
  EXPECT_EQ(NameOf(systems.get(1)), "second");
  EXPECT_TRUE(MeshOf(live) == mesh && systems.get(0) == first);
  EXPECT_FALSE(m.root.refreshSim(m.sim));
}

// A reader keeps the writer's pages in the journal, where they can be made unreadable.
TEST_F(Rollback, WhatCannotBeReadForAMomentIsNotForgotten) {
  msfD_Root readers(0);
  ASSERT_TRUE(!!readers.openSimReadOnly(Path().c_str(), "", 3)) << LastError();
  m.mesh.systems().add(fesD_ModalSystem::New("modal", {}, {}, {}, {}, 0));
  fesD_ModalSystem(m.mesh.systems().get(1)).events().add(fesD_ModalEvent::New("e", 1, {}, {}, 0));
  const std::string name(20000, 'n'); // some pages, written over
  for (const std::string& text : {std::string(20000, 'a'), name})
    m.mesh.systems().get(0).SystemName(text.c_str());
  m.Reopen();
  const auto systems = m.mesh.systems();
  const fesD_FESystem first = systems.get(0);
  const fesD_ModalSystem modal(systems.get(1));
  const std::string journal = Path() + "-journal", good = sys_Bytes(journal);
  const gbb_Group top = RootOf(m.sim);
  EXPECT_EQ(top.ReadSize(), 0) << "no array";
  // The groups' headers are read before: of one that it reads only in part HDF5 keeps that part.
  const auto damage = [&](std::size_t from, std::size_t bytes) {
    EXPECT_FALSE(GroupAt(m.sim, {"sim", "discreteModel", "mesh", "systems", "0"}).HasChild("nothing"));
    std::ofstream(journal, std::ios::binary) << std::string(good).replace(from, bytes, bytes, '\0');
  };
  const auto mend = [&] { std::ofstream(journal, std::ios::binary) << good; };
  for (const bool whole : {false, true}) {
    if (whole)
      damage(512, good.size() - 512);
    else
      damage(good.rfind(name.substr(0, 4000)), 4000);
    EXPECT_TRUE(NameOf(first).empty());
    EXPECT_THAT(LastError(), HasSubstr(whole ? "open dataset: " : "read dataset: "));
    EXPECT_EQ(systems.count(), 2);
    EXPECT_EQ(whole ? modal.events().count() : 0, 0) << "asked for the first time";
    mend();
    EXPECT_TRUE(NameOf(first) == name) << "the next use looks again";
    EXPECT_TRUE(systems.count() == 2 && systems.get(0) == first);
    EXPECT_EQ(whole ? modal.events().count() : 1, 1);
    const ORXSimUpdate abandoned(Context());
    ORXSimCollectionRef::Create(Context(), "never", 3);
  }
  damage(512, good.size() - 512);
  EXPECT_TRUE(NameOf(first).empty());
  first.NodalLabels({});
  EXPECT_THAT(Lines(),
              testing::ContainsRegex(
                  "ERROR fesD_FESystem::NodalLabels: .*: the journal has changed under its reader\n$"));
  {
    ORXSimUpdate update(Context());
    ORXSimCollectionRef::Create(Context(), "never", 3);
    EXPECT_FALSE(update.Rollback());
  }
  EXPECT_EQ(systems.count(), 2);
  EXPECT_EQ(top.ReadSize(), -1) << "not known";
  mend();
  EXPECT_TRUE(ORXSimUpdate(Context()).Rollback()) << LastError();
  EXPECT_TRUE(NameOf(first) == name);
  EXPECT_TRUE(systems.count() == 2 && systems.get(0) == first);
  Lines();
}

// The child's name is taken, and what the child takes back is the whole bind.
TEST_F(Rollback, ABindWhosePartFailedKeepsNothing) {
  ORXSimUpdate update(Context());
  const gbb_Group group = GroupOf(Context(), "taken");
  EXPECT_TRUE(!!group.Object().GroupCreate("mesh", 0));
  EXPECT_TRUE(update.Commit());
  msfD_DiscreteModelHolder holder = msfD_DiscreteModel::New(m.nodes, {}, 0);
  holder.Get().Mesh(msfD_Mesh::New({}, {}, 0));
  holder.SetPath(m.model.Path().Parent(), 0);
  holder.Bind(group);
  EXPECT_THAT(Lines(), HasSubstr("**ERROR msfD_DiscreteModelHolder::Bind: "));
  EXPECT_TRUE(holder.Get().vectors().IsNull());
  EXPECT_THAT(Lines(), HasSubstr("LoadMembers: error 2"));
}
