#pragma once

#include <pdmsim/mesh/mesh_Source.h>

#include <string>
#include <vector>

/// A column of numbers of all nodes or of all cells.
struct vtu_Array {
  enum class What { kLabels, kBlocks, kMap, kSet, kVariable } what = What::kLabels;
  std::size_t index = 0; // of the map, the set or the variable
  std::string name;      // no other array of the nodes, or of the cells, has it
};

/// All arrays of a mesh.
struct vtu_Arrays {
  explicit vtu_Arrays(const mesh_Source& mesh);
  std::vector<vtu_Array> nodes, cells;
  std::vector<std::string> renamed; // one line each
};
