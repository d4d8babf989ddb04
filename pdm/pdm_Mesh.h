#pragma once

#include <pdm/pdm_Block.h>
#include <pdm/pdm_Object.h>
#include <pdm/pdm_Systems.h>

namespace pdm {

/// One finite-element mesh: its sets, fields and systems.
/// Threads: one at a time for all objects of a Sim.
class Mesh : public detail::Part {
 public:
  Mesh() = default;
  /// \param handle  of a mesh of the file.
  Mesh(detail::File file, std::string path, msfD_Mesh handle)
      : Part(std::move(file), std::move(path)), m_handle(handle) {}

  /// \return the handle that the plain calls take.
  msfD_Mesh handle() const {
    detail::require_open(*this, "take the handle");
    return m_handle;
  }
  /// \return the mesh as an object of a schema class.
  Ref<msfD_Mesh> object() const { return {m_state, m_path, handle()}; }

  Collection nodes() const { return collection(&msfD_Mesh::nodes, "nodes"); }
  Collection elements() const { return collection(&msfD_Mesh::elements, "elements"); }
  Collection faces() const { return collection(&msfD_Mesh::faces, "faces"); }
  Collection instances() const { return collection(&msfD_Mesh::instances, "instances"); }
  Collection regions() const { return collection(&msfD_Mesh::regions, "regions"); }
  int node_count() const { return nodes().size(); }
  int element_count() const { return elements().size(); }
  /// \return the axes that coordinates have, 0 when there are none.
  int dimension() const {
    const Fields fields = node_fields();
    return fields.contains("coordinates") ? fields["coordinates"].components() : 0;
  }

  Sets node_sets() const {
    return sets<&msfD_Mesh::nodeSets, &msfD_Mesh::NodeSets, &msfD_Mesh::nodes>("nodeSets");
  }
  /// \return the sets of elements; each block's elements are one.
  Sets element_sets() const {
    return sets<&msfD_Mesh::elementSets, &msfD_Mesh::ElementSets, &msfD_Mesh::elements>("elementSets");
  }
  Sets instance_sets() const {
    return sets<&msfD_Mesh::instanceSets, &msfD_Mesh::InstanceSets, &msfD_Mesh::instances>("instanceSets");
  }
  Sets region_sets() const {
    return sets<&msfD_Mesh::regionSets, &msfD_Mesh::RegionSets, &msfD_Mesh::regions>("regionSets");
  }
  Surfaces surfaces() const {
    return Surfaces(fields<&msfD_Mesh::surfaces, &msfD_Mesh::Surfaces, &msfD_Mesh::elements>("surfaces"));
  }

  /// \return numbers of each node, such as "coordinates"; results have a drawer a step.
  Fields node_fields() const {
    return Fields(fields<&msfD_Mesh::nodeFields, &msfD_Mesh::NodeFields, &msfD_Mesh::nodes>("nodeFields"));
  }
  /// \return numbers of each element, such as "connectivity", which has a drawer a block.
  Fields element_fields() const {
    return Fields(
        fields<&msfD_Mesh::elementFields, &msfD_Mesh::ElementFields, &msfD_Mesh::elements>("elementFields"));
  }
  /// \return numbers of each side; drawers and rows are those of the surface.
  Fields surface_fields() const {
    return Fields(
        fields<&msfD_Mesh::surfaceFields, &msfD_Mesh::SurfaceFields, &msfD_Mesh::elements>("surfaceFields"));
  }
  Fields region_fields() const {
    return Fields(
        fields<&msfD_Mesh::regionFields, &msfD_Mesh::RegionFields, &msfD_Mesh::regions>("regionFields"));
  }
  /// \return numbers of each step, such as "time".
  Fields frame_fields() const {
    detail::Source<ORXSimDistributionID> source =
        fields<&msfD_Mesh::frameFields, &msfD_Mesh::FrameFields, &msfD_Mesh::nodes>("frameFields");
    source.collection = [](const detail::Source<ORXSimDistributionID>& of) {
      return of.file->sim.discreteModel().frames();
    };
    return Fields(std::move(source));
  }
  /// \return numbers of the mesh as a whole; a new one has a collection of its own.
  Fields mesh_fields() const {
    auto source = fields<&msfD_Mesh::meshFields, &msfD_Mesh::MeshFields, &msfD_Mesh::nodes>("meshFields");
    source.collection = nullptr;
    return Fields(std::move(source));
  }
  /// \return numbers of the nodes of each element, [elements][local nodes].
  Fields local_node_fields() const {
    return Fields(fields<&msfD_Mesh::localNodeFields, &msfD_Mesh::LocalNodeFields, &msfD_Mesh::elements>(
        "localNodeFields"));
  }

