#pragma once

#include <UTI_ORXSimDynamicAPI/hdf_Objects.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

// HDF5 files of other programs, for tools that read them.
//
// Nothing of a simulation file is expected and nothing is written. Only hard links are followed, so that
// everything that is read is in the file itself. A call that fails answers false or nothing, prints nothing,
// and Cause() says why.

// Threads: one at a time for each file; files of other threads are not in the way.

/// What stands at a place in the file.
enum class hdf_ForeignKind : unsigned char { kMissing, kGroup, kDataset };
enum class hdf_ForeignType : unsigned char { kInteger, kFloat, kText, kOther };

/// The numbers or texts of a dataset.
struct ORXSIM_API hdf_ForeignShape {
  hdf_ForeignType type = hdf_ForeignType::kOther;
  int bytes = 0;                   // of one number or text
  std::vector<std::uint64_t> dims; // those of elements that are arrays last; empty: one number
  std::uint64_t Elements() const;  // UINT64_MAX when that is more than 64 bits hold
};

/// A part of a dataset: count[i] rows from start[i] on, every stride[i]-th.
struct hdf_ForeignPart {
  std::vector<std::uint64_t> start, stride, count; // [rank]
};

/// One attribute, read.
struct hdf_ForeignAttribute {
  std::vector<std::int64_t> integers; // all its elements, when they are integers
  std::vector<double> reals;          // or floating-point numbers
  std::string text;                   // of one text, without what fills it up
};

/// A file of another program, open for reading while a copy of this object lives.
class ORXSIM_API hdf_ForeignFile {
 public:
  /// No file: every call fails.
  hdf_ForeignFile() = default;
  /// Opens plainly: no journal is looked for, and nothing is made beside the file.
  explicit hdf_ForeignFile(const std::string& path);
  bool IsOpen() const { return m_file != nullptr; }

  /// What stands at a path; a link that is no hard one is missing.
  /// \param object names of links with '/' between them; "" for the root group.
  hdf_ForeignKind Look(const std::string& object) const;
  /// The names of a group's links, ascending.
  bool Links(const std::string& group, std::vector<std::string>& names) const;
  /// False for what is no dataset, lies in other files, or is larger than the file can hold.
  bool Shape(const std::string& dataset, hdf_ForeignShape& shape) const;
  /// Reads all numbers, as `type`. Integers are read as integers, where one that does not fit is a failure,
  /// or as floating-point numbers.
  /// \param data room for as many as Shape() says.
  bool Read(const std::string& dataset, hdf_Datatype type, void* data) const;
  /// Reads a part, as above.
  /// \param data room for the product of the part's counts.
  bool Read(const std::string& dataset, hdf_Datatype type, const hdf_ForeignPart& part, void* data) const;
  /// Reads the texts of a dataset: of fixed length, or rows of bytes. What fills a text up is cut off.
  bool Texts(const std::string& dataset, std::vector<std::string>& texts) const;
  /// \return whether an object is there that has an attribute of a name.
  /// \param object  as of Look().
  /// \param name    of the attribute.
  bool HasAttribute(const std::string& object, const std::string& name) const;
  /// Reads an attribute of numbers or of one text.
  /// \param object as of Look().
  bool Attribute(const std::string& object, const std::string& name, hdf_ForeignAttribute& attribute) const;

  /// Why this thread's last failed call failed, without the name of the file.
  static std::string Cause();

 private:
  struct Opened;
  std::string m_path;
  std::shared_ptr<const Opened> m_file;
};
