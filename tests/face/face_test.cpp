// What is written in a few words is what the plain calls read, and the reverse; what fails says it in four
// parts.

#include <face/face_Fixture.h>

#include <thread>

using testing::ElementsAre;
using testing::HasSubstr;

using Face = face_Fixture;

static_assert(std::is_nothrow_move_constructible_v<pdm::Sim> && !std::is_copy_constructible_v<pdm::Sim>);
static_assert(std::is_nothrow_move_constructible_v<pdm::Update> &&
              !std::is_copy_constructible_v<pdm::Update>);
static_assert(std::is_nothrow_copy_constructible_v<pdm::Error>);
static_assert(!std::is_constructible_v<pdm::Numbers, std::vector<unsigned>> &&
              !std::is_constructible_v<pdm::Numbers, std::vector<std::string>>);

TEST_F(Face, PlainCallsReadWhatWasWritten) {
  Model();
  int modules = 0;
  DDB_PDM_Core_initialize(modules);
  {
    msfD_Root root(0);
    const msfD_Sim sim = root.openSimReadOnly(Path().c_str(), "", -1);
    const msfD_Mesh mesh = sim.discreteModel().mesh();
    EXPECT_EQ(ORXSimCollectionRef(mesh.nodes()).NumItems(), 4);
    const ORXSimDistributionRef coordinates(mesh.nodeFields().get("coordinates"));
    double xyz[4][3];
    ASSERT_TRUE(coordinates.ReadItems(0, 0, 4, xyz, sizeof xyz));
    EXPECT_THAT(xyz[1], ElementsAre(1, 0, 0));
    EXPECT_STREQ(coordinates.Unit().CStr(), "m");
    EXPECT_STREQ(coordinates.Drawer(0).LongName().CStr(), "x, y, z");
    int base[3];
    ASSERT_TRUE(ORXSimCSet(mesh.nodeSets().get("base")).OrderedMembers(base, 3));
    EXPECT_THAT(base, ElementsAre(2, 0, 1));
    EXPECT_EQ(ORXSimDistributionRef(mesh.surfaces().get("skin")).NumDrawers(), 2);
    EXPECT_EQ(ORXSimCollectionRef(sim.discreteModel().frames()).NumItems(), 2);
    EXPECT_TRUE(!!fesD_ModalSystem(mesh.systems().get(0)));
  }
  DDB_PDM_Core_finalize(modules);
}

TEST_F(Face, ReadsWhatWasWritten) {
  Model();
  const pdm::Sim sim = pdm::open(Path());
  const pdm::Mesh mesh = sim.model().mesh();
  EXPECT_EQ(mesh.node_count(), 4);
  EXPECT_EQ(mesh.dimension(), 3);
  EXPECT_THAT(mesh.node_fields().names(), ElementsAre("coordinates", "heat"));
  EXPECT_THAT(mesh.node_sets()["base"].items(), ElementsAre(2, 0, 1));
  EXPECT_TRUE(mesh.node_fields()["coordinates"].set().is_full());
  EXPECT_THAT(mesh.node_fields()["coordinates"].set().items(), ElementsAre(0, 1, 2, 3));
  EXPECT_THAT(mesh.surfaces()["skin"].elements(), ElementsAre(0, 0));
  EXPECT_THAT(mesh.surfaces()["skin"].sides(), ElementsAre(3, 1));
  EXPECT_THAT(mesh.node_labels(), ElementsAre(1, 2, 3, 4));
  const std::vector<pdm::Block> blocks = mesh.blocks();
  ASSERT_EQ(blocks.size(), 1u);
  EXPECT_EQ(blocks[0].type(), "TET4");
  EXPECT_THAT(blocks[0].element_type()->side_corners(3), ElementsAre(0, 2, 1));
  EXPECT_THAT(blocks[0].connectivity().read<std::int64_t>(), ElementsAre(0, 1, 2, 3)); // int32 widened

  const pdm::Field heat = mesh.node_fields()["heat"];
  EXPECT_EQ(heat.unit(), "K");
  EXPECT_EQ(heat.steps(), 2);
  EXPECT_THAT(heat.at(0.5).read<double>(), ElementsAre(2, 2, 2, 20)); // float32 widened
  float rows[2];
  heat[1].read_rows(2, 2, rows);
  EXPECT_THAT(rows, ElementsAre(2, 20));
  std::string seen;
  for (const auto& [name, field] : mesh.node_fields())
    seen += name + " " + std::to_string(field.size()) + " ";
  EXPECT_EQ(seen, "coordinates 1 heat 2 ");
}