  /// The name of a block is that of a set of its region alone; where there are several, of the one whose name
  /// the set of the block's elements has too.
  /// \return the elements by type, in the order of the connectivity's drawers.
  std::vector<Block> blocks() const;
  /// Makes a block of the elements that follow those of the blocks so far, with an element set and a region
  /// of its name. One commit point, unless an update is open. Throws Error when fewer elements are left, or
  /// an element set or a region set has the name.
  /// \param name   of the block; "": the first free one of block_1, block_2...
  /// \param type   of its elements, "HEX8", whose nodes are in the order of Exodus II.
  /// \param width  nodes an element.
  /// \param nodes  [elements][width] 0-based nodes; -1 fills up polygons.
  Block create_block(std::string_view name, std::string_view type, int width,
                     std::span<const int> nodes) const;
  /// \return [nodes] the user's numbers, 1, 2, 3... where the mesh has none.
  std::vector<std::int64_t> node_labels() const { return labels(node_fields(), node_count()); }
  /// \return [elements] the user's numbers, 1, 2, 3... where the mesh has none.
  std::vector<std::int64_t> element_labels() const { return labels(element_fields(), element_count()); }
  /// \return the times of the steps, none when there are none.
  std::vector<double> times() const {
    return detail::run(*this, "read the times", [&] { return detail::times_of(*m_state); });
  }
  /// Gives the model its steps: new frames, with these times. One commit point, unless an update is open.
  /// \param times  [steps] finite, in ascending order; equal ones may follow each other.
  void set_times(std::span<const double> times) const;
  /// Adds a step. One commit point, unless an update is open. Cost: O(steps), and the times
  /// before stay in the file until it is compacted without orphans; a solver that knows its times sets them
  /// all at once.
  /// \param time  finite, greater than all before.
  void append_time(double time) const {
    std::vector<double> all = times();
    if (!all.empty() && !(time > all.back()))
      detail::refuse(m_state.get(), m_path, "set the times", "a new time must be greater than all before");
    all.push_back(time);
    set_times(all);
  }

  /// \return the systems of equations on the mesh.
  Systems systems() const { return {m_state, below("systems"), m_handle}; }
  /// Which places of a matrix over the mesh are not zero. Throws Error when the numbering is of another mesh.
  /// \param numbering  whose equations the elements couple; rows and columns are its solver's places.
  Pattern pattern(const Numbering& numbering) const;

 private:
  /// block_3 or the next one that no set of elements or regions has.
  std::string free_name(std::size_t number) const {
    std::string name;
    do
      name = "block_" + std::to_string(number++);
    while (element_sets().contains(name) || region_sets().contains(name));
    return name;
  }
  /// Makes one region more, with a set of its own. REQUIRES run() and an update.
  void add_region(const std::string& name, int number) const;
  Collection collection(ORXSimCollectionID (msfD_Mesh::*get)() const, const char* name) const {
    return {m_state, below(name), detail::run(*this, "find a collection", [&] { return (m_handle.*get)(); }),
            [mesh = m_handle, get] { return (mesh.*get)(); }};
  }
  template <class Id, auto Get, auto Set, auto Over>
  detail::Source<Id> source(const char* name) const {
    return {m_state, below(name), std::bit_cast<void*>(m_handle),
            &detail::kMapMember<Id, msfD_Mesh, Get, Set>,
            [](const detail::Source<Id>& of) { return (std::bit_cast<msfD_Mesh>(of.object).*Over)(); }};
  }
  template <auto Get, auto Set, auto Over>
  Sets sets(const char* name) const {
    return Sets(source<ORXSimCSetID, Get, Set, Over>(name));
  }
  template <auto Get, auto Set, auto Over>
  detail::Source<ORXSimDistributionID> fields(const char* name) const {
    return source<ORXSimDistributionID, Get, Set, Over>(name);
  }
  static std::vector<std::int64_t> labels(const Fields& of, int items) {
    if (of.contains("label"))
      return of["label"].read<std::int64_t>();
    std::vector<std::int64_t> all(detail::size(items));
    std::iota(all.begin(), all.end(), 1);
    return all;
  }

