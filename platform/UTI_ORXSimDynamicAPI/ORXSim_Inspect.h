#pragma once

#include <UTI_BasicUtils/cow_String.h>
#include <UTI_ORXSimDynamicAPI/ORXSim_Identifiers.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

/// Something about a file that is not as it should be.
struct ORXSimFinding {
  std::string path;  // of the object, "/sim/discreteModel"; "" for the file as a whole
  std::string kind;  // a stable name for programs, "link.soft"
  std::string text;  // for people, one line
  bool note = false; // legal, but worth knowing
};

/// What a stored number or text is, as far as the file's layout cares.
enum class ORXSimInspectedType : unsigned char { kInteger, kFloat, kText, kOther };

/// One attribute, read.
struct ORXSimInspectedAttribute {
  std::string name;
  ORXSimInspectedType type = ORXSimInspectedType::kOther;
  int size = 0;                      // bytes of one element
  std::vector<std::uint64_t> dims;   // empty: one element without dimensions
  std::vector<std::int64_t> numbers; // the elements of a small integer attribute
  std::string text;                  // of one text
};

/// One object of the file as the walk meets it; valid during the call that shows it.
class ORXSIM_API ORXSimInspected {
 public:
  std::string path, name; // "/" and "" for the root group
  int depth = 0;          // 0: the root group
  bool isDataset = false, isGroup = false;
  bool sound = true; // a dataset: type, layout and size are what this library writes
  std::vector<ORXSimInspectedAttribute> attributes;
  std::vector<std::string> links; // a group's hard links
  ORXSimInspectedType type = ORXSimInspectedType::kOther;
  int size = 0; // of a dataset: bytes of one element
  std::vector<std::uint64_t> dims;

  /// Null when there is no attribute of that name.
  const ORXSimInspectedAttribute* Attribute(const char* attributeName) const;
  bool HasLink(const std::string& link) const;
  /// Product of dims; UINT64_MAX when that is more than 64 bits hold.
  std::uint64_t Elements() const;
  std::uint64_t Bytes() const;
  /// A sound dataset's bytes as they are stored, filters undone, in blocks of some megabytes, in order. What
  /// was never written reads as zeros.
  /// \param take returns false to end the reading.
  /// \return false when the data cannot be read, with the cause in `cause`.
  bool Read(const std::function<bool(const unsigned char*, std::size_t)>& take, std::string& cause) const;

 private:
  friend class hdf_Walk;
  std::int64_t m_object = -1;
};

/// Is told of everything that a walk meets.
class ORXSIM_API ORXSimInspectVisitor {
 public:
  virtual ~ORXSimInspectVisitor() = default;
  /// An object, before those below it.
  virtual void Object(const ORXSimInspected& object) = 0;
  virtual void Finding(const ORXSimFinding& finding) = 0;
};

/// What a file holds in all.
struct ORXSimInspectTotals {
  std::uint64_t objects = 0;
  std::uint64_t fileBytes = 0; // of the file
  std::uint64_t usedBytes = 0; // of these, what the objects and the file's own records use
};

/// Walks a simulation file as it lies there, without trusting it: along hard links only, every object once,
/// to a limited depth. Finds what HDF5 cannot read, links of other kinds, and below `sim` and `store`
/// datasets of a type, layout, filter or size that this library does not write. Kinds of findings:
///
///     unreadable        HDF5 cannot read an object, attribute or list of links; text says why
///     link.soft, link.external, link.user, link.name
///     link.cycle        leads back to an object above; link.shared: to one that was met elsewhere
///     depth             deeper than 100 levels
///     object.kind       neither a group nor a dataset
///     dataset.type, dataset.layout, dataset.filter, dataset.external
///     dataset.size      larger than what the file can hold; a drawer in chunks may be, whose checksums say
///                       which of them were never written
/// Threads: any, each with visitors of its own; other threads wait for their files meanwhile.
class ORXSIM_API ORXSimInspect {
 public:
  /// \return false when the context is not open, with the cause in ORXSimManager::LastError().
  /// Cost: O(objects); bulk data is not read.
  static bool Walk(ORXSimContextID context, ORXSimInspectVisitor& visitor, ORXSimInspectTotals& totals);

  /// True when no process has the file open, neither to write nor to read it nor as a live reader.
  /// \return false otherwise, and when its journal cannot be applied, with the cause in LastError().
  static bool IsFree(const cow_String& fileName);

  /// The version of HDF5 that reads and writes the files, as "1.10.8".
  static cow_String HDF5Version();
};
