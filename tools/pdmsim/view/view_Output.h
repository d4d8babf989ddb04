#pragma once

#include <pdmsim/cli/cli_Progress.h>
#include <pdmsim/stored/sto_Mesh.h>
#include <pdmsim/view/view_Record.h>

#include <UTI_ORXSimDynamicAPI/hdf_View.h>

#include <set>
#include <string>
#include <vector>

/// Rows of a drawer, and the row of a view's dataset that the first of them becomes.
struct view_Part {
  sto_Mesh::Rows rows;
  std::size_t target = 0;
  std::vector<int> places = {}; // of each row, counted from `target`; empty: they follow each other
};

/// How numbers come into a view.
enum class view_Numbers {
  kMapped,  // where they can be: the file's own, which may change
  kChecked, // the same, and read once: what is damaged is refused
  kCopied,  // none is mapped onto the file, which may have a journal or go away
};

/// One dataset of a view, as a summary names it.
struct view_Array {
  std::string path;
  bool mapped = false;
  std::string origin = {}; // what of the mesh it shows, "nodeFields/label"; "" for the grid itself
  std::string unit = {};
  std::size_t width = 1;  // numbers in a row
  std::string field = {}; // of a field on a set: the field's own name, "nodeFields/reaction"
};

/// One VTKHDF file being written. Datasets of a view are mapped onto the simulation file where its rows
/// follow each other, and copied where they do not. Every failure throws cli_Failure.
class view_Output {
 public:
  /// \param path     of the new file, as it will be called.
  /// \param written  where it is written until then.
  /// \param source  of the simulation file.
  /// \param numbers  how those of the simulation file come in.
  /// \param first   the first file of the series that this one belongs to, which need not have its name yet,
  ///                "" for none: what that holds is
  ///                mapped from there instead of being copied again.
  view_Output(const std::string& path, const std::string& written, const std::string& source,
              view_Numbers numbers, const std::string& first, cli_Progress& progress);

  bool Maps() const { return m_numbers != view_Numbers::kCopied; }

  /// Notes what the simulation file is now, for view_CheckSources; what is never told is no view.
  void Remember(std::size_t nodes, std::size_t elements, bool series);
  void Text(const char* name, const std::string& text);
  void Numbers(const char* name, std::vector<std::int64_t> numbers);
  void StepCount(std::size_t steps);

  /// A dataset made of rows of drawers; `fill` stands where no part is. Its type is that of the drawers.
  /// \param path   below the view's root group, "PointData/label".
  /// \param shape  without the type.
  /// \param shared whether every file of a series has the same.
  void Rows(const std::string& path, hdf_ViewShape shape, const std::vector<view_Part>& parts, bool shared);
  /// A dataset of given numbers.
  template <class T>
  void Values(const std::string& path, hdf_ViewShape shape, const std::vector<T>& values) {
    if (Begin(path, shape, true))
      Write(path, 0, shape.rows, values.data(), sizeof(T) * values.size());
  }
  /// Makes a dataset to be written in pieces.
  /// \return false when it is there already, from the first of the series.
  bool Begin(const std::string& path, const hdf_ViewShape& shape, bool shared);
  void Write(const std::string& path, std::size_t first, std::size_t count, const void* values,
             std::size_t bytes);

  /// Notes that the view has numbers of its own of a drawer.
  void Copied(ORXSimDistributionID distribution, int drawer);
  /// Says what of the mesh the array made last shows.
  /// \param field  as of view_Array.
  void Shows(std::string origin, std::string unit, std::string field = {});
  /// Writes down what was told to be remembered, and the file.
  void Finish();
  const std::vector<view_Array>& Arrays() const { return m_arrays; }

 private:
  static void Check(bool done);
  bool CanMap(const hdf_ViewShape& shape, const std::vector<view_Part>& parts) const;
  std::vector<hdf_ViewPiece> Pieces(const std::vector<view_Part>& parts);
  template <class T>
  void Scatter(const std::string& path, const hdf_ViewShape& shape, const view_Part& part);
  template <class T>
  void Copy(const std::string& path, const hdf_ViewShape& shape, const std::vector<view_Part>& parts,
            bool write);

  std::string m_source; // for messages
  std::string m_mapped; // as the view names it
  view_Numbers m_numbers;
  std::string m_first;
  cli_Progress& m_progress;
  hdf_View m_file;
  std::vector<view_Array> m_arrays;
  view_Record m_record;
};

/// The names of arrays, each once, as viewers can show them.
class view_Names {
 public:
  /// A name that is free: the wanted one without slashes, or with "_2", "_3"... behind it.
  std::string Take(std::string wanted);

 private:
  std::set<std::string> m_taken;
};
