#include <H5Journal/journal/vfd_Format.h>

#include <H5Journal/files/vfd_Checksum.h>
#include <H5Journal/files/vfd_Io.h>
#include <H5Journal/files/vfd_Numbers.h>
#include <H5Journal/files/vfd_Rules.h>

#include <algorithm>
#include <cstring>
#include <unistd.h>

namespace {
constexpr unsigned char kMagic[8] = {0x93, 'P', 'D', 'M', 'J', '\r', '\n', 0x1a};
constexpr std::uint32_t kNewest = 2;
constexpr std::uint32_t kFrameKind = 1, kCommitKind = 2, kDirectKind = 3;
constexpr std::size_t kSector = 512;

// Places in the header.
constexpr std::size_t kSalt = 16, kBase = 24, kSectorSum = 32, kGeneration = 40, kFileId = 48, kSequence = 64,
                      kWriter = 72, kPrevious = 144, kWhole = 152, kSectorAt = 160, kDirect = 168,
                      kHeaderSum = kVfdHeader - 8;

bool sumHolds(std::uint64_t stored, std::uint64_t computed) {
  return stored == computed || vfd_Broken(vfd_Rule::kChecksum);
}
} // namespace

vfd_Writer vfd_Writer::Self() {
  char name[kHostBytes] = {};
  const bool known = ::gethostname(name, sizeof name - 1) == 0;
  return {static_cast<std::uint64_t>(::getpid()), known ? name : "unknown"};
}

void vfd_Writer::Encode(unsigned char* bytes) const {
  vfd_PutNumber(bytes, process);
  std::memset(bytes + 8, 0, kHostBytes);
  std::memcpy(bytes + 8, host.data(), std::min(host.size(), kHostBytes - 1));
}

void vfd_Writer::Decode(const unsigned char* bytes) {
  process = vfd_TakeNumber<std::uint64_t>(bytes);
  const char* const name = reinterpret_cast<const char*>(bytes + 8);
  host.assign(name, ::strnlen(name, kHostBytes));
}

void vfd_Header::Encode(unsigned char (&bytes)[kVfdHeader]) const {
  std::memset(bytes, 0, kVfdHeader);
  std::memcpy(bytes, kMagic, sizeof kMagic);
  vfd_PutNumber(bytes + 8, kNewest);
  vfd_PutNumber(bytes + 12, static_cast<std::uint32_t>(kVfdPage));
  vfd_PutNumber(bytes + kSalt, salt);
  vfd_PutNumber(bytes + kBase, base);
  vfd_PutNumber(bytes + kSectorSum, sector);
  vfd_PutNumber(bytes + kSectorAt, sectorAt);
  vfd_PutNumber(bytes + kDirect, direct);
  vfd_PutNumber(bytes + kGeneration, generation);
  std::memcpy(bytes + kFileId, fileId.data(), fileId.size());
  vfd_PutNumber(bytes + kSequence, sequence);
  writer.Encode(bytes + kWriter);
  vfd_PutNumber(bytes + kPrevious, previous);
  vfd_PutNumber(bytes + kWhole, std::uint64_t{whole});
  vfd_PutNumber(bytes + kHeaderSum, vfd_Checksum(bytes, kHeaderSum));
}

bool vfd_Header::Decode(const unsigned char (&bytes)[kVfdHeader]) {
  version = vfd_TakeNumber<std::uint32_t>(bytes + 8);
  if (std::memcmp(bytes, kMagic, sizeof kMagic) != 0 || version < 1 || version > kNewest ||
      vfd_TakeNumber<std::uint32_t>(bytes + 12) != kVfdPage ||
      !sumHolds(vfd_TakeNumber<std::uint64_t>(bytes + kHeaderSum), vfd_Checksum(bytes, kHeaderSum)))
    return false;
  salt = vfd_TakeNumber<std::uint64_t>(bytes + kSalt);
  base = vfd_TakeNumber<std::uint64_t>(bytes + kBase);
  sector = vfd_TakeNumber<std::uint64_t>(bytes + kSectorSum);
  sectorAt = vfd_TakeNumber<std::uint64_t>(bytes + kSectorAt);
  direct = vfd_TakeNumber<std::uint64_t>(bytes + kDirect);
  generation = version < 2 ? 0 : vfd_TakeNumber<std::uint64_t>(bytes + kGeneration);
  previous = version < 2 ? 0 : vfd_TakeNumber<std::uint64_t>(bytes + kPrevious);
  whole = version >= 2 && vfd_TakeNumber<std::uint64_t>(bytes + kWhole) != 0;
  std::memcpy(fileId.data(), bytes + kFileId, fileId.size());
  sequence = vfd_TakeNumber<std::uint64_t>(bytes + kSequence);
  writer.Decode(bytes + kWriter);
  return base < kVfdLargest && sectorAt <= kVfdPage - kSector;
}

