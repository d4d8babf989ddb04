#pragma once

#include <gbb/gbb_Class.h>
#include <kda/kda_Export.h>

/// A reference to a persistent object of any class: 128 bytes of handle data, then the class.
///
/// The data hold the bytes of a generated handle's reference, for most of them one pointer to the object's
/// interface, the rest zero. A handle owns nothing and must not outlive its object.
///
/// Threads: one at a time for all objects of a root.
class PDM_CORE_API gbb_Handle {
 public:
  static constexpr int kMaxSize = 128;

  gbb_Handle() = default;
  /// The data's first eight bytes become `object`.
  gbb_Handle(void* object, gbb_Class objectClass);
  /// Copies `size` bytes of data. More than 128 print a line, and 128 are copied.
  gbb_Handle(const void* data, int size, gbb_Class objectClass);

  gbb_Class Class() const { return m_class; }
  const void* Data() const { return m_data; }
  /// The pointer in the first eight bytes.
  void* Object() const;
  /// True for a handle without a class.
  bool operator!() const { return !m_class; }

  /// Two handles on one object are equal whatever class they carry.
  friend bool operator==(const gbb_Handle& a, const gbb_Handle& b) { return a.Equal(b); }

 private:
  bool Equal(const gbb_Handle& other) const;

  alignas(8) unsigned char m_data[kMaxSize] = {};
  gbb_Class m_class;
};
static_assert(sizeof(gbb_Handle) == gbb_Handle::kMaxSize + sizeof(gbb_Class));
