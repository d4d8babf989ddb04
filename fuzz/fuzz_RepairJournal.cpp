#include "fuzz_Mutate.h"

#include <H5Journal/files/vfd_Checksum.h>
#include <H5Journal/files/vfd_Numbers.h>
#include <H5Journal/journal/vfd_Mark.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace {
static_assert(kVfdHeader == kVfdMark);
using Sector = unsigned char[kVfdMark];
constexpr std::size_t kVersion = 8; // its place in both

Sector& sectorOf(std::uint8_t* bytes) {
  return *reinterpret_cast<Sector*>(bytes);
}

// Header and mark end with the checksum of all before it.
void seal(std::uint8_t* sector) {
  vfd_PutNumber(sector + kVfdMark - 8, vfd_Checksum(sector, kVfdMark - 8));
}
} // namespace

bool fuzz_TakeMark(std::uint8_t* main, std::size_t size, vfd_Mark& mark) {
  if (size < kVfdMark)
    return false;
  mark.Decode(sectorOf(main));
  if (mark.damaged) {
    seal(main);
    mark.Decode(sectorOf(main));
  }
  return mark.present && !mark.damaged;
}

void fuzz_PutMark(std::uint8_t* main, const vfd_Mark& mark) {
  mark.Encode(sectorOf(main));
}

bool fuzz_TakeHeader(std::uint8_t* journal, std::size_t size, vfd_Header& header) {
  if (size < kVfdHeader)
    return false;
  seal(journal);
  return header.Decode(sectorOf(journal));
}

// Encode writes the newest version only; one of version 1 stays one.
void fuzz_PutHeader(std::uint8_t* journal, const vfd_Header& header) {
  header.Encode(sectorOf(journal));
  vfd_PutNumber(journal + kVersion, header.version);
  seal(journal);
}

void fuzz_MatchJournal(std::uint8_t* main, std::size_t mainSize, std::uint8_t* journal, std::size_t size) {
  vfd_Header header;
  if (!fuzz_TakeHeader(journal, size, header))
    return;
  vfd_Mark mark;
  if (fuzz_TakeMark(main, mainSize, mark)) {
    mark.hasJournal = true;
    mark.current = header.generation;
    mark.fileId = header.fileId;
    mark.direct = UINT64_MAX; // not older than the journal, nor newer
    mark.reached = 0;
    fuzz_PutMark(main, mark);
  }
  Sector sector = {};
  if (header.sectorAt < mainSize)
    std::memcpy(sector, main + header.sectorAt, std::min(mainSize - header.sectorAt, sizeof sector));
  header.sector = vfd_SectorSum(sector);
  fuzz_PutHeader(journal, header);
}

void fuzz_ForEachRecord(std::uint8_t* journal, std::size_t size,
                        const std::function<void(std::uint8_t*, vfd_RecordKind)>& work) {
  for (std::size_t at = kVfdHeader, bytes; at + kVfdCommit <= size; at += bytes) {
    const vfd_RecordKind kind = vfd_KindOf(journal + at);
    bytes = kind == vfd_RecordKind::kFrame ? kVfdFrame : kVfdCommit;
    if (kind == vfd_RecordKind::kNone || at + bytes > size)
      return;
    work(journal + at, kind);
  }
}

void fuzz_RepairJournal(std::uint8_t* journal, std::size_t size) {
  vfd_Header header;
  if (!fuzz_TakeHeader(journal, size, header))
    return;
  const std::uint64_t salt = header.version < 2 ? 0 : header.salt;
  std::uint64_t chain = header.salt;
  std::uint32_t frames = 0; // since the last commit
  fuzz_ForEachRecord(journal, size, [&](std::uint8_t* record, vfd_RecordKind kind) {
    if (kind == vfd_RecordKind::kFrame) {
      unsigned char page[kVfdPage];
      std::memcpy(page, record + kVfdFrameHead, sizeof page);
      vfd_PutFrame(record, salt, vfd_PageOfFrame(record), page, 0, chain);
      ++frames;
      return;
    }
    vfd_CommitRecord commit;
    std::uint64_t old = chain; // its own checksum is not looked at
    commit.Decode(record, old);
    commit.frames = std::exchange(frames, 0);
    commit.salt = salt;
    commit.Encode(record, chain);
  });
}
