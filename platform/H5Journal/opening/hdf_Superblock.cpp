#include <H5Journal/opening/hdf_Superblock.h>

#include <H5Journal/commit/vfd_Store.h>
#include <UTI_ORXSimDynamicAPI/hdf_Checksum.h>

#include <cstring>

namespace {
constexpr unsigned char kSignature[8] = {0x89, 'H', 'D', 'F', '\r', '\n', 0x1a, '\n'};

std::uint64_t littleEndian(const unsigned char* bytes, int count) {
  std::uint64_t value = 0;
  while (count-- > 0)
    value = value << 8 | bytes[count];
  return value;
}

constexpr std::size_t kMarkAt = 11; // of versions 2 and 3
constexpr unsigned char kOpenMarks = 0x01 | 0x04;

// The bytes before the checksum of versions 2 and 3; 0 where there is none.
std::size_t checkedBytes(const unsigned char* block) {
  const int width = block[9];
  return (block[8] == 2 || block[8] == 3) && (width == 4 || width == 8)
             ? 12 + 4 * static_cast<std::size_t>(width)
             : 0;
}

// The address of the end stands behind others of the same width; where they begin depends on the version.
std::uint64_t endOf(const unsigned char* block, std::uint64_t start) {
  const int version = block[8];
  const bool old = version < 2;
  const int width = block[old ? 13 : 9];
  const int base = !old ? 12 : version == 0 ? 24 : 28;
  if (version > 3 || (width != 4 && width != 8))
    return 0;
  const std::uint64_t end = littleEndian(block + base + 2 * width, width);
  const std::uint64_t baseAddress = littleEndian(block + base, width);
  return baseAddress == 0 && start != 0 ? end + start : end;
}
} // namespace

hdf_Superblock hdf_Superblock::Read(const vfd_Store& store) {
  unsigned char block[64];
  for (std::uint64_t start = 0; start < store.End(); start = start == 0 ? 512 : 2 * start) {
    if (!store.Read(start, sizeof block, block))
      break;
    if (std::memcmp(block, kSignature, sizeof kSignature) != 0)
      continue;
    const std::size_t checked = checkedBytes(block);
    return {true, checked != 0 && hdf_MetadataChecksum(block, checked) != littleEndian(block + checked, 4),
            start, endOf(block, start)};
  }
  return {};
}

void hdf_Superblock::StripOpenMark(unsigned char* block, std::size_t available) {
  const std::size_t checked =
      available >= 64 && std::memcmp(block, kSignature, sizeof kSignature) == 0 ? checkedBytes(block) : 0;
  if (checked == 0 || (block[kMarkAt] & kOpenMarks) == 0)
    return;
  block[kMarkAt] = static_cast<unsigned char>(block[kMarkAt] & ~kOpenMarks);
  const std::uint32_t sum = hdf_MetadataChecksum(block, checked);
  for (int i = 0; i < 4; ++i)
    block[checked + static_cast<std::size_t>(i)] = static_cast<unsigned char>(sum >> (8 * i));
}
