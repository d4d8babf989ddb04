#pragma once

#include <new>
#include <string>
#include <string_view>

/// Why something failed: one line in memory of its own, so that a lack of memory can be told as well.
class vfd_Cause {
 public:
  static constexpr std::size_t kBytes = 1024;

  bool Empty() const { return m_text[0] == '\0'; }
  const char* Text() const { return m_text; }
  void Clear() { m_text[0] = '\0'; }
  /// What is longer than the room is cut; control characters become blanks.
  void Set(const char* text) noexcept;

 private:
  char m_text[kBytes] = "";
};

/// The cause of the last failure in this thread.
vfd_Cause& vfd_LastCause() noexcept;
/// Sets it.
/// \return false.
bool vfd_Refuse(const char* text) noexcept;
bool vfd_Refuse(const std::string& text) noexcept;
/// "what: what errno means", without the first where it is empty.
/// \return false.
bool vfd_Fail(const char* what) noexcept;

/// Copies a text into an array, cut where that ends.
template <std::size_t kBytes>
void vfd_PutText(char (&target)[kBytes], std::string_view text) {
  const std::size_t count = text.copy(target, kBytes - 1);
  target[count] = '\0';
}

/// Runs work that may lack memory; no exception leaves it.
/// \return `failed` after std::bad_alloc.
template <class Result, class Work>
Result vfd_Try(Result failed, Work work) noexcept {
  try {
    return work();
  } catch (const std::bad_alloc&) {
    vfd_Refuse("out of memory");
    return failed;
  }
}
