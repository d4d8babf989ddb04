// What an update took back is no other thing of the same number, and what would mislead is not stored.

#include <face/face_Fixture.h>

#include <UTI_ORXSimDynamicAPI/hdf_View.h>

using testing::ElementsAre;
using testing::HasSubstr;

using FaceLife = face_Fixture;

TEST_F(FaceLife, WhatStandsInNoMapDiesWithItsUpdateToo) {
  const pdm::Sim sim = pdm::create(Path());
  const pdm::Mesh mesh = sim.create_mesh(10, 1);
  mesh.set_times(std::vector{0.});
  mesh.node_sets().create("kept", {4, 5});
  const pdm::Fields fields = mesh.node_fields();
  const pdm::Drawer kept = fields.create("kept", std::vector{1., 2.}, {.over = mesh.node_sets()["kept"]})[0];
  const pdm::Set keptSet = kept.set();
  const pdm::Collection nodes = mesh.nodes(), ofKept = keptSet.collection();
  pdm::Set set, loose;
  pdm::Drawer drawer;
  pdm::Collection modes, bare;
  {
    const pdm::Update update = sim.update();
    const pdm::Set a = mesh.node_sets().create("a", {1, 2, 3});
    drawer = fields.create("f", std::vector{1., 2., 3.}, {.over = a})[0];
    set = drawer.set();
    loose = pdm::Set(std::make_shared<const pdm::Set::Source>(pdm::Set::Source{sim.state(), "x"}), {},
                     a.handle());
    const pdm::System modal = mesh.systems().create("modal", pdm::Kind::modal);
    modal.set_frequencies(std::vector{1., 2.});
    modes = modal.fields()["frequencies"].set().collection();
    bare = pdm::Collection(sim.state(), "modes", modes.handle());
    EXPECT_EQ(modes.size() + bare.size() + loose.size() + set.size(), 10);
  }
  fields.create("f", std::vector<int>(10)); // another field of the name and number: the drawer is its
  EXPECT_EQ(drawer.read<std::int64_t>().size(), 10u);
  mesh.node_sets().create("b", {7, 8, 9});
  mesh.set_times(std::vector{0., 1., 2.}); // the frames take the number that the modes had
  EXPECT_THROW(set.items(), pdm::Error);
  EXPECT_THROW(fields.create("g", std::vector{1., 2., 3.}, {.over = set}), pdm::Error);
  EXPECT_THROW(loose.items(), pdm::Error);
  EXPECT_THROW(modes.size(), pdm::Error);
  EXPECT_THROW(bare.size(), pdm::Error);
  EXPECT_THAT(keptSet.items(), ElementsAre(4, 5)); // what was there before lives on
  EXPECT_EQ(nodes.size() + ofKept.size(), 20);
}

TEST_F(FaceLife, ABlockKeepsItsName) {
  const pdm::Sim sim = pdm::create(Path());
  const pdm::Mesh mesh = sim.create_mesh(5, 4);
  mesh.create_block("steel", "BAR2", 2, std::vector{0, 1});
  for (const char* name : {"inner", "zz"})
    mesh.region_sets().create(name, {0});
  EXPECT_EQ(mesh.blocks()[0].name(), "steel"); // not that of the first set of its region
  mesh.element_sets().create("block_2", {0});
  for (const char* name : {"zz", "block_2", "steel"})
    EXPECT_THAT(Refused([&] {
                  mesh.create_block(name, "BAR2", 2, std::vector{1, 2});
                }).cause(),
                HasSubstr("already"));
  EXPECT_EQ(mesh.regions().size(), 1);
  EXPECT_EQ(mesh.create_block("", "BAR2", 2, std::vector{1, 2}).name(), "block_3");
  EXPECT_THAT(mesh.region_sets().names(), ElementsAre("block_3", "inner", "steel", "zz"));
  EXPECT_THAT(mesh.region_sets()["zz"].items(), ElementsAre(0)); // those before live on, over all regions
  EXPECT_EQ(mesh.region_sets()["zz"].collection().size(), 2);
  EXPECT_EQ(mesh.blocks()[0].name() + mesh.blocks()[1].name(), "steelblock_3");
}

TEST_F(FaceLife, TimesAreFiniteAscendAndAreFoundToABillionth) {
  const pdm::Sim sim = Model();
  const pdm::Mesh mesh = sim.model().mesh();
  constexpr double kNan = std::numeric_limits<double>::quiet_NaN(), kInf = HUGE_VAL;
  for (const auto& wrong : {std::vector{kNan, 1., 2.}, {1., kNan}, {0., kInf}, {-kInf, 0.}, {1., 0.}})
    EXPECT_THAT(Refused([&] { mesh.set_times(wrong); }).cause(), HasSubstr("time"));
  for (const double wrong : {0.5, 0.25, kNan, kInf})
    EXPECT_THAT(Refused([&] { mesh.append_time(wrong); }).cause(), HasSubstr("time"));
  EXPECT_THAT(mesh.times(), ElementsAre(0, 0.5));

  const auto index = [&](double time) { return mesh.node_fields()["heat"].at(time).index(); };
  mesh.set_times(std::vector{1e6, 1e6 + 1e-4});
  EXPECT_EQ(index(std::nextafter(1e6 + 1e-4, 0)), 1);
  EXPECT_THROW(index(1e6 + 9e-4), pdm::Error);
  EXPECT_THROW(index(kNan), pdm::Error);
  mesh.set_times(std::vector{0.1 + 0.2});
  EXPECT_EQ(index(0.3), 0);                             // another last digit alone
  mesh.frame_fields()["time"].write(std::vector{kInf}); // of a file that others wrote
  EXPECT_THROW(index(kInf), pdm::Error);
  mesh.set_times(std::vector{0., 1., 2.});
  mesh.frame_fields()["time"].write(std::vector{kNan, 1., kInf});
  EXPECT_THROW(index(0.25), pdm::Error);
  EXPECT_THROW(index(kInf), pdm::Error);
  EXPECT_EQ(index(1), 1);
}

