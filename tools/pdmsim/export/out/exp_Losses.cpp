#include <pdmsim/export/out/exp_Losses.h>

#include <pdmsim/export/out/exp_Read.h>
#include <pdmsim/mesh/mesh_Elements.h>

namespace {

constexpr const char* kSets[] = {"node set", "element set", "side set"};
constexpr const char* kPlaces[] = {"the whole mesh", "nodes",        "blocks",
                                   "node sets",      "element sets", "side sets"};

class Losses {
 public:
  Losses(const mesh_Source& mesh, const exp_Holds& holds) : m_mesh(mesh), m_holds(holds) {}

  std::vector<std::string> All() {
    m_lines = m_mesh.Notes();
    if (!m_holds.units && !m_mesh.LengthUnit().empty())
      Add("the unit of length " + m_mesh.LengthUnit());
    for (const mesh_Block& block : m_mesh.Blocks())
      Block(block);
    if (!m_holds.maps) {
      for (const mesh_Map& map : m_mesh.NodeMaps())
        Add("the further node numbers " + map.name);
      for (const mesh_Map& map : m_mesh.ElementMaps())
        Add("the further element numbers " + map.name);
    }
    const bool held[] = {m_holds.nodeSets, m_holds.elementSets, m_holds.sideSets};
    for (std::size_t kind = 0; kind < 3; ++kind)
      for (const mesh_Set& set : m_mesh.Sets(static_cast<mesh_SetKind>(kind)))
        Set(set, held[kind]);
    for (std::size_t place = 0; place < mesh_kPlaces; ++place)
      for (std::size_t i = 0; i < m_mesh.Variables(static_cast<mesh_Place>(place)).names.size(); ++i)
        Variable(static_cast<mesh_Place>(place), i);
    return std::move(m_lines);
  }

 private:
  void Add(std::string line) { m_lines.push_back(std::move(line)); }

  void Block(const mesh_Block& block) {
    const std::string of = " of block " + block.name;
    if (!m_holds.attributes && !block.attributes.empty())
      Add("the " + std::to_string(block.attributes.size()) + " attributes" + of);
    if (block.elements == 0)
      return;
    if (block.shape == mesh_Block::Shape::kPolygons && !m_holds.polygons)
      Add("the polygons" + of);
    const mesh_Element* const type = mesh_FindElement(block.type, block.nodesPerElement);
    if (!m_holds.shells && type != nullptr && std::string(type->name).starts_with("SHELL"))
      Add("that the surface elements" + of + " are shells");
  }

  void Set(const mesh_Set& set, bool held) {
    const std::string name = exp_SetName(set.kind) + (" " + set.name);
    if (!held)
      return Add("the " + name);
    if (!m_holds.factors && set.factors > 0)
      Add("the distribution factors of " + name);
    if (m_holds.setOrder)
      return;
    const std::vector<int> members = exp_Members(m_mesh, set);
    if (!std::is_sorted(members.begin(), members.end()))
      Add("the order of the members of " + name);
  }

  void Variable(mesh_Place place, std::size_t i) {
    const mesh_Variables& variables = m_mesh.Variables(place);
    const std::string field = "the field " + variables.names[i];
    const bool ofSets = place >= mesh_Place::kNodeSets;
    if ((ofSets && !m_holds.setVariables) || (place == mesh_Place::kGlobal && !m_holds.globals))
      return Add(field + " of " + exp_PlaceName(place));
    if (!m_holds.units && !variables.Unit(i).empty())
      Add("the unit " + variables.Unit(i) + " of " + field);
    if (!m_holds.components && variables.Components(i) > 1)
      Add("that the " + std::to_string(variables.Components(i)) + " components of " + field +
          " are one field");
    if (!m_holds.constants && variables.Constant(i))
      Add("that " + field + " is the same at all times");
    if (!m_holds.integers && exp_HasIntegers(m_mesh, place, i))
      Add("that " + field + " is of integers");
  }

  const mesh_Source& m_mesh;
  const exp_Holds& m_holds;
  std::vector<std::string> m_lines;
};

} // namespace

const char* exp_PlaceName(mesh_Place place) {
  return kPlaces[static_cast<std::size_t>(place)];
}

const char* exp_SetName(mesh_SetKind kind) {
  return kSets[static_cast<std::size_t>(kind)];
}

std::vector<std::string> exp_Losses(const mesh_Source& mesh, const exp_Holds& holds) {
  return Losses(mesh, holds).All();
}

std::vector<std::string> exp_VtkLosses(const mesh_Source& mesh, bool setVariables) {
  std::vector<std::string> losses = exp_Losses(mesh, {.nodeSets = true,
                                                      .elementSets = true,
                                                      .maps = true,
                                                      .polygons = true,
                                                      .globals = true,
                                                      .setVariables = setVariables,
                                                      .components = true,
                                                      .integers = true,
                                                      .constants = true});
  for (std::string& line : exp_UnknownTypes(mesh))
    losses.push_back(std::move(line));
  return losses;
}

std::vector<std::string> exp_UnknownTypes(const mesh_Source& mesh) {
  std::vector<std::string> losses;
  for (const mesh_Block& block : mesh.Blocks())
    if (block.elements > 0 && block.shape != mesh_Block::Shape::kPolygons &&
        mesh_FindElement(block.type, block.nodesPerElement) == nullptr)
      losses.push_back("the type " + block.type + " of the elements of block " + block.name);
  return losses;
}

bool exp_HasIntegers(const mesh_Source& mesh, mesh_Place place, std::size_t variable) {
  const mesh_Variables& variables = mesh.Variables(place);
  if (place == mesh_Place::kGlobal)
    return false;
  for (std::size_t entity = 0; entity < variables.present.size(); ++entity)
    if (variables.present[entity][variable] && exp_IsInteger(*mesh.Values(place, variable, entity, 0)))
      return true;
  return false;
}
