#pragma once

#include <pdmsim/cli/cli_Progress.h>
#include <pdmsim/stored/sto_Mesh.h>

#include <span>
#include <vector>

/// Which elements of a mesh are neighbours: those that share as many corners as the side of either needs,
/// whichever needs fewer. Solids need three, surfaces two, lines and points one. So solids that touch along
/// an edge are none, and a beam is a neighbour of what it ends at.
struct part_Graph {
  std::vector<int> begins;     // [items + 1]: where the neighbours of each item of the file's elements begin
  std::vector<int> neighbours; // each pair of them twice

  int Items() const { return static_cast<int>(begins.size()) - 1; }
  std::span<const int> Of(int item) const {
    const auto at = [this](int i) { return static_cast<std::size_t>(begins[static_cast<std::size_t>(i)]); };
    return {neighbours.data() + at(item), at(item + 1) - at(item)};
  }
};

/// Finds the neighbours by the corners of the elements alone: nodes between corners say nothing that corners
/// do not. Elements without nodes have none.
/// \param items     that the file's collection of elements has.
/// \param progress  advances by 3 for each of them.
/// Throws mesh_Error for what cannot be read, cli_Failure where neighbours are too many for 32 bits.
part_Graph part_MakeGraph(const sto_Mesh& mesh, std::size_t items, cli_Progress& progress);

/// What becomes of a mesh that is shared out.
struct part_Quality {
  int least = 0, greatest = 0; // elements of a part
  double imbalance = 0;        // by how many percent the greatest part is above the mean
  long long pairs = 0;         // of neighbours
  long long cut = 0;           // of these, those in two parts
};

/// \param parts  [items] the part of each, in [0, count).
/// \param count  of parts.
part_Quality part_Measure(const part_Graph& graph, const std::vector<int>& parts, int count);