TEST_F(Face, ADrawerIsMappedWhereItLies) {
  std::vector<double> numbers(6000);
  std::iota(numbers.begin(), numbers.end(), 0.5);
  {
    const pdm::Sim sim = Model();
    const pdm::Field field = sim.model().mesh().mesh_fields().create("big", numbers);
    EXPECT_EQ(Refused([&] { field[0].map(); }).path(), "discreteModel/mesh/meshFields/big[0]");
  }
  ORXSimMappedDrawer map;
  {
    const pdm::Sim sim = pdm::open(Path());
    map = sim.model().mesh().mesh_fields()["big"][0].map();
    EXPECT_EQ(sim.model().mesh().blocks()[0].path(), "discreteModel/mesh/elementFields/connectivity[0]");
  }
  ASSERT_EQ(map.Bytes(), 48000);
  EXPECT_EQ(static_cast<const double*>(map.Data())[5999], 5999.5); // the file is closed, the map is not
}

TEST_F(Face, AnErrorHasFourPartsAndSaysWhatIsThere) {
  Model();
  const pdm::Sim sim = pdm::open(Path());
  const pdm::Mesh mesh = sim.model().mesh();
  const pdm::Fields fields = mesh.node_fields();
  const pdm::Error narrow = Refused([&] { fields["heat"][0].read<int>(); });
  EXPECT_EQ(narrow.file(), Path());
  EXPECT_EQ(narrow.path(), "discreteModel/mesh/nodeFields/heat[0]");
  EXPECT_EQ(narrow.operation(), "read a field");
  EXPECT_EQ(narrow.cause(), "expected numbers that fit into int32, found float32");
  EXPECT_EQ(narrow.what(), Path() + ": " + narrow.path() + ": read a field: " + narrow.cause());

  const auto cause = [&](auto&& call) { return Refused(call).cause(); };
  EXPECT_THAT(cause([&] { fields["coordinates"].read<float>(); }), HasSubstr("float64"));
  double few[11];
  EXPECT_THAT(cause([&] { fields["coordinates"].read(few); }), HasSubstr("12 numbers, found one for 11"));
  EXPECT_THAT(cause([&] { fields["heat"].read<float>(); }), HasSubstr("2 drawers"));
  EXPECT_THAT(cause([&] { fields["heat"].at(0.25); }), HasSubstr("the nearest is step"));
  EXPECT_THAT(cause([&] { fields["heat"][2]; }), HasSubstr("there is no drawer 2"));
  EXPECT_THAT(cause([&] { fields["head"]; }), HasSubstr("there are \"coordinates\", \"heat\""));
  EXPECT_THAT(cause([&] { sim["discreteModel/mesh/system"]; }), HasSubstr("leads to discreteModel/mesh"));
  EXPECT_THAT(cause([&] { mesh.node_sets().create("x", {0}); }), HasSubstr("reading only"));
  EXPECT_THAT(cause([&] { mesh.object().call(&msfD_Mesh::Nodes, ORXSimCollectionID()); }),
              HasSubstr("reading only"));
  EXPECT_THAT(cause([&] { auto update = sim.update(); }), HasSubstr("reading only"));
  EXPECT_THAT(cause([&] { pdm::create(Path()); }), HasSubstr("File exists"));
  EXPECT_THAT(cause([&] { pdm::open(Path("none.pdm")); }), HasSubstr("No such file"));
  EXPECT_THAT(cause([&] { mesh.handle(), sim.get<fesD_FESystem>("discreteModel/mesh"); }),
              HasSubstr("com.vertana.Mesh"));

  // A line alone, where nothing failed in the file.
  EXPECT_THAT(cause([&] { mesh.object().call([](msfD_Mesh of) { return of.systems().get(9); }); }),
              testing::AllOf(HasSubstr("get"), testing::Not(HasSubstr("ERROR"))));

  // The host's sink is as it was, and a second failure of the same words is one again.
  EXPECT_THAT(cause([&] { mesh.node_sets().create("x", {0}); }), HasSubstr("reading only"));
  err_Write("the host's\n");
  EXPECT_EQ(Lines(), "the host's\n");
}

