#include <pdmsim/stored/sto_File.h>

#include <pdmsim/cli/cli_Failure.h>

#include <string_view>

sto_File::sto_File(const sto_Opening& opening, std::shared_ptr<const cli_Library> library)
    : m_opening(opening), m_library(std::move(library)) {
  ORXSimManager::SetWaitingTime(1000 * opening.wait);
  m_sim = m_root.openSimReadOnly(opening.file.c_str(), "", opening.live ? 3 : -1);
  constexpr std::string_view kNoSim = "/sim: open group: there is no object of that name";
  if (!m_sim && std::string_view(ORXSimManager::LastError()).ends_with(kNoSim))
    throw cli_Failure(cli_Exit::kUnusable,
                      opening.file +
                          ": expected a simulation file, found an HDF5 file without a group 'sim'");
  m_library->Check(opening.file, "a simulation file");
  if (!m_sim)
    throw cli_Failure(cli_Exit::kUnusable, opening.file + ": expected a simulation file, found none");
  CheckSim();
}

void sto_File::CheckSim() const {
  const hdf_Group root = ORXSimContextRef(Context()).File().RootGroup();
  const auto refuse = [&](const char* found) {
    throw cli_Failure(cli_Exit::kUnusable,
                      Path() + ": expected a simulation file, found an HDF5 file " + found);
  };
  if (!root.GetObjinfoExists("sim"))
    refuse("without a group 'sim'");
  const hdf_Group sim = root.GroupOpen("sim");
  gbb_ClassID id;
  if (!sim || !sim.AttributeExists("class") ||
      !sim.AttributeOpen("class").Read(hdf_Datatype::NATIVE_UCHAR, id.text, gbb_ClassID::kSize))
    refuse("whose 'sim' is no object");
  if (!(id == gbb_ClassID("com.vertana.Sim")))
    refuse("whose 'sim' is of another class");
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
