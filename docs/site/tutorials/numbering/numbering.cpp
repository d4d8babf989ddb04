// Says how a system numbers its degrees of freedom.
#include <pdm/pdm.hpp>

#include <cstdio>

int main() {
  try {
    // [numbering]
    const auto sim = pdm::open("fork.pdm");
    const auto mesh = sim.model().mesh();
    const auto system = mesh.systems()["held"];
    const pdm::Numbering numbering =
        system.numbering(); // outlives the file
    const int node = 99,
              label = 2; // y at the node of label 100
    const int equation = numbering.equation(node, label);
    const int place =
        numbering.places()[static_cast<std::size_t>(equation)];
    const pdm::Pattern pattern =
        mesh.pattern(numbering); // rows are the solver's places
    const auto row = pattern.begin.begin() + place;
    // [numbering]
    std::printf("%d equations of %d nodes\n",
                numbering.equation_count(),
                numbering.node_count());
    std::printf("node %d, label %d: equation %d, place %d, "
                "coupled with %td\n",
                node + 1, label, equation, place,
                row[1] - row[0]);
    // [modes]
    const std::vector<double> hertz = system.frequencies();
    const auto shape =
        system.mode_shapes()[3].read<double>(); // [nodes][3]
    // [modes]
    std::printf("mode 4: %.1f Hz, x of the last node %.2f\n",
                hertz[3], std::abs(shape[shape.size() - 3]));
  } catch (const pdm::Error& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}
