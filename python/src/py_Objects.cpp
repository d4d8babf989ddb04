#include "py_Class.h"

// Objects of any class, by the tables of their members.

namespace {

using Object = py_Bound<pdm::Object>;
using Children = py_Bound<py_Children>;

const py_Class* class_of(const Object& self) {
  return self.call([](const pdm::Object& object) {
    return py_FindClass(
        pdm::detail::run(object, "ask for the class", [&] { return object.handle().Class(); }));
  });
}

std::vector<std::string> names_of(const Object& self) {
  const py_Class* const known = class_of(self);
  return known == nullptr ? std::vector<std::string>() : known->names;
}

[[noreturn]] void refuse_member(const Object& self, const std::string& name) {
  const py::object fault =
      py::module_::import("pdm_core._error")
          .attr("missing_attribute")(py_Text(py_FileOf(self)), self.path(), name, names_of(self));
  PyErr_SetObject(fault.get_type().ptr(), fault.ptr());
  throw py::error_already_set();
}

py::object get_member(const Object& self, const std::string& name) {
  if (name.starts_with('_')) // what Python asks everything for
    throw py::attribute_error(name);
  const py_Class* const known = class_of(self);
  py_Later found;
  if (known != nullptr)
    found = self.call([&](const pdm::Object& object) {
      return pdm::detail::run(object, "read a member",
                              [&] { return known->get(self.session, object, name); });
    });
  if (!found)
    refuse_member(self, name);
  return found();
}

void set_member(const Object& self, const std::string& name, const py::object& value) {
  const py_Class* const known = class_of(self);
  std::function<void()> write;
  try {
    if (known != nullptr)
      write = known->set(self.value, name, value);
  } catch (const py::cast_error&) {
    throw pdm::Error(py_FileOf(self), self.path() + '/' + name, "write a member",
                     "the value is not of the member's type, or a part of another file");
  }
  if (!write)
    refuse_member(self, name);
  self.write([&](const pdm::Object& object) { pdm::detail::run(object, "write a member", write); });
}

int count_of(const Children& self) {
  return self.call([](const py_Children& of) {
    return pdm::detail::run(of, "count the elements", [&] { return of.count(of.owner.handle()); });
  });
}

py::object child_at(const Children& self, py::ssize_t index) {
  const int at = py_Index(self, "element", index, count_of(self));
  return py_ObjectOf(self.session, self.call([&](const py_Children& of) {
    return pdm::Object(
        of.state(), of.path() + '/' + std::to_string(at),
        pdm::detail::run(of, "open an element", [&] { return of.get(of.owner.handle(), at); }));
  }));
}

py::object children_at(const Children& self, const py::object& index) {
  if (!py::isinstance<py::slice>(index))
    return child_at(self, py_Number(index));
  py::ssize_t first = 0, last = 0, step = 0, length = 0;
  if (!index.cast<py::slice>().compute(count_of(self), &first, &last, &step, &length))
    throw py::error_already_set();
  py::list found;
  for (py::ssize_t i = 0; i < length; ++i)
    found.append(child_at(self, first + i * step));
  return found;
}

pdm::Error adding(const std::string& file, const std::string& path) {
  return {file, path, "add an object", {}};
}

/// Appends a new object of a class, the array's own without one.
py::object add_element(const Children& self, const py::object& of) {
  const pdm::Error where = adding(py_FileOf(self), self.path());
  const py_Class* const made = of.is_none() ? nullptr : &py_ClassOf(where, of);
  self.write([&](const py_Children& to) {
    pdm::detail::run(to, where.operation().c_str(),
                     [&] { to.add(to.owner.handle(), py_Make(where, to.of, made)); });
  });
  return child_at(self, -1);
}

/// Gives an object a child object.
py::object add_child(const Object& self, const std::string& name, const py::object& of) {
  const pdm::Error where = adding(py_FileOf(self), self.path() + '/' + name);
  const py_Class* const made = of.is_none() ? nullptr : &py_ClassOf(where, of);
  const py_Class* const known = class_of(self);
  const gbb_Class as = known == nullptr ? gbb_Class() : known->child(name);
  if (!as)
    refuse_member(self, name);
  self.write([&](const pdm::Object& object) {
    pdm::detail::run(object, where.operation().c_str(),
                     [&] { known->give(object, name, py_Make(where, as, made)); });
  });
  return get_member(self, name);
}

} // namespace

py::object py_ObjectOf(const std::shared_ptr<py_Session>& session, pdm::Object object) {
  const std::function<py::object()> make = session->call(object.path(), [&]() -> std::function<py::object()> {
    const gbb_Class is =
        pdm::detail::run(object, "ask for the class", [&] { return object.handle().Class(); });
    const auto part = [&](auto made) {
      return [session, made, is] { return py_Typed(py_Give(session, made), is); };
    };
    if (object.is<msfD_Mesh>())
      return part(pdm::Mesh(object.state(), object.path(), object.as<msfD_Mesh>().handle()));
    if (object.is<msfD_DiscreteModel>())
      return part(pdm::Model(object.state(), object.path(), object.as<msfD_DiscreteModel>().handle()));
    if (object.is<fesD_ModalEvent>())
      return part(pdm::Event(object.state(), object.path(), object.as<fesD_ModalEvent>().handle()));
    if (object.is<fesD_FESystem>())
      return part(pdm::System(object.state(), object.path(), object.as<fesD_FESystem>().handle(),
                              session->sim().model().mesh().handle()));
    return part(object);
  });
  return make();
}

void py_DefineObjects(py::module_& module) {
  py::class_<Object>(
      module, "Object",
      R"(An object of a schema class: its members, by their names in the schema, are attributes.

>>> modal = sim["discreteModel/mesh/systems/0"].object
>>> modal.class_name, modal.systemName, modal.propertyEvaluation
('com.vertana.ModalSystem', 'modal analysis', 0.25)
)")
      .def_property_readonly("class_name", py_Get<pdm::Object>(&pdm::Object::class_name),
                             "The persistent name of its most derived class.")
      .def_property_readonly("path", &Object::path, py_PathDoc)
      .def_property_readonly("members", &names_of, "The names of its members and children.")
      .def("get", &get_member, py::arg("name"), "A member, also one whose name an attribute hides.")
      .def("set", &set_member, py::arg("name"), py::arg("value"),
           "Writes a simple member. One commit point, unless an update is open.")
      .def("_add", &add_child, py::arg("name"), py::arg("of"))
      .def("_update", [](const Object& self) { return py_UpdateOf(self.session); })
      .def("__getattr__", &get_member, py::arg("name"))
      .def("__setattr__", &set_member, py::arg("name"), py::arg("value"))
      .def("__dir__", [](const py::object& self) {
        py::list names = py::module_::import("builtins").attr("object").attr("__dir__")(self);
        for (const std::string& name : names_of(self.cast<const Object&>()))
          names.append(name);
        return names;
      });

  py::class_<Children>(module, "Array", "A persistent array of objects: a sequence.")
      .def("__len__", &count_of)
      .def("__getitem__", &children_at, py::arg("index"))
      .def("__iter__",
           [](const Children& self) { return py::iter(children_at(self, py::slice(0, count_of(self), 1))); })
      .def("_add", &add_element, py::arg("of"))
      .def("_update", [](const Children& self) { return py_UpdateOf(self.session); })
      .def_property_readonly("path", &Children::path, py_PathDoc);
}
