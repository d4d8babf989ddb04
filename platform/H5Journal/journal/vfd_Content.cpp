#include <H5Journal/journal/vfd_Content.h>

#include <H5Journal/files/vfd_Checksum.h>
#include <H5Journal/files/vfd_Io.h>
#include <H5Journal/files/vfd_Numbers.h>
#include <H5Journal/files/vfd_Rules.h>

#include <algorithm>
#include <cstring>
#include <memory>

namespace {
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
  // What is in the buffer, after Peek.
  std::size_t Ready() const { return m_have - m_used; }
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

// The records from the header on, as far as each continues the one before it.
class Chain {
 public:
  Chain(vfd_JournalContent& content, int journal)
      : m_content(content), m_reader(journal, kVfdHeader), m_running(content.header.salt) {}

  // False when reading failed.
  bool Walk() {
    for (const unsigned char* record; (record = m_reader.Peek(kVfdCommit)) != nullptr;) {
      const vfd_RecordKind kind = vfd_KindOf(record);
      if (!(kind == vfd_RecordKind::kFrame ? TakeFrame() : kind == vfd_RecordKind::kCommit && TakeCommit()))
        break;
    }
    m_content.unfinished = m_reader.At() - m_content.end;
    return !m_reader.Failed();
  }

  void Conclude() {
    vfd_PageIndex::KeepNewest(m_committed);
    m_content.reachOfFrames = m_committed.empty() ? 0 : m_committed.back().page + 1;
    m_content.reach = std::max(m_content.reach, m_content.reachOfFrames);
    m_content.index.Reserve(m_committed.size());
    m_content.index.Merge(m_committed);
    m_content.index.DropFrom(vfd_PagesOf(m_content.eof));
  }

 private:
  bool TakeFrame() {
    const unsigned char* const record = m_reader.Peek(kVfdFrame);
    if (record == nullptr)
      return false;
    const std::uint64_t before = m_running, page = vfd_PageOfFrame(record);
    m_running = vfd_ComputeFrameSum(record, before);
    if ((vfd_SumOfFrame(record) != m_running && !vfd_Broken(vfd_Rule::kChecksum)) ||
        page >= kVfdLargest / kVfdPage)
      return false;
    m_pending.push_back({page, {m_reader.At(), before, m_running}});
    if (page == 0) {
      m_hasSector = true;
      m_sector = vfd_SectorSum(record + kVfdFrameHead + m_content.header.sectorAt);
    }
    m_reader.Skip(kVfdFrame);
    return true;
  }

  bool TakeCommit() {
    vfd_CommitRecord commit;
    if (!commit.Decode(m_reader.Peek(kVfdCommit), m_running) ||
        commit.frames != static_cast<std::uint32_t>(m_pending.size()) || commit.eof >= kVfdLargest)
      return false;
    m_reader.Skip(kVfdCommit);
    m_content.eof = commit.eof;
    m_content.sequence = commit.sequence;
    if (commit.direct)
      m_content.direct = commit.sequence;
    m_content.reach = std::max(m_content.reach, vfd_PagesOf(commit.eof));
    ++m_content.commits;
    m_content.frames += m_pending.size();
    m_committed.insert(m_committed.end(), m_pending.begin(), m_pending.end());
    m_pending.clear();
    if (m_hasSector)
      m_content.sectors.push_back(m_sector);
    m_hasSector = false;
    m_content.end = m_reader.At();
    m_content.chain = m_running;
    return true;
  }

  vfd_JournalContent& m_content;
  Reader m_reader;
  vfd_PageIndex::Entries m_pending, m_committed; // frames since the last commit; frames in whole commits
  std::uint64_t m_running, m_sector = 0;
  bool m_hasSector = false;
};

// Looks behind the place where the chain breaks. The commit that was being written there when its writer died
// may be torn, its own record may have arrived and its frames not; but a later one was only begun when that
// one stood, so a later one means damage.
class Beyond {
 public:
  Beyond(vfd_JournalContent& content, int journal) : m_content(content), m_journal(journal) {}