TEST_F(Face, WhatIsDamagedIsRefused) {
  Model("a.pdm");
  std::string where;
  {
    const pdm::Sim sim = pdm::open(Path());
    where = sim.model().mesh().node_fields()["coordinates"][0].dataset_path();
  }
  EXPECT_NE(where, "");
  std::string bytes = sys_Bytes(Path());
  const double row[3] = {0, 1, 0};
  const std::size_t at = bytes.find(std::string(reinterpret_cast<const char*>(row), sizeof row));
  ASSERT_NE(at, std::string::npos);
  bytes[at] = 1;
  std::ofstream(Path(), std::ios::binary) << bytes;
  const pdm::Sim sim = pdm::open(Path());
  EXPECT_THAT(Refused([&] { sim.model().mesh().node_fields()["coordinates"].read<double>(); }).cause(),
              HasSubstr("checksum"));
}

TEST_F(Face, WritingChecksAndReplaces) {
  pdm::Sim sim = Model();
  const pdm::Mesh mesh = sim.model().mesh();
  const pdm::Fields fields = mesh.node_fields();
  const std::vector<int> ints = {1, 2, 3, 4};
  EXPECT_THAT(Refused([&] { fields.create("heat", ints); }).cause(), HasSubstr("already"));
  EXPECT_THAT(Refused([&] {
                fields.create("x", std::vector{1., 2.}, {.components = 1});
              }).cause(),
              HasSubstr("4 rows of 1, found 2 numbers"));
  EXPECT_THAT(Refused([&] { fields.create("x", std::vector<double>(6)); }).cause(), HasSubstr("found 6"));
  EXPECT_FALSE(fields.contains("x"));
  EXPECT_THAT(Refused([&] { mesh.node_sets().create("x", {0, 0}); }).path(), HasSubstr("nodeSets"));
  EXPECT_THAT(Refused([&] { mesh.node_sets().create(std::string_view("a\0b", 3), {0}); }).cause(),
              HasSubstr("NUL"));
  EXPECT_THAT(Refused([&] { sim.create_model(); }).cause(), HasSubstr("has one"));

  fields["coordinates"].write(std::vector<float>(12, 0.5f)); // widened
  EXPECT_EQ(fields["coordinates"].read<double>()[11], 0.5);
  EXPECT_THAT(Refused([&] { fields["heat"][0].write(std::vector<double>(4)); }).cause(),
              HasSubstr("float64"));
  const pdm::Field partly =
      fields.create("part", std::vector<std::int64_t>{7, 8, 9}, {.over = mesh.node_sets()["base"]});
  EXPECT_THAT(partly.set().items(), ElementsAre(2, 0, 1));
  EXPECT_EQ(fields.create("heat", ints, {.replace = true}).type(), pdm::Type::int32);
  fields.remove("part");
  EXPECT_FALSE(fields.contains("part"));
  mesh.append_time(0.75);
  EXPECT_THAT(mesh.times(), ElementsAre(0, 0.5, 0.75));
  EXPECT_THAT(mesh.mesh_fields().create("id", std::vector{5}).read<int>(), ElementsAre(5));
}

