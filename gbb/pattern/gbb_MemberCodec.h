#pragma once

#include <gbb/gbb_MemoryStream.h>
#include <kda/kda_List.h>
#include <kda/kda_MapInt.h>
#include <kda/kda_MapString.h>

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
struct gbb_MapCodec {
  static constexpr auto kBase = gbb_BaseOf<T>::value;
  static void Write(gbb_MemoryStream& stream, const Map& map) {
    stream.WriteSize(map.count());
    map.ForEach([&](const Key& key, const T& value) { stream.WriteTogether(key, value); });
  }
  static void Read(gbb_MemoryStream& stream, Map& map) {
    const int count = stream.ReadCount(gbb_kLeastSize<Key> + gbb_kLeastSize<T>);
    Map read;
    const Key* greatest = nullptr; // keys come in ascending order when we wrote them
    for (int i = 0; i < count; ++i) {
      Key key{};
      T value{};
      stream.Read(key);
      stream.Read(value);
      if (stream.GetError() != gbb_MemoryStream::kGood)
        break;
      if constexpr (requires { read.append(std::move(key), value); }) {
        if (greatest == nullptr ? i == 0 : BtreeCompare(key, *greatest) > 0) {
          greatest = &read.append(std::move(key), value);
          continue;
        }
      }
      read.insert(key, value);
      greatest = nullptr; // the rest is inserted one by one
    }
    map.swap(read);
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
