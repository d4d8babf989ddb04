#pragma once

#include <UTI_ORXSimDynamicAPI/hdf_Foreign.h>
#include <UTI_ORXSimDynamicAPI/hdf_View.h>

#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// What a view remembers of the files that it is mapped onto, as they were when it was made: its group
/// "source". Viewers do not look there. It tells whether the view still shows what it was made to show.
struct view_Record {
  static constexpr char kGroup[] = "source";
  std::string file; // the simulation file, relative to the view's folder
  std::string id;   // the file's own, "" when it has none
  std::int64_t nodes = 0, elements = 0;
  bool series = false; // the view is one of a series
  /// What the datasets were, by file and path.
  std::map<std::pair<std::string, std::string>, std::string> datasets;

  /// What was in the simulation file where the view has copies, by path; "" where that cannot be told again.
  std::map<std::string, std::string> copied;

  /// True when a simulation file still has all of it.
  bool HasCopied(const std::string& simulation) const;
  void Add(const std::string& in, const std::string& path, std::string description) {
    datasets.emplace(std::pair(in, path), std::move(description));
  }
  bool Write(hdf_View& view) const;
  /// \return false when the file has none.
  bool Read(const std::string& view);
};

/// A dataset in words: "'temperature', float64 525 x 3".
/// \param name  of the field that it is of, "" for none.
std::string view_Describe(std::string_view name, hdf_Datatype::Kind type, std::uint64_t rows,
                          std::uint64_t width);
/// The same of a dataset that is there; "" for none.
std::string view_Describe(const hdf_ForeignFile& file, const std::string& path);
/// The content of a dataset of a simulation file in a few letters, by the checksums that it has; "" for one
/// without.
std::string view_Digest(const hdf_ForeignFile& file, const std::string& path);
/// The datasets of a simulation file that say what its mesh and its sets are.
std::vector<std::string> view_MeshDatasets(const hdf_ForeignFile& file);
/// What makes a simulation file another one than its copy that was made anew: hexadecimal digits.
std::string view_FileId(const std::string& file);
