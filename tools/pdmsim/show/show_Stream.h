#pragma once

#include <PDM_Core.h>
#include <gbb/pattern/gbb_MemberCodec.h>

#include <type_traits>

// Member streams read by their type tags alone, whatever the class.

template <class T, class F>
bool show_WithShape(int shape, F&& f) {
  switch (shape) {
  case gbb_MemoryStream::kSingle:
    f(std::type_identity<T>());
    return true;
  case gbb_MemoryStream::kList:
    f(std::type_identity<kda_List<T>>());
    return true;
  case gbb_MemoryStream::kMapByString:
    f(std::type_identity<kda_MapString<T>>());
    return true;
  case gbb_MemoryStream::kMapByInt:
    f(std::type_identity<kda_MapInt<T>>());
    return true;
  default:
    return false;
  }
}

/// Calls f(std::type_identity<T>()) with the type that a tag stands for.
/// \return false for no known type.
template <class F>
bool show_WithType(unsigned char tag, F&& f) {
  const int shape = tag >> 4;
  switch (tag & 15) {
  case gbb_MemoryStream::kBool:
    return show_WithShape<bool>(shape, f);
  case gbb_MemoryStream::kUChar:
    return show_WithShape<unsigned char>(shape, f);
  case gbb_MemoryStream::kInt:
    return show_WithShape<int>(shape, f);
  case gbb_MemoryStream::kLongLong:
    return show_WithShape<long long>(shape, f);
  case gbb_MemoryStream::kFloat:
    return show_WithShape<float>(shape, f);
  case gbb_MemoryStream::kDouble:
    return show_WithShape<double>(shape, f);
  case gbb_MemoryStream::kString:
    return show_WithShape<kda_string>(shape, f);
  case gbb_MemoryStream::kCollection:
    return show_WithShape<ORXSimCollectionID>(shape, f);
  case gbb_MemoryStream::kCSet:
    return show_WithShape<ORXSimCSetID>(shape, f);
  case gbb_MemoryStream::kDistribution:
    return show_WithShape<ORXSimDistributionID>(shape, f);
  case gbb_MemoryStream::kDSet:
    return show_WithShape<ORXSimDSetID>(shape, f);
  default:
    return false;
  }
}

inline bool show_IsTag(unsigned char tag) {
  return show_WithType(tag, [](auto) {});
}

/// Calls f(index, tag, value) for each record of a stream.
/// \return the error that ended the reading, or gbb_MemoryStream::kGood.
template <class F>
int show_Records(gbb_MemoryStream& stream, F&& f) {
  while (stream.More()) {
    int index = -1;
    unsigned char tag = 0;
    stream.Read(gbb_MemoryStream::kSingle, gbb_MemoryStream::kInt);
    stream.Read(index);
    stream.Read(tag);
    const bool known = show_WithType(tag, [&]<class T>(std::type_identity<T>) {
      T value{};
      gbb_Codec<T>::Read(stream, value);
      if (stream.GetError() == gbb_MemoryStream::kGood)
        f(index, tag, value);
    });
    if (!known)
      stream.SetError(gbb_MemoryStream::kWrongTag);
  }
  return stream.GetError();
}
