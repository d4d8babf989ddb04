#include <pdmsim/mesh/mesh_Polygons.h>

#include <pdmsim/mesh/mesh_Error.h>

#include <algorithm>

namespace {

constexpr std::size_t kMostRoom = 64; // numbers of a table for each that is stored in it
constexpr std::size_t kSmall = std::size_t{1} << 20;

} // namespace

void mesh_SetPolygons(mesh_RawCells& cells, const std::string& path, const std::vector<long long>& ends,
                      const std::vector<int>& nodes) {
  long long most = 3, last = 0;
  for (const long long end : ends) {
    if (end - last < 3)
      throw mesh_Error(path,
                       "expected polygons of 3 corners or more, found one of " + std::to_string(end - last));
    most = std::max(most, end - last);
    last = end;
  }
  const auto width = static_cast<std::size_t>(most);
  if (width > (kSmall + kMostRoom * nodes.size()) / std::max<std::size_t>(1, ends.size()))
    throw mesh_Error(path, "expected " + std::to_string(ends.size()) +
                               " polygons of like numbers of corners, found one of " + std::to_string(most));
  cells.own = std::make_shared<const mesh_Element>(
      mesh_Element{"nsided", 2, static_cast<int>(most), static_cast<int>(most), 7, {}, {}});
  cells.type = cells.own.get();
  cells.nodes.assign(ends.size() * width, -1);
  std::size_t from = 0;
  for (std::size_t cell = 0; cell < ends.size(); ++cell)
    for (std::size_t k = 0; from < static_cast<std::size_t>(ends[cell]); ++k, ++from) {
      if (nodes[from] < 0)
        throw mesh_Error(path, "expected corners of polygons, found node " + std::to_string(nodes[from]));
      cells.nodes[cell * width + k] = nodes[from];
    }
}
