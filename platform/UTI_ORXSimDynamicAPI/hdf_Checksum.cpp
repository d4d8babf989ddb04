#include <UTI_ORXSimDynamicAPI/hdf_Checksum.h>

#define XXH_INLINE_ALL // nothing of it to link
#include <xxhash.h>

#ifdef __x86_64__
std::uint64_t hdf_ChecksumAvx2(const void* bytes, std::size_t count, std::uint64_t seed);

namespace {
constexpr std::size_t kLong = 1024; // below, the wide registers gain nothing
}
#endif

std::uint64_t hdf_Checksum(const void* bytes, std::size_t count, std::uint64_t seed) {
#ifdef __x86_64__
  if (count >= kLong && __builtin_cpu_supports("avx2"))
    return hdf_ChecksumAvx2(bytes, count, seed);
#endif
  return XXH3_64bits_withSeed(bytes, count, seed);
}
