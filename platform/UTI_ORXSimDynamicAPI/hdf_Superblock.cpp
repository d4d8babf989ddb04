#include <UTI_ORXSimDynamicAPI/hdf_Superblock.h>

#include <cstring>
#include <unistd.h>

namespace {
constexpr unsigned char kSignature[8] = {0x89, 'H', 'D', 'F', '\r', '\n', 0x1a, '\n'};

std::uint64_t littleEndian(const unsigned char* bytes, int count) {
  std::uint64_t value = 0;
  while (count-- > 0)
    value = value << 8 | bytes[count];
  return value;
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

hdf_Superblock hdf_Superblock::Read(int descriptor, std::uint64_t fileSize) {
  unsigned char block[64];
  // The signature stands at 0, 512, 1024, 2048 and so on.
  for (std::uint64_t start = 0; start < fileSize; start = start == 0 ? 512 : 2 * start) {
    std::memset(block, 0, sizeof block);
    if (::pread(descriptor, block, sizeof block, static_cast<off_t>(start)) < 8)
      break;
    if (std::memcmp(block, kSignature, sizeof kSignature) == 0)
      return {true, endOf(block, start)};
  }
  return {};
}
