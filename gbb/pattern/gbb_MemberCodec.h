#pragma once

#include <gbb/gbb_MemoryStream.h>
#include <gbb/pattern/gbb_MemberTable.h>
#include <kda/kda_List.h>
#include <kda/kda_MapInt.h>
#include <kda/kda_MapString.h>

#include <array>
#include <cstddef>
#include <tuple>
#include <utility>

/// The base type of a value.
template <class T>
struct gbb_BaseOf;
template <gbb_MemoryStream::Base B>
struct gbb_BaseIs {
  static constexpr gbb_MemoryStream::Base value = B;
};
template <>
struct gbb_BaseOf<bool> : gbb_BaseIs<gbb_MemoryStream::kBool> {};
template <>
struct gbb_BaseOf<unsigned char> : gbb_BaseIs<gbb_MemoryStream::kUChar> {};
template <>
struct gbb_BaseOf<int> : gbb_BaseIs<gbb_MemoryStream::kInt> {};
template <>
struct gbb_BaseOf<long long> : gbb_BaseIs<gbb_MemoryStream::kLongLong> {};
template <>
struct gbb_BaseOf<float> : gbb_BaseIs<gbb_MemoryStream::kFloat> {};
template <>
struct gbb_BaseOf<double> : gbb_BaseIs<gbb_MemoryStream::kDouble> {};
template <>
struct gbb_BaseOf<kda_string> : gbb_BaseIs<gbb_MemoryStream::kString> {};
template <>
struct gbb_BaseOf<ORXSimCollectionID> : gbb_BaseIs<gbb_MemoryStream::kCollection> {};
template <>
struct gbb_BaseOf<ORXSimCSetID> : gbb_BaseIs<gbb_MemoryStream::kCSet> {};
template <>
struct gbb_BaseOf<ORXSimDSetID> : gbb_BaseIs<gbb_MemoryStream::kDSet> {};
template <>
struct gbb_BaseOf<ORXSimDistributionID> : gbb_BaseIs<gbb_MemoryStream::kDistribution> {};

/// How a value of type T stands in a member record: its shape and base, and its bytes after the tag.
/// Threads: one at a time for the stream and the value.
template <class T>
struct gbb_Codec {
  static constexpr auto kShape = gbb_MemoryStream::kSingle;
  static constexpr auto kBase = gbb_BaseOf<T>::value;
  static void Write(gbb_MemoryStream& stream, const T& value) { stream.Write(value); }
  static void Read(gbb_MemoryStream& stream, T& value) { stream.Read(value); }
};

/// Least number of stored bytes of a value: lengths and identifiers have at least their own length field.
template <class T>
inline constexpr int gbb_kLeastSize = sizeof(T) < 4 ? sizeof(T) : 4;

// Maps are written and read alike; only the type of the keys differs.
template <class Map, class Key, class T>
class gbb_MapCodec {
 public:
  static constexpr auto kBase = gbb_BaseOf<T>::value;
  static void Write(gbb_MemoryStream& stream, const Map& map) {
    stream.WriteSize(map.count());
    map.ForEach([&](const Key& key, const T& value) { stream.WriteTogether(key, value); });
  }
  /// Each entry read is inserted under its key, those before an error too.
  static void Read(gbb_MemoryStream& stream, Map& map) {
    if (const int count = stream.ReadCount(gbb_kLeastSize<Key> + gbb_kLeastSize<T>))
      ReadEntries(stream, map, count);
  }

 private:
  [[gnu::noinline]] static void ReadEntries(gbb_MemoryStream& stream, Map& map, int count) {
    bool ascending = map.count() == 0; // as keys come when we wrote them
    const Key* greatest = nullptr;
    for (int i = 0; i < count; ++i) {
      Key key{};
      T value{};
      stream.Read(key);
      stream.Read(value);
      if (stream.GetError() != gbb_MemoryStream::kGood)
        return;
      if constexpr (requires { map.append(std::move(key), value); }) {
        ascending = ascending && (greatest == nullptr || BtreeCompare(key, *greatest) > 0);
        if (ascending) {
          greatest = &map.append(std::move(key), value);
          continue;
        }
      }
      map.insert(key, value);
    }
  }
};

