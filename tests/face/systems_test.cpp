// Systems, their numberings, and objects of a host's own classes.

#include <face/face_Fixture.h>
#include <host/hostD_ControlSystem.h>

using testing::ElementsAre;
using testing::HasSubstr;

using FaceSystems = face_Fixture;

TEST_F(FaceSystems, NumberTheEquationsInTheSolversOrder) {
  const pdm::Sim sim = Model();
  const pdm::System modal = sim.model().mesh().systems()["modal"];
  EXPECT_EQ(modal.kind(), pdm::Kind::modal);
  EXPECT_THAT(modal.frequencies(), ElementsAre(10, 20));
  const pdm::Numbering numbers = modal.numbering();
  EXPECT_THAT(numbers.labels(), ElementsAre(1, 2, 3));
  EXPECT_THAT(numbers.equations(), ElementsAre(0, 1, 2, 3, 4, -1, -1, -1, -1, 5, -1, -1));
  EXPECT_THAT(numbers.equation_nodes(), ElementsAre(0, 0, 0, 1, 1, 3));
  EXPECT_THAT(numbers.equation_labels(), ElementsAre(1, 2, 3, 1, 2, 1));
  EXPECT_EQ(numbers.equation(1, 2), 4);
  EXPECT_EQ(numbers.equation(2, 1), -1);
  EXPECT_EQ(numbers.equation(4, 9), -1);
  EXPECT_THAT(numbers.order(), ElementsAre(5, 0, 1));
  EXPECT_THAT(numbers.places(), ElementsAre(1, 2, -1, -1, -1, 0));

  // A line 0-1 and a point 3: the solver's places 1 and 2 are coupled, 0 stands alone.
  const pdm::Pattern pattern = numbers.pattern({{0, 1}, {3}}, {2, 1});
  EXPECT_THAT(pattern.begin, ElementsAre(0, 1, 3, 5));
  EXPECT_THAT(pattern.columns, ElementsAre(0, 1, 2, 1, 2));
  EXPECT_THROW(numbers.pattern({{4}}, {1}), std::invalid_argument);
  EXPECT_THROW(numbers.pattern({{0, 1}, {0}}, {2}), std::invalid_argument); // a width is missing
  EXPECT_THROW(numbers.pattern({{0, 1, 3}}, {2}), std::invalid_argument);
  const pdm::Mesh mesh = sim.model().mesh(); // one tetrahedron: all of the solver's equations are coupled
  EXPECT_THAT(mesh.pattern(numbers).begin, ElementsAre(0, 3, 6, 9));
  EXPECT_THAT(Refused([&] { static_cast<void>(mesh.pattern(pdm::Numbering(std::vector{1}))); }).cause(),
              HasSubstr("has node 1"));
  EXPECT_THROW(modal.set_order(std::vector{0, 0}), pdm::Error);
  EXPECT_THROW(modal.set_order(std::vector{6}), pdm::Error);
  const pdm::System plain = sim.model().mesh().systems().create("plain");
  EXPECT_THAT(Refused([&] { plain.numbering(); }).cause(), HasSubstr("no activity"));
  EXPECT_THAT(Refused([&] { plain.set_order(std::vector{0}); }).cause(), HasSubstr("no activity"));
  EXPECT_THAT(Refused([&] {
                plain.set_activity(std::vector{1, 1, 1, -1});
              }).cause(),
              HasSubstr("label 32 is active at node 3"));
  EXPECT_THROW(pdm::Numbering(std::vector{1, -1}), std::invalid_argument);
  EXPECT_THAT(sim.model().mesh().systems().names(), ElementsAre("modal", "plain"));
}

TEST_F(FaceSystems, AHostsClassTakesPart) {
  {
    const pdm::Sim sim = Model();
    sim.know<hostD_ControlSystem, hostD_Sensor>();
    const pdm::Mesh mesh = sim.model().mesh();
    const pdm::System added = mesh.systems().add(hostD_ControlSystem::New("control", {}, {}, 2.5, 0));
    EXPECT_EQ(added.kind(), pdm::Kind::other);
    const auto control = added.object().as<hostD_ControlSystem>();
    control.call(&hostD_ControlSystem::Controlled, mesh.node_sets()["base"].handle());
    control.call([](hostD_ControlSystem of) { return of.sensors().add(hostD_Sensor::New(7, 0)); });
  }
  const pdm::Sim sim = pdm::open(Path());
  EXPECT_THROW(sim.model().mesh().systems()[1], pdm::Error); // of a class that nobody knows yet
  const pdm::Sim again = (const_cast<pdm::Sim&>(sim).close(), pdm::open(Path()));
  again.know<hostD_ControlSystem, hostD_Sensor>();
  const auto control = again.get<hostD_ControlSystem>("discreteModel/mesh/systems/1");
  EXPECT_EQ(control.object().class_name(), "com.example.ControlSystem");
  EXPECT_EQ(control.call(&hostD_ControlSystem::gain), 2.5);
  EXPECT_EQ(again.get<hostD_Sensor>("discreteModel/mesh/systems/1/sensors/0").call(&hostD_Sensor::node), 7);
  EXPECT_TRUE(again["discreteModel/mesh/systems/1"].is<fesD_FESystem>());
  EXPECT_FALSE(again["discreteModel/mesh/systems/0"].is<hostD_ControlSystem>());
  std::vector<std::string> members;
  control.for_each_member([&](const char* name, const auto&) { members.emplace_back(name); });
  EXPECT_THAT(members, ElementsAre("gain", "controlled", "modes"));
  EXPECT_EQ(again.wrap(control.handle()).call(&hostD_ControlSystem::gain), 2.5);
}

TEST_F(FaceSystems, AnOrderIsOfTheActivityThatItWasStoredWith) {
  const pdm::Sim sim = Model();
  const pdm::System modal = sim.model().mesh().systems()["modal"];
  modal.set_activity(std::vector{7, 3, 0, 1}); // as it was
  EXPECT_TRUE(modal.numbering().has_order());
  modal.set_activity(std::vector{1, 1, 1, 0});
  EXPECT_FALSE(modal.numbering().has_order()); // its equations are others
  modal.set_order(std::vector{2, 1, 0});
  EXPECT_THAT(modal.numbering().order(), ElementsAre(2, 1, 0));
  EXPECT_EQ(ORXSimCollectionRef(fesD_ModalSystem(modal.handle()).dofs()).NumItems(), 3);
  const pdm::System other = sim.model().mesh().systems().create("other");
  other.set_activity(std::vector{1, 0, 0, 0});
  modal.handle().NodalActivityMask(other.handle().nodalActivityMask()); // a plain call forgets no order
  EXPECT_THROW(modal.numbering(), pdm::Error);
  modal.set_order(std::vector{0});
  EXPECT_THAT(modal.numbering().order(), ElementsAre(0));
  EXPECT_EQ(ORXSimCollectionRef(fesD_ModalSystem(modal.handle()).dofs()).NumItems(), 1);
}
