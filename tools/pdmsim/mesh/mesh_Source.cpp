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
