#include <gbb/gbb_Trailer.h>

#include <UTI_ORXSimDynamicAPI/hdf_Checksum.h>
#include <gbb/gbb_MemoryStream.h>

#include <cstdint>
#include <cstring>
#include <string_view>

namespace {
constexpr std::string_view kMark{"\xf7X3\xe1", 4}; // no text, no tag, no small number
constexpr bool kReversed = std::endian::native == std::endian::big;

std::uint64_t sumOf(const unsigned char* stream, int length) {
  return hdf_Checksum(stream, static_cast<std::size_t>(length));
}

bool isTrailer(const unsigned char* at, std::uint64_t sum) {
  unsigned char bytes[sizeof sum];
  gbb_StoreNumber(bytes, sum, kReversed);
  return std::memcmp(at + kMark.size(), bytes, sizeof bytes) == 0;
}

int statedLength(const unsigned char* bytes) {
  int stated = 0;
  std::memcpy(&stated, bytes, sizeof stated);
  gbb_StoreNumber(reinterpret_cast<unsigned char*>(&stated), stated, kReversed);
  return stated;
}

// Whether a trailer fits the first `length` bytes once these state that length: then the stated length, and
// nothing else, was damaged.
bool fitsWithItsLength(const unsigned char* bytes, int length) {
  gbb_MemoryStream::Buffer stream(length);
  std::memcpy(stream.Extend(length), bytes, static_cast<std::size_t>(length));
  gbb_StoreNumber(stream.Data(), length, kReversed);
  return isTrailer(bytes + length, sumOf(stream.Data(), length));
}

// Behind our trailer there is nothing but zeros, so it is the last mark in the dataset, or the last but few:
// the checksum itself may end with some.
bool hasTrailerElsewhere(const unsigned char* bytes, int length) {
  const std::string_view all(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(length));
  const std::size_t used = all.find_last_not_of('\0') + 1;
  constexpr auto kHeader = static_cast<std::size_t>(gbb_MemoryStream::kHeaderSize);
  constexpr auto kTrailer = static_cast<std::size_t>(gbb_Trailer::kSize);
  for (std::size_t at = used; at-- > kHeader && at + kTrailer >= used;)
    if (at + kTrailer <= all.size() && all.substr(at, kMark.size()) == kMark &&
        fitsWithItsLength(bytes, static_cast<int>(at)))
      return true;
  return false;
}
} // namespace

void gbb_Trailer::Store(unsigned char* to, const unsigned char* stream, int length) {
  std::memcpy(to, kMark.data(), kMark.size());
  gbb_StoreNumber(to + kMark.size(), sumOf(stream, length), kReversed);
}

// Other writers put a stream of their own into a dataset and leave behind it what was there, or what they
// like: those bytes are theirs, and only the mark in its place makes them a checksum. What has no mark there
// is read as it always was, with one exception: a trailer of ours that fits the stream in all but its stated
// length shows that the length is wrong.
bool gbb_Trailer::Agrees(const unsigned char* bytes, int length) {
  if (length < gbb_MemoryStream::kHeaderSize + kSize)
    return true;
  const int stated = statedLength(bytes);
  if (stated >= gbb_MemoryStream::kHeaderSize && stated <= length - kSize &&
      std::memcmp(bytes + stated, kMark.data(), kMark.size()) == 0)
    return isTrailer(bytes + stated, sumOf(bytes, stated));
  return !hasTrailerElsewhere(bytes, length);
}
