#pragma once

#include <dof/dof_Bits.h>
#include <dof/dof_Lanes.h>

#include <array>
#include <bit>

/// What is chosen of four labels of a node: which of the node's DOFs these are, from 0.
struct fesD_ChosenOfFour {
  alignas(16) int offsets[4];
};

/// One entry for each (chosen four bits, active four bits), the former in the upper half of the index.
inline constexpr auto fesD_kChosenOfFour = [] {
  std::array<fesD_ChosenOfFour, 256> table{};
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
inline constexpr std::array<unsigned char, 16> fesD_kBitsOfFour{0, 1, 1, 2, 1, 2, 2, 3,
                                                                1, 2, 2, 3, 2, 3, 3, 4};

/// Appends system DOFs to an array, four at once and without branches on what they are.
class fesD_DofWriter {
 public:
  /// \param out [room] is written up to Written(), and up to its end beyond that.
  /// \param labels all labels in use, as a mask.
  fesD_DofWriter(int* out, int room, unsigned labels)
      : m_out(out), m_fast(room - 32), m_fours((static_cast<int>(std::bit_width(labels)) + 3) / 4) {}

  int Written() const { return m_written; }

  /// Appends the DOFs of the chosen labels of one node. \param mask the node's labels, of which `chosen` must
  /// be a part. \param first the node's first system DOF. \return the system DOF after the node's last.
  int Append(unsigned mask, unsigned chosen, int first) {
    if (m_written > m_fast) [[unlikely]]
      return AppendOneByOne(mask, chosen, first);
    int* out = m_out + m_written;
    for (int four = 0; four < m_fours; ++four, mask >>= 4, chosen >>= 4) {
      const fesD_Lanes offsets =
          fesD_Lanes::Load(fesD_kChosenOfFour[(chosen & 15) << 4 | (mask & 15)].offsets);
      (fesD_Lanes::Splat(first) + offsets).Store(out);
      out += fesD_kBitsOfFour[chosen & 15];
      first += fesD_kBitsOfFour[mask & 15];
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
