#pragma once

#include "py_Class.h"

/// The module of a host's own schema classes: what pdm_core_generate(... PYTHON) makes uses it.
/// Threads: with the interpreter's lock.
class py_Host {
 public:
  /// Throws an ImportError when pdm_core was built of another version, or by another pybind11.
  explicit py_Host(py::module_& module) : m_module(module) {
    const py::object classes = py::module_::import("pdm_core._pdm_core").attr("_classes");
    const void* const api = PyCapsule_GetPointer(classes.ptr(), py_ClassApi::kName);
    if (api == nullptr) {
      PyErr_Clear();
      throw py::import_error("this module and pdm_core are of different versions");
    }
    py_classes = static_cast<const py_ClassApi*>(api);
    module.attr("__all__") = py::list();
  }

  /// Makes a class known, and gives it a class in Python.
  /// \param name  in Python.
  /// \param doc   what it is.
  template <class Handle>
  void add(const char* name, const char* doc) {
    const py::module_ core = py::module_::import("pdm_core");
    const bool system = Handle::Traits::Interface::StaticClass().IsA(fesD_FESystemInterface::StaticClass());
    py::dict members;
    members["__slots__"] = py::tuple();
    members["__doc__"] = doc;
    members["__module__"] = m_module.attr("__name__");
    py::object type =
        py::module_::import("builtins")
            .attr("type")(name, py::make_tuple(core.attr(system ? "System" : "Object")), members);
    m_module.attr(name) = type;
    m_module.attr("__all__").attr("append")(name);
    py_AddClass<Handle>(type.release()); // objects have it as long as there is an interpreter
  }

 private:
  py::module_ m_module;
};
