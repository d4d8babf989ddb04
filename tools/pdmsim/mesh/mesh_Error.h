#pragma once

#include <stdexcept>
#include <string>

/// The mesh cannot be read. The text is one line: FILE: what was expected, what was found.
class mesh_Error : public std::runtime_error {
 public:
  mesh_Error(const std::string& file, const std::string& what) : std::runtime_error(file + ": " + what) {}
};
