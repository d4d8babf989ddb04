#pragma once

#include "py_Session.h"

// What all maps have in Python: they are mappings.

namespace detail {

template <class Map>
std::vector<py_Text> names(const py_Bound<Map>& self) {
  return py_Give(self.session, self.call([](const Map& map) { return map.names(); }));
}

} // namespace detail

/// \param self  a map.
/// \param name  of an entry.
/// \return the entry. Raises a KeyError with the nearest name when there is none.
template <class Map>
auto py_Entry(const py_Bound<Map>& self, const std::string& name) {
  using Value = std::decay_t<decltype(self.value[name])>;
  std::vector<std::string> names;
  std::optional<Value> found = self.call([&](const Map& map) -> std::optional<Value> {
    if (map.contains(name))
      return map[name];
    names = map.names();
    return std::nullopt;
  });
  if (!found.has_value())
    py_RefuseName({py_FileOf(self), self.path(), "look up a name", {}}, name, names);
  return std::move(*found);
}

/// Defines what a mapping has but `__getitem__`.
template <class Map, class Class>
void py_DefineMapping(Class& type) {
  type.def("__len__", py_Get<Map>(&Map::size))
      .def(
          "__contains__",
          [](const py_Bound<Map>& self, const py::object& name) {
            return py::isinstance<py::str>(name) &&
                   self.call([text = py::isinstance<py::str>(name) ? name.cast<py_Text>() : py_Text()](
                                 const Map& map) { return map.contains(text); });
          },
          py::arg("name"))
      .def("__iter__", [](const py_Bound<Map>& self) { return py::iter(py::cast(detail::names(self))); })
      .def("keys", &detail::names<Map>, "The names in ascending order of their bytes.")
      .def(
          "remove",
          [](const py_Bound<Map>& self, const py_Text& name) {
            py_Entry(self, name);
            self.write([&](const Map& map) { map.remove(name); });
          },
          py::arg("name"), "Takes a name out of the map; its data stays in the file.")
      .def_property_readonly(
          "path", [](const py_Bound<Map>& self) { return self.path(); },
          "Where the map stands in the model.");
}
