#pragma once

#include "py_Session.h"

/// Numbers that Python gave, as the library takes them. REQUIRES the interpreter.
class py_Numbers {
 public:
  /// Takes any array, or what numpy makes one of. Throws pdm::Error when it cannot be stored without loss.
  /// \param where   of the object that they are for: file, path, operation; the cause is added.
  /// \param wanted  the stored type; without it the smallest of them that holds the array's type.
  py_Numbers(const pdm::Error& where, const py::object& values, std::optional<pdm::Type> wanted = {});

  const pdm::Numbers& numbers() const noexcept { return m_numbers; }
  /// \return the numbers a row: all axes but the first.
  int components() const noexcept { return m_numbers.width(); }

 private:
  py::array m_array; // contiguous
  pdm::Numbers m_numbers{nullptr, 0, pdm::Type::float64};
};

/// Numbers of one axis that Python gave; as py_Numbers.
template <class T>
std::vector<T> py_Line(const pdm::Error& where, const py::object& values) {
  const py_Numbers all(where, values, pdm::type_of<T>);
  if (all.components() != 1)
    throw pdm::Error(where.file(), where.path(), where.operation(),
                     "expected an array of one axis, found rows of " + std::to_string(all.components()));
  const auto* const first = static_cast<const T*>(all.numbers().data());
  return {first, first + all.numbers().count()};
}

/// 0-based items that Python gave; as py_Numbers. A mask is refused.
std::vector<int> py_Items(const pdm::Error& where, const py::object& items);

/// \return numpy's type of a stored one.
py::dtype py_Type(pdm::Type type);
