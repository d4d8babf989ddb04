// Writes an object of the host's own class into the file named on the command line and reads it back.
#include <PDM_Core/PDM_Core.h>
#include <host/hostD_ControlSystem.h>

#include <cstdio>

namespace {

void registerClasses(const msfD_Sim& sim) {
  sim.schemaSnapshot().Register(hostD_ControlSystemInterface::StaticClass());
  sim.schemaSnapshot().Register(hostD_SensorInterface::StaticClass());
}

void build(msfD_Root& root, const char* file) {
  const msfD_Sim sim = root.createSim(file, "", -1);
  registerClasses(sim);
  const msfD_DiscreteModel model = sim.DiscreteModel(msfD_DiscreteModel::New({}, {}, 0));
  const msfD_Mesh mesh = model.Mesh(msfD_Mesh::New({}, {}, 0));
  const hostD_ControlSystem system{
      mesh.systems().add(hostD_ControlSystem::New("controlled", {}, {}, 2.5, 0))};
  system.sensors().add(hostD_Sensor::New(7, 0));
  root.closeSim(sim);
}

bool read(msfD_Root& root, const char* file) {
  const msfD_Sim sim = root.openSimReadOnly(file, "", -1);
  registerClasses(sim);
  const auto base = sim.discreteModel().mesh().systems().get(0);
  const hostD_ControlSystem system{base};
  return !!system && system.gain() == 2.5 && system.sensors().get(0).node() == 7 &&
         base.systemName() == "controlled";
}

} // namespace

int main(int, char** arguments) {
  int modules = 0;
  DDB_PDM_Core_initialize(modules);
  bool good = false;
  {
    msfD_Root root(0);
    build(root, arguments[1]);
    good = read(root, arguments[1]);
    if (!good)
      std::fprintf(stderr, "consumer: %s\n", ORXSimManager::LastError());
  }
  DDB_PDM_Core_finalize(modules);
  return good && modules == 0 ? 0 : 1;
}
