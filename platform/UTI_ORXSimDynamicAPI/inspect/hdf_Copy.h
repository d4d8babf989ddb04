#pragma once

#include <UTI_ORXSimDynamicAPI/objects/hdf_Handle.h>

#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <vector>

class hdf_Operation;

/// Goes through two files side by side and makes the second the same as the first, or sees that it is.
/// Private to the module.
class hdf_Copy {
 public:
  enum Work : unsigned char { kCopy, kCompare };

  /// \param skipped attributes of the root group that are left out.
  /// \param leftOut paths of objects that are left out, with all below them.
  /// \param moved see ORXSimCompact.
  hdf_Copy(hdf_Operation& operation, Work work, const std::set<std::string>& skipped,
           const std::set<std::string>& leftOut, const std::function<void(std::uint64_t)>& moved)
      : m_operation(operation), m_work(work), m_skipped(skipped), m_leftOut(leftOut), m_moved(moved) {}

  /// Both root groups.
  /// \return false with the cause reported.
  bool Run(hid_t from, hid_t to);

 private:
  bool Group(hid_t from, hid_t to, int depth);
  bool Child(hid_t from, hid_t to, const std::string& name, int depth);
  bool ChildGroup(hid_t from, hid_t to, const char* name, int depth);
  bool ChildDataset(hid_t from, hid_t to, const char* name);
  bool Data(hid_t from, hid_t to);
  bool Attributes(hid_t from, hid_t to, bool root);
  bool Attribute(hid_t from, hid_t to, const char* name);
  bool Text(hid_t from, hid_t to, hid_t type);
  bool SameShape(hid_t from, hid_t to);
  bool MoveBlock(hid_t from, hid_t to, std::size_t bytes, const std::function<bool(hid_t, void*)>& read,
                 const std::function<bool(const void*)>& write);
  bool Movable(hid_t type, bool mayBeText);
  bool Differs(const std::string& what);

  hdf_Operation& m_operation;
  const Work m_work;
  const std::set<std::string>&m_skipped, &m_leftOut;
  const std::function<void(std::uint64_t)>& m_moved;
  std::set<haddr_t> m_visited;
  std::string m_path; // of the group in hand
  std::vector<unsigned char> m_first, m_second;
};
