#pragma once

#include <kda/kda_Export.h>

#include <atomic>

class gbb_Group;
class gbb_ObjectInterface;
class gbb_Path;

/// The persistent name of a class: 80 bytes of text, zero-filled. A name of exactly 80 characters carries
/// no terminator.
struct PDM_CORE_API gbb_ClassID {
  static constexpr int kSize = 80;

  constexpr gbb_ClassID() = default;
  /// Copies at most 80 characters.
  explicit gbb_ClassID(const char* name);

  /// Writes the name to the error stream.
  void Print() const;
  friend PDM_CORE_API bool operator==(const gbb_ClassID& a, const gbb_ClassID& b);

  char text[kSize] = {};
};

/// Orders identifiers by unsigned bytes, up to and including the first zero.
/// \return -1, 0 or 1.
PDM_CORE_API int BtreeCompare(const gbb_ClassID& a, const gbb_ClassID& b);

/// What is known of one class at run time. One static record per class, filled on the first use of its
/// StaticClass() and never freed; constant-initialised, so that nothing runs when the library is loaded.
struct gbb_ClassDescriptor {
  /// Makes an implementation object of the class for a stored object.
  using OpenFunction = gbb_ObjectInterface* (*)(const gbb_Path& parent, int index, const gbb_Group& group,
                                                int trace);

  std::atomic<bool> initialised = false; // the rest does not change any more
  gbb_ClassID classID;
  const gbb_ClassDescriptor* parent = nullptr; // null: no parent
  OpenFunction open = nullptr;                 // null: an abstract class
};

/// A class of persistent objects: one pointer to its descriptor, null while uninitialised.
/// Threads: any number, also for the first use of a class.
class PDM_CORE_API gbb_Class {
 public:
  constexpr gbb_Class() = default;
  explicit constexpr gbb_Class(const gbb_ClassDescriptor* descriptor) : m_descriptor(descriptor) {}

  /// Fills the descriptor unless that is done already, also when several threads come at once.
  /// \param name  cut at 80 characters.
  /// \param parent  the parent class, uninitialised for none.
  /// \param open  null for an abstract class.
  static gbb_Class Define(gbb_ClassDescriptor& descriptor, const char* name, gbb_Class parent,
                          gbb_ClassDescriptor::OpenFunction open);

  bool operator!() const { return m_descriptor == nullptr; }
  friend constexpr bool operator==(gbb_Class, gbb_Class) = default;

  /// The identifier; empty for an uninitialised class.
  gbb_ClassID ClassID() const;
  /// The parent class, uninitialised for none.
  gbb_Class Parent() const;
  /// True when this class is `other` or descends from it; false for an uninitialised class.
  bool IsA(gbb_Class other) const;
  /// Makes an object of this class for a stored group. The object belongs to the caller, its members are
  /// read on first access. An uninitialised or abstract class prints its line and answers null.
  /// \param parent  path of the parent object.
  /// \param index  the object's place under it.
  gbb_ObjectInterface* Open(const gbb_Path& parent, int index, const gbb_Group& group, int trace) const;

 private:
  const gbb_ClassDescriptor* m_descriptor = nullptr;
};
