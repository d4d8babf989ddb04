#include <pdmsim/export/out/exp_OneStep.h>

#include <pdmsim/cli/cli_Step.h>

exp_OneStep::exp_OneStep(const mesh_Source& mesh, std::size_t step)
    : mesh_Source(mesh.Path()), m_mesh(mesh), m_step(step) {
  cli_ExpectStep(mesh.Path(), step, mesh.Times().size());
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
