#pragma once

#include <UTI_BasicUtils/cow_String.h>
#include <UTI_ORXSimDynamicAPI/ORXSim_Export.h>
#include <UTI_ORXSimDynamicAPI/hdf_Objects.h>

#include <cstdint>
#include <span>
#include <string>
#include <vector>

/// What a dataset of a view is like.
struct ORXSIM_API hdf_ViewShape {
  hdf_Datatype::Kind type = hdf_Datatype::kDouble;
  std::uint64_t rows = 0;
  std::uint64_t width = 1; // numbers a row; 1: the dataset has one dimension, unless it is a `table`
  bool table = false;      // two dimensions even with rows of one number
  double fill = 0;         // what stands where nothing was mapped or written
};

/// Rows of another file's dataset that stand for rows of a view's.
struct ORXSIM_API hdf_ViewPiece {
  std::string file;         // relative to the view's folder, and so found wherever both are moved
  std::string dataset;      // its path in that file
  std::uint64_t rows = 0;   // all of the dataset
  std::uint64_t width = 1;  // numbers a row there
  std::uint64_t from = 0;   // its first row that is mapped
  std::uint64_t count = 0;  // rows that are mapped
  std::uint64_t target = 0; // the first row in the view; its first number where the view has rows of one
};

/// Writes a new plain HDF5 file beside simulation files: groups, attributes, and datasets that hold numbers
/// or are mapped onto other files. Any program with HDF5 1.10 or newer reads it.
///
/// A file without a Finish() that succeeded is removed again; a full disk is a failure like others.
/// All calls but the constructor answer false with the cause in ORXSimManager::LastError(); after a failure
/// every later call fails as well. Paths begin with "/"; their groups are made as needed.
/// Threads: one at a time for one view; views of other threads are not in the way.
class ORXSIM_API hdf_View {
 public:
  /// Begins the file; the first call says whether that failed.
  /// \param fileName  where it is written, over any file of that name.
  /// \param shownAs   its name in messages, where another one is to be its last.
  explicit hdf_View(const cow_String& fileName, const cow_String& shownAs = cow_String());
  hdf_View(const hdf_View&) = delete;
  hdf_View& operator=(const hdf_View&) = delete;
  ~hdf_View();

  /// Makes a group.
  bool Group(const std::string& path);
  /// Writes an attribute: a text of fixed length.
  bool Text(const std::string& group, const char* name, const std::string& text);
  /// Writes an attribute: integers of 64 bits, one of them without dimensions when `scalar`.
  bool Numbers(const std::string& group, const char* name, std::span<const std::int64_t> numbers,
               bool scalar = false);
  /// Makes a dataset in chunks, deflated; its content comes with Write(). A small one is stored as it is.
  bool Create(const std::string& path, const hdf_ViewShape& shape);
  /// Writes rows [first, first + count) of a dataset that Create() made.
  /// \param values  whole rows in the dataset's type.
  bool Write(const std::string& path, std::uint64_t first, std::uint64_t count, const void* values);
  /// Makes a virtual dataset. A piece of wider rows fills several rows of one number; one of narrower rows
  /// fills the first columns. Pieces do not overlap.
  bool Map(const std::string& path, const hdf_ViewShape& shape, std::span<const hdf_ViewPiece> pieces);
  /// Writes what is left, and closes the file.
  bool Finish();

  /// A dataset of another file that a view is mapped onto.
  struct Source {
    std::string file, dataset;
    friend auto operator<=>(const Source&, const Source&) = default;
  };
  /// The sources of a file's virtual datasets, each once.
  /// \return false when it is not HDF5 or cannot be read.
  static bool Sources(const cow_String& fileName, std::vector<Source>& sources);
  /// True when there is an HDF5 file with a group of that name at its root.
  static bool Has(const cow_String& fileName, const char* group);

 private:
  template <class Work>
  bool Do(const char* what, Work work);

  std::string m_name, m_shown;
  std::int64_t m_file = -1;
  int m_error = 0; // errno of writing
  bool m_failed = false;
};
