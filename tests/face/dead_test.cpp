// Whatever is left of a closed file, moved from, or never set: every call throws, none crashes.

#include <face/face_Fixture.h>

#include <functional>

using FaceDead = face_Fixture;

namespace {

/// Everything that is made of a Sim, and every call on it that needs the file.
struct All {
  using Call = std::function<void()>;

  pdm::Mesh mesh;
  pdm::Model model;
  pdm::Object object;
  pdm::Ref<msfD_Mesh> ref;
  pdm::Collection nodes;
  pdm::Sets sets;
  pdm::Set set, full;
  pdm::Fields fields;
  pdm::Field field;
  pdm::Drawer drawer;
  pdm::Surfaces surfaces;
  pdm::Surface surface;
  pdm::Block block;
  pdm::Systems systems;
  pdm::System system;
  std::vector<double> four = std::vector<double>(4);
  std::vector<int> ints = std::vector<int>(4);

  explicit All(const pdm::Sim& sim)
      : mesh(sim.model().mesh()), model(sim.model()), object(sim["discreteModel"]), ref(mesh.object()),
        nodes(mesh.nodes()), sets(mesh.node_sets()), set(sets["base"]),
        full(mesh.node_fields()["heat"][0].set()), fields(mesh.node_fields()), field(fields["heat"]),
        drawer(field[0]), surfaces(mesh.surfaces()), surface(surfaces["skin"]), block(mesh.blocks()[0]),
        systems(mesh.systems()), system(systems[0]) {}
  All() = default;

