#include "fuzz_Mutate.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace {
template <class Number>
Number take(const std::uint8_t* from, std::size_t bytes = sizeof(Number)) {
  Number number = 0;
  std::memcpy(&number, from, bytes);
  return number;
}
void put(std::uint8_t* to, std::uint32_t number) {
  std::memcpy(to, &number, sizeof number);
}

// The checksum of HDF5's metadata: Bob Jenkins's lookup3, which is in the public domain.
std::uint32_t lookup3(const std::uint8_t* bytes, std::size_t size) {
  std::uint32_t a = 0xdeadbeef + static_cast<std::uint32_t>(size), b = a, c = a;
  for (; size > 12; size -= 12, bytes += 12) {
    a += take<std::uint32_t>(bytes);
    b += take<std::uint32_t>(bytes + 4);
    c += take<std::uint32_t>(bytes + 8);
    a -= c, a ^= std::rotl(c, 4), c += b;
    b -= a, b ^= std::rotl(a, 6), a += c;
    c -= b, c ^= std::rotl(b, 8), b += a;
    a -= c, a ^= std::rotl(c, 16), c += b;
    b -= a, b ^= std::rotl(a, 19), a += c;
    c -= b, c ^= std::rotl(b, 4), b += a;
  }
  if (size == 0)
    return c;
  std::uint8_t rest[12] = {};
  std::memcpy(rest, bytes, size);
  a += take<std::uint32_t>(rest);
  b += take<std::uint32_t>(rest + 4);
  c += take<std::uint32_t>(rest + 8);
  c ^= b, c -= std::rotl(b, 14);
  a ^= c, a -= std::rotl(c, 11);
  b ^= a, b -= std::rotl(a, 25);
  c ^= b, c -= std::rotl(b, 16);
  a ^= c, a -= std::rotl(c, 4);
  b ^= a, b -= std::rotl(a, 14);
  c ^= b, c -= std::rotl(b, 24);
  return c;
}

bool startsWith(const std::uint8_t* data, std::size_t size, std::size_t at, const char* signature) {
  return at + 4 <= size && std::memcmp(data + at, signature, 4) == 0;
}

// The messages of an object header between two places; each continuation among them is repaired too.
void repairMessages(std::uint8_t* data, std::size_t size, std::size_t at, std::size_t end, unsigned flags,
                    int depth) {
  constexpr unsigned kContinuation = 0x10;
  const std::size_t head = (flags & 4) != 0 ? 6 : 4;
  while (at + head <= end) {
    const unsigned type = data[at];
    const std::size_t length = take<std::uint16_t>(data + at + 1);
    at += head;
    if (type == kContinuation && length >= 16 && at + 16 <= end && depth < 8) {
      const auto start = take<std::uint64_t>(data + at), bytes = take<std::uint64_t>(data + at + 8);
      if (bytes >= 8 && bytes <= size && start <= size - bytes && startsWith(data, size, start, "OCHK")) {
        repairMessages(data, size, start + 4, start + bytes - 4, flags, depth + 1);
        put(data + start + bytes - 4, lookup3(data + start, bytes - 4));
      }
    }
    at += length;
  }
}

void repairHeader(std::uint8_t* data, std::size_t size, std::size_t start) {
  if (start + 6 > size)
    return;
  const unsigned flags = data[start + 5];
  std::size_t at = start + 6 + ((flags & 0x20) != 0 ? 16 : 0) + ((flags & 0x10) != 0 ? 4 : 0);
  const std::size_t width = std::size_t{1} << (flags & 3);
  if (at + width > size)
    return;
  const auto length = take<std::uint64_t>(data + at, width);
  at += width;
  if (length > size || at + length + 4 > size)
    return;
  repairMessages(data, size, at, at + length, flags, 0);
  put(data + at + length, lookup3(data + start, at + length - start));
}
} // namespace

void fuzz_MutateInPlace(std::uint8_t* data, std::size_t size, fuzz_Dice& dice) {
  if (size == 0)
    return;
  for (std::size_t places = 1 + dice.Below(3); places > 0; --places) {
    const std::size_t start = dice.Below(size), n = std::min(size - start, std::size_t{1} << dice.Below(6));
    std::uint8_t window[64] = {};
    std::memcpy(window, data + start, n);
    LLVMFuzzerMutate(window, n, n);
    std::memcpy(data + start, window, n);
  }
}

void fuzz_RepairHdf5(std::uint8_t* data, std::size_t size) {
  constexpr std::size_t kSuperblock = 48;
  if (size < kSuperblock)
    return;
  put(data + kSuperblock - 4, lookup3(data, kSuperblock - 4));
  for (std::size_t at = kSuperblock; at + 4 <= size; ++at)
    if (startsWith(data, size, at, "OHDR"))
      repairHeader(data, size, at);
}