TEST_F(Face, AnExceptionTakesBackAnUpdate) {
  pdm::Sim sim = Model();
  const pdm::Mesh mesh = sim.model().mesh();
  const pdm::Set base = mesh.node_sets()["base"];
  pdm::Set lost;
  try {
    const pdm::Update update = sim.update();
    lost = mesh.node_sets().create("lost", {3});
    mesh.systems().create("lost");
    EXPECT_EQ(lost.size(), 1);
    throw std::runtime_error("");
  } catch (const std::runtime_error&) {
  }
  EXPECT_THAT(mesh.node_sets().names(), ElementsAre("base"));
  EXPECT_EQ(mesh.systems().size(), 1);
  EXPECT_EQ(base.size(), 3);
  EXPECT_THAT(Refused([&] { lost.size(); }).cause(), HasSubstr("taken back"));
  // Another set of that name and place is not the lost one's: its minor number may be the same.
  mesh.node_sets().create("other", {1});
  EXPECT_THROW(lost.items(), pdm::Error);

  pdm::Update outer = sim.update();
  mesh.node_sets().create("outer", {0});
  {
    pdm::Update inner = sim.update(); // left: half of it must not be committed with the outer one
  }
  EXPECT_THROW(outer.commit(), pdm::Error);
  outer.rollback();
  EXPECT_THROW(outer.commit(), pdm::Error);
  EXPECT_THAT(mesh.node_sets().names(), ElementsAre("base", "other"));
}

TEST_F(Face, AReaderFollowsAWriter) {
  pdm::Sim writer = Model();
  pdm::Sim reader = pdm::open(Path(), pdm::live);
  const pdm::Field heat = reader.model().mesh().node_fields()["heat"];
  EXPECT_EQ(heat.steps(), 2);
  writer.model().mesh().append_time(1);
  writer.model().mesh().node_fields()["heat"].append(std::vector<float>(4, 3));
  EXPECT_EQ(heat.steps(), 2);
  reader.refresh();
  EXPECT_THAT(heat.at(1).read<float>(), ElementsAre(3, 3, 3, 3));
  EXPECT_THROW(writer.refresh(), pdm::Error);
  EXPECT_THAT(Refused([&] { pdm::open(Path(), pdm::write); }).file(), Path());
  writer.close();
  EXPECT_EQ(pdm::open(Path(), pdm::untrusted).model().mesh().node_count(), 4);
}

TEST_F(Face, ThreadsHearTheirOwnFailuresOnly) {
  Model("a.pdm");
  Model("b.pdm");
  const auto work = [this](const char* name, bool fails) {
    const pdm::Sim sim = pdm::open(Path(name));
    for (int i = 0; i < 200; ++i)
      if (fails)
        EXPECT_THROW(sim.model().mesh().node_sets().create("x", {0}), pdm::Error);
      else
        EXPECT_EQ(sim.model().mesh().node_sets()["base"].size(), 3);
  };
  std::thread other(work, "a.pdm", true);
  work("b.pdm", false);
  other.join();
}

TEST_F(Face, ManySetsAreStoredAtOnceOrNotAtAll) {
  const pdm::Sim sim = pdm::create(Path());
  const pdm::Sets sets = sim.create_mesh(5, 0).node_sets();
  using All = std::vector<std::pair<std::string, std::vector<int>>>;
  sets.create_all(All{{"b", {4, 0}}, {"a", {}}});
  EXPECT_THAT(sets["b"].items(), ElementsAre(4, 0));
  for (const All& wrong :
       {All{{"c", {1}}, {"b", {1}}}, All{{"c", {1}}, {"c", {2}}}, All{{"c", {1}}, {"d", {5}}}})
    Refused([&] { sets.create_all(wrong); });
  EXPECT_THAT(sets.names(), ElementsAre("a", "b"));
  sets.create_all(All{{"a", {1}}, {"a", {2}}}, true);
  EXPECT_THAT(sets["a"].items(), ElementsAre(2));
}

