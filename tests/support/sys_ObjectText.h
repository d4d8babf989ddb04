#pragma once

#include <PDM_Core.h>

#include <bit>
#include <map>
#include <string>

/// A member's value as text, identifiers without their context.
template <class Value>
std::string sys_TextOf(const Value& value) {
  if constexpr (std::is_same_v<Value, kda_string>) {
    return '"' + std::string(value.cStr()) + '"';
  } else if constexpr (std::is_same_v<Value, double>) {
    return std::to_string(std::bit_cast<std::uint64_t>(value));
  } else if constexpr (std::is_same_v<Value, int>) {
    return std::to_string(value);
  } else if constexpr (requires { value.IsNull(); }) {
    std::string collection;
    if constexpr (requires { value.CollectionMinor(); })
      collection = std::to_string(value.CollectionMinor()) + '.';
    return value.IsNull() ? "-" : collection + std::to_string(value.Minor());
  } else {
    std::string text = "{";
    value.ForEach(
        [&](const auto& key, const auto& one) { text += sys_TextOf(key) + ':' + sys_TextOf(one) + ','; });
    return text + '}';
  }
}

template <class Handle>
std::string sys_ObjectText(const Handle& handle, const std::string& indent = "");

template <class Element, class... Rest>
std::string sys_ObjectText(const gbb_Array<Element, Rest...>& array, const std::string& indent) {
  std::string text;
  for (int i = 0; i < array.count(); ++i)
    text += sys_ObjectText(array.get(i), indent);
  return text;
}

/// An object, its members in the order of names and the objects below it, a line for each.
template <class Handle>
std::string sys_ObjectText(const Handle& handle, const std::string& indent) {
  using Traits = typename Handle::Traits;
  if (!handle)
    return "";
  const auto* const members = handle.ReadMembers();
  std::string text = indent + (members == nullptr ? "unreadable" : Traits::kName.chars) + '\n';
  const std::string below = indent + "  ";
  std::map<std::string, std::string> lines;
  if (members != nullptr)
    gbb_ForEach<typename gbb_MemberTable<Traits>::Members>(
        [&](auto member) { lines[member.name()] = sys_TextOf(members->*member.kField); });
  for (const auto& [name, value] : lines)
    text += indent + ' ' + name + ' ' + value + '\n';
  gbb_ForEachChild(handle, [&](auto, const auto& child) { text += sys_ObjectText(child, below); });
  if constexpr (std::is_same_v<Handle, fesD_FESystem>) // what it is besides
    text += sys_ObjectText(fesD_GenericSystem(gbb_Handle(handle)), below) +
            sys_ObjectText(fesD_ModalSystem(gbb_Handle(handle)), below) +
            sys_ObjectText(fesD_SubstructureSystem(gbb_Handle(handle)), below);
  return text;
}
