#pragma once

#include <UTI_ORXSimDynamicAPI/ORXSim_Identifiers.h>
#include <gbb/gbb_Group.h>
#include <gbb/gbb_Handle.h>
#include <gbb/gbb_Path.h>
#include <gbb/pattern/gbb_Removed.h>
#include <gbb/pattern/gbb_Text.h>

#include <cstddef>
#include <cstdint>
#include <tuple>
#include <utility>

class gbb_TraverseContext;

/// One child of an implementation: the holder of a child object or of an array.
template <gbb_Text Name, int Index, class HolderOfChild>
struct gbb_Child {
  static constexpr const auto& kName = Name;
  static constexpr int kIndex = Index;
  using Holder = HolderOfChild;
  static constexpr const char* name() { return Name.chars; }

  Holder holder;            // empty until opened or given
  std::uint64_t change = 0; // the owner's when the holder was last looked up
};

/// The children of a class as a std::tuple of gbb_Child; specialised beside each implementation.
template <class Traits>
struct gbb_ChildrenOf;

/// What a child has to know of its owner.
struct gbb_ChildOwner {
  gbb_Path path;
  const gbb_Group& group;
  int trace;
  bool connected;       // the owner is in the file, and its children are to be found there
  std::uint64_t change; // the owner's last, as gbb_Freshness::Change(); what is older is looked up again
};

/// The children of one object, opened from the file on first use. When the owner has changed they are looked
/// up again as they are used; one that the file does not have any more is removed then.
///
/// Threads: one at a time for all objects of a root.
template <class Traits>
class gbb_Children {
 public:
  /// The holder of the child at `Index`, opened if the file has it; empty if there is none. An array of an
  /// owner that is not in a file yet begins empty, in memory.
  template <int Index>
  auto& Opened(const gbb_ChildOwner& owner);
  /// Takes a child over, unless there is one: then a line is printed and the new one destroyed. An empty
  /// holder is bound like any other and says that it is empty.
  /// \param context  of the owner's file.
  /// \param holder  empty afterwards.
  /// \return the handle of the child that is there now; empty when it could not be written.
  template <int Index>
  auto Set(const gbb_ChildOwner& owner, ORXSimContextID context, auto& holder);
  /// True when the owner has a child at `Index`, which may be one that cannot be opened.
  template <int Index>
  bool Has(const gbb_ChildOwner& owner);
  /// The owner has been placed: so are the children that are held, and what is below them.
  void SetPath(const gbb_Path& owner);
  /// Writes all children into groups below the owner's, named by the members.
  void Bind(const gbb_ChildOwner& owner);
  /// Goes on with a walk to the child that the context's component names.
  /// \return false when no child has that name.
  /// \param found  what the walk reached.
  bool Traverse(const gbb_ChildOwner& owner, gbb_TraverseContext& context, gbb_Handle& found);

 private:
  using Table = typename gbb_ChildrenOf<Traits>::Type;

  template <int Index>
  auto& At() {
    return [this]<std::size_t... I>(std::index_sequence<I...>)->auto& {
      constexpr std::size_t place = ((std::tuple_element_t<I, Table>::kIndex == Index ? I : 0) + ... + 0);
      return std::get<place>(m_table);
    }
    (std::make_index_sequence<std::tuple_size_v<Table>>());
  }
  void Open(const gbb_ChildOwner& owner, auto& child);
  void LookAgain(const gbb_ChildOwner& owner, auto& child);
  void Place(const gbb_ChildOwner& owner, auto& child, auto& holder);

  Table m_table;
  gbb_Removed m_removed;
};
