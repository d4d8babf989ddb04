#include <H5Journal/journal/vfd_MainFile.h>

#include <H5Journal/files/vfd_Cause.h>
#include <H5Journal/files/vfd_Rules.h>

#include <algorithm>
#include <cstring>

bool vfd_MainFile::Take(vfd_Descriptor file) {
  Close();
  m_file = std::move(file);
  if (!vfd_FileIdentity::Of(m_file.Get(), m_identity) || !LookAgain())
    return false;
  m_syncedSize = 0;
  m_reserved = m_size;
  m_holes = vfd_HasHoles(m_file.Get());
  return m_mark.Read(m_file.Get());
}

bool vfd_MainFile::Read(std::uint64_t address, std::size_t count, void* bytes) const {
  if (!vfd_ReadPadded(m_file.Get(), bytes, count, address))
    return vfd_Fail("read");
  if (m_mark.isNew && address < kVfdMark) // it stands there for others only
    std::memset(bytes, 0, std::min<std::uint64_t>(count, kVfdMark - address));
  return true;
}

bool vfd_MainFile::Write(std::uint64_t address, std::size_t count, const void* bytes) {
  if (!vfd_WriteAt(m_file.Get(), bytes, count, address))
    return vfd_Fail("write");
  HasGrown(address, address + count);
  return true;
}

void vfd_MainFile::HasGrown(std::uint64_t address, std::uint64_t end) {
  m_size = std::max(m_size, end);
  if (address <= m_reserved) // else what lies between is a hole
    m_reserved = std::max(m_reserved, end);
}

bool vfd_MainFile::Extend(std::uint64_t end) {
  if (vfd_Broken(vfd_Rule::kReserve))
    return m_size >= end || SetSize(end);
  if (m_reserved < end && !vfd_Reserve(m_file.Get(), m_reserved, end))
    return vfd_Fail("extend the file");
  m_reserved = std::max(m_reserved, end);
  m_size = std::max(m_size, end);
  return true;
}

bool vfd_MainFile::ReserveHole(std::uint64_t start, std::uint64_t end) {
  return !m_holes || vfd_Broken(vfd_Rule::kReserve) || vfd_Reserve(m_file.Get(), start, end) ||
         vfd_Fail("reserve space in the file");
}

bool vfd_MainFile::SetSize(std::uint64_t size) {
  if (!vfd_SetSize(m_file.Get(), size))
    return vfd_Fail("set the file's size");
  m_size = size;
  m_syncedSize = std::min(m_syncedSize, size);
  m_reserved = std::min(m_reserved, size);
  return true;
}

bool vfd_MainFile::Sync() {
  if (!vfd_Sync(m_file.Get()))
    return vfd_Fail("sync the file");
  m_syncedSize = m_size;
  return true;
}

bool vfd_MainFile::WriteMark() {
  if (!m_mark.present)
    return true;
  unsigned char bytes[kVfdMark];
  m_mark.Encode(bytes);
  return vfd_WriteAt(m_file.Get(), bytes, sizeof bytes, 0) || vfd_Fail("write the file's mark");
}

void vfd_MainFile::StateReached(std::uint64_t number) {
  m_mark.reached = number;
  if (m_mark.present && m_mapping.Open(m_file.Get()))
    m_mapping.Store(vfd_Mark::kReachedAt, m_mark.EncodeReached());
  else if (!WriteMark())
    vfd_LastCause().Clear(); // nobody is told
}

void vfd_MainFile::PutMark(unsigned char* page) const {
  unsigned char bytes[kVfdMark];
  if (!m_mark.present)
    return;
  m_mark.Encode(bytes);
  std::memcpy(page, bytes, sizeof bytes);
}
