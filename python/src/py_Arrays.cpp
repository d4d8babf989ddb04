#include "py_Arrays.h"

namespace {

/// What a helper in Python says of an array, with its refusals as errors of the library.
template <class... Arguments>
py::object ask(const char* helper, const pdm::Error& where, const Arguments&... arguments) {
  try {
    return py::module_::import("pdm_core._arrays").attr(helper)(arguments...);
  } catch (const py::error_already_set& fault) {
    if (!fault.matches(PyExc_ValueError) && !fault.matches(PyExc_TypeError))
      throw;
    throw pdm::Error(where.file(), where.path(), where.operation(), py::str(fault.value()));
  }
}

pdm::Type type_of(const py::array& array) {
  const bool wide = array.itemsize() == 8;
  return array.dtype().kind() == 'i' ? (wide ? pdm::Type::int64 : pdm::Type::int32)
                                     : (wide ? pdm::Type::float64 : pdm::Type::float32);
}

} // namespace

py::dtype py_Type(pdm::Type type) {
  return py::dtype(pdm::name_of(type));
}

py_Numbers::py_Numbers(const pdm::Error& where, const py::object& values, std::optional<pdm::Type> wanted)
    : m_array(ask("lossless", where, values,
                  wanted.has_value() ? py::object(py::str(pdm::name_of(*wanted))) : py::none())) {
  py::ssize_t width = 1;
  for (py::ssize_t axis = 1; axis < m_array.ndim(); ++axis)
    width *= m_array.shape(axis);
  m_numbers = pdm::Numbers(m_array.data(), static_cast<std::size_t>(m_array.size()), type_of(m_array),
                           static_cast<int>(std::max<py::ssize_t>(width, 1)));
}

std::vector<int> py_Items(const pdm::Error& where, const py::object& items) {
  return py_Line<int>(where, ask("items", where, items));
}