  msfD_Mesh m_handle;
};

inline std::vector<Block> Mesh::blocks() const {
  std::vector<Block> blocks;
  if (!element_fields().contains("connectivity"))
    return blocks;
  const Field connectivity = element_fields()["connectivity"];
  const auto count = detail::size(connectivity.size());
  std::vector<std::string> names(count);
  std::vector<bool> sure(count);
  const Sets of_elements = element_sets();
  for (const auto& [name, set] : region_sets()) // a block's name is that of the set of its region alone
    if (set.size() == 1)
      if (const auto region = detail::size(set.items().front()); region < count && !sure[region]) {
        sure[region] = of_elements.contains(name) &&
                       of_elements[name].handle() == connectivity[static_cast<int>(region)].set().handle();
        if (sure[region] || names[region].empty())
          names[region] = name;
      }
  std::vector<std::int64_t> ids(count);
  std::iota(ids.begin(), ids.end(), 1);
  if (region_fields().contains("label"))
    if (const Field label = region_fields()["label"];
        label.size() == 1 && detail::size(label.rows()) == count)
      ids = label.read<std::int64_t>();
  for (std::size_t i = 0; i < count; ++i)
    blocks.emplace_back(connectivity[static_cast<int>(i)], static_cast<int>(i), std::move(names[i]), ids[i]);
  return blocks;
}

inline Pattern Mesh::pattern(const Numbering& numbering) const {
  std::vector<std::vector<int>> elements;
  std::vector<int> widths;
  for (const Block& block : blocks()) {
    elements.push_back(block.connectivity().read<int>());
    widths.push_back(block.nodes_per_element());
  }
  try {
    return numbering.pattern(elements, widths);
  } catch (const std::invalid_argument& fault) {
    detail::refuse(m_state.get(), m_path, "find a matrix's pattern", fault.what());
  }
}

inline Block Mesh::create_block(std::string_view name, std::string_view type, int width,
                                std::span<const int> nodes) const {
  constexpr const char* kOperation = "make a block";
  const int number = detail::run(*this, kOperation, [&] {
    const std::vector<Block> before = blocks();
    const int first = std::accumulate(before.begin(), before.end(), 0,
                                      [](int sum, const Block& block) { return sum + block.size(); });
    const auto count = nodes.size() / detail::size(std::max(width, 1));
    const auto wrong = std::find_if(nodes.begin(), nodes.end(),
                                    [all = node_count()](int node) { return node < -1 || node >= all; });
    if (width < 1 || count * detail::size(width) != nodes.size())
      detail::refuse(m_state.get(), m_path, kOperation, "the nodes do not make whole elements");
    if (count > detail::size(element_count() - first))
      detail::refuse(m_state.get(), m_path, kOperation,
                     detail::expected("at most " + std::to_string(element_count() - first) +
                                          " elements, which have no block",
                                      std::to_string(count)));
    if (wrong != nodes.end())
      detail::refuse(m_state.get(), m_path, kOperation, "there is no node " + std::to_string(*wrong));
    if (!region_fields().empty())
      detail::refuse(m_state.get(), m_path, kOperation, "the mesh has numbers of its blocks");
    const std::string own = name.empty() ? free_name(before.size() + 1) : std::string(name);
    if (region_sets().contains(own)) // of the element sets create() says it
      detail::refuse(m_state.get(), m_path, kOperation,
                     "there is a region set " + detail::quoted(own) + " already");
    ORXSimUpdate update(m_state->context);
    std::vector<int> items(count);
    std::iota(items.begin(), items.end(), first);
    const FieldOptions options{
        .long_name = std::string(type), .components = width, .over = element_sets().create(own, items)};
    if (before.empty())
      element_fields().create("connectivity", nodes, options);
    else
      element_fields()["connectivity"].append(nodes, options);
    add_region(own, static_cast<int>(before.size()));
    update.Commit();
    return static_cast<int>(before.size());
  });
  return blocks()[detail::size(number)];
}

inline void Mesh::add_region(const std::string& name, int number) const {
  std::vector<std::pair<std::string, std::vector<int>>> sets{{name, {number}}};
  for (const auto& [key, set] : region_sets())
    sets.emplace_back(key, set.items());
  m_handle.Regions(ORXSimCollectionRef::Create(m_state->context, "regions", number + 1));
  for (const auto& [key, items] : sets)
    region_sets().create(key, items, true); // over the new collection
}

inline void Mesh::set_times(std::span<const double> times) const {
  constexpr const char* kOperation = "set the times";
  detail::run(*this, kOperation, [&] {
    if (!std::all_of(times.begin(), times.end(), [](double time) { return std::isfinite(time); }))
      detail::refuse(m_state.get(), m_path, kOperation, "the times must be finite");
    if (!std::is_sorted(times.begin(), times.end()))
      detail::refuse(m_state.get(), m_path, kOperation, "the times must ascend");
    ORXSimUpdate update(m_state->context);
    const int count = static_cast<int>(times.size());
    const ORXSimCollectionID frames = ORXSimCollectionRef::Create(m_state->context, "frames", count);
    m_state->sim.discreteModel().Frames(frames);
    const bool had = m_handle.frameFields().isMember("time");
    const std::string unit =
        had ? ORXSimDistributionRef(m_handle.frameFields().get("time")).Unit().CStr() : "s";
    frame_fields().create("time", times, {.unit = unit, .components = 1, .replace = true});
    update.Commit();
  });
}

} // namespace pdm
