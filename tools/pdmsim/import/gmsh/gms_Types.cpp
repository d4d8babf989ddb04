#include <pdmsim/import/gmsh/gms_Types.h>

#include <array>

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

} // namespace

const gms_Type* gms_FindType(long long number) {
  static const auto s_types = [] {
    std::array<gms_Type, std::size(kRows)> types{};
    for (std::size_t i = 0; i < types.size(); ++i)
      if (kRows[i].name)
        types[i] = {mesh_FindElement(kRows[i].name, kRows[i].nodes), kRows[i].order};
    return types;
  }();
  if (number < 0 || static_cast<std::size_t>(number) >= s_types.size())
    return nullptr;
  const gms_Type& type = s_types[static_cast<std::size_t>(number)];
  return type.element ? &type : nullptr;
}
