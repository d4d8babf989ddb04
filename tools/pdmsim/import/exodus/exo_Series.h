#pragma once

#include <pdmsim/import/exodus/exo_NetCDF.h>
#include <pdmsim/mesh/mesh_Source.h>

/// A run of equal rows inside a variable: a vector of numbers, a table, or one step of a table over time.
class exo_Series : public mesh_NumbersBy<exo_Series> {
 public:
  /// \param array of rank lead.size() + 1 (rows of one number) or lead.size() + 2 (rows of many).
  /// \param lead  the fixed places in the leading dimensions.
  exo_Series(exo_Array array, std::vector<std::size_t> lead)
      : m_array(std::move(array)), m_lead(std::move(lead)) {}

  Type NumberType() const override {
    return m_array.IsFloat()   ? Type::kFloat
           : m_array.FitsInt() ? Type::kInt
           : m_array.IsReal()  ? Type::kDouble
                               : Type::kLong;
  }
  std::size_t Rows() const override { return m_array.Shape()[m_lead.size()]; }
  std::size_t Width() const override {
    return m_array.Shape().size() > m_lead.size() + 1 ? m_array.Shape().back() : 1;
  }
  const exo_Array& Array() const { return m_array; }

 private:
  friend class mesh_NumbersBy<exo_Series>;
  template <class T>
  void ReadAs(std::size_t first, std::size_t count, T* out) const {
    std::vector<std::size_t> start = m_lead, extent(m_lead.size(), 1);
    start.push_back(first);
    extent.push_back(count);
    if (m_array.Shape().size() > start.size()) {
      start.push_back(0);
      extent.push_back(m_array.Shape().back());
    }
    if (count)
      m_array.Read(start, extent, out);
  }

  exo_Array m_array;
  std::vector<std::size_t> m_lead;
};
