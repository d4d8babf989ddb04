#pragma once

#include <fes/dpa/impl/fesD_Lanes.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

/// Takes ints in blocks and brings them to an array in whole cache lines, each written once. What is filled
/// stays in the first-level cache; a large array is written past the caches, which saves reading it first.
template <int Block>
class fesD_DofSink {
public:
  /// \param out receives everything. \param streaming past the caches.
  fesD_DofSink(int* out, bool streaming) : m_out(out), m_streaming(streaming) {}

  /// Room for a block of Block ints, and three that are written needlessly.
  int* Room() { return m_stage + m_staged; }

  /// Takes the first n ints of the room.
  void Take(int n) {
    m_staged += n;
    if (m_streaming)
      StreamLines();
    else
      Put(m_staged);
  }

  /// Brings the rest.
  void Finish() {
    Put(m_staged);
    if (m_streaming)
      fesD_EndStreaming();
  }

private:
  static constexpr int kLine = 16; // ints a cache line

  void Put(int n) {
    std::memcpy(m_out, m_stage, static_cast<std::size_t>(n) * sizeof(int));
    m_out += n;
    m_staged -= n;
  }

  void StreamLines() {
    const auto past = static_cast<int>(reinterpret_cast<std::uintptr_t>(m_out) / sizeof(int) % kLine);
    const int* from = m_stage;
    if (past != 0) {
      const int head = std::min(kLine - past, m_staged);
      std::memcpy(m_out, from, static_cast<std::size_t>(head) * sizeof(int));
      m_out += head;
      from += head;
    }
    const int* const end = m_stage + m_staged;
    for (; end - from >= kLine; from += kLine, m_out += kLine)
      for (int i = 0; i < kLine; i += 4)
        fesD_Lanes::Load(from + i).Stream(m_out + i);
    m_staged = static_cast<int>(end - from);
    std::memmove(m_stage, from, static_cast<std::size_t>(m_staged) * sizeof(int));
  }

  int* m_out;
  bool m_streaming;
  int m_staged = 0;
  alignas(64) int m_stage[Block + kLine + 3];
};
