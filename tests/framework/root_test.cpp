// The way into files: create, open, find, close.

#include <framework/framework_Fixture.h>

#include <support/sys_NoRoom.h>

#include <fstream>

namespace {

using Root = framework_Fixture;
using Failing = framework_Fixture;

} // namespace

TEST_F(Root, RefusesFilesAndAliasesThatAreTaken) {
  const std::string a = Path("a.pdm"), b = Path("b.pdm");
  const auto* const file = a.c_str();
  msfD_Root root(0);
  const msfD_Sim sim = root.createSim(file, "alias", -1);
  EXPECT_TRUE(!!sim && root.getByAlias("alias") == sim && root.get(0) == sim);
  using Open = msfD_Sim (msfD_Root::*)(gbb_String, gbb_String, int);
  for (const auto& [open, name] : {std::pair<Open, const char*>{&msfD_Root::createSim, "createSim"},
                                   {&msfD_Root::openSim, "openSim"},
                                   {&msfD_Root::openSimReadOnly, "openSimReadOnly"}}) {
    const std::string head = std::string("**ERROR msfD_Root::") + name;
    EXPECT_TRUE(!(root.*open)(file, "", -1));
    EXPECT_EQ(Lines(), head + ": file " + a + " already opened\n");
    EXPECT_TRUE(!(root.*open)(file, "alias", -1));
    EXPECT_EQ(Lines(), head + ": file " + a + " already opened\n") << "the file comes first";
    EXPECT_TRUE(!(root.*open)(b.c_str(), "alias", -1));
    EXPECT_EQ(Lines(), head + ": database with alias alias already exists\n");
    msfD_Root other(0);
    EXPECT_EQ(!(other.*open)(b.c_str(), "", -2), name != std::string("createSim"));
    EXPECT_THAT(ORXSimManager::LastError(), testing::HasSubstr("context option -2 is not known"));
    EXPECT_EQ(Lines().empty(), name != std::string("createSim")) << "who makes a file is told";
  }
  EXPECT_FALSE(std::filesystem::exists(b));
  EXPECT_EQ(root.count(), 1);

  root.closeSim(sim);
  EXPECT_TRUE(root.count() == 0 && !root.getByAlias("alias"));
  EXPECT_TRUE(!!root.openSim(file, "alias", -1)) << "both names are free again";
}

TEST_F(Root, KeepsPositionsDense) {
  msfD_Root root(0);
  msfD_Sim sims[3];
  for (int i = 0; i < 3; ++i) {
    const std::string name(1, static_cast<char>('a' + i));
    sims[i] = root.createSim(Path(name).c_str(), i == 1 ? "" : name.c_str(), -1);
    sims[i].DiscreteModel(msfD_DiscreteModel::New({}, {}, 0));
    EXPECT_EQ(sims[i].Path().Index(), i);
    EXPECT_TRUE(sims[i].Path().Root() == gbb_Root(&root));
  }
  EXPECT_TRUE(!root.getByAlias("")) << "an empty alias is none";
  msfD_Root other(0);
  other.closeSim(sims[0]); // not the other's
  EXPECT_EQ(root.count(), 3);

  root.closeSim(sims[0]);
  EXPECT_TRUE(root.get(0) == sims[1] && root.get(1) == sims[2] && root.getByAlias("c") == sims[2]);
  EXPECT_TRUE(sims[1].Path().Index() == 0 && sims[2].Path().Index() == 1 && !root.getByAlias("a"));
  // Links from moved Sims still find their own.
  gbb_LinkHolder link(new gbb_SimpleLink(sims[2].discreteModel().Path(), "#/discreteModel"));
  EXPECT_TRUE(gbb_TypedLink<msfD_DiscreteModel>(link).get(0) == sims[2].discreteModel());
  root.closeSim(sims[2]);
  EXPECT_TRUE(root.count() == 1 && root.get(0) == sims[1]);
  EXPECT_TRUE(!!root.createSim(Path("a").c_str(), "c", -1)) << "a closed file may be made anew";
  EXPECT_TRUE(!root.get(1).discreteModel());
  EXPECT_EQ(root.get(1).Path().Index(), 1);
}

TEST_F(Root, MakesASimInAContextWithinItsUpdate) {
  msfD_Root root(0);
  for (const bool commits : {false, true}) {
    const ORXSimContextID context = ORXSimManager::CreateContext(Path().c_str(), 2, 102, false, 1);
    ORXSimUpdate update(context);
    const msfD_Sim sim = root.createSimIn(context, Path().c_str(), "in");
    EXPECT_TRUE(root.getByAlias("in") == sim && sim.distributionService().Context() == context);
    EXPECT_TRUE(!!sim.DiscreteModel(msfD_DiscreteModel::New({}, {}, 0)));
    EXPECT_FALSE(std::filesystem::exists(Path())) << "before the scope's commit";
    EXPECT_TRUE(!root.createSimIn(ORXSimContextID(), Path("b").c_str(), "in"));
    EXPECT_EQ(Lines(), "**ERROR msfD_Root::createSimIn: database with alias in already exists\n");
    EXPECT_TRUE(!commits || update.Commit());
    root.closeSim(sim);
    EXPECT_EQ(std::filesystem::exists(Path()), commits);
  }
  EXPECT_TRUE(!!root.openSim(Path().c_str(), "", -1).discreteModel());
}

