#pragma once

#include <UTI_BasicUtils/UTI_BasicUtils_Export.h>

#include <cstddef>

/// A byte string whose copies share one representation until one of them is changed.
///
/// Empty when it has no representation or its length is 0. The characters may hold any byte except NUL.
/// Copying costs one atomic increment and never fails.
/// Threads: one at a time for one string; strings that share a representation may be in different threads.
class UTI_BASIC_API cow_String {
 public:
  constexpr cow_String() noexcept = default;
  /// Copies the text; null gives the empty string.
  cow_String(const char* text);
  /// Copies the first `length` bytes of `text`.
  cow_String(const char* text, std::size_t length);
  cow_String(const cow_String& other) noexcept;
  cow_String(cow_String&& other) noexcept : m_rep(other.m_rep) { other.m_rep = nullptr; }
  cow_String& operator=(const cow_String& other) noexcept;
  cow_String& operator=(cow_String&& other) noexcept;
  ~cow_String();

  /// The characters, NUL-terminated; never null. Valid until this string is changed or destroyed.
  const char* CStr() const noexcept;
  /// Number of bytes before the terminating NUL.
  std::size_t Length() const noexcept;
  bool Empty() const noexcept { return Length() == 0; }

  /// Adds text at the end; a shared representation is copied first.
  void Append(const char* text);

  /// Byte for byte.
  friend UTI_BASIC_API bool operator==(const cow_String& a, const cow_String& b) noexcept;

 private:
  struct Rep;
  Rep* m_rep = nullptr; // null: empty; else counted, shared with every copy
};

/// Writes the string to the error stream.
UTI_BASIC_API void err_Write(const cow_String& text);
