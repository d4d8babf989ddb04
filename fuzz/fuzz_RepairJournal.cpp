#include "fuzz_Mutate.h"

#include <UTI_ORXSimDynamicAPI/hdf_Checksum.h>

#include <algorithm>
#include <cstring>

// Sizes and places of docs/journal-format.md, written down here a second time.
namespace {
constexpr std::size_t kHeader = 512, kSector = 512, kPage = 4096, kFrameHead = 24, kCommit = 40;
constexpr std::size_t kSalt = 16, kFirstSector = 32, kHeaderSum = kHeader - 8;

template <class Number>
Number take(const std::uint8_t* from) {
  Number number;
  std::memcpy(&number, from, sizeof number);
  return number;
}
template <class Number>
void put(std::uint8_t* to, Number number) {
  std::memcpy(to, &number, sizeof number);
}
} // namespace

void fuzz_AdoptMainFile(const std::uint8_t* main, std::size_t mainSize, std::uint8_t* journal,
                        std::size_t size) {
  std::uint8_t sector[kSector] = {};
  std::memcpy(sector, main, std::min(mainSize, kSector));
  if (size >= kHeader)
    put(journal + kFirstSector, hdf_Checksum(sector, kSector));
}

void fuzz_RepairJournal(std::uint8_t* journal, std::size_t size) {
  if (size < kHeader)
    return;
  put(journal + kHeaderSum, hdf_Checksum(journal, kHeaderSum));
  auto chain = take<std::uint64_t>(journal + kSalt);
  std::uint32_t frames = 0; // since the last commit
  for (std::uint8_t* record = journal + kHeader; record + kCommit <= journal + size;) {
    if (take<std::uint32_t>(record) == 1) {
      if (record + kFrameHead + kPage > journal + size)
        return;
      chain = hdf_Checksum(record + kFrameHead, kPage, hdf_Checksum(record, 16, chain));
      put(record + 16, chain);
      ++frames;
      record += kFrameHead + kPage;
    } else {
      put(record + 4, frames);
      chain = hdf_Checksum(record, kCommit - 8, chain);
      put(record + kCommit - 8, chain);
      frames = 0;
      record += kCommit;
    }
  }
}
