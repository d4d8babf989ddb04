#pragma once

#include <pdmsim/view/view_Sidecar.h>

/// What a picture is coloured by.
struct draw_Choice {
  std::string array;              // of the view, as "CellData/block"; "Points" for the coordinates
  std::string shows;              // what of the mesh that is, as "nodeFields/temperature"
  std::string unit;               // "" for none
  std::size_t width = 1;          // numbers a node or an element
  std::optional<long long> block; // the elements of this block are the set that is shown
  std::string field;              // of a field on a set: the field's own name
};

/// What a path means: one as `pdmsim show` takes it, what follows "discreteModel/mesh/" in it, or its
/// last name. "" means the blocks. Throws cli_Failure with the nearest names, and says of what is in the
/// file but cannot be drawn why.
/// \param arrays  of the view that is drawn.
draw_Choice draw_Choose(const std::string& file, const std::string& path, const sto_Mesh& mesh,
                        const std::vector<view_Array>& arrays);

/// A mode, by the path of its system or shape.
struct draw_Mode {
  std::string system;      // name or number, "" for the only one
  std::optional<int> mode; // from 1
};
/// The mode that a path means: systems/KEY, what has the shapes in it, or modes/N. None for another path.
std::optional<draw_Mode> draw_ModeOf(const std::string& path);
