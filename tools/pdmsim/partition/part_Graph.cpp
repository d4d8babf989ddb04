#include <pdmsim/partition/part_Graph.h>

#include <pdmsim/cli/cli_Failure.h>
#include <pdmsim/mesh/mesh_Elements.h>

#include <algorithm>
#include <climits>
#include <numeric>

namespace {

/// Lists of numbers, one behind the other.
struct Lists {
  std::vector<std::size_t> begins;
  std::vector<int> members;

  std::span<const int> Of(std::size_t list) const {
    return std::span<const int>(members).subspan(begins[list], begins[list + 1] - begins[list]);
  }
};

/// The corners of every item, each once, and how many of them a neighbour shares.
struct Elements {
  Lists corners;
  std::vector<unsigned char> needs;
};

std::size_t size(int number) {
  return static_cast<std::size_t>(number);
}

/// What the elements of a block are to their neighbours.
struct Shape {
  std::size_t corners; // the first nodes of each
  int needs;
};

Shape shapeOf(const mesh_Block& block, std::size_t width, std::size_t dimension) {
  if (block.shape == mesh_Block::Shape::kPolygons)
    return {width, 2};
  if (const mesh_Element* const type = mesh_FindElement(block.type, width))
    return {size(type->corners), std::max(1, type->dimension)};
  return {width, static_cast<int>(std::clamp<std::size_t>(width - 1, 1, dimension))};
}

/// Calls visit(item, corners, needs) for every element that has nodes, block by block.
template <class Visit>
void forEach(const sto_Mesh& mesh, cli_Progress& progress, const Visit& visit) {
  std::vector<int> nodes;
  for (const mesh_Block& block : mesh.Blocks()) {
    if (block.elements == 0 || block.nodesPerElement == 0 || block.shape == mesh_Block::Shape::kPolyhedra)
      continue;
    const auto connectivity = mesh.Connectivity(block);
    const std::size_t width = connectivity->Width();
    const Shape shape = shapeOf(block, width, mesh.Dimension());
    const std::size_t atATime = std::max<std::size_t>(1, (std::size_t{1} << 20) / width);
    for (std::size_t first = 0; first < block.elements; first += atATime) {
      const std::size_t count = std::min(atATime, block.elements - first);
      nodes.resize(count * width);
      connectivity->Next(count, nodes.data());
      for (std::size_t i = 0; i < count; ++i) {
        int *const begin = &nodes[i * width], *end = begin + shape.corners;
        std::sort(begin, end);
        end = std::unique(begin, end); // of a collapsed element
        visit(size(mesh.Item(block.firstElement + first + i)),
              std::span<const int>(std::find_if(begin, end, [](int node) { return node >= 0; }), end),
              shape.needs);
      }
      progress.Advance(static_cast<double>(count));
    }
  }
}

Lists room(const std::vector<std::size_t>& sizes) {
  Lists lists;
  lists.begins.resize(sizes.size() + 1);
  std::partial_sum(sizes.begin(), sizes.end(), lists.begins.begin() + 1);
  lists.members.resize(lists.begins.back());
  return lists;
}

Elements read(const sto_Mesh& mesh, std::size_t items, cli_Progress& progress) {
  std::vector<std::size_t> sizes(items);
  forEach(mesh, progress,
          [&](std::size_t item, std::span<const int> corners, int) { sizes[item] = corners.size(); });
  Elements elements{room(sizes), std::vector<unsigned char>(items)};
  forEach(mesh, progress, [&](std::size_t item, std::span<const int> corners, int needs) {
    const std::size_t at = elements.corners.begins[item];
    std::copy(corners.begin(), corners.end(),
              elements.corners.members.begin() + static_cast<std::ptrdiff_t>(at));
    elements.needs[item] = static_cast<unsigned char>(std::min(size(needs), corners.size()));
  });
  return elements;
}

/// The items at each node.
Lists turn(const Lists& corners, std::size_t nodes) {
  std::vector<std::size_t> sizes(nodes);
  for (const int node : corners.members)
    ++sizes[size(node)];
  Lists items = room(sizes);
  std::vector<std::size_t> ends(items.begins.begin(), items.begins.end() - 1);
  for (std::size_t item = 0; item + 1 < corners.begins.size(); ++item)
    for (const int node : corners.Of(item))
      items.members[ends[size(node)]++] = static_cast<int>(item);
  return items;
}

} // namespace

part_Graph part_MakeGraph(const sto_Mesh& mesh, std::size_t items, cli_Progress& progress) {
  const Elements elements = read(mesh, items, progress);
  constexpr std::size_t kAtATime = 1024;
  const Lists at = turn(elements.corners, mesh.Nodes());
  part_Graph graph;
  graph.begins.reserve(items + 1);
  graph.begins.push_back(0);
  graph.neighbours.reserve(6 * items);
  std::vector<int> shared(items), touched;
  for (std::size_t item = 0; item < items; ++item) {
    for (const int node : elements.corners.Of(item))
      for (const int other : at.Of(size(node)))
        if (shared[size(other)]++ == 0)
          touched.push_back(other);
    for (const int other : touched) {
      if (size(other) != item &&
          shared[size(other)] >= std::min(elements.needs[item], elements.needs[size(other)]))
        graph.neighbours.push_back(other);
      shared[size(other)] = 0;
    }
    if (graph.neighbours.size() > size(INT_MAX))
      throw cli_Failure(cli_Exit::kUnusable, mesh.Path() + ": expected at most " +
                                                 std::to_string(INT_MAX / 2) +
                                                 " pairs of neighbouring elements, found more");
    if (item % kAtATime == kAtATime - 1)
      progress.Advance(kAtATime);
    touched.clear();
    graph.begins.push_back(static_cast<int>(graph.neighbours.size()));
  }
  return graph;
}

part_Quality part_Measure(const part_Graph& graph, const std::vector<int>& parts, int count) {
  std::vector<int> sizes(size(count));
  long long cut = 0;
  for (int item = 0; item < graph.Items(); ++item) {
    ++sizes[size(parts[size(item)])];
    for (const int other : graph.Of(item))
      cut += parts[size(item)] != parts[size(other)];
  }
  const auto [least, greatest] = std::minmax_element(sizes.begin(), sizes.end());
  const auto above = static_cast<long long>(*greatest) * count - graph.Items();
  return {*least, *greatest, 100 * static_cast<double>(above) / graph.Items(),
          std::ssize(graph.neighbours) / 2, cut / 2};
}
