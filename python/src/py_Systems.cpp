#include "py_Arrays.h"
#include "py_Class.h"

// Systems of equations, their events and numberings.

namespace {

using Event = py_Bound<pdm::Event>;
using System = py_Bound<pdm::System>;
using Systems = py_Bound<pdm::Systems>;
using pdm::Numbering;

constexpr const char* kKinds[] = {"plain", "generic", "modal", "substructure", "other"};

pdm::Kind kind_of(const Systems& self, const std::string& name) {
  const auto* const found = std::find(std::begin(kKinds), std::end(kKinds), name);
  if (found == std::end(kKinds))
    throw pdm::Error(py_FileOf(self), self.path(), "add a system",
                     "a system is \"plain\", \"generic\", \"modal\" or \"substructure\"");
  return static_cast<pdm::Kind>(found - std::begin(kKinds));
}

/// A system of Python, of its host's class where it has one.
py::object typed(const std::shared_ptr<py_Session>& session, pdm::System system) {
  const gbb_Class of = session->call(system.path(), [&] { return system.object().handle().Class(); });
  return py_Typed(System{session, std::move(system)}, of);
}

py::object find(const Systems& self, const py::object& which) {
  if (!py::isinstance<py::str>(which)) {
    const py::ssize_t number = py_Number(which);
    const int count = self.call([](const pdm::Systems& systems) { return systems.size(); });
    const int at = py_Index(self, "system", number, count);
    return typed(self.session, self.call([&](const pdm::Systems& systems) { return systems[at]; }));
  }
  const auto name = which.cast<py_Text>();
  std::vector<std::string> names;
  std::optional<pdm::System> found =
      self.call([&](const pdm::Systems& systems) -> std::optional<pdm::System> {
        if (systems.contains(name))
          return systems[name];
        names = systems.names();
        return std::nullopt;
      });
  if (!found.has_value())
    py_RefuseName({py_FileOf(self), self.path(), "open a system", {}}, name, names);
  return typed(self.session, std::move(*found));
}

/// Adds a system of a kind of the library, or of a host's class.
py::object create(const Systems& self, const py_Text& name, const py::object& kind) {
  if (py::isinstance<py::str>(kind)) {
    const pdm::Kind is = kind_of(self, kind.cast<std::string>());
    return typed(self.session, self.write([&](const pdm::Systems& to) { return to.create(name, is); }));
  }
  const pdm::Error where(py_FileOf(self), self.path(), "add a system", {});
  const py_Class& made = py_ClassOf(where, kind);
  return typed(self.session, self.write([&](const pdm::Systems& to) {
    const auto key = pdm::detail::key_of(name);
    if (!key.has_value())
      throw pdm::Error(where.file(), where.path(), where.operation(), "a name must not contain NUL");
    const std::unique_ptr<fesD_FESystemHolder> holder(
        static_cast<fesD_FESystemHolder*>(py_Make(where, fesD_FESystemInterface::StaticClass(), &made)));
    pdm::Update together(to.state());
    pdm::System added = to.add(std::move(*holder));
    added.call(&fesD_FESystem::SystemName, *key);
    together.commit();
    return added;
  }));
}

/// The array of a modal system's events.
py::object events(const System& self) {
  const auto object = self.call([](const pdm::System& of) {
    return pdm::detail::run(of, "list the events", [&] {
      return of.object().is<fesD_ModalSystem>() ? std::optional(of.object()) : std::nullopt;
    });
  });
  if (!object.has_value())
    return py::list();
  return py::cast(py_Give(self.session, pdm::Object(*object))).attr("get")("events");
}

template <class T>
std::vector<T> vector_of(const System& self, const char* operation, const py::object& values) {
  return py_Line<T>({py_FileOf(self), self.path(), operation, {}}, values);
}

py::array equations(const Numbering& self) {
  return py_Array(self.equations(), {self.node_count(), static_cast<py::ssize_t>(self.labels().size())});
}

/// The places of a matrix that are not zero, as begins and columns of its rows.
py::tuple pattern(const Numbering& self, const py_Bound<pdm::Mesh>& mesh) {
  pdm::Pattern found = mesh.call([&](const pdm::Mesh& of) {
    std::vector<std::vector<int>> elements;
    std::vector<int> widths;
    for (const pdm::Block& block : of.blocks()) {
      elements.push_back(block.connectivity().read<int>());
      widths.push_back(block.nodes_per_element());
    }
    try {
      return self.pattern(elements, widths);
    } catch (const std::invalid_argument& fault) {
      throw pdm::Error(of.state()->file, of.path(), "find a matrix' pattern", fault.what());
    }
  });
  return py::make_tuple(py_Array(std::move(found.begin)), py_Array(std::move(found.columns)));
}

void define_numbering(py::module_& module) {
  py::class_<Numbering>(module, "Numbering",
                        R"(The equations of a system, numbered from 0. It outlives the file.

>>> numbering = mesh.systems["modal analysis"].numbering()
>>> numbering.equations
array([[ 0,  1],
       [ 2, -1],
       [ 3,  4],
       [ 5,  6]], dtype=int32)
>>> numbering.equation_count, numbering.order
(7, array([6, 5, 4, 3, 2, 1, 0], dtype=int32))
)")
      .def_static(
          "of",
          [](const py::object& masks, const py::object& order) {
            const pdm::Error where({}, {}, "number degrees of freedom", {});
            const std::vector<int> all = py_Items(where, masks);
            try {
              return order.is_none() ? Numbering(all) : Numbering(all, py_Items(where, order));
            } catch (const std::invalid_argument& fault) {
              throw pdm::Error({}, {}, where.operation(), fault.what());
            }
          },
          py::arg("masks"), py::arg("order") = py::none(),
          "The equations of [nodes] masks: bit b-1 is set where the degree of freedom with label b is "
          "active.")
      .def_property_readonly("node_count", &Numbering::node_count,
                             "How many nodes it numbers, also those without an equation.")
      .def_property_readonly("equation_count", &Numbering::equation_count, "How many equations there are.")
      .def_property_readonly(
          "labels", [](const Numbering& self) { return py_Array(std::vector<int>(self.labels())); },
          "The labels that are active anywhere, ascending.")
      .def_property_readonly("has_order", &Numbering::has_order,
                             "Whether the solver has an order of its own.")
      .def("equation", &Numbering::equation, py::arg("node"), py::arg("label"),
           "The equation of a 0-based node and a label from 1; -1 where there is none.")
      .def_property_readonly("equations", &equations,
                             "[nodes][labels] the equations, -1 where there is none.")
      .def_property_readonly(
          "nodes", [](const Numbering& self) { return py_Array(self.equation_nodes()); },
          "[equations] the node of each.")
      .def_property_readonly(
          "equation_labels", [](const Numbering& self) { return py_Array(self.equation_labels()); },
          "[equations] the label of each.")
      .def_property_readonly(
          "order", [](const Numbering& self) { return py_Array(self.order()); },
          "[solver's places] the equation at each: a permutation of them or some of them.")
      .def_property_readonly(
          "places", [](const Numbering& self) { return py_Array(self.places()); },
          "[equations] the solver's place of each, -1 for none.")
      .def("_pattern", &pattern, py::arg("mesh"));
}

void define_event(py::module_& module) {
  py::class_<Event>(module, "Event", "One event of a modal analysis.")
      .def_property_readonly("name", py_Get<pdm::Event>(&pdm::Event::name), "The name of the event.")
      .def_property_readonly("type", py_Get<pdm::Event>(&pdm::Event::type),
                             "The kind of event, by a numbering of the caller's.")
      .def_property_readonly("active_modes", py_Get<pdm::Event>(&pdm::Event::active_modes),
                             "The modes that take part, None when all do.")
      .def_property_readonly("fields", py_Get<pdm::Event>(&pdm::Event::fields),
                             "The numbers that it has by name.")
      .def_property_readonly("object", py_Get<pdm::Event>(&pdm::Event::object),
                             "The event as an object of its schema class.")
      .def_property_readonly("path", &Event::path, py_PathDoc);
}

void define_system(py::module_& module) {
  py::class_<System>(module, "System", R"(A system of equations on a mesh.

>>> modal = mesh.systems["modal analysis"]
>>> modal.kind, modal.frequencies, modal.activity
('modal', array([1.5, 2.5]), array([3, 1, 3, 3], dtype=int32))
)")
      .def_property_readonly("name", py_Get<pdm::System>(&pdm::System::name),
                             "The name, \"\" when it has none.")
      .def_property_readonly(
          "kind",
          [](const System& self) {
            return kKinds[static_cast<int>(self.call([](const pdm::System& of) { return of.kind(); }))];
          },
          "\"plain\", \"generic\", \"modal\", \"substructure\", or \"other\" for a host's class.")
      .def_property_readonly("class_name", py_Get<pdm::System>(&pdm::System::class_name),
                             "The persistent name of its class, \"com.vertana.ModalSystem\".")
      .def_property_readonly("fields", py_Get<pdm::System>(&pdm::System::fields),
                             "The numbers that it has by name, such as \"frequencies\" and \"modeShapes\".")
      .def_property(
          "node_labels", py_Get<pdm::System>(&pdm::System::node_labels),
          [](const System& self, const py::object& labels) {
            const auto all = vector_of<int>(self, "store node labels", labels);
            self.write([&](const pdm::System& to) { to.set_node_labels(all); });
          },
          "[nodes] the user's labels, none when the system has none.")
      .def_property(
          "activity", py_Get<pdm::System>(&pdm::System::activity),
          [](const System& self, const py::object& masks) {
            const auto all = vector_of<int>(self, "store activity masks", masks);
            self.write([&](const pdm::System& to) { to.set_activity(all); });
          },
          "[nodes] bit b-1 is set where degree of freedom b is active.")
      .def_property(
          "frequencies", py_Get<pdm::System>(&pdm::System::frequencies),
          [](const System& self, const py::object& hertz) {
            const auto all = vector_of<double>(self, "store the frequencies", hertz);
            self.write([&](const pdm::System& to) { to.set_frequencies(all); });
          },
          "[modes] in Hz, negative for unstable modes.")
      .def(
          "set_order",
          [](const System& self, const py::object& order) {
            const auto all = vector_of<int>(self, "store the solver's order", order);
            self.write([&](const pdm::System& to) { to.set_order(all); });
          },
          py::arg("order"), "Stores the equation at each of the solver's places.")
      .def(
          "numbering",
          [](const System& self) { return self.call([](const pdm::System& of) { return of.numbering(); }); },
          "Numbers the degrees of freedom as the activity says, in the solver's order if there is one.")
      .def_property_readonly("mode_shapes", py_Get<pdm::System>(&pdm::System::mode_shapes),
                             "A drawer a mode.")
      .def_property_readonly("events", &events, "The events of a modal system, an Array; none of others.")
      .def_property_readonly("object", py_Get<pdm::System>(&pdm::System::object),
                             "The system as an object of its schema class.")
      .def_property_readonly("path", &System::path, py_PathDoc);
}

} // namespace

