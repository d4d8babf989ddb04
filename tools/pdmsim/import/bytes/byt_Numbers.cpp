#include <pdmsim/import/bytes/byt_Numbers.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <utility>

namespace {

constexpr std::size_t kPiece = std::size_t{128} << 10;

template <class Number>
Number swapped(Number number) {
  if constexpr (sizeof(Number) == 2)
    return std::bit_cast<Number>(__builtin_bswap16(std::bit_cast<std::uint16_t>(number)));
  else if constexpr (sizeof(Number) == 4)
    return std::bit_cast<Number>(__builtin_bswap32(std::bit_cast<std::uint32_t>(number)));
  else if constexpr (sizeof(Number) == 8)
    return std::bit_cast<Number>(__builtin_bswap64(std::bit_cast<std::uint64_t>(number)));
  else
    return number; // of one byte
}

template <class To, class From>
bool fits(From from) {
  if constexpr (std::is_floating_point_v<To>)
    return true;
  else if constexpr (std::is_floating_point_v<From>)
    return from >= static_cast<From>(std::numeric_limits<To>::min()) &&
           from < -static_cast<From>(std::numeric_limits<To>::min()) && std::trunc(from) == from;
  else
    return std::in_range<To>(from);
}

// Neither the order of the bytes nor a number before is asked for within the loop: it works on many at a
// time.
template <class To, class From, bool Swap>
bool convertAll(const char* bytes, std::size_t count, To* to) {
  bool good = true;
  for (std::size_t i = 0; i < count; ++i) {
    From from;
    std::memcpy(&from, bytes + i * sizeof from, sizeof from);
    if constexpr (Swap)
      from = swapped(from);
    const bool fit = fits<To>(from);
    good &= fit;
    to[i] = fit ? static_cast<To>(from) : To();
  }
  return good;
}

template <class To, class From>
bool convert(const char* bytes, std::size_t count, bool swap, To* to) {
  return swap ? convertAll<To, From, true>(bytes, count, to) : convertAll<To, From, false>(bytes, count, to);
}

template <class To>
using Convert = bool (*)(const char* bytes, std::size_t count, bool swap, To* to);

template <class To>
Convert<To> conversionOf(byt_Type type) {
  constexpr Convert<To> all[] = {&convert<To, std::int8_t>,  &convert<To, std::uint8_t>,
                                 &convert<To, std::int16_t>, &convert<To, std::uint16_t>,
                                 &convert<To, std::int32_t>, &convert<To, std::uint32_t>,
                                 &convert<To, std::int64_t>, &convert<To, std::uint64_t>,
                                 &convert<To, float>,        &convert<To, double>};
  return all[static_cast<std::size_t>(type)];
}

template <class To>
void readBytes(const byt_Numbers& numbers, const mesh_File& file, std::vector<To>& out) {
  const byt_Source source = numbers.bytes();
  const Convert<To> to = conversionOf<To>(numbers.type);
  const std::size_t size = byt_Size(numbers.type), piece = kPiece / size;
  std::vector<char> bytes(std::min<std::uint64_t>(numbers.count, piece) * size);
  while (out.size() < numbers.count) {
    const auto first = out.size();
    const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(numbers.count - first, piece));
    source(bytes.data(), count * size);
    out.resize(first + count);
    if (!to(bytes.data(), count, numbers.bigEndian, out.data() + first))
      file.Fail("expected integers of at most " + std::to_string(8 * sizeof(To)) +
                " bits, found another number");
  }
}

template <class To>
void readWords(const byt_Numbers& numbers, const mesh_File& file, std::vector<To>& out) {
  byt_Cursor cursor(file, numbers.text);
  for (std::uint64_t i = 0; i < numbers.count; ++i)
    if constexpr (std::is_floating_point_v<To>) {
      out.push_back(cursor.Number());
    } else {
      const long long value = cursor.Integer();
      if (!std::in_range<To>(value))
        file.Fail("expected integers of at most " + std::to_string(8 * sizeof(To)) + " bits, found " +
                  std::to_string(value));
      out.push_back(static_cast<To>(value));
    }
  if (const std::string_view more = cursor.Word(); !more.empty())
    file.Fail("expected " + std::to_string(numbers.count) + " numbers before byte " +
              std::to_string(cursor.At() - more.size()) + ", found another: " + byt_Quoted(more));
}

} // namespace

std::size_t byt_Size(byt_Type type) {
  constexpr std::size_t sizes[] = {1, 1, 2, 2, 4, 4, 8, 8, 4, 8};
  return sizes[static_cast<std::size_t>(type)];
}

template <class T>
std::vector<T> byt_Numbers::Read(const mesh_File& file) const {
  std::vector<T> out;
  // Words are not believed before they are there; bytes were held against the file by their maker.
  out.reserve(bytes ? count : std::min<std::uint64_t>(count, (text.end - text.begin) / 2 + 1));
  if (bytes)
    readBytes(*this, file, out);
  else
    readWords(*this, file, out);
  return out;
}

template std::vector<int> byt_Numbers::Read(const mesh_File&) const;
template std::vector<long long> byt_Numbers::Read(const mesh_File&) const;
template std::vector<double> byt_Numbers::Read(const mesh_File&) const;
