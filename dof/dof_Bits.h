#pragma once

#include <dof/dof_Memory.h>

#include <cstdint>
#include <cstring>

/// \return the number of set bits, without a call where the machine's baseline has no instruction for it.
constexpr int dof_CountBits(std::uint64_t bits) {
  bits -= bits >> 1 & 0x5555555555555555u;
  bits = (bits & 0x3333333333333333u) + (bits >> 2 & 0x3333333333333333u);
  bits = (bits + (bits >> 4)) & 0x0f0f0f0f0f0f0f0fu;
  return static_cast<int>(bits * 0x0101010101010101u >> 56);
}

/// A mark for each of n system DOFs, all clear at first.
class dof_Bits {
 public:
  explicit dof_Bits(int n)
      : m_wordCount(dof_At(n) / 64 + 2), // a run may reach one word past the last
        m_words(
            static_cast<std::uint64_t*>(mem_OperatorNewThrowBuiltin(m_wordCount * sizeof(std::uint64_t)))) {
    std::memset(m_words.get(), 0, m_wordCount * sizeof(std::uint64_t));
  }

  /// \return 1 where the DOF is marked, else 0.
  unsigned Bit(int dof) const { return static_cast<unsigned>(Word(dof) >> (dof & 63)) & 1; }
  std::uint64_t Word(int dof) const { return m_words[dof_At(dof) >> 6]; }
  void SetWord(int dof, std::uint64_t word) { m_words[dof_At(dof) >> 6] = word; }

  /// Marks count DOFs from first on, count below 32. Never branches.
  void SetRun(int first, int count) {
    const std::uint64_t run = (std::uint64_t{1} << count) - 1;
    std::uint64_t* const word = &m_words[dof_At(first) >> 6];
    const int place = first & 63;
    word[0] |= run << place;
    word[1] |= run >> 1 >> (63 - place);
  }

  /// \return the number of marks.
  int Count() const {
    int count = 0;
    for (std::size_t i = 0; i < m_wordCount; ++i)
      count += dof_CountBits(m_words[i]);
    return count;
  }

 private:
  std::size_t m_wordCount;
  std::unique_ptr<std::uint64_t[], dof_Free> m_words;
};