  std::vector<Call> MeshCalls() {
    return {[&] { mesh.handle(); },
            [&] { mesh.object(); },
            [&] { mesh.nodes(); },
            [&] { mesh.elements(); },
            [&] { mesh.faces(); },
            [&] { mesh.instances(); },
            [&] { mesh.regions(); },
            [&] { mesh.node_count(); },
            [&] { mesh.element_count(); },
            [&] { mesh.dimension(); },
            [&] { mesh.node_sets().size(); },
            [&] { mesh.element_sets().names(); },
            [&] { mesh.instance_sets().names(); },
            [&] { mesh.region_sets().names(); },
            [&] { mesh.surfaces().names(); },
            [&] { mesh.node_fields().names(); },
            [&] { mesh.element_fields().names(); },
            [&] { mesh.surface_fields().names(); },
            [&] { mesh.region_fields().names(); },
            [&] { mesh.frame_fields().names(); },
            [&] { mesh.frame_fields().create("x", four); },
            [&] { mesh.mesh_fields().names(); },
            [&] { mesh.mesh_fields().create("x", four); },
            [&] { mesh.local_node_fields().names(); },
            [&] { mesh.blocks(); },
            [&] { mesh.node_labels(); },
            [&] { mesh.element_labels(); },
            [&] { mesh.times(); },
            [&] { mesh.set_times(four); },
            [&] { mesh.append_time(9); },
            [&] { static_cast<void>(mesh.pattern({})); },
            [&] { mesh.systems().size(); }};
  }
  std::vector<Call> ObjectCalls() {
    return {[&] { model.handle(); },
            [&] { model.has_mesh(); },
            [&] { model.mesh(); },
            [&] { model.create_mesh(1, 1); },
            [&] { model.call(&msfD_DiscreteModel::frames); },
            [&] { model.object(); },
            [&] { object.handle(); },
            [&] { object.class_name(); },
            [&] { object.is<msfD_Mesh>(); },
            [&] { object.as<msfD_DiscreteModel>(); },
            [&] { ref.handle(); },
            [&] { ref.call(&msfD_Mesh::nodes); },
            [&] { ref.for_each_member([](const char*, const auto&) {}); },
            [&] { ref.sets<&msfD_Mesh::nodeSets, &msfD_Mesh::NodeSets>("nodeSets"); },
            [&] { ref.fields<&msfD_Mesh::nodeFields, &msfD_Mesh::NodeFields>("nodeFields"); },
            [&] { nodes.size(); },
            [&] { nodes.name(); },
            [&] { nodes.handle(); },
            [&] { sets.names(); },
            [&] { sets.size(); },
            [&] { sets.empty(); },
            [&] { sets.contains("base"); },
            [&] { sets["base"]; },
            [&] { sets.remove("base"); },
            [&] { sets.begin(); },
            [&] { sets.create("n", {0}); },
            [&] { sets.insert("n", set); },
            [&] { set.size(); },
            [&] { set.items(); },
            [&] { set.is_full(); },
            [&] { set.collection(); },
            [&] { set.handle(); },
            [&] { full.items(); },
            [&] { full.size(); }};
  }
  std::vector<Call> FieldCalls() {
    return {[&] { fields.create("n", four); },
            [&] { fields.create_empty("n"); },
            [&] { fields.insert("n", field); },
            [&] { fields["heat"]; },
            [&] { fields.begin(); },
            [&] { fields.remove("heat"); },
            [&] { field.unit(); },
            [&] { field.long_name(); },
            [&] { field.size(); },
            [&] { field.empty(); },
            [&] { field[0]; },
            [&] { field.rows(); },
            [&] { field.components(); },
            [&] { field.type(); },
            [&] { field.set(); },
            [&] { field.drawers_a_step(); },
            [&] { field.steps(); },
            [&] { field.step(0); },
            [&] { field.at(0); },
            [&] { field.read<double>(); },
            [&] { field.write(four); },
            [&] { field.append(four); },
            [&] { field.append_unwritten(pdm::Type::float64); },
            [&] { field.handle(); },
            [&] { field.end(); },
            [&] { drawer.rows(); },
            [&] { drawer.components(); },
            [&] { drawer.type(); },
            [&] { drawer.unit(); },
            [&] { drawer.long_name(); },
            [&] { drawer.set(); },
            [&] { drawer.deflate(); },
            [&] { drawer.dataset_path(); },
            [&] { drawer.distribution(); },
            [&] { drawer.read<double>(); },
            [&] { drawer.read_rows(0, 0, pdm::Buffer(nullptr, 0, pdm::Type::float64)); },
            [&] { drawer.write(four); }};
  }
  std::vector<Call> SystemCalls() {
    return {[&] { surfaces.create("n", ints, ints); },
            [&] { surfaces["skin"]; },
            [&] { surface.size(); },
            [&] { surface.elements(); },
            [&] { surface.sides(); },
            [&] { block.type(); },
            [&] { block.size(); },
            [&] { block.nodes_per_element(); },
            [&] { block.elements(); },
            [&] { systems.size(); },
            [&] { systems.empty(); },
            [&] { systems[0]; },
            [&] { systems["modal"]; },
            [&] { systems.contains("x"); },
            [&] { systems.names(); },
            [&] { systems.create("n"); },
            [&] { systems.add(fesD_FESystem::New("n", {}, {}, 0)); },
            [&] { systems.end(); },
            [&] { system.name(); },
            [&] { system.kind(); },
            [&] { system.class_name(); },
            [&] { system.fields().names(); },
            [&] { system.node_labels(); },
            [&] { system.activity(); },
            [&] { system.set_node_labels(ints); },
            [&] { system.set_activity(ints); },
            [&] { system.numbering(); },
            [&] { system.set_order(ints); },
            [&] { system.frequencies(); },
            [&] { system.set_frequencies(four); },
            [&] { system.mode_shapes(); },
            [&] { system.events(); },
            [&] { system.damping(); },
            [&] { system.handle(); }};
  }
  std::vector<Call> Calls() {
    std::vector<Call> all;
    for (const auto& calls : {MeshCalls(), ObjectCalls(), FieldCalls(), SystemCalls()})
      all.insert(all.end(), calls.begin(), calls.end());
    return all;
  }
  void AllThrow(const char* when) {
    int number = 0;
    for (const auto& call : Calls()) {
      EXPECT_THROW(call(), pdm::Error) << when << ", call " << number;
      ++number;
    }
  }
};

std::vector<std::function<void()>> callsOf(pdm::Sim& sim) {
  return {[&] { sim.file(); },
          [&] { sim.writable(); },
          [&] { sim.has_model(); },
          [&] { sim.model(); },
          [&] { sim.create_model(); },
          [&] { static_cast<void>(sim.update()); },
          [&] { sim.refresh(); },
          [&] { sim["x"]; },
          [&] { sim.create_mesh(1, 1); },
          [&] { sim.get<msfD_Mesh>("x"); },
          [&] { sim.wrap(msfD_Mesh()); },
          [&] { sim.know<msfD_Mesh>(); },
          [&] { sim.handle(); },
          [&] { sim.context(); },
          [&] { sim.root(); }};
}

} // namespace

