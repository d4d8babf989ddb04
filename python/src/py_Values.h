#pragma once

#include "py_Session.h"

#include <map>

// Values of members as Python has them, and back.

namespace py_detail {

/// Where a value belongs, for those that are objects of the file.
struct Place {
  pdm::detail::File file;
  std::string path;
};

/// What a member may name: a part of its own file. An identifier of another one could not be saved.
template <class Part>
const Part& same_file(const py::object& value, const pdm::detail::State* file) {
  const Part& part = value.cast<const py_Bound<Part>&>().value;
  if (part.state().get() != file)
    throw py::cast_error("a part of another file");
  return part;
}

// Values of members as this side of the library has them, and back.
template <class T>
struct Value {
  static T plain(const T& value, const Place&) { return value; }
  static T stored(const py::object& value, const pdm::detail::State*) { return value.cast<T>(); }
};
template <>
struct Value<kda_string> {
  static py_Text plain(const kda_string& value, const Place&) { return std::string(value.cStr()); }
  static kda_string stored(const py::object& value, const pdm::detail::State*) {
    const auto text = value.cast<py_Text>();
    if (text.find('\0') != std::string::npos)
      throw py::cast_error("a text with NUL"); // it would be cut there
    return kda_string(text.c_str());
  }
};
template <class Id, class Part>
struct IdValue {
  static std::optional<Part> plain(const Id& id, const Place& at) {
    if (id.IsNull())
      return std::nullopt;
    return Part(std::make_shared<const typename Part::Source>(typename Part::Source{at.file, at.path}), {},
                id);
  }
  static Id stored(const py::object& value, const pdm::detail::State* file) {
    return value.is_none() ? Id() : same_file<Part>(value, file).handle();
  }
};
template <>
struct Value<ORXSimCSetID> : IdValue<ORXSimCSetID, pdm::Set> {};
template <>
struct Value<ORXSimDistributionID> : IdValue<ORXSimDistributionID, pdm::Field> {};
template <>
struct Value<ORXSimCollectionID> {
  static std::optional<pdm::Collection> plain(const ORXSimCollectionID& id, const Place& at) {
    return id.IsNull() ? std::nullopt : std::optional(pdm::Collection(at.file, at.path, id));
  }
  static ORXSimCollectionID stored(const py::object& value, const pdm::detail::State* file) {
    return value.is_none() ? ORXSimCollectionID() : same_file<pdm::Collection>(value, file).handle();
  }
};
template <>
struct Value<ORXSimDSetID> { // a name for programs alone
  static bool plain(const ORXSimDSetID& id, const Place&) { return !id.IsNull(); }
  static ORXSimDSetID stored(const py::object&, const pdm::detail::State*) {
    throw py::type_error("such an identifier is not written");
  }
};
template <class T>
struct Value<kda_List<T>> {
  static auto plain(const kda_List<T>& list, const Place& at) {
    std::vector<decltype(Value<T>::plain(list[0], at))> all;
    for (int i = 0; i < list.count(); ++i)
      all.push_back(Value<T>::plain(list[i], {at.file, at.path + '/' + std::to_string(i)}));
    return all;
  }
  static kda_List<T> stored(const py::object& values, const pdm::detail::State* file) {
    kda_List<T> list;
    for (const py::handle value : values)
      list.append(Value<T>::stored(py::reinterpret_borrow<py::object>(value), file), 1);
    return list;
  }
};
template <class T>
struct Value<kda_MapInt<T>> {
  static auto plain(const kda_MapInt<T>& map, const Place& at) {
    std::map<int, decltype(Value<T>::plain(std::declval<const T&>(), at))> all;
    map.ForEach([&](int key, const T& value) {
      all.emplace(key, Value<T>::plain(value, {at.file, at.path + '/' + std::to_string(key)}));
    });
    return all;
  }
  static kda_MapInt<T> stored(const py::object& values, const pdm::detail::State* file) {
    kda_MapInt<T> map;
    for (const auto& [key, value] : values.cast<py::dict>())
      map.insert(key.template cast<int>(), Value<T>::stored(py::reinterpret_borrow<py::object>(value), file));
    return map;
  }
};
template <class T>
struct Value<kda_MapString<T>> {
  static auto plain(const kda_MapString<T>& map, const Place& at) {
    std::map<py_Text, decltype(Value<T>::plain(std::declval<const T&>(), at))> all;
    map.ForEach([&](const kda_string& key, const T& value) {
      all.emplace(std::string(key.cStr()), Value<T>::plain(value, {at.file, at.path + '/' + key.cStr()}));
    });
    return all;
  }
  static kda_MapString<T> stored(const py::object& values, const pdm::detail::State* file) {
    kda_MapString<T> map;
    for (const auto& [key, value] : values.cast<py::dict>())
      map.insert(Value<kda_string>::stored(py::reinterpret_borrow<py::object>(key), file),
                 Value<T>::stored(py::reinterpret_borrow<py::object>(value), file));
    return map;
  }
};

template <class T>
auto give_all(const std::shared_ptr<py_Session>& session, T&& value) {
  return py_Give(session, std::forward<T>(value));
}
template <class T>
auto give_all(const std::shared_ptr<py_Session>& session, std::vector<std::optional<T>>&& values) {
  std::vector<std::optional<py_Bound<T>>> all;
  for (auto& value : values)
    all.push_back(py_Give(session, std::move(value)));
  return all;
}
template <class T>
py::object as_object(T&& value) {
  if constexpr (std::is_base_of_v<py::object, std::remove_cvref_t<T>>)
    return std::forward<T>(value);
  else
    return py::cast(std::forward<T>(value));
}
template <class Key, class T>
auto give_all(const std::shared_ptr<py_Session>& session, std::map<Key, std::optional<T>>&& values) {
  std::map<Key, std::optional<py_Bound<T>>> all;
  for (auto& [key, value] : values)
    all.emplace(key, py_Give(session, std::move(value)));
  return all;
}

/// A map of sets or fields stays a map of the file, which can be added to.
template <class T>
struct LiveMap {
  static constexpr bool kIs = false;
};
template <>
struct LiveMap<kda_MapString<ORXSimCSetID>> {
  static constexpr bool kIs = true;
  using Id = ORXSimCSetID;
  using Map = pdm::Sets;
};
template <>
struct LiveMap<kda_MapString<ORXSimDistributionID>> {
  static constexpr bool kIs = true;
  using Id = ORXSimDistributionID;
  using Map = pdm::Fields;
};

} // namespace py_detail