  // False when reading failed.
  bool Look() {
    const std::uint64_t from = m_content.end + m_content.unfinished;
    unsigned char salt[8];
    vfd_PutNumber(salt, m_content.header.salt);
    Reader reader(m_journal, from);
    while (reader.Peek(sizeof salt) != nullptr) {
      const unsigned char* const bytes = reader.Peek(sizeof salt);
      const std::size_t count = reader.Ready();
      const auto* const found = static_cast<const unsigned char*>(::memmem(bytes, count, salt, sizeof salt));
      if (found == nullptr) {
        reader.Skip(count - sizeof salt + 1);
        continue;
      }
      const auto skipped = static_cast<std::size_t>(found - bytes);
      if (!Candidate(reader.At() + skipped))
        return false;
      reader.Skip(skipped + 1);
    }
    // Nothing was being written when its first commit was: that one cannot be torn.
    if (m_content.header.whole && m_content.commits == 0)
      m_content.lostCommits = std::max<std::uint64_t>(m_content.lostCommits, 1);
    if (m_content.lostCommits > 0) {
      m_content.state = vfd_JournalContent::State::kDamaged;
      m_content.damagedAt = from;
    }
    return !reader.Failed();
  }

 private:
  // A commit's checksum continues the one that the record before it carries at its end (a commit) or in its
  // head (a frame).
  bool Candidate(std::uint64_t saltAt) {
    if (saltAt < m_content.end + kVfdCommitSalt)
      return true;
    const std::uint64_t at = saltAt - kVfdCommitSalt;
    unsigned char record[kVfdCommit], sum[8];
    std::size_t got = 0;
    if (!vfd_ReadAt(m_journal, record, sizeof record, at, got))
      return false;
    if (got < sizeof record || vfd_KindOf(record) != vfd_RecordKind::kCommit)
      return true;
    for (const std::uint64_t back : {kVfdFrame - 16, std::size_t{8}}) {
      if (at < m_content.end + back)
        continue;
      if (!vfd_ReadAt(m_journal, sum, sizeof sum, at - back, got))
        return false;
      std::uint64_t chain = vfd_TakeNumber<std::uint64_t>(sum);
      vfd_CommitRecord commit;
      if (commit.Decode(record, chain) && commit.sequence > m_content.sequence + 1)
        return ++m_content.lostCommits, true;
    }
    return true;
  }

  vfd_JournalContent& m_content;
  int m_journal;
};
} // namespace

// A writer at work may have gone on between the two looks: a place is damaged when it still is after a commit
// behind it was seen.
bool vfd_JournalContent::Read(int journal) {
  std::uint64_t before = 0;
  do {
    before = damagedAt;
    if (!ReadOnce(journal))
      return false;
  } while (state == State::kDamaged && damagedAt != before);
  return true;
}

bool vfd_JournalContent::ReadOnce(int journal) {
  *this = {};
  unsigned char bytes[kVfdHeader] = {};
  std::size_t got = 0;
  if (!vfd_GetSize(journal, size) || !vfd_ReadAt(journal, bytes, sizeof bytes, 0, got))
    return false;
  if (got < sizeof bytes || !header.Decode(bytes)) {
    const bool zeros = std::all_of(bytes, bytes + got, [](unsigned char byte) { return byte == 0; });
    state = zeros && size <= kVfdHeader ? State::kEmpty : State::kNoHeader;
    return true;
  }
  state = State::kSound;
  eof = header.base;
  sequence = header.sequence;
  direct = header.direct;
  chain = header.salt;
  reach = vfd_PagesOf(eof);
  Chain records(*this, journal);
  if (!records.Walk())
    return false;
  records.Conclude();
  return header.version < 2 || Beyond(*this, journal).Look();
}

void vfd_JournalContent::MustReach(std::uint64_t number) {
  if (sequence >= number)
    return;
  if (state != State::kDamaged)
    damagedAt = end;
  state = State::kDamaged;
  lostCommits = std::max(lostCommits, number - sequence);
}

bool vfd_JournalContent::Resembles(std::uint64_t sectorSum) const {
  return sectorSum == header.sector || std::find(sectors.begin(), sectors.end(), sectorSum) != sectors.end();
}
