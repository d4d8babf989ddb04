#include <pdmsim/export/gmsh/gmsh_Groups.h>

#include <pdmsim/mesh/mesh_Elements.h>

#include <algorithm>
#include <climits>

gmsh_Groups::gmsh_Groups(const mesh_Source& mesh) {
  int highest = 0;
  for (const mesh_Block& block : mesh.Blocks()) {
    elements.push_back(gmsh_ElementOf(block));
    if (elements.back().ours != nullptr && block.elements > 0)
      highest = std::max(highest, elements.back().ours->dimension);
  }
  for (const mesh_Block& block : mesh.Blocks()) {
    const mesh_Element* const type = elements[static_cast<std::size_t>(block.number - 1)].ours;
    const std::string name = block.name.empty() ? "block_" + std::to_string(block.id) : block.name;
    if (type != nullptr)
      Add(type->dimension, name, block.id, "block " + name);
    else
      groups.push_back({});
    if (type == nullptr && block.elements > 0 && block.shape != mesh_Block::Shape::kPolygons)
      losses.push_back("the elements of block " + name + ", of type '" + block.type + "' with " +
                       std::to_string(block.nodesPerElement) + " nodes");
    else if (block.elements == 0)
      losses.push_back("the empty block " + name);
    else if (type != nullptr && type->dimension == 0 && highest > 0) // readers take them for marks on nodes
      losses.push_back("that the points of block " + name + " are elements");
  }
}

std::size_t gmsh_Groups::Add(int dimension, const std::string& name, long long id, const std::string& what) {
  gmsh_Group group{dimension, 1, 0, name};
  int greatest = 0;
  bool taken = id < 1 || id > INT_MAX;
  for (const gmsh_Group& other : groups)
    if (other.dimension == dimension) {
      ++group.entity;
      taken = taken || other.physical == static_cast<int>(id);
      greatest = std::max(greatest, other.physical);
    }
  group.physical = taken ? greatest + 1 : static_cast<int>(id);
  if (taken)
    losses.push_back("the number " + std::to_string(id) + " of " + what + "; it is " +
                     std::to_string(group.physical));
  for (char& c : group.name)
    if (c == '"' || c == '\n')
      c = '\'';
  if (group.name != name)
    losses.push_back("the name of " + what + "; it is " + group.name);
  groups.push_back(std::move(group));
  return groups.size() - 1;
}
