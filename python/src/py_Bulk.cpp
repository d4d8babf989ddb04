#include "py_Arrays.h"
#include "py_Map.h"

// Collections and sets.

namespace {

using Set = py_Bound<pdm::Set>;
using Sets = py_Bound<pdm::Sets>;
using Collection = py_Bound<pdm::Collection>;

py::array items_of(const std::shared_ptr<py_Session>& session, const pdm::Set& set) {
  return py_Array(session->call(set.path(), [&] { return set.items(); }));
}

pdm::Error storing(const Sets& self) {
  return {py_FileOf(self), self.path(), "create a set", {}};
}

Set create_set(const Sets& self, const py_Text& name, const py::object& items, bool replace) {
  const std::vector<int> all = py_Items(storing(self), items);
  return {self.session,
          self.write([&](const pdm::Sets& sets) { return sets.create(name, std::span(all), replace); })};
}

/// Stores the sets of a mapping, or of pairs, as dict.update() takes them.
void update_sets(const Sets& self, const py::object& sets) {
  std::vector<std::pair<std::string, std::vector<int>>> all;
  for (const auto& [name, items] : py::dict(sets))
    all.emplace_back(name.cast<py_Text>(),
                     py_Items(storing(self), py::reinterpret_borrow<py::object>(items)));
  self.write([&](const pdm::Sets& to) { to.create_all(all, true); });
}

py::object set_items(const Set& self, const py::args&, const py::kwargs&) {
  return items_of(self.session, self.value);
}

void define_sets(py::module_& module) {
  py::class_<Sets> sets(module, "Sets", R"(Sets by name: a mapping to int32 arrays of 0-based items.

>>> list(mesh.node_sets), mesh.node_sets["inlet"]
(['inlet', 'outlet'], array([0, 1], dtype=int32))
>>> mesh.node_sets["inlt"]
Traceback (most recent call last):
pdm_core.NameMissing: a.pdm: discreteModel/mesh/nodeSets: look up a name: there is no "inlt"; do you mean "inlet"?
)");
  py_DefineMapping<pdm::Sets>(sets);
  sets.def(
          "__getitem__",
          [](const Sets& self, const py_Text& name) { return items_of(self.session, py_Entry(self, name)); },
          py::arg("name"))
      .def(
          "set",
          [](const Sets& self, const py_Text& name) {
            return Set{self.session, py_Entry(self, name)};
          },
          py::arg("name"), "The set itself, as `over` takes it.")
      .def("create", &create_set, py::arg("name"), py::arg("items"), py::kw_only(),
           py::arg("replace") = false,
           "Stores a new set of 0-based items, none twice. One commit point, unless an update is open.")
      .def(
          "update", &update_sets, py::arg("sets"),
          "Stores the sets of a mapping, all or none, as one commit point unless an update is open. For many "
          "sets: one after the other, each writes all names again.")
      .def(
          "__setitem__",
          [](const Sets& self, const py_Text& name, const py::object& items) {
            create_set(self, name, items, true);
          },
          py::arg("name"), py::arg("items"))
      .def(
          "__delitem__", [](const py::object& self, const py_Text& name) { self.attr("remove")(name); },
          py::arg("name"));
}

} // namespace

void py_DefineBulk(py::module_& module) {
  py::class_<Collection>(module, "Collection",
                         R"(Items that are known by their 0-based numbers, such as nodes.

>>> mesh.nodes.name, len(mesh.nodes)
('nodes', 4)
)")
      .def("__len__", py_Get<pdm::Collection>(&pdm::Collection::size))
      .def("__bool__", [](const Collection& self) { return static_cast<bool>(self.value); })
      .def_property_readonly("name", py_Get<pdm::Collection>(&pdm::Collection::name),
                             "What the items are: \"nodes\".")
      .def_property_readonly("path", &Collection::path, py_PathDoc);

  py::class_<Set>(module, "Set", R"(An ordered list of items of a collection, which numpy takes as an array.

>>> mesh.node_sets.set("inlet").items
array([0, 1], dtype=int32)
)")
      .def("__len__", py_Get<pdm::Set>(&pdm::Set::size))
      .def("__array__", &set_items)
      .def("__iter__", [](const Set& self) { return py::iter(items_of(self.session, self.value)); })
      .def(
          "__getitem__",
          [](const Set& self, const py::object& index) {
            return items_of(self.session, self.value).attr("__getitem__")(index);
          },
          py::arg("index"))
      .def_property_readonly(
          "items", [](const Set& self) { return items_of(self.session, self.value); },
          "The 0-based items in the set's order, int32, checked.")
      .def_property_readonly(
          "name", [](const Set& self) { return py_Text(self.value.name()); },
          "Its name in the map, \"\" for one that is in none.")
      .def_property_readonly("is_full", py_Get<pdm::Set>(&pdm::Set::is_full),
                             "Whether it is all items of its collection, in order.")
      .def_property_readonly("collection", py_Get<pdm::Set>(&pdm::Set::collection),
                             "What its items are items of.")
      .def_property_readonly("path", &Set::path, py_PathDoc);

  define_sets(module);
}
