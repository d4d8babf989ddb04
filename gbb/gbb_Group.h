#pragma once

#include <UTI_ORXSimDynamicAPI/hdf_Objects.h>
#include <gbb/gbb_Class.h>
#include <gbb/gbb_MemoryStream.h>
#include <gbb/gbb_String.h>
#include <kda/kda_Export.h>

/// An object's place in the file, and the layout of what an object keeps there.
///
/// One object is one group: the attribute "class" (80 bytes, the class identifier), the byte dataset
/// "#simpleTypeMembers" (the member stream, its checksum and room to grow), and a group for each child
/// object, named by the member. An array is a group with the int attribute "#size" and its elements as
/// groups named by their decimal numbers.
///
/// A value; copies share the same open groups. All operations are safe on an empty group and answer false
/// or an empty result; the cause is in ORXSimManager::LastError(). A write that fails is told by the gbb_Call
/// under way.
///
/// Threads: one at a time for all objects of a root.
class PDM_CORE_API gbb_Group {
 public:
  gbb_Group() = default;
  /// A group without a parent object: the simulation's own.
  explicit gbb_Group(hdf_Group group) : m_group(std::move(group)) {}

  /// Creates and stamps the group of an object.
  /// \param stamp  see Stamp().
  static gbb_Group Create(const gbb_Group& parent, const gbb_String& name, int stamp = 0);
  /// Creates the group of an array, with its number of elements.
  static gbb_Group CreateArray(const gbb_Group& parent, const gbb_String& name, int size);
  static gbb_Group Open(const gbb_Group& parent, const gbb_String& name);
  /// The name of array element i.
  static gbb_String ElementName(int i);

  bool operator!() const { return !m_group; }
  const hdf_Group& Object() const { return m_group; }
  const hdf_Group& Parent() const { return m_parent; }
  const gbb_String& Name() const { return m_name; }
  /// True when the group was made through this value, false when it was found in the file.
  bool Created() const { return m_created; }
  bool HasChild(const char* name) const { return m_group.GetObjinfoExists(name); }
  ORXSimFound Look(const char* name) const { return m_group.Look(name); }
  /// Whether the group is in the file now.
  ORXSimFound Found() const { return m_group.Found(); }
  /// Makes it an empty group, of which every operation reports that the object is not in the file any more.
  void Drop();

  /// Creates the attribute "class" as 80 zero bytes, and before it, for a stamp above 0, "type" as
  /// {stamp, 0}.
  bool Stamp(int stamp);
  bool WriteClass(const gbb_ClassID& classID);
  /// The stored identifier; empty when there is none.
  gbb_ClassID ReadClass() const;

  /// The stored number of array elements, held against the number of groups that are there; 0 for none, -1
  /// when it could not be read.
  int ReadSize() const;
  bool UpdateSize(int size);

  /// Creates the member dataset for the stream and writes it. Behind the stream come its checksum and zeros
  /// up to the dataset's size.
  bool CreateMembers(gbb_MemoryStream::Buffer& stream) const;
  /// Writes the whole stream into the member dataset, which grows when it has to; padded as above.
  bool WriteMembers(gbb_MemoryStream::Buffer& stream) const;
  /// Reads the bytes of the member dataset.
  /// \param stream  an empty buffer; stays empty on failure.
  /// \param unread  true afterwards when nobody could look.
  /// \return kPastLimit when there is none or it cannot be read, kDamaged when it has a checksum that says
  ///         otherwise; LastError(), and a line on the error stream, then name file and dataset. The line is
  ///         that of the gbb_Call under way if there is one.
  gbb_MemoryStream::Error ReadMembers(gbb_MemoryStream::Buffer& stream, bool& unread) const;
  /// Refuses to write over a stream that reading has answered `error` for.
  /// \return false
  bool RefuseMembers(gbb_MemoryStream::Error error) const;

 private:
  bool MayHold(std::uint64_t capacity) const;
  static bool WritePadded(const hdf_Dataset& dataset, std::uint64_t capacity,
                          gbb_MemoryStream::Buffer& stream);
  gbb_Group(hdf_Group group, const gbb_Group& parent, const gbb_String& name, bool created);

  hdf_Group m_group;
  hdf_Group m_parent;
  bool m_created = false;
  gbb_String m_name;
  hdf_Attribute m_class; // open from Stamp() to WriteClass(), else empty
  hdf_Attribute m_size;  // of an array that was added to
};