vfd_RecordKind vfd_KindOf(const unsigned char* record) {
  const auto kind = vfd_TakeNumber<std::uint32_t>(record);
  if (kind == kFrameKind)
    return vfd_RecordKind::kFrame;
  return kind == kCommitKind || kind == kDirectKind ? vfd_RecordKind::kCommit : vfd_RecordKind::kNone;
}

vfd_FrameRef vfd_PutFrame(unsigned char* target, std::uint64_t salt, std::uint64_t page,
                          const unsigned char* bytes, std::uint64_t at, std::uint64_t& chain) {
  vfd_FrameRef frame{at, chain, 0};
  vfd_PutNumber(target, kFrameKind);
  vfd_PutNumber(target + 4, static_cast<std::uint32_t>(salt));
  vfd_PutNumber(target + 8, page);
  std::memcpy(target + kVfdFrameHead, bytes, kVfdPage);
  frame.sum = chain = vfd_ComputeFrameSum(target, chain);
  vfd_PutNumber(target + 16, chain);
  return frame;
}

std::uint64_t vfd_PageOfFrame(const unsigned char* record) {
  return vfd_TakeNumber<std::uint64_t>(record + 8);
}

std::uint64_t vfd_SumOfFrame(const unsigned char* record) {
  return vfd_TakeNumber<std::uint64_t>(record + 16);
}

std::uint64_t vfd_ComputeFrameSum(const unsigned char* record, std::uint64_t chain) {
  return vfd_Checksum(record + kVfdFrameHead, kVfdPage, vfd_Checksum(record, 16, chain));
}

bool vfd_IsFrame(const unsigned char* record, std::uint64_t page, const vfd_FrameRef& frame) {
  return vfd_KindOf(record) == vfd_RecordKind::kFrame && vfd_PageOfFrame(record) == page &&
         (vfd_Broken(vfd_Rule::kVerify) || sumHolds(frame.sum, vfd_ComputeFrameSum(record, frame.before)));
}

void vfd_CommitRecord::Encode(unsigned char* target, std::uint64_t& chain) const {
  vfd_PutNumber(target, direct ? kDirectKind : kCommitKind);
  vfd_PutNumber(target + 4, frames);
  vfd_PutNumber(target + 8, eof);
  vfd_PutNumber(target + 16, sequence);
  vfd_PutNumber(target + kVfdCommitSalt, salt);
  chain = vfd_Checksum(target, kVfdCommit - 8, chain);
  vfd_PutNumber(target + 32, chain);
}

bool vfd_CommitRecord::Decode(const unsigned char* record, std::uint64_t& chain) {
  direct = vfd_TakeNumber<std::uint32_t>(record) == kDirectKind;
  frames = vfd_TakeNumber<std::uint32_t>(record + 4);
  eof = vfd_TakeNumber<std::uint64_t>(record + 8);
  sequence = vfd_TakeNumber<std::uint64_t>(record + 16);
  salt = vfd_TakeNumber<std::uint64_t>(record + kVfdCommitSalt);
  chain = vfd_Checksum(record, kVfdCommit - 8, chain);
  return sumHolds(vfd_TakeNumber<std::uint64_t>(record + 32), chain);
}

std::uint64_t vfd_SectorSum(const unsigned char* bytes) {
  return vfd_Checksum(bytes, kSector);
}

bool vfd_ReadSectorSum(int file, std::uint64_t at, std::uint64_t& sum) {
  unsigned char sector[kSector];
  const bool read = vfd_ReadPadded(file, sector, sizeof sector, at);
  sum = read ? vfd_SectorSum(sector) : 0;
  return read;
}
