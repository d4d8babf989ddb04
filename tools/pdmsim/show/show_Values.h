#pragma once

#include <PDM_Core.h>

#include <nlohmann/json.hpp>

#include <optional>
#include <string>
#include <string_view>

using show_Json = nlohmann::ordered_json;

// Members of objects as JSON. Numbers, texts and lists are what they are; identifiers become objects with a
// "kind" and what is known of the thing without reading its data, null when they are null; maps are
// {"kind": "map", "count": n, "entries": {...}}.

show_Json show_Value(ORXSimCollectionID id);
show_Json show_Value(ORXSimCSetID id);
show_Json show_Value(ORXSimDSetID id);
show_Json show_Value(ORXSimDistributionID id);
inline show_Json show_Value(const kda_string& text) {
  return text.cStr();
}
inline show_Json show_Value(const kda_none&) {
  return true;
}
template <class T>
requires std::is_arithmetic_v<T> show_Json show_Value(T number) {
  return number;
}

inline std::string show_Key(const kda_string& key) {
  return key.cStr();
}
inline std::string show_Key(int key) {
  return std::to_string(key);
}

template <class Map>
show_Json show_MapValue(const Map& map) {
  show_Json entries = show_Json::object();
  map.ForEach([&](const auto& key, const auto& value) { entries[show_Key(key)] = show_Value(value); });
  return {{"kind", "map"}, {"count", map.count()}, {"entries", std::move(entries)}};
}
template <class T>
show_Json show_Value(const kda_MapString<T>& map) {
  return show_MapValue(map);
}
template <class T>
show_Json show_Value(const kda_MapInt<T>& map) {
  return show_MapValue(map);
}
template <class T>
show_Json show_Value(const kda_List<T>& list) {
  show_Json values = show_Json::array();
  for (int i = 0; i < list.count(); ++i)
    values.push_back(show_Value(list[i]));
  return values;
}

/// What a path leads to: its description, and the identifier where it is a set or a field.
struct show_Target {
  show_Json description;
  std::optional<ORXSimCSetID> set;
  std::optional<ORXSimDistributionID> distribution;
  std::string member; // whose value it is or is in, "" for an object
};

/// The entry of a map; the whole rest of a path is its key, slashes and all. None when there is no such key.
template <class T>
std::optional<T> show_Entry(const kda_MapString<T>& map, std::string_view key) {
  const kda_string text(std::string(key).c_str());
  return map.isMember(text) ? std::optional<T>(map.get(text)) : std::nullopt;
}
template <class T>
std::optional<T> show_Entry(const kda_MapInt<T>& map, std::string_view key) {
  const std::string text(key);
  const int number = std::atoi(text.c_str());
  return std::to_string(number) == text && map.isMember(number) ? std::optional<T>(map.get(number))
                                                                : std::nullopt;
}

template <class T>
show_Target show_MakeTarget(const T& value) {
  show_Target target{show_Value(value), {}, {}, ""};
  if constexpr (std::is_same_v<T, ORXSimCSetID>)
    target.set = value;
  if constexpr (std::is_same_v<T, ORXSimDistributionID>)
    target.distribution = value;
  return target;
}

/// What a path leads to inside a member.
/// \param rest what follows the member's name; none when nothing does.
template <class T>
std::optional<show_Target> show_Inside(const T& value, std::optional<std::string_view> rest) {
  if (!rest)
    return show_MakeTarget(value);
  if constexpr (requires { show_Entry(value, *rest); })
    if (const auto entry = show_Entry(value, *rest))
      return show_MakeTarget(*entry);
  return std::nullopt;
}

/// True when the file has the field. Leaves no error behind.
bool show_Exists(ORXSimDistributionID id);
/// The name of a type of numbers.
const char* show_TypeName(ORXSimItemType type);
/// Adds "sides" and "elements" to the description of a field that is a surface.
void show_AddSides(ORXSimDistributionID id, show_Json& description);
/// A drawer without its data.
show_Json show_Drawer(const ORXSimPersistentDrawerDesc& drawer);
inline std::string show_Text(const cow_String& text) {
  return {text.CStr(), text.Length()};
}