TEST_F(FaceDead, EveryCallThrowsWhenTheFileIsClosed) {
  pdm::Sim sim = Model();
  All all(sim);
  pdm::Update update = sim.update();
  const auto sets = all.sets.begin();
  const auto drawers = all.field.begin();
  Refused([&] { // an update was open: what it might have written is lost, and said so where there was any
    all.sets.create("lost", {3});
    sim.close();
    throw pdm::Error("", "", "", "");
  });
  EXPECT_FALSE(sim.is_open());
  all.AllThrow("closed");
  EXPECT_THROW(*sets, pdm::Error);
  EXPECT_THROW(*drawers, pdm::Error);
  EXPECT_THROW(update.commit(), pdm::Error);
  EXPECT_THROW(update.rollback(), pdm::Error);
  for (const auto& call : callsOf(sim))
    EXPECT_THROW(call(), pdm::Error);
  EXPECT_EQ(all.set.name(), "base"); // what is known without the file stays
  EXPECT_EQ(all.set.path(), "discreteModel/mesh/nodeSets/base");
  sim.close();
  EXPECT_EQ(Refused([&] { all.set.size(); }).cause(), "the file is closed");
  EXPECT_FALSE(pdm::open(Path()).model().mesh().node_sets().contains("lost"));
}

TEST_F(FaceDead, EveryCallThrowsOnWhatIsEmptyOrMovedFrom) {
  All().AllThrow("never set");
  pdm::Sim sim = Model();
  All all(sim);
  const All taken = std::move(all);
  all.AllThrow("moved from"); // NOLINT: that is what is tried
  EXPECT_EQ(taken.set.size(), 3);
  pdm::Sim other = std::move(sim);
  for (const auto& call : callsOf(sim))
    EXPECT_THROW(call(), pdm::Error);
  pdm::Update update = other.update();
  pdm::Update rest = std::move(update);
  EXPECT_THROW(update.commit(), pdm::Error);
  rest.commit();
  EXPECT_EQ(taken.mesh.node_count(), 4); // the file went on
  other = pdm::Sim();
  EXPECT_THROW(taken.mesh.node_count(), pdm::Error);
}

TEST_F(FaceDead, WhatAnUpdateTookBackIsNoObjectAnyMore) {
  pdm::Sim sim = pdm::create(Path());
  All all;
  {
    const pdm::Update update = sim.update();
    const pdm::Mesh mesh = sim.create_mesh(4, 1);
    mesh.node_sets().create("base", {0});
    mesh.node_fields().create("heat", std::vector<double>(4));
    mesh.element_fields().create("connectivity", std::vector{0, 1, 2, 3});
    mesh.surfaces().create("skin", std::vector{0}, std::vector{0});
    mesh.systems().create("s").set_activity(std::vector<int>(4));
    all = All(sim);
  }
  int threw = 0;
  for (const auto& call : all.Calls())
    try {
      call();
    } catch (const pdm::Error&) {
      ++threw;
    }
  EXPECT_GT(threw, 90); // the others answer from what they keep, or nothing; none crashes
  EXPECT_FALSE(sim.has_model());
  EXPECT_THROW(all.set.items(), pdm::Error);
  EXPECT_THROW(all.mesh.node_count(), pdm::Error);
  sim.create_mesh(2, 1).node_sets().create("base", {1}); // of the same names, and maybe numbers
  EXPECT_THROW(all.set.items(), pdm::Error);
  EXPECT_THROW(all.system.name(), pdm::Error);
}
