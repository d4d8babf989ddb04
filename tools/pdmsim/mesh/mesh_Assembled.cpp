#include <pdmsim/mesh/mesh_Assembled.h>

#include <pdmsim/mesh/mesh_Error.h>

#include <algorithm>
#include <type_traits>
#include <utility>

namespace {

/// Rows of an array in memory.
template <class T>
class Array : public mesh_NumbersBy<Array<T>> {
 public:
  struct Layout {
    std::size_t rows, width, stride;
    const int* order = nullptr; // [rows] of the array; null: one after the other
    bool isFloat = false;
  };
  Array(std::string path, const T* values, Layout layout, std::shared_ptr<const void> holder = nullptr)
      : m_path(std::move(path)), m_values(values), m_layout(layout), m_holder(std::move(holder)) {}

  mesh_Numbers::Type NumberType() const override {
    using enum mesh_Numbers::Type;
    return std::is_integral_v<T> ? kLong : m_layout.isFloat ? kFloat : kDouble;
  }
  std::size_t Rows() const override { return m_layout.rows; }
  std::size_t Width() const override { return m_layout.width; }

 private:
  friend class mesh_NumbersBy<Array<T>>;
  template <class To>
  void ReadAs(std::size_t first, std::size_t count, To* out) const {
    for (std::size_t i = first; i < first + count; ++i) {
      const std::size_t row = m_layout.order ? static_cast<std::size_t>(m_layout.order[i]) : i;
      for (std::size_t k = 0; k < m_layout.width; ++k)
        *out++ = Convert<To>(m_values[row * m_layout.stride + k]);
    }
  }
  template <class To>
  To Convert(T value) const {
    if constexpr (std::is_integral_v<T> && std::is_integral_v<To>)
      if (!std::in_range<To>(value))
        throw mesh_Error(m_path, "expected integers of 32 bits, found " + std::to_string(value));
    return static_cast<To>(value);
  }

  std::string m_path;
  const T* m_values;
  Layout m_layout;
  std::shared_ptr<const void> m_holder;
};

/// The nodes of cells that are scattered over the lists of one type.
class NodesOf : public mesh_Connectivity {
 public:
  NodesOf(const mesh_Raw& raw, const std::vector<std::size_t>& starts, std::size_t width, const int* cells)
      : m_raw(raw), m_starts(starts), m_width(width), m_cells(cells) {}
  std::size_t Width() const override { return m_width; }
  void Next(std::size_t count, int* out) override {
    for (const int* const end = m_cells + count; m_cells < end; ++m_cells) {
      const auto cell = static_cast<std::size_t>(*m_cells);
      while (cell >= m_starts[m_list + 1]) // cells of a block ascend
        ++m_list;
      out = std::copy_n(&m_raw.cells[m_list].nodes[(cell - m_starts[m_list]) * m_width], m_width, out);
    }
  }

 private:
  const mesh_Raw& m_raw;
  const std::vector<std::size_t>& m_starts;
  std::size_t m_width, m_list = 0;
  const int* m_cells;
};

} // namespace

mesh_Assembled::mesh_Assembled(mesh_Raw raw) : mesh_Source(raw.path), m_raw(std::move(raw)) {
  m_otherFiles = m_raw.otherFiles;
}

mesh_NumbersPtr mesh_Assembled::Coordinate(std::size_t axis) const {
  return std::make_unique<Array<double>>(m_path, m_nodes ? &m_raw.coordinates[axis] : nullptr,
                                         Array<double>::Layout{m_nodes, 1, m_dimension});
}

mesh_NumbersPtr mesh_Assembled::NodeNumbers() const {
  if (m_raw.nodeLabels.empty())
    return nullptr;
  return std::make_unique<Array<long long>>(m_path, m_raw.nodeLabels.data(),
                                            Array<long long>::Layout{m_nodes, 1, 1});
}

mesh_NumbersPtr mesh_Assembled::ElementNumbers() const {
  if (m_elementNumbers.empty())
    return nullptr;
  return std::make_unique<Array<long long>>(m_path, m_elementNumbers.data(),
                                            Array<long long>::Layout{m_elements, 1, 1});
}

std::unique_ptr<mesh_Connectivity> mesh_Assembled::Connectivity(const mesh_Block& block) const {
  const int* const cells = &m_cells[block.firstElement];
  const auto list = std::upper_bound(m_starts.begin(), m_starts.end(), static_cast<std::size_t>(*cells)) - 1;
  const mesh_Element& type = *m_raw.cells[static_cast<std::size_t>(list - m_starts.begin())].type;
  return std::make_unique<NodesOf>(m_raw, m_starts, static_cast<std::size_t>(type.nodes), cells);
}

void mesh_Assembled::ReadSet(const mesh_Set& set, std::size_t first, std::size_t count, int* out) const {
  const Members& members =
      m_members[static_cast<std::size_t>(set.kind)][static_cast<std::size_t>(set.number - 1)];
  std::copy_n(members.items.begin() + static_cast<std::ptrdiff_t>(first), count, out);
}

void mesh_Assembled::ReadSides(const mesh_Set& set, std::size_t first, std::size_t count, const int*,
                               int* out) const {
  const Members& members =
      m_members[static_cast<std::size_t>(set.kind)][static_cast<std::size_t>(set.number - 1)];
  std::copy_n(members.sides.begin() + static_cast<std::ptrdiff_t>(first), count, out);
}

template <class T>
std::shared_ptr<const std::vector<T>>
mesh_Assembled::Read(const mesh_RawField& field, const std::function<std::vector<T>(std::size_t)>& read,
                     std::size_t rows, std::size_t step) const {
  if (!m_values || m_valuesOf != &field || m_valuesStep != step) {
    m_values.reset(); // never two of them at a time, unless the caller holds one
    auto values = std::make_shared<std::vector<T>>(read(step));
    if (values->size() != rows * field.components)
      throw mesh_Error(m_path, "expected " + std::to_string(rows * field.components) + " values of " +
                                   field.name + ", found " + std::to_string(values->size()));
    m_values = std::move(values);
    m_valuesOf = &field;
    m_valuesStep = step;
  }
  return std::static_pointer_cast<const std::vector<T>>(m_values);
}

mesh_NumbersPtr mesh_Assembled::Values(mesh_Place place, std::size_t variable, std::size_t entity,
                                       std::size_t step) const {
  const bool onNodes = place == mesh_Place::kNodes;
  const mesh_RawField& field = (onNodes ? m_raw.nodeFields : m_raw.cellFields)[variable];
  const auto make = [&]<class T>(const std::function<std::vector<T>(std::size_t)>& read) {
    typename Array<T>::Layout layout{m_nodes, field.components, field.components, nullptr, field.isFloat};
    if (!onNodes) {
      layout.rows = m_blocks[entity].elements;
      layout.order = &m_cells[m_blocks[entity].firstElement];
    }
    const auto values = Read(field, read, onNodes ? m_nodes : m_starts.back(), step);
    return std::make_unique<Array<T>>(m_path, values->data(), layout, values);
  };
  if (field.readIntegers)
    return make(field.readIntegers);
  return make(field.read);
}
