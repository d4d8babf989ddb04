#pragma once

#include <UTI_BasicUtils/cow_String.h>
#include <UTI_ORXSimDynamicAPI/ORXSim_Export.h>

#include <cstdint>
#include <memory>

// Thin wrappers over the objects of a simulation file.
//
// All are values: copies share one underlying object, which is closed with the last copy or with its
// context. When the context goes back to its last commit point or is refreshed, they open again where they
// were as soon as they are used; what is not there any more answers as a failed object. Every operation is
// safe on an empty object, on one that failed to open, and after the context was closed: it answers false, 0
// or an empty object and does nothing else. An object that a failing call returned remembers why; any
// operation on it reports that first cause again through ORXSimManager::LastError(). Nothing is ever printed,
// and the host's HDF5 error handler stays as it was.

// Threads: one at a time for everything of one context; contexts of other threads are not in the way.

class hdf_Attribute;
class hdf_Dataset;
class hdf_Dataspace;
class hdf_ObjectRep; // the shared part, private to the module

/// What a call that looks for something answers.
enum class ORXSimFound : unsigned char {
  kFound,
  kMissing,   ///< it is not there, or it is not such as is asked for
  kUnreadable ///< nobody could look: HDF5 failed, memory was lacking, or the file is not open
};

/// An element type of attributes and datasets, in memory order of this machine.
class ORXSIM_API hdf_Datatype {
 public:
  enum Kind : unsigned char { kInt, kUChar, kInt64, kFloat, kDouble };
  static const hdf_Datatype NATIVE_INT, NATIVE_UCHAR, NATIVE_INT64, NATIVE_FLOAT, NATIVE_DOUBLE;

  constexpr explicit hdf_Datatype(Kind kind) : m_kind(kind) {}
  constexpr Kind Which() const { return m_kind; }
  /// Bytes of one element.
  int Size() const;

 private:
  Kind m_kind;
};

/// The shape of an attribute or dataset.
class ORXSIM_API hdf_Dataspace {
 public:
  static constexpr int kMaxRank = 4;

  /// An empty dataspace: rank -1.
  hdf_Dataspace() = default;
  /// \param dims [rank] extents. A rank outside [1, kMaxRank] gives an empty dataspace.
  static hdf_Dataspace CreateSimple(int rank, const std::uint64_t* dims);
  /// \param dims receives at most kMaxRank extents.
  /// \return the rank, -1 for an empty dataspace.
  int GetDims(std::uint64_t* dims) const;
  /// Number of elements, 0 for an empty dataspace.
  std::uint64_t Elements() const;

 private:
  int m_rank = -1;
  std::uint64_t m_dims[kMaxRank] = {};
};

/// One group of a simulation file.
class ORXSIM_API hdf_Group {
 public:
  hdf_Group() = default;
  /// True when there is no open group behind this value.
  bool operator!() const;

  /// Creates a child group. Fails when the name is taken.
  /// \param sizeHint 0.
  hdf_Group GroupCreate(const char* name, int sizeHint) const;
  hdf_Group GroupOpen(const char* name) const;
  hdf_Attribute AttributeCreate(const char* name, hdf_Datatype type, const hdf_Dataspace& space) const;
  hdf_Attribute AttributeOpen(const char* name) const;
  /// Creates a dataset for bytes that are rewritten whole: compact while small, contiguous above. A
  /// dataset of that name is replaced in one step.
  hdf_Dataset DatasetCreate(const char* name, hdf_Datatype type, const hdf_Dataspace& space) const;
  /// Opens a dataset. The last one opened through any copy of this group may stay open behind the scenes, so
  /// that opening it again costs nothing: the very last of the context, and those that were opened again, a
  /// few hundred in a context.
  hdf_Dataset DatasetOpen(const char* name) const;
  /// True when a hard link of that name exists; asks for no object to be opened.
  bool GetObjinfoExists(const char* name) const { return Look(name) == ORXSimFound::kFound; }
  /// As GetObjinfoExists(), and tells a missing link from one that could not be looked for.
  ORXSimFound Look(const char* name) const;
  /// As Look(), for a link of any kind: one that is not followed takes its name, too.
  ORXSimFound LookForLink(const char* name) const;
  /// True when the group has an attribute of that name.
  bool AttributeExists(const char* name) const;
  /// Number of child links, -1 on failure.
  std::int64_t NumLinks() const;
  /// Whether the group is in the file now. One that a call has failed to open says why that was.
  ORXSimFound Found() const;

  /// The group's path in the file, "" for an empty group and one that is not in the file any more.
  cow_String Path() const;
  /// An empty group that reports `cause` at every use, to be kept in the place of this one.
  hdf_Group Refused(const char* cause) const;

 private:
  friend class hdf_ObjectRep;
  friend class hdf_File;
  std::shared_ptr<hdf_ObjectRep> m_rep;
};

/// One attribute.
class ORXSIM_API hdf_Attribute {
 public:
  bool operator!() const;
  /// Moves the whole attribute.
  /// \param data elements of `type`, as many as GetSpace() says.
  bool Write(hdf_Datatype type, const void* data) const;
  /// \param capacity number of elements that fit into data; a larger or smaller attribute is refused.
  bool Read(hdf_Datatype type, void* data, std::uint64_t capacity) const {
    return Fetch(type, data, capacity) == ORXSimFound::kFound;
  }
  /// As Read(), and tells what is not there or refused from what could not be read.
  ORXSimFound Fetch(hdf_Datatype type, void* data, std::uint64_t capacity) const;
  hdf_Dataspace GetSpace() const;

 private:
  friend class hdf_ObjectRep;
  friend class hdf_Group;
  std::shared_ptr<hdf_ObjectRep> m_rep;
};

/// One dataset.
class ORXSIM_API hdf_Dataset {
 public:
  bool operator!() const;
  /// Writes the first `count` elements (1-D); a dataset that is too small is refused.
  bool Write(hdf_Datatype type, const void* data, std::uint64_t count) const;
  /// Reads the first `count` elements (1-D); more than the dataset has, or than the file can hold, is
  /// refused.
  bool Read(hdf_Datatype type, void* data, std::uint64_t count) const {
    return Fetch(type, data, count) == ORXSimFound::kFound;
  }
  /// As Read(), and tells what is not there or refused from what could not be read.
  ORXSimFound Fetch(hdf_Datatype type, void* data, std::uint64_t count) const;
  /// Whether the dataset is in the file now. One that a call has failed to open says why that was.
  ORXSimFound Found() const;
  hdf_Dataspace GetSpace() const;
  /// Makes room for at least `count` elements, keeping what is there; never shrinks.
  bool Extend(std::uint64_t count);
  /// Reports that what was read here cannot be used: ORXSimManager::LastError() then names file, dataset and
  /// cause.
  /// \return false
  bool Refuse(const char* cause) const;

 private:
  friend class hdf_ObjectRep;
  friend class hdf_Group;
  std::shared_ptr<hdf_ObjectRep> m_rep;
};

/// One open file.
class ORXSIM_API hdf_File {
 public:
  bool operator!() const;
  hdf_Group RootGroup() const;

 private:
  friend class hdf_ObjectRep;
  friend class ORXSimContextRef;
  std::shared_ptr<hdf_ObjectRep> m_rep;
};
