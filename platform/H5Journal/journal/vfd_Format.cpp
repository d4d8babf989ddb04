#include <H5Journal/journal/vfd_Format.h>

#include <H5Journal/files/vfd_Io.h>
#include <H5Journal/files/vfd_Rules.h>
#include <UTI_ORXSimDynamicAPI/hdf_Checksum.h>

#include <algorithm>
#include <cstring>
#include <memory>

namespace {
constexpr unsigned char kMagic[8] = {0x93, 'P', 'D', 'M', 'J', '\r', '\n', 0x1a};
constexpr std::uint32_t kVersion = 1;
constexpr std::uint32_t kFrameKind = 1, kCommitKind = 2;
constexpr std::size_t kSector = 512;

// Places in the header.
constexpr std::size_t kSalt = 16, kBase = 24, kFirstSector = 32, kFlags = 40, kFileId = 48, kSequence = 64,
                      kProcess = 72, kHost = 80, kHostBytes = 64, kHeaderSum = kVfdHeader - 8;

template <class Number>
void put(unsigned char* target, Number number) {
  for (std::size_t i = 0; i < sizeof number; ++i)
    target[i] = static_cast<unsigned char>(number >> (8 * i));
}

template <class Number>
Number take(const unsigned char* source) {
  Number number = 0;
  for (std::size_t i = sizeof number; i-- > 0;)
    number = static_cast<Number>(number << 8 | source[i]);
  return number;
}

std::uint64_t frameSum(const unsigned char* record, const unsigned char* page, std::uint64_t chain) {
  return hdf_Checksum(page, kVfdPage, hdf_Checksum(record, 16, chain));
}

// Reads the journal front to back through a buffer.
class Reader {
 public:
  Reader(int journal, std::uint64_t at)
      : m_journal(journal), m_at(at), m_buffer(std::make_unique<unsigned char[]>(kBuffer)) {}

  // The next `count` bytes, null at the end of the file or when reading failed.
  const unsigned char* Peek(std::size_t count) {
    if (m_have - m_used < count && !Fill())
      return nullptr;
    return m_have - m_used < count ? nullptr : m_buffer.get() + m_used;
  }
  void Skip(std::size_t count) {
    m_used += count;
    m_at += count;
  }
  std::uint64_t At() const { return m_at; }
  bool Failed() const { return m_failed; }

 private:
  static constexpr std::size_t kBuffer = 64 * kVfdFrame;

  bool Fill() {
    const std::size_t rest = m_have - m_used;
    std::memmove(m_buffer.get(), m_buffer.get() + m_used, rest);
    std::size_t got = 0;
    m_failed = m_failed || !vfd_ReadAt(m_journal, m_buffer.get() + rest, kBuffer - rest, m_at + rest, got);
    m_used = 0;
    m_have = rest + got;
    return !m_failed;
  }

  int m_journal;
  std::uint64_t m_at; // offset in the journal of the first unused byte
  std::unique_ptr<unsigned char[]> m_buffer;
  std::size_t m_used = 0, m_have = 0;
  bool m_failed = false;
};

bool sumHolds(std::uint64_t stored, std::uint64_t computed) {
  return stored == computed || vfd_Broken(vfd_Rule::kChecksum);
}

bool byPage(const vfd_PageIndex::Entry& a, const vfd_PageIndex::Entry& b) {
  return a.page < b.page;
}

// Orders by page and keeps the last entry of each.
void keepNewest(vfd_PageIndex::Entries& entries) {
  std::stable_sort(entries.begin(), entries.end(), byPage);
  std::size_t kept = 0;
  for (std::size_t i = 0; i < entries.size(); ++i)
    if (i + 1 == entries.size() || entries[i + 1].page != entries[i].page)
      entries[kept++] = entries[i];
  entries.resize(kept);
}
} // namespace

