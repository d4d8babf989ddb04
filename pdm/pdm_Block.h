#pragma once

#include <pdm/pdm_ElementType.h>
#include <pdm/pdm_Fields.h>

#include <unordered_map>

namespace pdm {

/// Elements of one type, with their connectivity: one drawer of the field "connectivity".
/// Threads: one at a time for all objects of a Sim.
class Block {
 public:
  Block() = default;
  /// \param number  0-based, the drawer's.
  /// \param name    "" where it has none.
  /// \param id      the user's number.
  Block(Drawer connectivity, int number, std::string name, std::int64_t id)
      : m_connectivity(std::move(connectivity)), m_number(number), m_name(std::move(name)), m_id(id) {}

  int number() const noexcept { return m_number; }
  const std::string& name() const noexcept { return m_name; }
  std::int64_t id() const noexcept { return m_id; }
  /// \return the type of its elements as the mesh calls it, "HEX8".
  std::string type() const { return m_connectivity.long_name(); }
  /// \return the number of elements.
  int size() const { return m_connectivity.rows(); }
  int nodes_per_element() const { return m_connectivity.components(); }
  /// \return what is known of its type: sides, and the order of nodes that VTK has; null for a type that is
  /// not known.
  const ElementType* element_type() const {
    return find_element_type(type(), static_cast<std::size_t>(nodes_per_element()));
  }
  /// \return the elements.
  Set elements() const { return m_connectivity.set(); }
  /// \return the nodes of each element as a drawer, [size()][nodes_per_element()]; -1 fills up polygons.
  const Drawer& connectivity() const noexcept { return m_connectivity; }

  /// \return where its drawer stands in the model.
  std::string path() const { return m_connectivity.path(); }
  /// For this layer alone.
  const detail::File& state() const noexcept { return m_connectivity.state(); }

 private:
  Drawer m_connectivity;
  int m_number = 0;
  std::string m_name;
  std::int64_t m_id = 0;
};

/// Sides of elements: pairs of an element and the 0-based number of one of its sides.
/// Threads: one at a time for all objects of a Sim.
class Surface {
 public:
  Surface() = default;
  /// For a surface of the plain calls.
  Surface(std::shared_ptr<const Field::Source> source, std::string name, ORXSimDistributionID id)
      : m_field(std::move(source), std::move(name), id) {}

  const std::string& name() const noexcept { return m_field.name(); }
  /// \return the number of sides.
  int size() const {
    int sides = 0;
    for (const Drawer& drawer : m_field)
      sides += drawer.rows();
    return sides;
  }
  /// \return [size()] the 0-based element of each side, in the order of Surfaces::create().
  std::vector<int> elements() const {
    std::vector<int> all;
    for (const Drawer& drawer : m_field) {
      const std::vector<int> items = drawer.set().items();
      all.insert(all.end(), items.begin(), items.end());
    }
    return all;
  }
  /// \return [size()] the number of each side at its element, in the order of Exodus II, less one.
  std::vector<int> sides() const {
    std::vector<int> all;
    for (const Drawer& drawer : m_field) {
      const std::vector<int> sides = drawer.read<int>();
      all.insert(all.end(), sides.begin(), sides.end());
    }
    return all;
  }
  /// \return the numbers of the sides as the field that they are.
  const Field& field() const noexcept { return m_field; }

  /// \return where it stands in the model.
  std::string path() const { return m_field.path(); }
  /// For this layer alone.
  const detail::File& state() const noexcept { return m_field.state(); }

 private:
  Field m_field;
};

/// Surfaces of a mesh by name.
/// Threads: one at a time for all objects of a Sim.
class Surfaces : public detail::Map<ORXSimDistributionID, Surface> {
 public:
  Surfaces() = default;
  /// For a map of the plain calls.
  explicit Surfaces(Field::Source source) : Map(std::move(source)) {}

  /// Stores a new surface. One commit point, unless an update is open.
  /// \param name      of the new surface.
  /// \param elements  [n] 0-based elements; one with several sides comes several times.
  /// \param sides     [n] the number of each side at its element, from 0.
  /// They are kept in the order of an element's first side, then of an element's second one, and so on: what
  /// elements() and sides() answer has those that came first of their elements first.
  Surface create(std::string_view name, std::span<const int> elements, std::span<const int> sides) const {
    constexpr const char* kOperation = "create a surface";
    return detail::run(*this, kOperation, [&] {
      const kda_string key = new_key(name, false, kOperation);
      if (elements.size() != sides.size())
        detail::refuse(state().get(), path(), kOperation, "there must be as many sides as elements");
      if (const auto wrong = std::find_if(sides.begin(), sides.end(), [](int side) { return side < 0; });
          wrong != sides.end())
        detail::refuse(state().get(), path(), kOperation, "there is no side " + std::to_string(*wrong));
      ORXSimUpdate update(state()->context);
      const ORXSimDistributionID id =
          ORXSimDistributionRef::Create(state()->context, key.cStr(), "", nullptr, 0);
      bool good = !id.IsNull();
      for (const Part& part : split(elements, sides))
        good = good && add(ORXSimDistributionRef(id), part);
      if (good) {
        insert(key, id);
        update.Commit();
      }
      return Surface(m_source, std::string(name), id);
    });
  }

 private:
  struct Part {
    std::vector<int> elements, sides;
  };
  /// Each element once a part: the k-th side of an element goes into part k.
  static std::vector<Part> split(std::span<const int> elements, std::span<const int> sides) {
    std::vector<Part> parts;
    std::unordered_map<int, std::size_t> seen;
    for (std::size_t i = 0; i < elements.size(); ++i) {
      const std::size_t part = seen[elements[i]]++;
      if (part == parts.size())
        parts.emplace_back();
      parts[part].elements.push_back(elements[i]);
      parts[part].sides.push_back(sides[i]);
    }
    return parts;
  }
  bool add(const ORXSimDistributionRef& surface, const Part& part) const {
    ORXSimDrawerDescription drawer;
    drawer.members = ORXSimCollectionRef(m_source->collection(*m_source))
                         .CreateOrderedCSet(part.elements.data(), static_cast<int>(part.elements.size()));
    drawer.type = ORXSimItemType::kInt32;
    const int added = drawer.members.IsNull() ? -1 : surface.AddDrawer(drawer);
    return added >= 0 && detail::write_new(surface, added, part.sides);
  }
};

} // namespace pdm
