#include <pdmsim/import/gmsh/gms_Types.h>

#include <algorithm>

namespace {

// Gmsh sorts the nodes on edges by the corner that they begin at, we go around the faces.
constexpr int kTet10[] = {0, 1, 2, 3, 4, 5, 6, 7, 9, 8};
constexpr int kHex20[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 11, 13, 9, 10, 12, 14, 15, 16, 18, 19, 17};
constexpr int kHex27[] = {0,  1,  2,  3,  4,  5,  6,  7,  8,  11, 13, 9,  10, 12,
                          14, 15, 16, 18, 19, 17, 26, 20, 25, 22, 23, 21, 24};
constexpr int kWedge15[] = {0, 1, 2, 3, 4, 5, 6, 9, 7, 8, 10, 11, 12, 14, 13};
constexpr int kPyramid13[] = {0, 1, 2, 3, 4, 5, 8, 10, 6, 7, 9, 11, 12};

struct Row {
  const char* name;
  std::size_t nodes;
  std::span<const int> order;
};
// By Gmsh's numbers, from 0; null what has no type of ours: prisms of 18 nodes, pyramids of 14.
constexpr Row kRows[] = {
    {nullptr, 0, {}},    {"BAR", 2, {}},      {"TRI", 3, {}},          {"QUAD", 4, {}},
    {"TET", 4, {}},      {"HEX", 8, {}},      {"WEDGE", 6, {}},        {"PYRAMID", 5, {}},
    {"BAR", 3, {}},      {"TRI", 6, {}},      {"QUAD", 9, {}},         {"TET", 10, kTet10},
    {"HEX", 27, kHex27}, {nullptr, 0, {}},    {nullptr, 0, {}},        {"SPHERE", 1, {}},
    {"QUAD", 8, {}},     {"HEX", 20, kHex20}, {"WEDGE", 15, kWedge15}, {"PYRAMID", 13, kPyramid13},
};

std::vector<gms_Type> makeTypes() {
  std::vector<gms_Type> types;
  for (std::size_t number = 0; number < std::size(kRows); ++number) {
    const Row& row = kRows[number];
    if (!row.name)
      continue;
    gms_Type& type = types.emplace_back();
    type = {static_cast<int>(number), mesh_FindElement(row.name, row.nodes), row.order, {}};
    type.toOurs.resize(row.order.size());
    for (std::size_t i = 0; i < row.order.size(); ++i)
      type.toOurs[static_cast<std::size_t>(row.order[i])] = static_cast<int>(i);
  }
  return types;
}

template <class Is>
const gms_Type* find(const Is& is) {
  static const std::vector<gms_Type> s_types = makeTypes();
  const auto found = std::find_if(s_types.begin(), s_types.end(), is);
  return found == s_types.end() ? nullptr : &*found;
}

} // namespace

const gms_Type* gms_FindType(long long number) {
  return find([&](const gms_Type& type) { return type.number == number; });
}

const gms_Type* gms_FindType(int dimension, std::size_t nodes) {
  return find([&](const gms_Type& type) {
    return type.element->dimension == dimension && static_cast<std::size_t>(type.element->nodes) == nodes;
  });
}
