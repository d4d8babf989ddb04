// Adds a field to the mesh of a file: how far each node is from the origin. Usage:
// radius FILE
#include <pdm/pdm.hpp>

#include <cmath>
#include <cstdio>

// [adds a field]
static void add_radius(const char* file) {
  const auto sim = pdm::open(file, pdm::write);
  const auto fields = sim.model().mesh().node_fields();
  const std::vector<double> xy = fields["coordinates"].read<double>();
  std::vector<double> radius;
  for (std::size_t at = 0; at < xy.size(); at += 2)
    radius.push_back(std::hypot(xy[at], xy[at + 1]));
  fields.create("radius", radius, {.unit = "m", .replace = true});
}
// [adds a field]

int main(int count, char** arguments) {
  if (count != 2)
    return 2;
  try {
    add_radius(arguments[1]);
  } catch (const pdm::Error& error) {
    std::fprintf(stderr, "radius: %s\n", error.what());
    return 1;
  }
}
