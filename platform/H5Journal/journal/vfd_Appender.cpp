#include <H5Journal/journal/vfd_Appender.h>

#include <H5Journal/files/vfd_Io.h>

#include <algorithm>

void vfd_Appender::Reserve(std::size_t frames) {
  m_records.reserve(std::min(frames, kVfdFramesAtOnce) * kVfdFrame + kVfdCommit);
}

unsigned char* vfd_Appender::Room(std::size_t bytes) {
  m_records.resize(m_records.size() + bytes);
  return m_records.data() + m_records.size() - bytes;
}

bool vfd_Appender::Put(const vfd_NewPage& page, vfd_FrameRef& frame) {
  if (m_records.size() >= kVfdFramesAtOnce * kVfdFrame && !Flush())
    return false;
  const std::uint64_t at = m_end + m_records.size();
  frame = vfd_PutFrame(Room(kVfdFrame), m_salt, page.number, page.bytes, at, m_chain);
  return true;
}

bool vfd_Appender::Commit(std::uint64_t frames, std::uint64_t eof, std::uint64_t sequence, bool direct) {
  const vfd_CommitRecord record{static_cast<std::uint32_t>(frames), eof, sequence, m_salt, direct};
  record.Encode(Room(kVfdCommit), m_chain);
  return Flush();
}

bool vfd_Appender::Flush() {
  if (!vfd_WriteAt(m_journal, m_records.data(), m_records.size(), m_end))
    return false;
  m_end += m_records.size();
  m_records.clear();
  return true;
}
