#pragma once

#include <UTI_CoreUtils/err_Stream.h>
#include <gbb/gbb_Call.h>
#include <gbb/gbb_Context.h>
#include <gbb/gbb_Freshness.h>
#include <gbb/gbb_Group.h>
#include <gbb/gbb_Path.h>
#include <gbb/gbb_TraverseContext.h>
#include <gbb/pattern/gbb_ObjectHolder.h>
#include <gbb/pattern/gbb_Removed.h>
#include <gbb/pattern/gbb_Slots.h>

#include <charconv>
#include <cstring>

/// What stands behind a gbb_Array: one owning holder per element, opened from the file on its first use.
/// Threads: one at a time for all objects of a root.
template <class Element, class Holder, class Repository, class Owner>
class gbb_ArrayImpl : public mem_AllocationOperatorsTiny {
 public:
  /// A new array, in memory only.
  explicit gbb_ArrayImpl(int trace) : m_trace(trace) {}
  /// An array of the file; an empty group is an array without elements.
  gbb_ArrayImpl(const gbb_Path& parent, int index, const gbb_Group& group, int trace)
      : m_connected(true), m_path(parent, index), m_group(group), m_trace(trace) {
    const int size = group.ReadSize();
    if (size < 0)
      m_freshness.Doubt();
    else
      m_slots.Grow(size);
  }

  int count() {
    Sync();
    return m_slots.Length();
  }

  Element get(int i) {
    Sync();
    if (i < 0 || i >= m_slots.Length()) {
      err_Write("**ERROR gbb_ArrayImpl::get: index out of range: ");
      err_Write(i);
      err_Write(", length = ");
      err_Write(m_slots.Length());
      err_Write("\n");
      return Element();
    }
    return Slot(i).Get();
  }

  Element add(Holder element) {
    if (!element)
      err_Write("**ERROR gbb_ArrayImpl::add: inserting a NULL item\n");
    const ORXSimQuiet quiet;
    Sync();
    if (!m_connected)
      return Append(std::move(element)).Get();
    if (!gbb_Call::Check(!m_freshness.Doubtful())) // how many there are could not be read
      return Element();
    const ORXSimContextID context = gbb_ContextOf(gbb_Path(&m_path));
    ORXSimUpdate update(context);
    const gbb_Group group = CreateElement(m_slots.Length());
    if (!group) // a file that takes nothing: neither does the array
      return Element();
    Holder& slot = Append(std::move(element));
    if (!!slot)
      slot.Bind(group);
    m_group.UpdateSize(m_slots.Length());
    if (gbb_CommitWhole(update, context))
      return slot.Get();
    m_slots.RemoveLast().RemoveTo(m_removed);
    return Element();
  }

  void SetPath(const gbb_Path& parent, int index) {
    m_path = gbb_PathImpl(parent, index);
    m_slots.ForEachUsed([this](Holder& slot, int i) {
      if (!!slot)
        slot.SetPath(Path(), i);
    });
  }
  gbb_Path Path() const { return gbb_Path(&m_path); }

  /// Writes the array and its elements into a group that gbb_Group::CreateArray has made.
  void Bind(const gbb_Group& group) {
    if (m_trace != 0)
      err_Write("gbb_ArrayImpl::Bind\n");
    if (m_connected) {
      err_Write("** ERROR gbb_ArrayImpl::Bind: called for a connected object\n");
      return;
    }
    const std::uint64_t before = ORXSimManager::Epochs();
    m_group = group;
    for (int i = 0; i < m_slots.Length(); ++i) {
      const gbb_Group element = CreateElement(i);
      if (!!m_slots[i])
        m_slots[i].Bind(element);
    }
    m_group.UpdateSize(m_slots.Length());
    m_connected = true;
    m_freshness.KeepOf(before);
  }

  /// Goes on with a walk: the next component is an element's number.
  gbb_Handle Traverse(gbb_TraverseContext& context) {
    Sync();
    if (context.Advance()) {
      const char* const number = context.Component();
      const char* const end = number + std::strlen(number);
      int i = -1;
      const auto parsed = std::from_chars(number, end, i);
      if (parsed.ec == std::errc() && parsed.ptr == end && i >= 0 && i < m_slots.Length() && !!Slot(i))
        return Slot(i).Traverse(context);
    }
    context.SetStatus(gbb_kBroken); // an array itself is no object
    return {};
  }

 private:
  void Sync() {
    if (!m_freshness.Holds()) [[unlikely]]
      LookAgain();
  }

  // After a rollback or a refresh there are as many elements as the file has. Those that are open stay; they
  // look after themselves. What cannot be read now is looked at again.
  void LookAgain() {
    if (!m_connected)
      return m_freshness.Keep();
    const gbb_Freshness::Answer answer = m_freshness.Look(Path(), m_group.Parent());
    int size = answer == gbb_Freshness::kUnread ? -1 : 0;
    if (answer == gbb_Freshness::kGone) {
      m_group.Drop();
    } else if (answer == gbb_Freshness::kMoved) {
      if (!!m_group.Parent())
        m_group = gbb_Group::Open(gbb_Group(m_group.Parent()), m_group.Name());
      size = m_group.ReadSize();
    } else if (answer == gbb_Freshness::kSame) {
      return;
    }
    if (size < 0)
      return m_freshness.Doubt();
    while (m_slots.Length() > size)
      m_slots.RemoveLast().RemoveTo(m_removed);
    m_slots.Grow(size);
  }

  Holder& Append(Holder element) {
    const int index = m_slots.Length();
    m_slots.Append(std::move(element));
    Holder& slot = m_slots[index];
    if (!!slot)
      slot.SetPath(gbb_Path(&m_path), index);
    return slot;
  }

  // The slot's holder, opened from the file if it is not yet.
  Holder& Slot(int i) {
    Holder& slot = m_slots[i];
    if (m_connected && (slot.Flags() & gbb_kHolds) == 0) {
      const ORXSimQuiet quiet;
      const gbb_Group group = gbb_Group::Open(m_group, gbb_Group::ElementName(i));
      slot = Holder::Open(gbb_Path(&m_path), i, group, m_trace);
    }
    return slot;
  }

  // The group of a new element; a null element keeps its place in the file as a group without a class.
  gbb_Group CreateElement(int i) {
    if (!m_group) // a file that never had the array
      m_group = gbb_Group::CreateArray(gbb_Group(m_group.Parent()), m_group.Name(), 0);
    return gbb_Group::Create(m_group, gbb_Group::ElementName(i));
  }

  bool m_connected = false;
  gbb_PathImpl m_path;
  gbb_Slots<Holder, Owner> m_slots; // one without gbb_kHolds has not been opened yet
  gbb_Removed m_removed;
  gbb_Group m_group;
  gbb_Freshness m_freshness; // of the number of elements
  int m_trace;
};
