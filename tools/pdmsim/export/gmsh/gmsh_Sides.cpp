#include <pdmsim/export/gmsh/gmsh_Groups.h>

#include <pdmsim/export/out/exp_Read.h>
#include <pdmsim/mesh/mesh_Elements.h>
#include <pdmsim/mesh/mesh_Error.h>

#include <map>
#include <tuple>

// The second half of gmsh_Groups: the elements that the sides of side sets become.

namespace {

std::size_t size(int n) {
  return static_cast<std::size_t>(n);
}

/// Finds the nodes of all entries of all side sets, in one pass over the elements.
class Finder {
 public:
  /// The nodes of a side, and the place of its entry in the set.
  using Found = std::pair<std::size_t, std::vector<int>>;
  /// Set, corners, nodes.
  using Kind = std::tuple<std::size_t, std::size_t, std::size_t>;

  Finder(const exp_Task& task, const std::vector<gmsh_Element>& elements)
      : m_task(task), m_mesh(task.mesh), m_elements(elements), m_missing(Sets().size()) {
    for (std::size_t set = 0; set < Sets().size(); ++set) {
      const std::vector<int> members = exp_Members(m_mesh, Sets()[set]),
                             sides = exp_Sides(m_mesh, Sets()[set], members);
      for (std::size_t i = 0; i < members.size(); ++i)
        m_entries.push_back({members[i], sides[i], set, i});
    }
    std::sort(m_entries.begin(), m_entries.end(),
              [](const Entry& a, const Entry& b) { return a.element < b.element; });
    for (std::size_t block = 0; block < m_elements.size(); ++block)
      FindIn(block);
  }

  std::map<Kind, std::vector<Found>>& All() { return m_found; }
  /// Entries of a set on elements that are not written.
  std::size_t Missing(std::size_t set) const { return m_missing[set]; }

 private:
  struct Entry {
    int element, side;
    std::size_t set, place;
  };

  const std::vector<mesh_Set>& Sets() const { return m_mesh.Sets(mesh_SetKind::kSides); }
  bool IsBefore(std::size_t end) const {
    return m_next < m_entries.size() && size(m_entries[m_next].element) < end;
  }

  void FindIn(std::size_t k) {
    const mesh_Block& block = m_mesh.Blocks()[k];
    if (!IsBefore(block.firstElement + block.elements))
      return;
    if (m_elements[k].ours != nullptr)
      exp_EachNodes(m_mesh, block, m_task.progress,
                    [&](std::size_t first, std::size_t count, std::size_t width, const int* nodes) {
                      const std::size_t begin = block.firstElement + first;
                      for (; IsBefore(begin + count); ++m_next)
                        Keep(*m_elements[k].ours, m_entries[m_next],
                             nodes + (size(m_entries[m_next].element) - begin) * width);
                    });
    for (; IsBefore(block.firstElement + block.elements); ++m_next)
      ++m_missing[m_entries[m_next].set];
  }

  /// \param nodes  of the element.
  void Keep(const mesh_Element& type, const Entry& entry, const int* nodes) {
    std::vector<int> side = gmsh_SideNodes(type, size(entry.side));
    if (side.empty())
      throw mesh_Error(m_mesh.Path(), std::string("expected sides of ") + type.name +
                                          " elements, found side " + std::to_string(entry.side) + " in " +
                                          Sets()[entry.set].name);
    for (int& node : side)
      node = nodes[node];
    const Kind kind{entry.set, mesh_SideCorners(type, size(entry.side)).size(), side.size()};
    m_found[kind].emplace_back(entry.place, std::move(side));
  }

  const exp_Task& m_task;
  const mesh_Source& m_mesh;
  const std::vector<gmsh_Element>& m_elements;
  std::vector<Entry> m_entries; // by element
  std::size_t m_next = 0;       // of them
  std::map<Kind, std::vector<Found>> m_found;
  std::vector<std::size_t> m_missing; // [set]
};

} // namespace

void gmsh_Groups::FindSides(const exp_Task& task) {
  const auto& sets = task.mesh.Sets(mesh_SetKind::kSides);
  Finder finder(task, elements);
  std::map<std::pair<std::size_t, int>, std::size_t> groupOf; // set, dimension
  for (auto& [kind, list] : finder.All()) {
    const auto [set, corners, width] = kind;
    const gmsh_Side side = gmsh_SideOf(width, corners);
    const auto [group, isNew] = groupOf.try_emplace({set, side.dimension});
    if (isNew)
      group->second = Add(side.dimension, sets[set].name, sets[set].id, "side set " + sets[set].name);
    std::sort(list.begin(), list.end());
    sides.push_back({group->second, side.type, width, {}});
    for (const auto& [place, nodes] : list)
      sides.back().nodes.insert(sides.back().nodes.end(), nodes.begin(), nodes.end());
  }
  for (std::size_t set = 0; set < sets.size(); ++set)
    if (sets[set].size == 0)
      losses.push_back("the empty side set " + sets[set].name);
    else if (finder.Missing(set) > 0)
      losses.push_back(std::to_string(finder.Missing(set)) + " sides of side set " + sets[set].name);
}
