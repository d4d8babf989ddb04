#include "modal_Mesh.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <optional>

namespace {

std::string Upper(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return text;
}

bool IsSolid(const std::string& type) {
  return type.starts_with("HEX") || type.starts_with("TET") || type.starts_with("WEDGE") ||
         type.starts_with("PYR") || type.starts_with("NFACED");
}

/// The formulation for a type of elements with so many nodes.
std::optional<modal_Shape> ShapeOf(const std::string& type, int nodes) {
  for (const modal_Shape shape :
       {modal_Shape::kTet4, modal_Shape::kTet10, modal_Shape::kHex8, modal_Shape::kHex20})
    if (modal_NodesOf(shape) == nodes && type.starts_with(modal_IsTet(shape) ? "TET" : "HEX"))
      return shape;
  return std::nullopt;
}

ORXSimDistributionID Field(const kda_MapString<ORXSimDistributionID>& fields, const std::string& file,
                           const char* name) {
  if (!fields.isMember(name))
    throw modal_Failure(file + ": expected a field '" + name + "' in the mesh, found none");
  return fields.get(name);
}

void TakeBlock(const std::string& file, ORXSimDistributionID connectivity, int drawer, modal_Mesh& model) {
  const ORXSimPersistentDrawerDesc description = ORXSimDistributionRef(connectivity).Drawer(drawer);
  const std::string type = Upper(description.LongName().CStr());
  if (description.Items() == 0)
    return;
  if (!IsSolid(type)) {
    model.skipped.push_back(type);
    return;
  }
  const auto shape = ShapeOf(type, description.Components());
  if (!shape)
    throw modal_Failure(file + ": expected solids of the types HEX8, HEX20, TET4 or TET10, found " + type +
                        " with " + std::to_string(description.Components()) + " nodes");
  modal_Block block{*shape, type, modal_ReadInts(connectivity, drawer, file + ": connectivity")};
  for (const int node : block.nodes) {
    if (node < 0 || node >= model.Nodes())
      throw modal_Failure(file + ": expected nodes 0 to " + std::to_string(model.Nodes() - 1) +
                          " in the connectivity, found " + std::to_string(node));
    model.used[static_cast<std::size_t>(node)] = true;
  }
  model.solids.push_back(std::move(block));
}

void TakeNodes(const std::string& file, const msfD_Mesh& mesh, modal_Mesh& model) {
  const ORXSimDistributionID coordinates = Field(mesh.nodeFields(), file, "coordinates");
  const int nodes = ORXSimCollectionRef(mesh.nodes()).NumItems();
  const int axes = ORXSimDistributionRef(coordinates).Drawer(0).Components();
  const std::vector<double> values = modal_ReadReals(coordinates, 0, file + ": coordinates");
  if (values.size() != static_cast<std::size_t>(nodes) * static_cast<std::size_t>(axes))
    throw modal_Failure(file + ": expected coordinates of " + std::to_string(nodes) + " nodes, found " +
                        std::to_string(values.size()) + " numbers");
  if (!std::all_of(values.begin(), values.end(), [](double value) { return std::isfinite(value); }))
    throw modal_Failure(file + ": expected finite coordinates, found some that are not");
  model.points = Eigen::Matrix3Xd::Zero(3, nodes);
  model.points.topRows(std::min(axes, 3)) =
      Eigen::Map<const Eigen::MatrixXd>(values.data(), axes, nodes).topRows(std::min(axes, 3));
  model.used.assign(static_cast<std::size_t>(nodes), false);
  model.labels = modal_ReadInts(Field(mesh.nodeFields(), file, "label"), 0, file + ": node labels");
  if (model.labels.size() != model.used.size())
    throw modal_Failure(file + ": expected a label for each node, found " +
                        std::to_string(model.labels.size()));
}

} // namespace

std::size_t modal_Mesh::Elements() const {
  std::size_t elements = 0;
  for (const modal_Block& block : solids)
    elements += block.Elements();
  return elements;
}

Eigen::Matrix3Xd modal_Mesh::PointsOf(const modal_Block& block, std::size_t element) const {
  Eigen::Matrix3Xd result(3, modal_NodesOf(block.shape));
  for (int i = 0; i < result.cols(); ++i)
    result.col(i) = points.col(block.Element(element)[i]);
  return result;
}

Eigen::AlignedBox3d modal_Mesh::Box() const {
  Eigen::AlignedBox3d box;
  for (int i = 0; i < Nodes(); ++i)
    if (used[static_cast<std::size_t>(i)])
      box.extend(Eigen::Vector3d(points.col(i)));
  return box;
}

modal_Mesh modal_ReadMesh(const std::string& file, const msfD_Mesh& mesh) {
  modal_Mesh model;
  TakeNodes(file, mesh, model);
  const ORXSimDistributionID connectivity = Field(mesh.elementFields(), file, "connectivity");
  const int drawers = ORXSimDistributionRef(connectivity).NumDrawers();
  for (int i = 0; i < drawers; ++i)
    TakeBlock(file, connectivity, i, model);
  if (model.solids.empty())
    throw modal_Failure(file + ": expected hexahedra or tetrahedra, found " +
                        (model.skipped.empty() ? "no elements" : "only " + model.skipped.front()));
  return model;
}

std::vector<bool> modal_FindNodes(const std::string& file, const msfD_Mesh& mesh, const modal_Mesh& model,
                                  const std::string& word) {
  std::vector<bool> found(model.used.size());
  if (word == "none")
    return found;
  if (word.size() == 5 && word[0] >= 'x' && word[0] <= 'z' &&
      (word.ends_with("-min") || word.ends_with("-max"))) {
    const Eigen::Index axis = word[0] - 'x';
    const Eigen::AlignedBox3d box = model.Box();
    const double face = word.ends_with("-min") ? box.min()[axis] : box.max()[axis];
    for (std::size_t i = 0; i < found.size(); ++i)
      found[i] = model.used[i] && std::abs(model.points(axis, static_cast<Eigen::Index>(i)) - face) <=
                                      1e-6 * box.diagonal().norm();
    return found;
  }
  if (!mesh.nodeSets().isMember(word.c_str()))
    throw modal_Failure(file + ": expected a node set '" + word +
                        "' or none, x-min, x-max, y-min, y-max, "
                        "z-min, z-max to clamp, found no set of that name");
  const ORXSimCSet set(mesh.nodeSets().get(word.c_str()));
  std::vector<int> members(static_cast<std::size_t>(set.Size()));
  if (!set.OrderedMembers(members.data(), set.Size()))
    modal_FailInStore();
  for (const int node : members)
    found[static_cast<std::size_t>(node)] = true;
  return found;
}
