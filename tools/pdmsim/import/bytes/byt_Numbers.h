#pragma once

#include <pdmsim/import/bytes/byt_Cursor.h>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

/// Types of numbers in files.
enum class byt_Type { kInt8, kUInt8, kInt16, kUInt16, kInt32, kUInt32, kInt64, kUInt64, kFloat, kDouble };

inline bool byt_IsReal(byt_Type type) {
  return type == byt_Type::kFloat || type == byt_Type::kDouble;
}
/// Bytes of one number.
std::size_t byt_Size(byt_Type type);

/// Bytes in a row. Throws mesh_Error when there are fewer.
using byt_Source = std::function<void(char* to, std::size_t bytes)>;

/// Numbers that lie somewhere in a file and are read when they are asked for.
struct byt_Numbers {
  std::uint64_t count = 0;
  byt_Type type = byt_Type::kDouble;
  bool bigEndian = false;
  /// Starts at the first byte. Null: the numbers are words in `text`.
  std::function<byt_Source()> bytes;
  byt_Range text;

  /// True for integers of 64 bits, and for those in words, which may have as many digits.
  bool IsLong() const {
    return type == byt_Type::kInt64 || type == byt_Type::kUInt64 || (!bytes && !byt_IsReal(type));
  }
  /// Reads all of them. Throws mesh_Error for what is no number, or does not fit, and for words behind
  /// the last.
  /// \param as double, int or long long. A real number is an integer only when it is whole.
  template <class T>
  std::vector<T> Read(const mesh_File& file) const;
};
