#pragma once

#include <pdmsim/show/show_Values.h>

// The tree of objects, walked by the member and child tables of their classes.

/// An object of any class with everything below it; null for an empty handle. A class that this program does
/// not know shows as its nearest known base class.
show_Json show_Object(const gbb_Handle& object);
/// What a path leads to below an object: "" is the object itself, then names of children, elements' numbers,
/// names of members, and at last the key of a map. None when there is nothing of that name.
std::optional<show_Target> show_Find(const gbb_Handle& object, std::string_view path);

/// A path's first name, and what follows its slash; none when there is no slash.
struct show_Step {
  explicit show_Step(std::string_view path) : name(path.substr(0, path.find('/'))) {
    if (name.size() < path.size())
      rest = path.substr(name.size() + 1);
  }
  std::string_view name;
  std::optional<std::string_view> rest;
};

template <class E, class H, class R, class O>
show_Json show_Child(const gbb_Array<E, H, R, O>& array) {
  show_Json elements = show_Json::array();
  for (int i = 0; i < array.count(); ++i)
    elements.push_back(show_Object(array.get(i)));
  return {{"kind", "array"}, {"count", array.count()}, {"elements", std::move(elements)}};
}
template <class Handle>
show_Json show_Child(const Handle& object) {
  return show_Object(object);
}

template <class E, class H, class R, class O>
std::optional<show_Target> show_FindBelow(const gbb_Array<E, H, R, O>& array,
                                          std::optional<std::string_view> path) {
  if (!path || path->empty())
    return show_Target{show_Child(array), {}, {}};
  const show_Step step(*path);
  const std::string number(step.name);
  const int i = std::atoi(number.c_str());
  if (std::to_string(i) != number || i < 0 || i >= array.count())
    return std::nullopt;
  return show_Find(array.get(i), step.rest.value_or(""));
}
template <class Handle>
std::optional<show_Target> show_FindBelow(const Handle& object, std::optional<std::string_view> path) {
  if (!object)
    return path && !path->empty() ? std::nullopt : std::optional(show_Target{nullptr, {}, {}});
  return show_Find(object, path.value_or(""));
}

/// What the generated tables know of an object: its members, then its children.
template <class Handle>
show_Json show_ObjectAs(const Handle& object) {
  show_Json members = show_Json::object(), children = show_Json::object();
  if constexpr (!std::is_void_v<typename Handle::Traits::Base>) { // the inherited ones stand first
    const show_Json base = show_ObjectAs(typename Handle::Traits::Base::Handle(gbb_Handle(object)));
    members = base["members"];
    children = base["children"];
  }
  gbb_ForEachMember(object,
                    [&](auto member, const auto& value) { members[member.name()] = show_Value(value); });
  gbb_ForEachChild(object,
                   [&](auto child, const auto& handle) { children[child.name()] = show_Child(handle); });
  return {{"members", std::move(members)}, {"children", std::move(children)}};
}

/// What a path leads to in one of those members or children.
template <class Handle>
std::optional<show_Target> show_FindAs(const Handle& object, std::string_view path) {
  const show_Step step(path);
  std::optional<show_Target> found;
  gbb_ForEachMember(object, [&](auto member, const auto& value) {
    if (step.name == member.name())
      found = show_Inside(value, step.rest);
  });
  gbb_ForEachChild(object, [&](auto child, const auto& handle) {
    if (step.name == child.name())
      found = show_FindBelow(handle, step.rest);
  });
  if constexpr (!std::is_void_v<typename Handle::Traits::Base>)
    if (!found)
      return show_FindAs(typename Handle::Traits::Base::Handle(gbb_Handle(object)), path);
  return found;
}
