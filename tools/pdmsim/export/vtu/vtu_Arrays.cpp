#include <pdmsim/export/vtu/vtu_Arrays.h>

#include <set>

namespace {

using What = vtu_Array::What;

/// Takes names one after the other, so that no two are the same.
class Names {
 public:
  Names(std::vector<vtu_Array>& arrays, std::vector<std::string>& renamed)
      : m_arrays(arrays), m_renamed(renamed) {}

  void Add(What what, std::size_t index, const std::string& wanted, const char* suffix) {
    std::string name = wanted;
    while (!m_taken.insert(name).second)
      name += suffix;
    if (name != wanted)
      m_renamed.push_back("the name " + wanted + ", which another has, too; it is called " + name);
    m_arrays.push_back({what, index, std::move(name)});
  }

 private:
  std::vector<vtu_Array>& m_arrays;
  std::vector<std::string>& m_renamed;
  std::set<std::string> m_taken;
};

void add(Names& names, const mesh_Variables& variables, const std::vector<mesh_Map>& maps,
         const std::vector<mesh_Set>& sets) {
  for (std::size_t i = 0; i < variables.names.size(); ++i)
    for (const auto& present : variables.present)
      if (present[i]) {
        names.Add(What::kVariable, i, variables.names[i], "_field");
        break;
      }
  for (std::size_t i = 0; i < maps.size(); ++i)
    names.Add(What::kMap, i, maps[i].name, "_map");
  for (std::size_t i = 0; i < sets.size(); ++i)
    names.Add(What::kSet, i, sets[i].name, "_set");
}

} // namespace

vtu_Arrays::vtu_Arrays(const mesh_Source& mesh) {
  Names ofNodes(nodes, renamed), ofCells(cells, renamed);
  ofNodes.Add(What::kLabels, 0, "label", "");
  ofCells.Add(What::kLabels, 0, "label", "");
  ofCells.Add(What::kBlocks, 0, "block", "");
  add(ofNodes, mesh.Variables(mesh_Place::kNodes), mesh.NodeMaps(), mesh.Sets(mesh_SetKind::kNodes));
  add(ofCells, mesh.Variables(mesh_Place::kBlocks), mesh.ElementMaps(), mesh.Sets(mesh_SetKind::kElements));
}
