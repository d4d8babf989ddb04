#include <H5Journal/files/vfd_Checksum.h>

#define XXH_INLINE_ALL // nothing of it to link
#include <bit>
#include <xxhash.h>

#ifdef __x86_64__
std::uint64_t vfd_ChecksumAvx2(const void* bytes, std::size_t count, std::uint64_t seed);

namespace {
constexpr std::size_t kLong = 1024; // below, the wide registers gain nothing
}
#endif

std::uint64_t vfd_Checksum(const void* bytes, std::size_t count, std::uint64_t seed) {
#ifdef __x86_64__
  if (count >= kLong && __builtin_cpu_supports("avx2"))
    return vfd_ChecksumAvx2(bytes, count, seed);
#endif
  return XXH3_64bits_withSeed(bytes, count, seed);
}

std::uint32_t vfd_MetadataChecksum(const unsigned char* bytes, std::size_t count) {
  std::uint32_t a, b, c;
  a = b = c = 0xdeadbeef + static_cast<std::uint32_t>(count);
  const auto take = [&bytes](std::size_t length) {
    std::uint32_t word = 0;
    for (std::size_t i = 0; i < length; ++i)
      word |= std::uint32_t{bytes[i]} << (8 * i);
    bytes += length;
    return word;
  };
  for (; count > 12; count -= 12) {
    a += take(4);
    b += take(4);
    c += take(4);
    a = (a - c) ^ std::rotl(c, 4), c += b;
    b = (b - a) ^ std::rotl(a, 6), a += c;
    c = (c - b) ^ std::rotl(b, 8), b += a;
    a = (a - c) ^ std::rotl(c, 16), c += b;
    b = (b - a) ^ std::rotl(a, 19), a += c;
    c = (c - b) ^ std::rotl(b, 4), b += a;
  }
  if (count == 0)
    return c;
  const std::size_t first = count < 4 ? count : 4, second = count < 8 ? count - first : 4;
  a += take(first);
  b += take(second);
  c += take(count - first - second);
  c = (c ^ b) - std::rotl(b, 14);
  a = (a ^ c) - std::rotl(c, 11);
  b = (b ^ a) - std::rotl(a, 25);
  c = (c ^ b) - std::rotl(b, 16);
  a = (a ^ c) - std::rotl(c, 4);
  b = (b ^ a) - std::rotl(a, 14);
  c = (c ^ b) - std::rotl(b, 24);
  return c;
}
