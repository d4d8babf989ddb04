#include <pdmsim/mesh/mesh_Source.h>

bool mesh_Source::SetUnit(const std::string& what, const std::string& unit) {
  bool found = what == "LENGTH";
  if (found)
    m_lengthUnit = unit;
  for (mesh_Variables& variables : m_variables)
    for (std::size_t i = 0; i < variables.names.size(); ++i)
      if (variables.names[i] == what) {
        variables.units.resize(variables.names.size());
        variables.units[i] = unit;
        found = true;
      }
  return found;
}

std::vector<std::pair<std::string, long long>> mesh_Ids(const mesh_Source& mesh) {
  std::vector<std::pair<std::string, long long>> ids;
  for (const mesh_Block& block : mesh.Blocks())
    ids.emplace_back("block " + block.name, block.id);
  for (const mesh_Set& set : mesh.Sets(mesh_SetKind::kNodes))
    ids.emplace_back("node set " + set.name, set.id);
  for (const mesh_Set& set : mesh.Sets(mesh_SetKind::kElements))
    ids.emplace_back("element set " + set.name, set.id);
  return ids;
}
