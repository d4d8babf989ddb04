#pragma once

#include <UTI_ORXSimDynamicAPI/ORXSim_Assert.h>

#include <vector>

/// An array of a size that is fixed when it is made, with checked access.
///
/// Elements start as default values. An index outside [0, Size()) is reported as a validation failure and
/// stops the process.
/// Threads: a value; each thread uses values of its own.
template <class Element>
class ORXSimArray {
 public:
  /// \param size number of elements; a negative size gives an empty array.
  explicit ORXSimArray(int size)
      : m_Size(size > 0 ? size : 0), m_elements(static_cast<std::size_t>(m_Size)) {}

  int Size() const { return m_Size; }
  Element& operator[](int i) { return m_elements[Checked(i)]; }
  const Element& operator[](int i) const { return m_elements[Checked(i)]; }

 private:
  std::size_t Checked(int i) const {
    if (!(i >= 0 && i < m_Size)) [[unlikely]] {
      ORXSimAssert::ReportValidationFailure("i >=0 && i < m_Size");
      ORXSimAssert::Stop();
    }
    return static_cast<std::size_t>(i);
  }

  int m_Size;
  std::vector<Element> m_elements;
};