void vfd_Header::Encode(unsigned char (&bytes)[kVfdHeader]) const {
  std::memset(bytes, 0, kVfdHeader);
  std::memcpy(bytes, kMagic, sizeof kMagic);
  put(bytes + 8, kVersion);
  put(bytes + 12, static_cast<std::uint32_t>(kVfdPage));
  put(bytes + kSalt, salt);
  put(bytes + kBase, base);
  put(bytes + kFirstSector, firstSector);
  put(bytes + kFlags, std::uint64_t{0});
  std::memcpy(bytes + kFileId, fileId.data(), fileId.size());
  put(bytes + kSequence, sequence);
  put(bytes + kProcess, process);
  std::memcpy(bytes + kHost, host.data(), std::min(host.size(), kHostBytes - 1));
  put(bytes + kHeaderSum, hdf_Checksum(bytes, kHeaderSum));
}

bool vfd_Header::Decode(const unsigned char (&bytes)[kVfdHeader]) {
  if (std::memcmp(bytes, kMagic, sizeof kMagic) != 0 || take<std::uint32_t>(bytes + 8) != kVersion ||
      take<std::uint32_t>(bytes + 12) != kVfdPage ||
      !sumHolds(take<std::uint64_t>(bytes + kHeaderSum), hdf_Checksum(bytes, kHeaderSum)))
    return false;
  salt = take<std::uint64_t>(bytes + kSalt);
  base = take<std::uint64_t>(bytes + kBase);
  firstSector = take<std::uint64_t>(bytes + kFirstSector);
  std::memcpy(fileId.data(), bytes + kFileId, fileId.size());
  sequence = take<std::uint64_t>(bytes + kSequence);
  process = take<std::uint64_t>(bytes + kProcess);
  const char* const name = reinterpret_cast<const char*>(bytes + kHost);
  host.assign(name, ::strnlen(name, kHostBytes));
  return base < kVfdLargest;
}

void vfd_PutFrame(unsigned char* target, std::uint64_t page, const unsigned char* bytes,
                  std::uint64_t& chain) {
  put(target, kFrameKind);
  put(target + 4, std::uint32_t{0});
  put(target + 8, page);
  std::memcpy(target + kVfdFrameHead, bytes, kVfdPage);
  chain = frameSum(target, target + kVfdFrameHead, chain);
  put(target + 16, chain);
}

bool vfd_IsFrameOf(const unsigned char* record, std::uint64_t page) {
  return take<std::uint32_t>(record) == kFrameKind && take<std::uint64_t>(record + 8) == page;
}

void vfd_PutCommit(unsigned char* target, std::uint32_t frames, std::uint64_t eof, std::uint64_t sequence,
                   std::uint64_t& chain) {
  put(target, kCommitKind);
  put(target + 4, frames);
  put(target + 8, eof);
  put(target + 16, sequence);
  put(target + 24, std::uint64_t{0});
  chain = hdf_Checksum(target, kVfdCommit - 8, chain);
  put(target + 32, chain);
}

std::uint64_t vfd_SectorSum(const unsigned char* bytes) {
  return hdf_Checksum(bytes, kSector);
}

bool vfd_ReadSectorSum(int file, std::uint64_t& sum) {
  unsigned char sector[kSector];
  const bool read = vfd_ReadPadded(file, sector, sizeof sector, 0);
  sum = read ? vfd_SectorSum(sector) : 0;
  return read;
}

const vfd_PageIndex::Entry* vfd_PageIndex::Find(std::uint64_t page) const {
  const auto found = std::lower_bound(m_entries.begin(), m_entries.end(), Entry{page, 0}, byPage);
  return found != m_entries.end() && found->page == page ? &*found : nullptr;
}

void vfd_PageIndex::Reserve(std::size_t more) {
  if (const std::size_t needed = m_entries.size() + more; needed > m_entries.capacity())
    m_entries.reserve(std::max(needed, 2 * m_entries.capacity()));
}