template <class T>
struct gbb_Codec<kda_MapString<T>> : gbb_MapCodec<kda_MapString<T>, kda_string, T> {
  static constexpr auto kShape = gbb_MemoryStream::kMapByString;
};

template <class T>
struct gbb_Codec<kda_MapInt<T>> : gbb_MapCodec<kda_MapInt<T>, int, T> {
  static constexpr auto kShape = gbb_MemoryStream::kMapByInt;
};

template <class T>
struct gbb_Codec<kda_List<T>> {
  static constexpr auto kShape = gbb_MemoryStream::kList;
  static constexpr auto kBase = gbb_BaseOf<T>::value;
  static void Write(gbb_MemoryStream& stream, const kda_List<T>& list) {
    stream.WriteSize(list.count());
    for (int i = 0; i < list.count(); ++i)
      stream.Write(list[i]);
  }
  static void Read(gbb_MemoryStream& stream, kda_List<T>& list) {
    const int count = stream.ReadCount(gbb_kLeastSize<T>);
    kda_List<T> read;
    for (int i = 0; i < count && stream.GetError() == gbb_MemoryStream::kGood; ++i) {
      T value{};
      stream.Read(value);
      if (stream.GetError() == gbb_MemoryStream::kGood)
        read.append(value, 1);
    }
    list.swap(read);
  }
};

/// Writes one member record: its index, then its tag and value.
template <class T>
void gbb_WriteMember(gbb_MemoryStream& stream, int index, const T& value) {
  stream.WriteTogether(gbb_MemoryStream::Tag(gbb_MemoryStream::kSingle, gbb_MemoryStream::kInt), index,
                       gbb_MemoryStream::Tag(gbb_Codec<T>::kShape, gbb_Codec<T>::kBase));
  gbb_Codec<T>::Write(stream, value);
}

/// Reads the tag and the value of a record whose index has been read.
template <class T>
void gbb_ReadMember(gbb_MemoryStream& stream, T& value) {
  stream.Read(gbb_Codec<T>::kShape, gbb_Codec<T>::kBase);
  if (stream.GetError() == gbb_MemoryStream::kGood)
    gbb_Codec<T>::Read(stream, value);
}

/// Reads the members of a class, by the indices of their records.
template <class Traits>
class gbb_Readers {
 public:
  using Members = typename Traits::Members;

  /// Reads all records, in whatever order they stand, up to the first error.
  static void ReadAll(gbb_MemoryStream& stream, Members& members) {
    // In the order in which we write them nothing has to be looked up.
    gbb_ForEach<Table>([&](auto member) {
      auto& value = members.*member.kField;
      using Codec = gbb_Codec<std::remove_reference_t<decltype(value)>>;
      if (stream.ReadHead(member.kIndex, Codec::kShape, Codec::kBase))
        Codec::Read(stream, value);
    });
    while (stream.More()) {
      int index = -1;
      stream.Read(gbb_MemoryStream::kSingle, gbb_MemoryStream::kInt);
      stream.Read(index);
      if (stream.GetError() == gbb_MemoryStream::kGood && index >= 0 && index < kCount &&
          kReaders[static_cast<std::size_t>(index)] != nullptr)
        kReaders[static_cast<std::size_t>(index)](stream, members);
    }
  }

 private:
  using Table = typename gbb_MemberTable<Traits>::Members;
  using Reader = void (*)(gbb_MemoryStream&, Members&);

  static constexpr int kCount = std::apply(
      [](auto... member) {
        int last = -1;
        ((last = member.kIndex > last ? member.kIndex : last), ...);
        return last + 1;
      },
      Table{});
  // By index; null where no member is in the stream.
  static constexpr auto kReaders = std::apply(
      [](auto... member) {
        std::array<Reader, static_cast<std::size_t>(kCount)> readers{};
        ((readers[static_cast<std::size_t>(member.kIndex)] =
              [](gbb_MemoryStream& stream, Members& members) {
                gbb_ReadMember(stream, members.*decltype(member)::kField);
              }),
         ...);
        return readers;
      },
      Table{});
};