void py_DefineSystems(py::module_& module) {
  define_numbering(module);
  define_event(module);
  define_system(module);
  py::class_<Systems>(module, "Systems", R"(The systems of a mesh: a sequence, and by name.

>>> len(mesh.systems), mesh.systems.names, mesh.systems[0].name
(1, ['modal analysis'], 'modal analysis')
)")
      .def("__len__", py_Get<pdm::Systems>(&pdm::Systems::size))
      .def("__getitem__", &find, py::arg("which"))
      .def(
          "__contains__",
          [](const Systems& self, const py_Text& name) {
            return self.call([&](const pdm::Systems& of) { return of.contains(name); });
          },
          py::arg("name"))
      .def("__iter__",
           [](const Systems& self) {
             py::list all;
             const int count = self.call([](const pdm::Systems& of) { return of.size(); });
             for (int i = 0; i < count; ++i)
               all.append(typed(self.session, self.call([&](const pdm::Systems& of) { return of[i]; })));
             return py::iter(all);
           })
      .def_property_readonly("names", py_Get<pdm::Systems>(&pdm::Systems::names), "In the order of the mesh.")
      .def("create", &create, py::arg("name"), py::arg("kind") = "plain",
           "Adds a system of a kind, or of a class of a host's module. One commit point, unless an update is "
           "open.")
      .def_property_readonly("path", &Systems::path, py_PathDoc);
}
