#include <H5Journal/files/vfd_Cause.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace {
thread_local constinit vfd_Cause s_last;
}

void vfd_Cause::Set(const char* text) noexcept {
  std::snprintf(m_text, sizeof m_text, "%s", text);
  for (char* c = m_text; *c != '\0'; ++c)
    if (static_cast<unsigned char>(*c) < ' ')
      *c = ' ';
}

vfd_Cause& vfd_LastCause() noexcept {
  return s_last;
}

bool vfd_Refuse(const char* text) noexcept {
  s_last.Set(text);
  return false;
}

bool vfd_Refuse(const std::string& text) noexcept {
  return vfd_Refuse(text.c_str());
}

bool vfd_Fail(const char* what) noexcept {
  char buffer[160] = "", line[vfd_Cause::kBytes];
  std::snprintf(line, sizeof line, "%s%s%s", what, *what == '\0' ? "" : ": ",
                ::strerror_r(errno, buffer, sizeof buffer));
  return vfd_Refuse(line);
}
