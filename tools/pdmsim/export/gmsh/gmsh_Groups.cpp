#include <pdmsim/export/gmsh/gmsh_Groups.h>

#include <pdmsim/export/out/exp_Read.h>
#include <pdmsim/mesh/mesh_Elements.h>
#include <pdmsim/mesh/mesh_Error.h>

#include <climits>
#include <map>

namespace {

/// One entry of a side set.
struct Entry {
  int element, side;
  std::size_t set, place;
};

/// What is known of a side element before all are in the order of their set.
struct Found {
  std::size_t place;
  std::vector<int> nodes;
};

} // namespace

gmsh_Groups::gmsh_Groups(const mesh_Source& mesh) {
  for (const mesh_Block& block : mesh.Blocks()) {
    elements.push_back(gmsh_ElementOf(block));
    const int dimension = elements.back().ours ? elements.back().ours->dimension : 3;
    const std::string name = block.name.empty() ? "block_" + std::to_string(block.id) : block.name;
    Add(dimension, name, block.id, "block " + name);
    if (elements.back().ours == nullptr && block.elements > 0 && block.shape == mesh_Block::Shape::kFixed)
      losses.push_back("the elements of block " + name + ", of type '" + block.type + "' with " +
                       std::to_string(block.nodesPerElement) + " nodes");
    else if (block.elements == 0)
      losses.push_back("the empty block " + name);
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

void gmsh_Groups::FindSides(const exp_Task& task) {
  const mesh_Source& mesh = task.mesh;
  const auto& sets = mesh.Sets(mesh_SetKind::kSides);
  std::vector<Entry> entries;
  for (std::size_t set = 0; set < sets.size(); ++set) {
    const std::vector<int> members = exp_Members(mesh, sets[set]), on = exp_Sides(mesh, sets[set], members);
    for (std::size_t i = 0; i < members.size(); ++i)
      entries.push_back({members[i], on[i], set, i});
  }
  std::sort(entries.begin(), entries.end(),
            [](const Entry& a, const Entry& b) { return a.element < b.element; });
  std::map<std::pair<std::size_t, std::size_t>, std::map<std::size_t, std::vector<Found>>>
      found; // set, corners; nodes
  std::size_t next = 0;
  for (std::size_t k = 0; k < elements.size() && next < entries.size(); ++k) {
    const mesh_Block& block = mesh.Blocks()[k];
    const std::size_t end = block.firstElement + block.elements;
    if (elements[k].ours != nullptr)
      exp_EachNodes(
          mesh, block, task.progress,
          [&](std::size_t first, std::size_t count, std::size_t width, const int* nodes) {
            const std::size_t begin = block.firstElement + first;
            for (; next < entries.size() && static_cast<std::size_t>(entries[next].element) < begin + count;
                 ++next) {
              const Entry& entry = entries[next];
              const int* const own = nodes + (static_cast<std::size_t>(entry.element) - begin) * width;
              std::vector<int> side = gmsh_SideNodes(*elements[k].ours, static_cast<std::size_t>(entry.side));
              if (side.empty())
                throw mesh_Error(mesh.Path(), "expected sides of " + block.type + " elements, found side " +
                                                  std::to_string(entry.side) + " in " + sets[entry.set].name);
              for (int& node : side)
                node = own[node];
              const std::size_t corners =
                  mesh_SideCorners(*elements[k].ours, static_cast<std::size_t>(entry.side)).size();
              found[{entry.set, corners}][side.size()].push_back({entry.place, std::move(side)});
            }
          });
    while (next < entries.size() && static_cast<std::size_t>(entries[next].element) < end)
      ++next; // of elements that are not written
  }
  std::map<std::pair<std::size_t, int>, std::size_t> groupOf; // set, dimension
  for (auto& [key, kinds] : found)
    for (auto& [width, list] : kinds) {
      const mesh_Set& set = sets[key.first];
      const gmsh_Side side = gmsh_SideOf(width, key.second);
      const auto known = groupOf.find({key.first, side.dimension});
      const std::size_t group = known != groupOf.end()
                                    ? known->second
                                    : groupOf[{key.first, side.dimension}] =
                                          Add(side.dimension, set.name, set.id, "side set " + set.name);
      std::sort(list.begin(), list.end(), [](const Found& a, const Found& b) { return a.place < b.place; });
      sides.push_back({group, side.type, width, {}});
      for (const Found& one : list)
        sides.back().nodes.insert(sides.back().nodes.end(), one.nodes.begin(), one.nodes.end());
    }
  for (std::size_t set = 0; set < sets.size(); ++set)
    if (std::none_of(groupOf.begin(), groupOf.end(), [&](const auto& one) { return one.first.first == set; }))
      losses.push_back("the side set " + sets[set].name + ", which has no sides to be written");
}
