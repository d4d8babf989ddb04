// The same checksum, compiled for processors with AVX2 (see CMakeLists.txt); vfd_Checksum chooses.

#include <cstddef>
#include <cstdint>

#define XXH_INLINE_ALL
#include <xxhash.h>

std::uint64_t vfd_ChecksumAvx2(const void* bytes, std::size_t count, std::uint64_t seed);
std::uint64_t vfd_ChecksumAvx2(const void* bytes, std::size_t count, std::uint64_t seed) {
  return XXH3_64bits_withSeed(bytes, count, seed);
}