TEST_F(Face, BlocksAreMadeOneAfterAnother) {
  const pdm::Sim sim = pdm::create(Path());
  const pdm::Mesh mesh = sim.create_mesh(5, 4);
  mesh.create_block("", "TRI3", 3, std::vector{0, 1, 2, 2, 1, 3});
  const pdm::Block made = mesh.create_block("rim", "BAR2", 2, std::vector{3, 4});
  EXPECT_EQ(made.number(), 1);
  const std::vector<pdm::Block> blocks = pdm::Mesh(mesh).blocks();
  ASSERT_EQ(blocks.size(), 2u);
  EXPECT_EQ(blocks[0].name() + ' ' + blocks[1].name() + ' ' + blocks[1].type(), "block_1 rim BAR2");
  EXPECT_EQ(blocks[1].element_type()->vtk, 3);
  EXPECT_THAT(mesh.element_sets()["rim"].items(), ElementsAre(2));
  EXPECT_THAT(blocks[1].elements().items(), ElementsAre(2));
  EXPECT_THAT(blocks[0].connectivity().read<int>(), ElementsAre(0, 1, 2, 2, 1, 3));
  EXPECT_EQ(mesh.regions().size(), 2);

  const auto cause = [&](const char* name, int width, const std::vector<int>& nodes) {
    return Refused([&] { mesh.create_block(name, "BAR2", width, nodes); }).cause();
  };
  EXPECT_THAT(cause("far", 2, {0, 5}), HasSubstr("no node 5"));
  EXPECT_THAT(cause("odd", 2, {0, 1, 2}), HasSubstr("whole elements"));
  EXPECT_THAT(cause("many", 1, {0, 1}), HasSubstr("at most 1 elements"));
  EXPECT_THAT(cause("rim", 2, {0, 1}), HasSubstr("already"));
  EXPECT_EQ(mesh.blocks().size(), 2u);
  EXPECT_EQ(mesh.create_block("star", "STAR", 1, std::vector{0}).element_type(), nullptr);
}

TEST_F(Face, WhatIsLikelyToBeLostOnTheWayIsNot) {
  const pdm::Sim sim = Model();
  const pdm::Mesh mesh = sim.model().mesh();
  const pdm::Fields fields = mesh.node_fields();
  const pdm::Field ints = fields.create("ints", std::vector{-3, 4, -5, 6});
  EXPECT_THAT(ints.read<double>(), ElementsAre(-3, 4, -5, 6));
  EXPECT_THAT(ints.read<std::int64_t>(), ElementsAre(-3, 4, -5, 6));
  const pdm::Field part =
      fields.create("part", std::vector{-1.f, 2.f, 3.f}, {.over = mesh.node_sets()["base"]});
  EXPECT_THAT(part.read<double>(), ElementsAre(-1, 2, 3));
  const pdm::Drawer next = part.append(std::vector{4.f, 5.f, 6.f}, {.unit = "mV"});
  EXPECT_THAT(next.set().items(), ElementsAre(2, 0, 1)); // the first drawer's
  EXPECT_EQ(next.unit(), "mV");
  const pdm::Drawer later = part.append_unwritten(pdm::Type::float64, {.unit = "V"}); // the ranks of a job
  const double rows[] = {7, 8};
  EXPECT_TRUE(ORXSimDistributionRef(later.distribution()).WriteItems(later.index(), 1, 2, rows, 16));
  EXPECT_THAT(part[2].read<double>(), ElementsAre(0, 7, 8));
  EXPECT_EQ(fields.create_empty("pairs").append_unwritten(pdm::Type::int32, {.components = 2}).rows(), 4);

  mesh.object().call(&msfD_Mesh::Regions, ORXSimCollectionRef::Create(sim.context(), "regions", 1));
  mesh.region_fields().create("label", std::vector{-70});
  EXPECT_EQ(mesh.blocks()[0].id(), -70);
  const pdm::Systems systems = mesh.systems();
  EXPECT_FALSE(systems.contains("mod"));
  const pdm::System other = systems.create("other");
  const double circle = 2 * std::numbers::pi;
  other.fields().create("eigenvalues", std::vector{9 * circle * circle, -circle * circle});
  EXPECT_THAT(other.frequencies(), ElementsAre(testing::DoubleEq(3), testing::DoubleEq(-1)));
  const pdm::Pattern pattern = pdm::Numbering(std::vector{1, 1, 1}).pattern({{0, 1, -1, 2, -1, -1}}, {3});
  EXPECT_THAT(pattern.columns, ElementsAre(0, 1, 0, 1, 2));
}
