#include <pdmsim/import/gmsh/gms_Builder.h>

#include <algorithm>
#include <climits>

const gms_Type& gms_Builder::Type(long long number, std::size_t count) const {
  const gms_Type* const type = gms_FindType(number);
  if (!type)
    in.Fail("elements of a type from 1 to 12 or 15 to 19",
            (count ? std::to_string(count) + " of type " : "type ") + std::to_string(number) +
                (number == 13   ? " (prisms of 18 nodes)"
                 : number == 14 ? " (pyramids of 14 nodes)"
                                : ""));
  return *type;
}

mesh_RawCells& gms_Builder::Cells(const gms_Type& type, std::size_t count, std::size_t total) {
  auto list = std::find_if(raw.cells.begin(), raw.cells.end(),
                           [&](const mesh_RawCells& cells) { return cells.type == type.element; });
  if (list == raw.cells.end()) {
    raw.cells.emplace_back();
    list = raw.cells.end() - 1;
    list->type = type.element;
    // Memory that is not used after all costs nothing. A number has two characters at least.
    const auto width = static_cast<std::size_t>(type.element->nodes);
    const std::size_t most = std::min(total, in.Left() / (2 * width));
    list->nodes.reserve(most * width);
    list->labels.reserve(most);
    list->families.reserve(most);
  }
  if (count > INT_MAX)
    in.Fail("at most 2147483647 elements", std::to_string(count));
  return *list;
}

int gms_Builder::Group(int dimension, long long tag) {
  const auto [at, isNew] = groups.try_emplace({dimension, tag}, static_cast<int>(raw.groups.size()));
  if (isNew)
    raw.groups.push_back({dimension, "", tag, {}});
  return at->second;
}

int gms_Builder::Family(int dimension, std::vector<long long> physicals) {
  std::vector<int> members;
  for (const long long tag : physicals)
    if (tag != 0) // a negative one says that the cells are turned around
      members.push_back(Group(dimension, tag < 0 ? -tag : tag));
  if (members.empty())
    return -1;
  const auto [at, isNew] = families.try_emplace(members, static_cast<int>(raw.families.size()));
  if (isNew)
    raw.families.push_back(std::move(members));
  return at->second;
}

void gms_Builder::NodesAreRead() {
  if (nodeLabels.size() > INT_MAX)
    in.Fail("at most 2147483647 nodes", std::to_string(nodeLabels.size()));
  auto made = std::make_shared<gms_Tags>(nodeLabels);
  if (const long long* const twice = made->Twice())
    in.Fail("each node once", "node " + std::to_string(*twice) + " twice");
  if (!made->FromOne())
    raw.nodeLabels = std::move(nodeLabels);
  nodeLabels = {};
  tags = std::move(made);
}

void gms_Builder::RequireNodes() const {
  if (!tags)
    in.Fail("$Nodes before this", "none");
}