void vfd_PageIndex::Merge(const Entries& newer) noexcept {
  // Most of a small update's pages are known, however many others there are.
  const auto known = static_cast<std::ptrdiff_t>(m_entries.size());
  for (const Entry& entry : newer) {
    const auto old = std::lower_bound(m_entries.begin(), m_entries.begin() + known, entry, byPage);
    if (old != m_entries.begin() + known && old->page == entry.page)
      old->frame = entry.frame;
    else
      m_entries.push_back(entry);
  }
  std::inplace_merge(m_entries.begin(), m_entries.begin() + known, m_entries.end(), byPage);
}

void vfd_PageIndex::DropFrom(std::uint64_t end) {
  m_entries.erase(std::lower_bound(m_entries.begin(), m_entries.end(), Entry{end, 0}, byPage),
                  m_entries.end());
}

bool vfd_JournalContent::Read(int journal) {
  *this = {};
  if (!vfd_GetSize(journal, size))
    return false;
  unsigned char bytes[kVfdHeader];
  std::size_t got = 0;
  if (!vfd_ReadAt(journal, bytes, sizeof bytes, 0, got))
    return false;
  const bool sound = got == sizeof bytes && header.Decode(bytes);
  state = sound ? State::kSound : size <= kVfdHeader ? State::kEmpty : State::kNoHeader;
  if (!sound)
    return true;
  eof = header.base;
  sequence = header.sequence;
  chain = header.salt;
  reach = vfd_PagesOf(eof);

  Reader reader(journal, kVfdHeader);
  vfd_PageIndex::Entries pending, committed; // frames since the last commit; frames in whole commits
  std::uint64_t running = chain, sector = 0;
  bool hasSector = false;
  for (const unsigned char* record; (record = reader.Peek(kVfdCommit)) != nullptr;) {
    if (take<std::uint32_t>(record) == kFrameKind) {
      record = reader.Peek(kVfdFrame);
      if (record == nullptr)
        break;
      running = frameSum(record, record + kVfdFrameHead, running);
      const auto page = take<std::uint64_t>(record + 8);
      if (!sumHolds(take<std::uint64_t>(record + 16), running) || page >= kVfdLargest / kVfdPage)
        break;
      pending.push_back({page, reader.At()});
      if (page == 0) {
        hasSector = true;
        sector = vfd_SectorSum(record + kVfdFrameHead);
      }
      reader.Skip(kVfdFrame);
      continue;
    }
    if (take<std::uint32_t>(record) != kCommitKind)
      break;
    running = hdf_Checksum(record, kVfdCommit - 8, running);
    const auto imageEnd = take<std::uint64_t>(record + 8);
    if (!sumHolds(take<std::uint64_t>(record + 32), running) ||
        take<std::uint32_t>(record + 4) != static_cast<std::uint32_t>(pending.size()) ||
        imageEnd >= kVfdLargest)
      break;
    eof = imageEnd;
    sequence = take<std::uint64_t>(record + 16);
    reach = std::max(reach, vfd_PagesOf(eof));
    reader.Skip(kVfdCommit);
    ++commits;
    frames += pending.size();
    committed.insert(committed.end(), pending.begin(), pending.end());
    pending.clear();
    if (hasSector)
      firstSectors.push_back(sector);
    hasSector = false;
    end = reader.At();
    chain = running;
  }
  if (reader.Failed())
    return false;
  unfinished = reader.At() - end;
  keepNewest(committed);
  reachOfFrames = committed.empty() ? 0 : committed.back().page + 1;
  reach = std::max(reach, reachOfFrames);
  index.Reserve(committed.size());
  index.Merge(committed);
  index.DropFrom(vfd_PagesOf(eof));
  return true;
}

bool vfd_JournalContent::Belongs(std::uint64_t sectorSum) const {
  return sectorSum == header.firstSector ||
         std::find(firstSectors.begin(), firstSectors.end(), sectorSum) != firstSectors.end();
}
