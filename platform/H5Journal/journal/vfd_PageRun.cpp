#include <H5Journal/journal/vfd_PageRun.h>

#include <algorithm>

namespace {
constexpr std::size_t kAtOnce = std::size_t{1} << 20; // bytes
}

bool vfd_PageRun::Put(std::uint64_t page, const unsigned char* bytes) {
  if (!m_bytes.empty() && (page != m_first + m_bytes.size() / kVfdPage || m_bytes.size() >= kAtOnce) &&
      !Flush())
    return false;
  if (m_bytes.empty())
    m_first = page;
  m_bytes.insert(m_bytes.end(), bytes, bytes + kVfdPage);
  if (page == 0)
    m_main.PutMark(m_bytes.data());
  return true;
}

bool vfd_PageRun::Flush() {
  const std::uint64_t start = m_first * kVfdPage;
  const std::uint64_t count = std::min<std::uint64_t>(m_bytes.size(), m_end > start ? m_end - start : 0);
  const bool written = count == 0 || m_main.Write(start, count, m_bytes.data());
  m_bytes.clear();
  return written;
}
