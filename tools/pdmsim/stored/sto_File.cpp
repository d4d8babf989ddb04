#include <pdmsim/stored/sto_File.h>

#include <pdmsim/cli/cli_Failure.h>
#include <pdmsim/cli/cli_Input.h>

sto_File::sto_File(const sto_Opening& opening, std::shared_ptr<const cli_Library> library)
    : m_opening(opening), m_library(std::move(library)) {
  cli_ExpectSimulation(opening.file);
  ORXSimManager::SetWaitingTime(1000 * opening.wait);
  constexpr int kPowerSafe = 2;
  m_sim = opening.write ? m_root.openSim(opening.file.c_str(), "", kPowerSafe)
                        : m_root.openSimReadOnly(opening.file.c_str(), "", opening.live ? 3 : -1);
  if (!m_sim || m_sim.distributionService().Context().IsNull())
    CheckContent();
  else
    cli_CheckSimulation(Path(), Context());
  m_library->Check(opening.file, "a simulation file");
  if (!m_sim)
    throw cli_Failure(cli_Exit::kUnusable, opening.file + ": expected a simulation file, found none");
}

/// Says of a file that has no simulation what it is instead.
void sto_File::CheckContent() const {
  const std::string cause = cli_LastError(m_opening.offer);
  const cli_Context context(
      ORXSimManager::OpenContext(Path().c_str(), 1, 102, false, m_opening.live ? 3 : 1));
  if (!context.ID().IsNull())
    cli_CheckSimulation(Path(), context.ID());
  if (!cause.empty())
    throw cli_Failure(cli_Exit::kUnusable, cause);
}

msfD_Mesh sto_File::Mesh() const {
  const msfD_DiscreteModel model = m_sim.discreteModel();
  const msfD_Mesh mesh = !model ? msfD_Mesh() : model.mesh();
  Check();
  if (!mesh)
    throw cli_Failure(cli_Exit::kNotThere, Path() + ": expected a mesh in the simulation, found none");
  return mesh;
}

void sto_File::Check() const {
  m_library->Check(Path(), "a whole simulation file");
}
