#pragma once

#include <UTI_CoreUtils/mem_Allocation.h>
#include <kda/kda_Export.h>

#include <bit>
#include <cstdint>
#include <cstring>
#include <utility>

/// An owned byte string of one pointer. Its characters never change after construction; only assignment
/// and swap replace them as a whole.
///
/// The empty string has no storage, however it was made. Copies are deep and never share characters.
/// The characters may hold any byte but NUL, in no particular encoding.
/// Threads: any number may read one string while nobody changes it; different strings are independent.
class PDM_CORE_API kda_string {
 public:
  /// The empty string; allocates nothing.
  constexpr kda_string() noexcept = default;

  /// Copies the characters. Cost: O(length).
  /// \param s  characters up to a terminating NUL; null gives the empty string.
  PDM_CORE_INLINE_API kda_string(const char* s) { assign(s); }
  /// Copies characters up to a number or up to the first NUL. Cost: O(length).
  /// \param s      the characters; null only when `bytes` is 0 or less.
  /// \param bytes  at most so many are copied; 0 or less gives the empty string.
  kda_string(const char* s, int bytes);

  PDM_CORE_INLINE_API kda_string(const kda_string& other) { assign(other.m_text); }
  PDM_CORE_INLINE_API kda_string(kda_string&& other) noexcept
      : m_text(std::exchange(other.m_text, nullptr)) {}

  /// Replaces the characters: copying takes a copy of the other's, moving takes the other's own and leaves it
  /// empty. Cost: O(length) to copy, constant to move.
  PDM_CORE_INLINE_API kda_string& operator=(const kda_string& other) { return *this = kda_string(other); }
  PDM_CORE_INLINE_API kda_string& operator=(kda_string&& other) noexcept {
    kda_string(std::move(other)).swap(*this);
    return *this;
  }

  PDM_CORE_INLINE_API ~kda_string() {
    if (m_text != nullptr)
      mem_Free(m_text);
  }

  /// \return the characters with a terminating NUL, never null; valid until this string is assigned, swapped
  ///         or destroyed.
  PDM_CORE_INLINE_API const char* cStr() const noexcept { return m_text != nullptr ? m_text : ""; }

  /// \return the number of bytes before the terminating NUL.
  /// Cost: O(length).
  int byteCount() const noexcept;

  /// Exchanges the characters of two strings; allocates nothing.
  PDM_CORE_INLINE_API void swap(kda_string& other) noexcept { std::swap(m_text, other.m_text); }

 private:
  // For a string that holds nothing yet: a former value would leak.
  PDM_CORE_INLINE_API void assign(const char* s) {
    if (s != nullptr && *s != '\0')
      m_text = duplicate(s, std::strlen(s));
  }
  // In whole words, for words() to be read.
  static char* duplicate(const char* s, std::size_t length);

  static constexpr std::size_t kWord = sizeof(std::uint64_t);
  const char* words() const noexcept {
    static constexpr char kEmpty[kWord] = {};
    return m_text != nullptr ? m_text : kEmpty;
  }
  // The first byte is the lowest of the word.
  static std::uint64_t littleEndian(const char* eight) noexcept {
    std::uint64_t word;
    std::memcpy(&word, eight, sizeof word);
    return std::endian::native == std::endian::little ? word : __builtin_bswap64(word);
  }
  PDM_CORE_INLINE_API friend int BtreeCompare(const kda_string& a, const kda_string& b) noexcept;

  char* m_text = nullptr; // owned; null is the only form of the empty string
};

static_assert(sizeof(kda_string) == sizeof(void*));

inline void swap(kda_string& a, kda_string& b) noexcept {
  a.swap(b);
}

/// Orders two strings by their bytes as unsigned numbers up to the first difference or the common end. The
/// empty string comes first. Neither length nor case nor locale matters.
/// \return -1 when a comes before b, 0 when they are equal, 1 after.
/// Cost: O(length of the common beginning).
PDM_CORE_INLINE_API inline int BtreeCompare(const kda_string& a, const kda_string& b) noexcept {
  const char *x = a.words(), *y = b.words();
  for (;; x += kda_string::kWord, y += kda_string::kWord) {
    const std::uint64_t left = kda_string::littleEndian(x), right = kda_string::littleEndian(y);
    constexpr std::uint64_t kOnes = 0x0101010101010101u;
    const std::uint64_t end = (left - kOnes) & ~left & kOnes << 7; // its lowest bit lies in the first NUL
    if (left != right) {
      const std::uint64_t kept = end ^ (end - 1); // up to that NUL, or all: what lies behind counts not
      const std::uint64_t first = __builtin_bswap64(left & kept), second = __builtin_bswap64(right & kept);
      return (first > second) - (first < second);
    }
    if (end != 0)
      return 0;
  }
}

/// Begins to load a string's characters, for a comparison soon to come.
inline void BtreePrefetch(const kda_string& s) noexcept {
  __builtin_prefetch(s.cStr());
}

inline bool operator==(const kda_string& a, const kda_string& b) noexcept {
  return BtreeCompare(a, b) == 0;
}
