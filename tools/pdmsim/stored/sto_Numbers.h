#pragma once

#include <pdmsim/mesh/mesh_Source.h>

#include <UTI_ORXSimDynamicAPI/UTI_ORXSimDynamicAPI.h>

#include <algorithm>

/// A count that the library tells; 0 where it has failed.
inline std::size_t sto_Size(int count) {
  return static_cast<std::size_t>(std::max(0, count));
}

/// Rows of one drawer of a simulation file.
class sto_Numbers : public mesh_NumbersBy<sto_Numbers> {
 public:
  /// Rows [first, first + count) of the drawer. Throws mesh_Error when it cannot be opened.
  sto_Numbers(std::string file, ORXSimDistributionID distribution, int drawer, std::size_t first,
              std::size_t count);
  /// Rows in another order than the drawer has them.
  sto_Numbers(std::string file, ORXSimDistributionID distribution, int drawer, std::vector<int> rows);
  /// One of the numbers in each row, as rows of one number.
  void Only(std::size_t component) { m_component = static_cast<int>(component); }

  Type NumberType() const override;
  std::size_t Rows() const override { return m_count; }
  std::size_t Width() const override;

 private:
  friend class mesh_NumbersBy<sto_Numbers>;
  template <class T>
  void ReadAs(std::size_t first, std::size_t count, T* out) const;
  template <class Stored, class T>
  void Convert(std::size_t first, std::size_t count, T* out) const;
  void ReadRows(std::size_t first, std::size_t count, void* out) const;

  std::string m_file;
  ORXSimOpenDrawer m_drawer;
  std::size_t m_first = 0, m_count = 0;
  std::vector<int> m_rows; // of the drawer; empty: m_first, m_first + 1, ...
  int m_component = -1;    // -1: all
};
