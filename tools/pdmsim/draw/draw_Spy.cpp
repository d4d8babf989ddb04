#include <pdmsim/draw/draw_Spy.h>

#include <algorithm>
#include <numeric>

namespace {

constexpr std::size_t kRaster = 500; // fields a side, at most
constexpr std::size_t kPiece = std::size_t{1} << 16;

std::size_t At(int i) {
  return static_cast<std::size_t>(i);
}

/// The pattern of a matrix in one order of its DOFs.
class Pattern {
 public:
  /// \param places  [system DOFs] row of the matrix, -1 for none.
  Pattern(std::vector<int> places, std::size_t size)
      : m_places(std::move(places)), m_size(size), m_side(std::min(size, kRaster)),
        m_rows(m_side, std::string(m_side, '0')) {}

  void Add(const std::vector<int>& dofs) {
    m_fields.clear();
    int first = static_cast<int>(m_size), last = -1;
    for (const int dof : dofs) {
      const int place = m_places[At(dof)];
      if (place < 0)
        continue;
      first = std::min(first, place);
      last = std::max(last, place);
      m_fields.push_back(At(place) * m_side / m_size);
    }
    m_bandwidth = std::max(m_bandwidth, last - first);
    std::sort(m_fields.begin(), m_fields.end());
    m_fields.erase(std::unique(m_fields.begin(), m_fields.end()), m_fields.end());
    for (const std::size_t row : m_fields)
      for (const std::size_t column : m_fields)
        m_rows[row][column] = '1';
  }
  nlohmann::json Result(const char* name) const {
    return {{"name", name}, {"bandwidth", m_bandwidth}, {"rows", m_rows}};
  }
  std::size_t Side() const { return m_side; }

 private:
  std::vector<int> m_places;
  std::size_t m_size, m_side;
  std::vector<std::string> m_rows;
  std::vector<std::size_t> m_fields;
  int m_bandwidth = 0;
};

} // namespace

nlohmann::json draw_Spy(const sto_Mesh& mesh, const dofs_Numbering& numbering) {
  const fesD_NodalDofDefinition& dofs = *numbering.dofs;
  std::vector<int> own(At(dofs.NumberOfDofs()));
  std::iota(own.begin(), own.end(), 0);
  int size = dofs.NumberOfDofs();
  if (numbering.hasOrder) { // the solver's DOFs alone, as the system numbers them
    size = 0;
    for (std::size_t i = 0; i < own.size(); ++i)
      own[i] = numbering.places[i] < 0 ? -1 : size++;
  }
  std::vector<Pattern> patterns{{own, At(size)}};
  if (numbering.hasOrder)
    patterns.emplace_back(numbering.places, At(size));
  std::vector<int> element, rows;
  for (const mesh_Block& block : mesh.Blocks()) {
    if (block.elements == 0 || block.nodesPerElement == 0)
      continue;
    const auto connectivity = mesh.Connectivity(block);
    const std::size_t width = connectivity->Width();
    for (std::size_t done = 0; done < block.elements; done += kPiece) {
      const std::size_t count = std::min(kPiece, block.elements - done);
      rows.resize(count * width);
      connectivity->Next(count, rows.data());
      for (std::size_t i = 0; i < count; ++i) {
        element.clear();
        for (std::size_t k = i * width; k < (i + 1) * width; ++k)
          for (int id = 0; rows[k] >= 0 && rows[k] < dofs.NumberOfNodes() && id < dofs.MaxNodalDof(); ++id)
            if (const int dof = dofs.SystemOrdinal(rows[k], id); dof >= 0)
              element.push_back(dof);
        for (Pattern& pattern : patterns)
          pattern.Add(element);
      }
    }
  }
  nlohmann::json orders = nlohmann::json::array();
  for (std::size_t i = 0; i < patterns.size(); ++i)
    orders.push_back(patterns[i].Result(i == 0 ? "as the system numbers them" : "in the solver's order"));
  return {{"size", size}, {"raster", patterns.front().Side()}, {"orders", std::move(orders)}};
}
