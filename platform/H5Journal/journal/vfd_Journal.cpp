#include <H5Journal/journal/vfd_Journal.h>

#include <H5Journal/files/vfd_Cause.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {
// Who may use the main file may use the journal: its owner, and its group where the system lets us name it.
// Without the group nobody gets more through it than everybody has.
bool giveRights(int file, const struct stat& mainFile) {
  if (::fchown(file, mainFile.st_uid, mainFile.st_gid) != 0 &&
      ::fchown(file, static_cast<uid_t>(-1), mainFile.st_gid) != 0 && errno != EPERM && errno != EINVAL)
    return false;
  struct stat own;
  if (::fstat(file, &own) != 0)
    return false;
  mode_t mode = mainFile.st_mode & 0666;
  if (own.st_gid != mainFile.st_gid)
    mode = (mode & 0606) | (mode & 0060 & ((mode & 0006) << 3));
  return ::fchmod(file, mode) == 0;
}
} // namespace

bool vfd_Journal::Make(const vfd_Place& place, const std::string& name, const struct stat& mainFile) {
  Close();
  m_file = place.Open(name, O_RDWR | O_CREAT | O_EXCL, 0600);
  if (!m_file.IsOpen())
    return vfd_Fail("make the journal");
  if (!vfd_FileIdentity::Of(m_file.Get(), m_identity) || !giveRights(m_file.Get(), mainFile)) {
    vfd_Fail("make the journal");
    place.Remove(name, m_identity);
    Close();
    return false;
  }
  return true;
}

void vfd_Journal::Take(vfd_Descriptor file) {
  Close();
  m_file = std::move(file);
  vfd_FileIdentity::Of(m_file.Get(), m_identity);
}

void vfd_Journal::GoOn(const vfd_JournalContent& content) {
  m_header = Header::kDurable;
  m_generation = content.header.generation;
  m_salt = content.header.salt;
  m_end = m_openEnd = content.end;
  m_chain = m_openChain = content.chain;
  m_openFrames = 0;
  m_fileBytes = content.size;
}

bool vfd_Journal::Remove(const vfd_Place& place) {
  const bool removed = vfd_Try(
      false, [&] { return place.Remove(place.JournalName(), m_identity) || vfd_Fail("remove the journal"); });
  Close();
  return removed;
}

void vfd_Journal::Close() {
  m_file.Close();
  m_header = Header::kNone;
  m_end = m_openEnd = kVfdHeader;
  m_openFrames = m_fileBytes = 0;
}

bool vfd_Journal::IsRemoved() const {
  struct stat status;
  return ::fstat(m_file.Get(), &status) == 0 && status.st_nlink == 0;
}

bool vfd_Journal::IsKnownRemoved() {
  const auto now = std::chrono::steady_clock::now();
  if (now - m_looked < std::chrono::milliseconds(1))
    return false;
  m_looked = now;
  return IsRemoved();
}

bool vfd_Journal::Start(vfd_Header header) {
  if (header.generation == 0)
    header.generation = vfd_Random();
  header.salt = vfd_Random();
  unsigned char bytes[kVfdHeader];
  header.Encode(bytes);
  if (!vfd_WriteAt(m_file.Get(), bytes, sizeof bytes, 0))
    return vfd_Fail("write the journal");
  m_header = Header::kWritten;
  m_generation = header.generation;
  m_salt = header.salt;
  m_end = m_openEnd = kVfdHeader;
  m_chain = m_openChain = header.salt;
  m_openFrames = 0;
  m_fileBytes = std::max<std::uint64_t>(m_fileBytes, kVfdHeader);
  return true;
}

bool vfd_Journal::Put(vfd_Appender& records, const std::vector<vfd_NewPage>& pages,
                      std::vector<vfd_FrameRef>& frames) {
  records.Reserve(pages.size());
  frames.resize(pages.size());
  for (std::size_t i = 0; i < pages.size(); ++i)
    if (!records.Put(pages[i], frames[i]))
      return false;
  return true;
}

bool vfd_Journal::Spill(const std::vector<vfd_NewPage>& pages, std::vector<vfd_FrameRef>& frames) {
  vfd_Appender records(m_file.Get(), m_salt, m_openEnd, m_openChain);
  if (!Put(records, pages, frames) || !records.Flush()) {
    vfd_Fail("write the journal");
    Cut(m_openEnd); // there may be no room on the disk
    return false;
  }
  m_openEnd = records.End();
  m_openChain = records.Chain();
  m_openFrames += pages.size();
  m_fileBytes = std::max(m_fileBytes, m_openEnd);
  return true;
}

bool vfd_Journal::Append(const std::vector<vfd_NewPage>& pages, std::uint64_t eof, std::uint64_t sequence,
                         bool direct, std::vector<vfd_FrameRef>& frames) {
  vfd_Appender records(m_file.Get(), m_salt, m_openEnd, m_openChain);
  if (!Put(records, pages, frames) || !records.Commit(m_openFrames + pages.size(), eof, sequence, direct))
    return vfd_Fail("write the journal");
  m_appendedEnd = records.End();
  m_appendedChain = records.Chain();
  return true;
}

void vfd_Journal::Accept() {
  m_end = m_openEnd = m_appendedEnd;
  m_chain = m_openChain = m_appendedChain;
  m_openFrames = 0;
  m_fileBytes = std::max(m_fileBytes, m_end);
}

// What lies behind the last record is never looked at, so it matters to nobody when this fails.
void vfd_Journal::WriteAhead() {
  static constinit unsigned char s_zeros[std::size_t{128} << 10] = {};
  if (m_appendedEnd <= m_fileBytes)
    return;
  m_fileBytes = m_appendedEnd;
  if (vfd_WriteAt(m_file.Get(), s_zeros, sizeof s_zeros, m_appendedEnd))
    m_fileBytes += sizeof s_zeros;
}

void vfd_Journal::Forget() {
  m_openEnd = m_end;
  m_openChain = m_chain;
  m_openFrames = 0;
}

bool vfd_Journal::Cut(std::uint64_t end) {
  const bool done = vfd_SetSize(m_file.Get(), end);
  if (done)
    m_fileBytes = std::min(m_fileBytes, end);
  return done;
}

bool vfd_Journal::Sync() {
  return vfd_Sync(m_file.Get()) || vfd_Fail("sync the journal");
}

bool vfd_Journal::ReadFrame(std::uint64_t page, const vfd_FrameRef& frame, unsigned char* bytes) const {
  unsigned char record[kVfdFrame];
  std::size_t got = 0;
  if (!vfd_ReadAt(m_file.Get(), record, sizeof record, frame.at, got))
    return vfd_Fail("read the journal");
  return TakeFrame(page, frame, record, got, bytes);
}

bool vfd_Journal::TakeFrame(std::uint64_t page, const vfd_FrameRef& frame, const unsigned char* record,
                            std::size_t got, unsigned char* bytes) {
  if (got < kVfdFrame || !vfd_IsFrame(record, page, frame))
    return vfd_Refuse("the journal has changed under its reader");
  std::memcpy(bytes, record + kVfdFrameHead, kVfdPage);
  return true;
}
