#include <pdmsim/export/vtu/vtu_Sink.h>

#include <algorithm>
#include <new>
#include <zlib.h>

namespace {

constexpr std::size_t kBlock = 256 << 10; // packed at a time

template <class T>
std::string_view bytesOf(const std::vector<T>& values) {
  return {reinterpret_cast<const char*>(values.data()), values.size() * sizeof(T)};
}

} // namespace

void vtu_Sink::Begin(std::size_t bytes) {
  if (!m_packed) {
    const std::uint64_t length = bytes;
    return m_out.Bytes(&length, sizeof length);
  }
  const std::size_t blocks = (bytes + kBlock - 1) / kBlock;
  m_out << bytesOf(std::vector<std::uint64_t>{blocks, kBlock, bytes % kBlock});
  m_sizesAt = m_out.Position();
  m_out << bytesOf(std::vector<std::uint64_t>(blocks));
  m_sizes.clear();
  m_block.clear();
}

void vtu_Sink::Bytes(const void* bytes, std::size_t size) {
  if (!m_packed)
    return m_out.Bytes(bytes, size);
  for (const auto* from = static_cast<const unsigned char*>(bytes); size > 0;) {
    const std::size_t part = std::min(size, kBlock - m_block.size());
    m_block.insert(m_block.end(), from, from + part);
    from += part;
    size -= part;
    if (m_block.size() == kBlock)
      WriteBlock();
  }
}

void vtu_Sink::WriteBlock() {
  m_room.resize(compressBound(m_block.size()));
  uLongf length = m_room.size();
  if (compress2(m_room.data(), &length, m_block.data(), m_block.size(), Z_BEST_SPEED) != Z_OK)
    throw std::bad_alloc();
  m_out.Bytes(m_room.data(), length);
  m_sizes.push_back(length);
  m_block.clear();
}

void vtu_Sink::End() {
  if (!m_block.empty())
    WriteBlock();
  if (!m_sizes.empty())
    m_out.Patch(m_sizesAt, bytesOf(m_sizes));
  m_sizes.clear();
}
