#include <kda/kda_string.h>

kda_string::kda_string(const char* s, int bytes) {
  const std::size_t length = bytes <= 0 ? 0 : ::strnlen(s, static_cast<std::size_t>(bytes));
  if (length == 0)
    return;
  m_text = static_cast<char*>(std::memcpy(mem_OperatorNewThrowBuiltin(length + 1), s, length));
  m_text[length] = '\0';
}

int kda_string::byteCount() const noexcept {
  return m_text == nullptr ? 0 : static_cast<int>(std::strlen(m_text));
}

char* kda_string::duplicate(const char* s) {
  const std::size_t bytes = std::strlen(s) + 1;
  return static_cast<char*>(std::memcpy(mem_OperatorNewThrowBuiltin(bytes), s, bytes));
}
