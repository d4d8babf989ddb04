#define PDM_CORE_KEEP_INLINE
#include <kda/kda_string.h>

kda_string::kda_string(const char* s, int bytes) {
  const std::size_t length = bytes <= 0 ? 0 : ::strnlen(s, static_cast<std::size_t>(bytes));
  if (length != 0)
    m_text = duplicate(s, length);
}

int kda_string::byteCount() const noexcept {
  return m_text == nullptr ? 0 : static_cast<int>(std::strlen(m_text));
}

char* kda_string::duplicate(const char* s, std::size_t length) {
  const std::size_t words = length / kWord + 1;
  char* const text = static_cast<char*>(mem_OperatorNewThrowBuiltin(words * kWord));
  std::memset(text + (words - 1) * kWord, 0, kWord);
  return static_cast<char*>(std::memcpy(text, s, length));
}
