// A write that does not reach the file says so: one line for the outermost call, with the first cause.

#include "framework_Fixture.h"

#include <support/sys_NoRoom.h>

using testing::HasSubstr;

namespace {
constexpr auto kByte = hdf_Datatype(hdf_Datatype::kUChar);

class Told : public framework_Fixture {
 protected:
  /// A file with a whole model and one with an empty Sim, each with a group that nobody has.
  void Open(bool readOnly) {
    {
      Model a(Path());
      a.mesh.systems().add(System("first"));
      a.mesh.Regions(a.elements);
      const msfD_Sim b = a.root.createSim(Path("b.pdm").c_str(), "", -1);
      for (const msfD_Sim& sim : {a.sim, b}) {
        GroupOf(ContextOf(sim), "place");
        gbb_Group::CreateArray(RootOf(sim), "array", 0);
        ORXSimContextRef(ContextOf(sim)).Commit();
      }
    }
    const auto open = readOnly ? &msfD_Root::openSimReadOnly : &msfD_Root::openSim;
    whole = (root.*open)(Path().c_str(), "", -1);
    empty = (root.*open)(Path("b.pdm").c_str(), "", -1);
    mesh = MeshOf(whole);
  }
  static msfD_MeshHolder Tree() {
    msfD_MeshHolder tree = msfD_Mesh::New({}, {}, 0);
    tree.Get().systems().add(System("in a tree"));
    return tree;
  }
  void Expect(const char* call, const char* cause) {
    EXPECT_EQ(Lines(), std::string("**ERROR ") + call + ": " + ORXSimManager::LastError() + "\n");
    EXPECT_THAT(ORXSimManager::LastError(), HasSubstr(cause));
  }
  /// None of them may reach the file, and each tells.
  void WriteInEveryWay(const char* cause) {
    mesh.Regions({});
    Expect("msfD_Mesh::Regions", cause);
    {
      msfD_MeshAccess access(mesh);
      access.members()->regions = {};
      access.commit();
    }
    Expect("msfD_MeshAccess::commit", cause);
    EXPECT_FALSE(mesh.regions().IsNull()) << "what the file holds";
    msfD_DiscreteModelHolder tree = msfD_DiscreteModel::New({}, {}, 0);
    tree.Get().Mesh(Tree());
    EXPECT_TRUE(!empty.DiscreteModel(std::move(tree)) && !empty.discreteModel());
    Expect("msfD_Sim::DiscreteModel", cause);
    EXPECT_TRUE(!mesh.systems().add(fesD_ModalSystem::New("second", {}, {}, {}, {}, 0)));
    Expect("gbb_Array::add", cause);
    EXPECT_EQ(mesh.systems().count(), 1);
    const msfD_MeshHolder loose = Tree();
    loose.SetPath(empty.Path(), 0);
    loose.Bind(gbb_Group::Open(RootOf(empty), "place"));
    Expect("msfD_MeshHolder::Bind", cause);
    msfD_MeshInterface own;
    const msfD_MeshHolder outer = msfD_Mesh::New(&own, {}, {}, 0);
    own.SetPath(empty.Path(), 0);
    own.Bind(gbb_Group::Open(RootOf(empty), "place"));
    Expect("msfD_MeshImpl::Bind", cause);
    const SystemsHolder systems = SystemsHolder::New(0);
    systems.SetPath(mesh.Path(), 18);
    systems.Get().add(System("third"));
    systems.Bind(gbb_Group::Open(RootOf(whole), "array"));
    Expect("gbb_Holder::Bind", cause);
  }

  msfD_Root root{0};
  msfD_Sim whole, empty;
  msfD_Mesh mesh;
};
} // namespace

TEST_F(Told, WritesOfAFileThatIsOpenForReadingOnly) {
  Open(true);
  const std::string before = sys_Bytes(Path());
  WriteInEveryWay("the file is open for reading only");
  mesh.systems().get(0).SystemName("never");
  Expect("fesD_FESystem::SystemName", Path().c_str());
  EXPECT_STREQ(mesh.systems().get(0).systemName().cStr(), "first");
  root.closeSim(whole);
  EXPECT_TRUE(sys_Bytes(Path()) == before);
}

TEST_F(Told, WritesThatFindNoRoomAndThoseAfterOneThatFailedHalfway) {
  Open(false);
  {
    const sys_NoRoom full;
    WriteInEveryWay("File too large");
    ORXSimUpdate update(ContextOf(whole));
    mesh.Regions({});
    EXPECT_FALSE(update.Commit());
    EXPECT_EQ(Lines(), "") << "the scope's own answer says it";
    const std::string large(1 << 20, 'n'); // not kept in memory until the commit
    EXPECT_TRUE(update.Rollback());
    mesh.systems().get(0).SystemName(large.c_str());
    Expect("fesD_FESystem::SystemName", "write dataset: write: File too large");
    const std::uint64_t size = large.size();
    EXPECT_FALSE(RootOf(empty)
                     .Object()
                     .DatasetCreate("large", kByte, hdf_Dataspace::CreateSimple(1, &size))
                     .Write(kByte, large.data(), size));
  }
  WriteInEveryWay("barred since: ");
  EXPECT_TRUE(ORXSimContextRef(ContextOf(whole)).Barred() && ORXSimContextRef(ContextOf(empty)).Barred());
}

// What is taken back afterwards may fail as well, and does where there is no journal.
TEST_F(Told, TheFirstCauseOfSeveral) {
  for (const int option : {0, 1}) {
    const std::string file = Path(std::to_string(option));
    const msfD_Sim sim = root.createSim(file.c_str(), "", option);
    const gbb_Group place = GroupOf(ContextOf(sim), "place");
    gbb_Group::Create(place, "systems");
    ORXSimContextRef(ContextOf(sim)).Commit();
    const msfD_MeshHolder tree = Tree();
    tree.SetPath(sim.Path(), 0);
    tree.Bind(place);
    Expect("msfD_MeshHolder::Bind", ": /place/systems: create group: there is an object of that name");
    EXPECT_EQ(place.HasChild("#simpleTypeMembers"), option == 0) << "half an object is taken back";
    tree.Get().systems().get(0).SystemName("never");
    EXPECT_THAT(Lines(), HasSubstr("**ERROR fesD_FESystem::SystemName: "))
        << "nothing stays behind in memory";
    EXPECT_TRUE(!ORXSimContextRef(ContextOf(sim)).Barred());
  }
}
