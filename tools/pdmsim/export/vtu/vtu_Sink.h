#pragma once

#include <pdmsim/export/out/exp_Stream.h>

#include <cstdint>
#include <vector>

/// Takes the numbers of one array after the other, and writes them as they are or packed by zlib, each behind
/// the words that say how long it is.
class vtu_Sink {
 public:
  vtu_Sink(exp_Stream& out, bool packed) : m_out(out), m_packed(packed) {}
  /// \param bytes  that will come, before they are packed.
  void Begin(std::size_t bytes);
  void Bytes(const void* bytes, std::size_t size);
  void End();

 private:
  void WriteBlock();

  exp_Stream& m_out;
  bool m_packed;
  unsigned long long m_sizesAt = 0; // where the lengths of the packed blocks stand
  std::vector<std::uint64_t> m_sizes;
  std::vector<unsigned char> m_block, m_room;
};
