// Puts a thermal system with two probes on a mesh, or prints what the probes of
// such a system read. Usage: lab write FILE, lab read FILE
#include <lab/labD_Probe.h>
#include <lab/labD_ThermalSystem.h>
#include <pdm/pdm.hpp>

#include <cstdio>
#include <cstring>

namespace {

// [writes]
void write(const pdm::Sim& sim) {
  const msfD_Mesh mesh = sim.model().mesh().handle();
  auto update = sim.update();

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
  update.commit();
}
// [writes]

// [reads]
void read(const pdm::Sim& sim) {
  const auto base = sim.model().mesh().systems()["heating"];
  const labD_ThermalSystem system{base.handle()}; // empty for another class
  if (!system)
    return;
  std::printf("%s: %g W/(m K)\n", base.name().c_str(), system.conductivity());
  for (int i = 0; i < system.probes().count(); ++i) {
    const labD_Probe probe = system.probes().get(i);
    const kda_List<double>& readings = probe.readings();
    std::printf("node %d, %d readings, the last %g\n", probe.node(),
                readings.count(), readings[readings.count() - 1]);
  }
}
// [reads]

} // namespace

int main(int count, char** arguments) {
  if (count != 3)
    return 2;
  try {
    const bool writes = std::strcmp(arguments[1], "write") == 0;
    // [registers]
    const auto sim = pdm::open(arguments[2], writes ? pdm::write : pdm::read);
    sim.know<labD_ThermalSystem, labD_Probe>();
    // [registers]
    writes ? write(sim) : read(sim);
  } catch (const pdm::Error& error) {
    std::fprintf(stderr, "lab: %s\n", error.what());
    return 1;
  }
}