TEST_F(FaceLife, AnUpdateThatAnotherFollowsInItsVariableEndsFirst) {
  const pdm::Sim sim = Model();
  const pdm::Sets sets = sim.model().mesh().node_sets();
  pdm::Update update = sim.update();
  sets.create("lost", {0});
  update = sim.update();
  sets.create("first", {0});
  update.commit();
  auto outer = std::make_unique<pdm::Update>(sim.update());
  pdm::Update inner = sim.update();
  outer.reset(); // nothing was done in the one within: it goes on
  sets.create("second", {1});
  inner.commit();
  EXPECT_THAT(sets.names(), ElementsAre("base", "first", "second"));

  update = sim.update();
  pdm::Update within = sim.update();
  sets.create("half", {0});
  update = pdm::Update(); // takes back what `within` wrote: it must not say that it kept it
  EXPECT_THAT(Refused([&] { within.commit(); }).cause(), HasSubstr("rolled back"));
  within.rollback();
  update = sim.update();
  within = sim.update();
  within = sim.update(); // the first one within wrote nothing, yet was left: so ends the one around it
  EXPECT_THROW(update.commit(), pdm::Error);
}

TEST_F(FaceLife, OnlyASimulationFileGivesWay) {
  Model();
  pdm::create(Path(), {.replace = true}).create_model();
  EXPECT_FALSE(pdm::open(Path()).model().has_mesh());
  hdf_View other(Path("other.h5").c_str());
  ASSERT_TRUE(other.Group("/a") && other.Finish());
  const std::string bytes = sys_Bytes(Path("other.h5"));
  EXPECT_THAT(Refused([&] { pdm::create(Path("other.h5"), {.replace = true}); }).cause(),
              HasSubstr("expected a simulation file to replace"));
  EXPECT_EQ(sys_Bytes(Path("other.h5")), bytes);
  std::ofstream(Path("text")) << "of a person";
  EXPECT_THROW(pdm::create(Path("text"), {.replace = true}), pdm::Error);
  EXPECT_EQ(sys_Bytes(Path("text")), "of a person");
  std::ofstream(Path("empty")).close();
  pdm::create(Path("empty"), {.replace = true}).create_model();
}

TEST_F(FaceLife, WhatWouldBeCutOrMeansNothingIsNotStored) {
  const pdm::Sim sim = Model();
  const pdm::Mesh mesh = sim.model().mesh();
  const pdm::Fields fields = mesh.node_fields();
  const std::string cut("m\0s", 3);
  const std::vector<double> four(4);
  const auto nul = [&](auto&& call) { EXPECT_THAT(Refused(call).cause(), HasSubstr("NUL")); };
  nul([&] { fields.create("x", four, {.unit = cut}); });
  nul([&] { fields.create("x", four, {.long_name = cut}); });
  nul([&] { fields.create_empty("x", {.unit = cut}); });
  nul([&] { fields["heat"].append(std::vector<float>(4), {.unit = cut}); });
  nul([&] { fields["heat"].append(std::vector<float>(4), {.long_name = cut}); });
  nul([&] { pdm::create(Path("b.pdm")).create_mesh(2, 1).create_block("a", cut, 2, std::vector{0, 1}); });
  EXPECT_THAT(Refused([&] { mesh.surfaces().create("x", std::vector{0}, std::vector{-1}); }).cause(),
              HasSubstr("side -1"));
  EXPECT_THAT(fields.names(), ElementsAre("coordinates", "heat"));
  EXPECT_FALSE(mesh.surfaces().contains("x"));
  EXPECT_EQ(fields["heat"].size(), 2);
}

TEST_F(FaceLife, OptionsOfFilesAreHeeded) {
  {
    const pdm::Sim sim = Model("a.pdm", pdm::Durability::scratch);
    const pdm::Sets sets = sim.model().mesh().node_sets();
    std::make_unique<pdm::Update>(sim.update()), sets.create("kept", {0}); // left: scratch takes back nothing
    EXPECT_TRUE(sets.contains("kept"));
    std::vector<int> few(2);
    EXPECT_THROW(sim.model().mesh().node_fields()["coordinates"].set().read(few), pdm::Error);
    hdf_Group deep = ORXSimContextRef(sim.context()).File().RootGroup();
    for (int i = 0; i < 110; ++i)
      deep = deep.GroupCreate("g", 0);
  }
  EXPECT_EQ(pdm::open(Path()).model().mesh().node_count(), 4);
  EXPECT_THROW(pdm::open(Path(), pdm::untrusted), pdm::Error); // deeper than a walk goes
}
