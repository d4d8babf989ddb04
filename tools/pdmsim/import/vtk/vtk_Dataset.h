#pragma once

#include <pdmsim/import/bytes/byt_Numbers.h>
#include <pdmsim/mesh/mesh_Format.h>
#include <pdmsim/mesh/mesh_VtkCells.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

/// Numbers for every point or cell, where they lie in the file.
struct vtk_Array {
  std::string name;
  std::size_t components = 1;
  bool isIds = false;             // the user's numbers
  std::vector<byt_Numbers> parts; // one after the other

  std::uint64_t Count() const;
  bool IsReal() const { return !parts.empty() && byt_IsReal(parts[0].type); }
  bool IsLong() const; // perhaps of integers that a double does not hold
  /// Throws mesh_Error.
  template <class T>
  std::vector<T> Read(const mesh_File& file) const {
    std::vector<T> all;
    for (const byt_Numbers& part : parts) {
      std::vector<T> numbers = part.Read<T>(file);
      if (all.empty())
        all.swap(numbers);
      else
        all.insert(all.end(), numbers.begin(), numbers.end());
    }
    return all;
  }
};

/// A mesh as both formats have it: points, cells, and numbers for them.
struct vtk_Dataset {
  explicit vtk_Dataset(const std::string& path) : file(path) {}

  mesh_File file;
  vtk_Array points; // three components
  mesh_VtkCells cells;
  std::vector<vtk_Array> pointData, cellData;
  std::optional<double> time;
  std::vector<std::string> notes;
};

/// Throws mesh_Error when the parts do not fit together.
std::unique_ptr<mesh_Source> vtk_Assemble(vtk_Dataset dataset, const mesh_Reading& reading);

/// Reads a legacy file, or a .vtu file. Throws mesh_Error.
vtk_Dataset vtk_ReadLegacy(const std::string& path);
vtk_Dataset vtk_ReadXml(const std::string& path);
