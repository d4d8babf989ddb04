#include <H5Journal/journal/vfd_Mark.h>

#include <H5Journal/files/vfd_Checksum.h>
#include <H5Journal/files/vfd_Io.h>
#include <H5Journal/files/vfd_Numbers.h>

#include <algorithm>
#include <cstring>

namespace {
constexpr unsigned char kMagic[8] = {0x93, 'H', '5', 'J', '\r', '\n', 0x1a, '\n'};
constexpr std::uint32_t kVersion = 2;
constexpr std::uint32_t kHasJournal = 1, kIsNew = 2;
constexpr std::size_t kFlags = 12, kCurrent = 16, kFinished = 24, kFileId = 32, kInode = 48, kWriter = 56,
                      kName = 128, kNameBytes = 256, kDirect = 384, kSpare = 400, kSum = kVfdMark - 8;
} // namespace

void vfd_Mark::Encode(unsigned char (&bytes)[kVfdMark]) const {
  std::memset(bytes, 0, kVfdMark);
  std::memcpy(bytes, kMagic, sizeof kMagic);
  vfd_PutNumber(bytes + 8, kVersion);
  vfd_PutNumber(bytes + kFlags, (hasJournal ? kHasJournal : 0) | (isNew ? kIsNew : 0));
  vfd_PutNumber(bytes + kCurrent, current);
  vfd_PutNumber(bytes + kFinished, finished);
  std::memcpy(bytes + kFileId, fileId.data(), fileId.size());
  vfd_PutNumber(bytes + kInode, inode);
  writer.Encode(bytes + kWriter);
  std::memcpy(bytes + kName, journalName.data(), std::min(journalName.size(), kNameBytes - 1));
  vfd_PutNumber(bytes + kDirect, direct);
  for (std::size_t i = 0; i < kVfdSpares; ++i) {
    vfd_PutBytes(bytes + kSpare + 12 * i, spare[i].address, 6);
    vfd_PutBytes(bytes + kSpare + 12 * i + 6, spare[i].bytes, 6);
  }
  vfd_PutNumber(bytes + kSum, vfd_Checksum(bytes, kSum));
  const std::uint64_t word = EncodeReached();
  std::memcpy(bytes + kReachedAt, &word, sizeof word);
}

// It changes alone, so the checksum of the whole takes it for zeros.
std::uint64_t vfd_Mark::EncodeReached() const {
  if (reached == 0)
    return 0;
  unsigned char bytes[8];
  vfd_PutBytes(bytes, reached, 6);
  vfd_PutBytes(bytes + 6, vfd_Checksum(bytes, 6, current), 2);
  std::uint64_t word = 0;
  std::memcpy(&word, bytes, sizeof word);
  return word;
}

void vfd_Mark::Decode(const unsigned char (&bytes)[kVfdMark]) {
  *this = {};
  present = std::memcmp(bytes, kMagic, sizeof kMagic) == 0;
  unsigned char whole[kVfdMark];
  std::memcpy(whole, bytes, kVfdMark);
  std::memset(whole + kReachedAt, 0, 8);
  damaged = present && (vfd_TakeNumber<std::uint32_t>(bytes + 8) != kVersion ||
                        vfd_TakeNumber<std::uint64_t>(bytes + kSum) != vfd_Checksum(whole, kSum));
  if (!present || damaged)
    return;
  const auto flags = vfd_TakeNumber<std::uint32_t>(bytes + kFlags);
  hasJournal = (flags & kHasJournal) != 0;
  isNew = (flags & kIsNew) != 0;
  current = vfd_TakeNumber<std::uint64_t>(bytes + kCurrent);
  finished = vfd_TakeNumber<std::uint64_t>(bytes + kFinished);
  std::memcpy(fileId.data(), bytes + kFileId, fileId.size());
  inode = vfd_TakeNumber<std::uint64_t>(bytes + kInode);
  direct = vfd_TakeNumber<std::uint64_t>(bytes + kDirect);
  reached = vfd_TakeBytes(bytes + kReachedAt, 6);
  const std::uint64_t word = EncodeReached();
  damaged = std::memcmp(bytes + kReachedAt, &word, sizeof word) != 0;
  for (std::size_t i = 0; i < kVfdSpares; ++i)
    spare[i] = {vfd_TakeBytes(bytes + kSpare + 12 * i, 6), vfd_TakeBytes(bytes + kSpare + 12 * i + 6, 6)};
  writer.Decode(bytes + kWriter);
  const char* const name = reinterpret_cast<const char*>(bytes + kName);
  journalName.assign(name, ::strnlen(name, kNameBytes));
}

bool vfd_Mark::Read(int file) {
  unsigned char bytes[kVfdMark];
  if (!vfd_ReadPadded(file, bytes, sizeof bytes, 0))
    return false;
  Decode(bytes);
  return true;
}
