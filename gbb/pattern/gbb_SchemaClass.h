#pragma once

// What the headers of all schema classes share.

#include <UTI_CoreUtils/mem_Allocation.h>
#include <UTI_ORXSimDynamicAPI/ORXSim_Identifiers.h>
#include <gbb/gbb_Link.h>
#include <gbb/gbb_ObjectInterface.h>
#include <gbb/pattern/gbb_Array.h>
#include <gbb/pattern/gbb_MemberTable.h>
#include <gbb/pattern/gbb_ObjectAccess.h>
#include <gbb/pattern/gbb_ObjectHandle.h>
#include <gbb/pattern/gbb_ObjectHolder.h>
#include <gbb/pattern/gbb_Repository.h>
#include <kda/kda_List.h>
#include <kda/kda_MapInt.h>
#include <kda/kda_MapString.h>
#include <kda/kda_string.h>

#include <tuple>

template <class Traits>
class gbb_ClassHolder;

/// Carries an object of a schema class from one holder to another.
template <class Traits>
class gbb_HolderMoveSrc {
 private:
  friend class gbb_ClassHolder<Traits>;
  gbb_ObjectHolder<Traits> m_held;
};

/// The holder of a schema class: gbb_ObjectHolder under the class's own names.
///
/// Threads: one at a time for a root with everything below it.
template <class Traits>
class gbb_ClassHolder : public gbb_ObjectHolder<Traits> {
 public:
  using Holder = typename Traits::Holder;
  using MoveSrc = typename Traits::MoveSrc;

  constexpr gbb_ClassHolder() = default;
  gbb_ClassHolder(MoveSrc source) : gbb_ObjectHolder<Traits>(std::move(source.m_held)) {}
  /// Takes over what the pattern's own operations answer.
  gbb_ClassHolder(gbb_ObjectHolder<Traits>&& held) : gbb_ObjectHolder<Traits>(std::move(held)) {}
  /// Hands the object over; this holder is empty afterwards.
  operator MoveSrc() {
    MoveSrc source;
    source.m_held = std::move(*this);
    return source;
  }

  /// Opens a stored object of the class, or of one that descends from it.
  /// \param parent path of the parent object.
  /// \param index  the object's place under its parent.
  /// \param group  the object's group in the file.
  /// \param trace  0, or prints each operation.
  /// \return an empty holder, after a line, when the file's schema snapshot does not know the stored class,
  /// or
  ///         the class is another one.
  static Holder Open(const gbb_Path& parent, int index, const gbb_Group& group, int trace) {
    return gbb_ObjectHolder<Traits>::OpenStored(parent, index, group, trace);
  }
  /// As above, always as this class and with the caller's own interface object.
  /// \param outer  must outlive the holder.
  static Holder Open(typename Traits::Interface* outer, const gbb_Path& parent, int index,
                     const gbb_Group& group, int trace) {
    return gbb_ObjectHolder<Traits>::OpenStored(outer, parent, index, group, trace);
  }
};

/// Instantiates the templates behind the companions of a schema class in its source file, or, with `extern`,
/// says that they are there. What follows the traits is the base class's interface, for a class with a base.
#define GBB_SCHEMA_CLASS(kind, Traits, ...)                                                                  \
  kind template class gbb_InterfaceOf<Traits __VA_OPT__(, ) __VA_ARGS__>;                                    \
  kind template class gbb_ObjectHandle<Traits>;                                                              \
  kind template class gbb_HolderBase<Traits>;                                                                \
  kind template class gbb_ObjectHolder<Traits>;                                                              \
  kind template class gbb_ObjectAccess<Traits>;                                                              \
  kind template class gbb_TypedLink<Traits::Handle>
