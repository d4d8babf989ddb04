#include <pdmsim/export/out/exp_OneStep.h>

#include <pdmsim/cli/cli_Failure.h>

exp_OneStep::exp_OneStep(const mesh_Source& mesh, std::size_t step)
    : mesh_Source(mesh.Path()), m_mesh(mesh), m_step(step) {
  const std::size_t steps = mesh.Times().size();
  if (step >= steps)
    throw cli_Failure(cli_Exit::kNotThere, mesh.Path() + ": expected " +
                                               (steps > 0 ? "a step in 0.." + std::to_string(steps - 1)
                                                          : "no --step, as it has none") +
                                               ", found " + std::to_string(step));
  m_lengthUnit = mesh.LengthUnit();
  m_dimension = mesh.Dimension();
  m_nodes = mesh.Nodes();
  m_elements = mesh.Elements();
  m_axisNames = mesh.AxisNames();
  m_notes = mesh.Notes();
  m_blocks = mesh.Blocks();
  for (std::size_t kind = 0; kind < 3; ++kind)
    m_sets[kind] = mesh.Sets(static_cast<mesh_SetKind>(kind));
  m_nodeMaps = mesh.NodeMaps();
  m_elementMaps = mesh.ElementMaps();
  m_times = {mesh.Times()[step]};
  for (std::size_t place = 0; place < mesh_kPlaces; ++place)
    m_variables[place] = mesh.Variables(static_cast<mesh_Place>(place));
}