TEST_F(Root, OpensNothingSilentlyWhenThereIsNoSimulation) {
  ORXSimManager::CloseContext(ORXSimManager::CreateContext(Path("bare.pdm").c_str(), 0, 102, false, 1));
  msfD_Root root(0);
  for (const std::string& file : {Path("missing.pdm"), Path("bare.pdm")}) {
    EXPECT_TRUE(!root.openSim(file.c_str(), "x", -1) && !root.openSimReadOnly(file.c_str(), "x", -1));
    EXPECT_THAT(ORXSimManager::LastError(), testing::HasSubstr(file));
    EXPECT_TRUE(root.count() == 0 && !root.getByAlias("x")) << file;
  }
  EXPECT_FALSE(std::filesystem::exists(Path("missing.pdm")));
}

// What stands under the name decides: a closed HDF5 file and an empty one are replaced, others are left
// alone.
TEST_F(Root, CreatesOverWhatItMay) {
  { Model whole(Path("sim")); }
  const ORXSimContextID bare = ORXSimManager::CreateContext(Path("bare").c_str(), 0, 102, false, 1);
  GroupOf(bare, "something else");
  ORXSimManager::CloseContext(bare);
  std::ofstream(Path("text")) << "a letter";
  std::ofstream(Path("empty")).close();
  for (const auto& [name, replaced] :
       {std::pair{"sim", true}, {"bare", true}, {"empty", true}, {"text", false}}) {
    const std::string file = Path(name), before = sys_Bytes(file);
    {
      msfD_Root root(0);
      const msfD_Sim sim = root.createSim(file.c_str(), "", -1);
      EXPECT_EQ(!sim.distributionService(), !replaced) << name;
      EXPECT_TRUE(!sim.discreteModel());
      EXPECT_EQ(!sim.DiscreteModel(msfD_DiscreteModel::New({}, {}, 0)), !replaced);
      EXPECT_EQ(Lines().empty(), replaced);
    }
    EXPECT_EQ(sys_Bytes(file) == before, !replaced);
    msfD_Root root(0);
    const msfD_Sim sim = root.openSim(file.c_str(), "", -1);
    EXPECT_EQ(!sim, !replaced);
    if (replaced) {
      EXPECT_TRUE(!!sim.discreteModel() && !sim.discreteModel().mesh()) << "nothing of the former is left";
      EXPECT_FALSE(ORXSimContextRef(sim.distributionService().Context())
                       .File()
                       .RootGroup()
                       .GetObjinfoExists("something else"));
    }
  }
}

TEST_F(Failing, CreationGivesASimThatHoldsNothing) {
  std::filesystem::create_directory(Path("folder"));
  { // a file that another root has open
    const Model holds(Path("held.pdm"));
    msfD_Root root(0);
    for (const char* const name : {"no/such/folder/x.pdm", "folder", "held.pdm"}) {
      const std::string file = Path(name);
      const msfD_Sim sim = root.createSim(file.c_str(), name, -1);
      ASSERT_FALSE(!sim) << name;
      EXPECT_TRUE(root.getByAlias(name) == sim && sim.Path().Index() == root.count() - 1);
      const auto cause = [&] { EXPECT_THAT(ORXSimManager::LastError(), testing::HasSubstr(file)) << name; };
      cause();
      EXPECT_THAT(Lines(), testing::StartsWith("**ERROR msfD_Root::createSim: " + file));
      EXPECT_TRUE(sim.distributionService().Context().IsNull());
      EXPECT_TRUE(!sim.discreteModel());
      cause();
      msfD_DiscreteModelHolder model = msfD_DiscreteModel::New({}, {}, 0);
      EXPECT_TRUE(!sim.DiscreteModel(std::move(model)) && !model);
      cause();
      EXPECT_THAT(Lines(), testing::StartsWith("**ERROR msfD_Sim::DiscreteModel: " + file));
    }
    EXPECT_TRUE(!root.createSim(Path("folder").c_str(), "", -1));
    EXPECT_EQ(Lines(), "**ERROR msfD_Root::createSim: file " + Path("folder") + " already opened\n");
    root.closeSim(root.get(0));
    EXPECT_EQ(root.count(), 2);
  }
  msfD_Root root(0);
  EXPECT_TRUE(!!MeshOf(root.openSim(Path("held.pdm").c_str(), "", -1))) << "the held file was left alone";
  // The Sim is bound once, whatever fails: the file, or its first commit point.
  msfD_Root traced(1);
  for (const rlim_t room : {0, 1, 1000}) {
    const std::string file = Path(room == 0 ? "no/such/folder/y.pdm" : "full" + std::to_string(room));
    const sys_NoRoom full(room);
    const msfD_Sim never = traced.createSim(file.c_str(), "", -1);
    EXPECT_TRUE(!!never && !never.distributionService());
    EXPECT_THAT(Lines(), testing::StartsWith("msfD_Root::createSim " + file +
                                             "\nmsfD_SimImpl::Bind\n**ERROR msfD_Root::createSim: " + file));
  }
  for (const auto& entry : std::filesystem::directory_iterator(std::filesystem::path(Path()).parent_path()))
    EXPECT_THAT(entry.path().filename().string(), testing::MatchesRegex("folder|held.pdm.*"))
        << "no new file";
}
