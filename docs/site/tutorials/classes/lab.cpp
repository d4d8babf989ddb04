// Puts a thermal system with two probes on a mesh, or prints what the probes of
// such a system read. Usage: lab write FILE, lab read FILE
#include <PDM_Core/PDM_Core.h>
#include <lab/labD_Probe.h>
#include <lab/labD_ThermalSystem.h>

#include <cstdio>
#include <cstring>

namespace {

// [registers]
// A Sim opens objects of the classes that it knows.
void registerClasses(const msfD_Sim& sim) {
  sim.schemaSnapshot().Register(labD_ThermalSystemInterface::StaticClass());
  sim.schemaSnapshot().Register(labD_ProbeInterface::StaticClass());
}
// [registers]

// [writes]
bool write(const msfD_Sim& sim) {
  const msfD_Mesh mesh = sim.discreteModel().mesh();
  ORXSimUpdate update(sim.distributionService().Context());

  const labD_ThermalSystem system{
      mesh.systems().add(labD_ThermalSystem::New("heating", {}, {}, 50.2, 0))};
  const int inner[] = {0, 1, 2, 3};
  system.Heated(ORXSimCollectionRef(mesh.nodes()).CreateOrderedCSet(inner, 4));

  for (const int node : {17, 300}) {
    const labD_Probe probe{system.probes().add(labD_Probe::New(node, 0))};
    kda_List<double> readings;
    for (const double reading : {20.0, 21.5, 24.0})
      readings.append(reading, 1);
    probe.Readings(readings);
  }
  return update.Commit();
}
// [writes]

// [reads]
bool read(const msfD_Sim& sim) {
  const fesD_FESystem base = sim.discreteModel().mesh().systems().get(0);
  const labD_ThermalSystem system{base}; // empty for a system of another class
  if (!system)
    return false;
  std::printf("%s: %g W/(m K)\n", base.systemName().cStr(), system.conductivity());
  for (int i = 0; i < system.probes().count(); ++i) {
    const labD_Probe probe = system.probes().get(i);
    const kda_List<double>& readings = probe.readings();
    std::printf("node %d, %d readings, the last %g\n", probe.node(),
                readings.count(), readings[readings.count() - 1]);
  }
  return true;
}
// [reads]

bool use(const char* how, const char* file) {
  const bool writes = std::strcmp(how, "write") == 0;
  msfD_Root root(0);
  const msfD_Sim sim =
      writes ? root.openSim(file, "", -1) : root.openSimReadOnly(file, "", -1);
  if (!sim)
    return false;
  registerClasses(sim);
  return writes ? write(sim) : read(sim);
}

} // namespace

int main(int count, char** arguments) {
  if (count != 3)
    return 2;
  int modules = 0;
  DDB_PDM_Core_initialize(modules);
  const bool good = use(arguments[1], arguments[2]);
  if (!good)
    std::fprintf(stderr, "lab: %s\n", ORXSimManager::LastError());
  DDB_PDM_Core_finalize(modules);
  return good ? 0 : 1;
}
