// The members of each schema class from arbitrary bytes: whatever was loaded must be saved and loaded again
// as it was.
//
// Input: a class (its place in fuzz_Classes), then the bytes that its member dataset would hold.

#include "fuzz_Classes.h"
#include "fuzz_Common.h"

#include <gbb/pattern/gbb_Pattern.h>

#include <bit>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {
const ORXSimContextID kContext(7);

gbb_MemoryStream::Buffer bufferOf(const std::uint8_t* data, std::size_t size) {
  gbb_MemoryStream::Buffer buffer;
  if (size > 0)
    std::memcpy(buffer.Extend(static_cast<int>(size)), data, size);
  return buffer;
}

// As an object of a file loads its members. The error that ended it is the answer.
template <class Traits>
int load(gbb_MemoryStream& stream, typename Traits::Members& members) {
  gbb_Readers<Traits>::ReadAll(stream, members);
  return stream.GetError();
}

template <class Traits>
gbb_MemoryStream::Buffer save(const typename Traits::Members& members) {
  gbb_MemoryStream stream(kContext);
  gbb_ForEach<typename gbb_MemberTable<Traits>::Members>(
      [&](auto member) { gbb_WriteMember(stream, member.kIndex, members.*member.kField); });
  fuzz_Require(stream.GetError() == gbb_MemoryStream::kGood, "what was loaded can be saved");
  return stream.GetBuffer();
}

bool same(double a, double b) {
  return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
}
bool same(const kda_string& a, const kda_string& b) {
  return std::strcmp(a.cStr(), b.cStr()) == 0;
}
bool same(int a, int b) {
  return a == b;
}
// All null identifiers are one.
template <class ID>
requires requires(ID id) {
  id.Minor();
}
bool same(ID a, ID b) {
  return a == b || (a.IsNull() && b.IsNull());
}

// Integer keys that wrap around have no order, and what a map makes of them is its own affair.
template <class T>
bool comparable(const kda_MapInt<T>& map) {
  long long least = INT_MAX, greatest = INT_MIN;
  map.ForEach([&](int key, const T&) {
    least = std::min<long long>(least, key);
    greatest = std::max<long long>(greatest, key);
  });
  return greatest - least <= INT_MAX;
}
template <class T>
bool comparable(const T&) {
  return true;
}

template <class Map>
requires requires(const Map& map) {
  map.tree();
}
bool same(const Map& a, const Map& b) {
  if (!comparable(a))
    return true;
  bool equal = a.count() == b.count();
  int i = 0;
  a.ForEach([&](const auto& key, const auto& value) {
    int j = 0;
    b.ForEach([&](const auto& otherKey, const auto& other) {
      equal = equal && (j != i || (same(key, otherKey) && same(value, other)));
      ++j;
    });
    ++i;
  });
  return equal;
}

template <class Traits>
void roundTrip(const std::uint8_t* data, std::size_t size) {
  typename Traits::Members first, second;
  gbb_MemoryStream in(bufferOf(data, size), kContext);
  load<Traits>(in, first);
  const gbb_MemoryStream::Buffer saved = save<Traits>(first);
  gbb_MemoryStream again(bufferOf(saved.Data(), static_cast<std::size_t>(saved.Length())), kContext);
  fuzz_Require(load<Traits>(again, second) == gbb_MemoryStream::kGood, "what was saved loads");
  gbb_ForEach<typename gbb_MemberTable<Traits>::Members>(
      [&](auto member) { fuzz_Require(same(first.*member.kField, second.*member.kField), member.name()); });
  first.verify();
}
} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz_Input input(data, size);
  const std::size_t place = input.Take<std::uint8_t>() % fuzz_kClasses;
  fuzz_WithClass(
      place, [&](auto handle) { roundTrip<typename decltype(handle)::Traits>(input.Data(), input.Size()); });
  return 0;
}
