#pragma once

#include <gbb/pattern/gbb_Text.h>

#include <cstddef>
#include <tuple>
#include <utility>

/// One simple member of a schema class: its name, its index in the member stream and its field.
template <gbb_Text Name, int Index, auto Field>
struct gbb_Member {
  static constexpr const auto& kName = Name;
  static constexpr int kIndex = Index;
  static constexpr auto kField = Field;
  /// The member's name, NUL-terminated.
  static constexpr const char* name() { return Name.chars; }
};

/// One child of a schema class: its name, its index, the handle's operation that gives it, and of a child
/// object the one that sets it.
template <gbb_Text Name, int Index, auto Getter, auto Setter = nullptr>
struct gbb_ChildMember {
  static constexpr const auto& kName = Name;
  static constexpr int kIndex = Index;
  static constexpr auto kGetter = Getter;
  static constexpr auto kSetter = Setter;
  static constexpr const char* name() { return Name.chars; }
};

/// What the schema says of a class; specialised beside each class's members and handle. `Members` is a
/// std::tuple of gbb_Member in the order in which they are saved, `Children` one of gbb_ChildMember.
template <class Traits>
struct gbb_MemberTable;
template <class Traits>
struct gbb_ChildTable;

/// Calls f(entry) for each entry of a table (a std::tuple type).
template <class Table, class F>
constexpr void gbb_ForEach(F&& f) {
  [&]<std::size_t... I>(std::index_sequence<I...>) {
    (f(std::tuple_element_t<I, Table>{}), ...);
  }
  (std::make_index_sequence<std::tuple_size_v<Table>>());
}

/// Calls f(member, value) for each simple member of an object in the order in which they are saved;
/// `member` has name() and kIndex. An empty handle has none.
///
/// Threads: those of the object.
template <class Handle, class F>
void gbb_ForEachMember(const Handle& object, F&& f) {
  if (const auto* const members = object.ReadMembers())
    gbb_ForEach<typename gbb_MemberTable<typename Handle::Traits>::Members>(
        [&](auto member) { f(member, members->*member.kField); });
}

/// Calls f(child, handle) for each child of an object; the handle is that of the child object, empty when
/// there is none, or the array. An empty handle has none.
template <class Handle, class F>
void gbb_ForEachChild(const Handle& object, F&& f) {
  if (!!object)
    gbb_ForEach<typename gbb_ChildTable<typename Handle::Traits>::Children>(
        [&](auto child) { f(child, (object.*child.kGetter)()); });
}
