#include <pdmsim/stored/sto_Modes.h>

#include <pdmsim/stored/sto_Fail.h>
#include <pdmsim/stored/sto_Numbers.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace {

constexpr double kUnknown = std::numeric_limits<double>::quiet_NaN();

bool isReal(ORXSimItemType type) {
  return type == ORXSimItemType::kFloat || type == ORXSimItemType::kDouble;
}

/// The numbers of a distribution with one real a mode, empty where it is none.
std::vector<double> perMode(const std::string& file, ORXSimDistributionID id) {
  if (id.IsNull() || ORXSimDistributionRef(id).NumDrawers() != 1)
    return {};
  const ORXSimPersistentDrawerDesc drawer = ORXSimDistributionRef(id).Drawer(0);
  if (drawer.Components() != 1 || !isReal(drawer.Type()))
    return {};
  std::vector<double> values(sto_Size(drawer.Items()));
  sto_Numbers(file, id, 0, 0, values.size()).Read(0, values.size(), values.data());
  return values;
}

double frequencyOf(double eigenvalue) {
  return std::copysign(std::sqrt(std::abs(eigenvalue)) / (2 * std::numbers::pi), eigenvalue);
}

/// Reads where the shapes are, as far as one drawer follows another over the mesh's nodes.
class Shapes {
 public:
  Shapes(const std::string& file, const msfD_Mesh& mesh, sto_ModalSystem& system)
      : m_file(file), m_nodes(mesh.nodes()), m_system(system) {}

  void Find(ORXSimDistributionID id) const {
    if (id.IsNull() || m_nodes.IsNull())
      return;
    const ORXSimDistributionRef shapes(id);
    const int drawers = shapes.NumDrawers();
    for (int i = 0; i < drawers; ++i) {
      const ORXSimPersistentDrawerDesc drawer = shapes.Drawer(i);
      if (drawer.CSet().IsNull())
        sto_Fail(m_file, "");
      if (!Fits(drawer) || drawer.Items() != ORXSimCSet(drawer.CSet()).Size())
        break;
      m_system.components = sto_Size(drawer.Components());
      m_system.shapePlaces.push_back({i, Rows(drawer.CSet())});
    }
    m_system.shapeCount = m_system.shapePlaces.size();
    if (m_system.shapeCount > 0)
      m_system.shapes = id;
    m_system.unit = shapes.Unit().CStr();
  }

 private:
  bool Fits(const ORXSimPersistentDrawerDesc& drawer) const {
    return drawer.CSet().Collection() == m_nodes && isReal(drawer.Type()) &&
           (m_system.shapePlaces.empty() || sto_Size(drawer.Components()) == m_system.components);
  }
  std::vector<int> Rows(ORXSimCSetID set) const {
    if (set.Minor() == 0)
      return {};
    const ORXSimCSet nodes(set);
    std::vector<int> members(sto_Size(nodes.Size()));
    if (!members.empty() && !nodes.OrderedMembers(members.data(), nodes.Size()))
      sto_Fail(m_file, "");
    std::vector<int> rows(sto_Size(ORXSimCollectionRef(m_nodes).NumItems()), -1);
    for (std::size_t i = 0; i < members.size(); ++i)
      rows[sto_Size(members[i])] = static_cast<int>(i);
    return rows;
  }

  const std::string& m_file;
  ORXSimCollectionID m_nodes;
  sto_ModalSystem& m_system;
};

std::vector<double> frequencies(const std::string& file, const fesD_FESystem& system) {
  std::vector<double> values = perMode(file, system.userDistributions().get("frequencies"));
  if (!values.empty())
    return values;
  values = perMode(file, system.userDistributions().get("eigenvalues"));
  std::transform(values.begin(), values.end(), values.begin(), frequencyOf);
  return values;
}

} // namespace

std::vector<sto_ModalSystem> sto_ModalSystems(const std::string& file, const msfD_Mesh& mesh) {
  std::vector<sto_ModalSystem> systems;
  const auto all = mesh.systems();
  for (int i = 0; i < all.count(); ++i) {
    const fesD_FESystem stored = all.get(i);
    if (!stored)
      continue;
    const fesD_ModalSystem modal(stored);
    sto_ModalSystem system;
    system.number = i;
    system.name = stored.systemName().cStr();
    system.frequencies = frequencies(file, stored);
    Shapes(file, mesh, system).Find(stored.userDistributions().get("modeShapes"));
    if (!modal && system.shapeCount == 0)
      continue;
    std::size_t modes = std::max(system.frequencies.size(), system.shapeCount);
    if (modal && !modal.modes().IsNull())
      modes = std::max(modes, sto_Size(ORXSimCollectionRef(modal.modes()).NumItems()));
    system.frequencies.resize(modes, kUnknown);
    systems.push_back(std::move(system));
  }
  return systems;
}

std::vector<double> sto_ModeShape(const std::string& file, const sto_ModalSystem& system, std::size_t mode,
                                  std::size_t first, std::size_t count) {
  const sto_ModalSystem::Shape& place = system.shapePlaces[mode];
  std::vector<double> shape(count * system.components);
  if (place.rows.empty()) {
    sto_Numbers(file, system.shapes, place.drawer, first, count).Read(0, count, shape.data());
    return shape;
  }
  const auto rows = sto_Size(ORXSimDistributionRef(system.shapes).DataSizeItems(place.drawer));
  std::vector<double> stored(rows * system.components);
  sto_Numbers(file, system.shapes, place.drawer, 0, rows).Read(0, rows, stored.data());
  for (std::size_t i = 0; i < count; ++i)
    for (std::size_t c = 0; c < system.components; ++c) {
      const int row = place.rows[first + i];
      shape[i * system.components + c] = row < 0 ? kUnknown : stored[sto_Size(row) * system.components + c];
    }
  return shape;
}

std::string sto_ModeTitle(const sto_ModalSystem& system, std::size_t mode) {
  std::string title = "mode " + std::to_string(mode + 1);
  if (std::isnan(system.frequencies[mode]))
    return title;
  char text[48];
  std::snprintf(text, sizeof text, " (%.4g Hz)", system.frequencies[mode]);
  return title + text;
}
