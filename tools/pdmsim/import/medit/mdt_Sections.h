#pragma once

#include <cstddef>
#include <string_view>

/// A section of the format.
struct mdt_Section {
  enum class Kind { kVertices, kCells, kNoted, kRefused, kEnd };
  const char* name; // the keyword of texts
  int code;         // in binary files
  Kind kind;
  const char* type;      // of cells
  std::size_t nodes;     // of a cell; of what is only noted the words in a row, 0: a line is one
  bool onAxes = false;   // the words in a row are one for each axis
  bool isCounted = true; // a number of rows comes first
};

/// \return null for what the format does not know.
const mdt_Section* mdt_FindSection(std::string_view name);
const mdt_Section* mdt_FindSection(long long code);
