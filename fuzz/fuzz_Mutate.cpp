#include "fuzz_Mutate.h"

#include <UTI_ORXSimDynamicAPI/hdf_Checksum.h>

#include <algorithm>
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
        put(data + start + bytes - 4, hdf_MetadataChecksum(data + start, bytes - 4));
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
  put(data + at + length, hdf_MetadataChecksum(data + start, at + length - start));
}
} // namespace

void fuzz_MutateInPlace(std::uint8_t* data, std::size_t size, fuzz_Dice& dice) {
  if (size == 0)
    return;
  constexpr std::size_t kNear = 64;
  const bool together = dice.Below(2) == 0;
  const std::size_t from = together ? dice.Below(size) : 0, reach = together ? kNear : size;
  for (std::size_t places = 1 + dice.Below(3); places > 0; --places) {
    const std::size_t start = from + dice.Below(std::min(reach, size - from));
    const std::size_t n = std::min(size - start, std::size_t{1} << dice.Below(6));
    std::uint8_t window[64] = {};
    std::memcpy(window, data + start, n);
    LLVMFuzzerMutate(window, n, n);
    std::memcpy(data + start, window, n);
  }
}

void fuzz_RepairHdf5(std::uint8_t* data, std::size_t size) {
  constexpr std::size_t kSuperblock = 48;
  vfd_Mark mark;
  if (fuzz_TakeMark(data, size, mark)) { // addresses count from behind it
    data += kVfdMark;
    size -= kVfdMark;
  }
  if (size < kSuperblock)
    return;
  put(data + kSuperblock - 4, hdf_MetadataChecksum(data, kSuperblock - 4));
  for (std::size_t at = kSuperblock; at + 4 <= size; ++at)
    if (startsWith(data, size, at, "OHDR"))
      repairHeader(data, size, at);
}

std::size_t fuzz_MutateHdf5(std::uint8_t* data, std::size_t size, std::size_t maxSize, unsigned seed) {
  fuzz_Dice dice(seed);
  if (dice.Below(8) == 0)
    return LLVMFuzzerMutate(data, size, maxSize);
  fuzz_MutateInPlace(data, size, dice);
  if (dice.Below(4) != 0)
    fuzz_RepairHdf5(data, size);
  return size;
}
