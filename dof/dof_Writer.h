#pragma once

#include <dof/dof_Lanes.h>

#include <array>
#include <bit>

/// What is chosen of four labels of a node: which of the node's DOFs these are, from 0.
struct dof_ChosenOfFour {
  alignas(16) int offsets[4];
};

/// One entry for each (chosen four bits, active four bits), the former in the upper half of the index.
inline constexpr auto dof_kChosenOfFour = [] {
  std::array<dof_ChosenOfFour, 256> table{};
  for (unsigned index = 0; index < 256; ++index) {
    int offset = 0, taken = 0;
    for (unsigned bit = 1; bit < 16; bit <<= 1) {
      if ((index >> 4 & bit) != 0)
        table[index].offsets[taken++] = offset;
      offset += (index & bit) != 0;
    }
  }
  return table;
}();

/// Number of set bits of four.
inline constexpr std::array<unsigned char, 16> dof_kBitsOfFour{0, 1, 1, 2, 1, 2, 2, 3,
                                                               1, 2, 2, 3, 2, 3, 3, 4};

/// Appends system DOFs to an array, four at once and without branches on what they are.
class dof_Writer {
 public:
  /// \param out    [room] holds the result up to Written(); what lies behind may be written as well.
  /// \param room   entries of out.
  /// \param labels all labels in use, as a mask.
  dof_Writer(int* out, int room, unsigned labels)
      : m_out(out), m_fast(room - 32), m_fours((static_cast<int>(std::bit_width(labels)) + 3) / 4) {}

  int Written() const { return m_written; }

  /// Appends the DOFs of the chosen labels of one node.
  /// \param mask   the node's labels.
  /// \param chosen a part of mask.
  /// \param first  the node's first system DOF.
  /// \return the system DOF after the node's last.
  int Append(unsigned mask, unsigned chosen, int first) {
    if (m_written > m_fast) [[unlikely]]
      return AppendOneByOne(mask, chosen, first);
    int* out = m_out + m_written;
    for (int four = 0; four < m_fours; ++four, mask >>= 4, chosen >>= 4) {
      const dof_Lanes offsets = dof_Lanes::Load(dof_kChosenOfFour[(chosen & 15) << 4 | (mask & 15)].offsets);
      (dof_Lanes::Splat(first) + offsets).Store(out);
      out += dof_kBitsOfFour[chosen & 15];
      first += dof_kBitsOfFour[mask & 15];
    }
    m_written = static_cast<int>(out - m_out);
    return first;
  }

 private:
  int AppendOneByOne(unsigned mask, unsigned chosen, int first) {
    for (; mask != 0; mask &= mask - 1, ++first)
      if ((chosen & mask & (0 - mask)) != 0)
        m_out[m_written++] = first;
    return first;
  }

  int* m_out;
  int m_fast; // up to here whole groups of four can be stored
  int m_fours;
  int m_written = 0;
};
