#include <H5Journal/opening/vfd_Superblock.h>

#include <H5Journal/files/vfd_Checksum.h>
#include <H5Journal/files/vfd_Numbers.h>

#include <cstring>

namespace {
constexpr unsigned char kSignature[8] = {0x89, 'H', 'D', 'F', '\r', '\n', 0x1a, '\n'};

constexpr std::size_t kMarkAt = 11; // of versions 2 and 3
constexpr unsigned char kOpenMarks = 0x01 | 0x04;

// The bytes before the checksum of versions 2 and 3; 0 where there is none.
std::size_t checkedBytes(const unsigned char* block) {
  const std::size_t width = block[9];
  return (block[8] == 2 || block[8] == 3) && (width == 4 || width == 8) ? 12 + 4 * width : 0;
}

// The address of the end stands behind others of the same width; where they begin depends on the version.
std::uint64_t endOf(const unsigned char* block, std::uint64_t start) {
  const int version = block[8];
  const bool old = version < 2;
  const std::size_t width = block[old ? 13 : 9], base = !old ? 12 : version == 0 ? 24 : 28;
  if (version > 3 || (width != 4 && width != 8))
    return 0;
  const std::uint64_t end = vfd_TakeBytes(block + base + 2 * width, width);
  const std::uint64_t baseAddress = vfd_TakeBytes(block + base, width);
  return baseAddress == 0 && start != 0 ? end + start : end;
}
} // namespace

vfd_Superblock vfd_Superblock::Read(std::uint64_t size,
                                    const std::function<bool(std::uint64_t, std::size_t, void*)>& read) {
  unsigned char block[64];
  for (std::uint64_t start = 0; start < size; start = start == 0 ? 512 : 2 * start) {
    if (!read(start, sizeof block, block))
      break;
    if (std::memcmp(block, kSignature, sizeof kSignature) != 0)
      continue;
    const std::size_t checked = checkedBytes(block);
    return {true, checked != 0 && vfd_MetadataChecksum(block, checked) != vfd_TakeBytes(block + checked, 4),
            start, endOf(block, start)};
  }
  return {};
}

void vfd_Superblock::StripOpenMark(unsigned char* block, std::size_t available) {
  const std::size_t checked =
      available >= 64 && std::memcmp(block, kSignature, sizeof kSignature) == 0 ? checkedBytes(block) : 0;
  if (checked == 0 || (block[kMarkAt] & kOpenMarks) == 0)
    return;
  block[kMarkAt] = static_cast<unsigned char>(block[kMarkAt] & ~kOpenMarks);
  vfd_PutNumber(block + checked, vfd_MetadataChecksum(block, checked));
}
