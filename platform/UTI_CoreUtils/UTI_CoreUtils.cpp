#include <UTI_CoreUtils/UTI_CoreUtils.h>

#include <UTI_CoreUtils/mem_AtFork.h>

#include <cstdlib>

namespace {
constinit mod_Counter s_counter;

// Assertion texts and file names are plain ASCII; anything else is shown as a question mark.
void writeWide(const wchar_t* text) {
  for (; *text != L'\0'; ++text)
    err_Write(*text < 128 ? static_cast<char>(*text) : '?');
}
} // namespace

void UTI_CoreUtils_initialize(int& modules) {
  s_counter.Initialize(modules);
  mem_TellForks();
  err_TellForks();
}

void UTI_CoreUtils_finalize(int& modules) {
  s_counter.Finalize(modules);
}

#if !defined(_WIN32)
extern "C" void _wassert(const wchar_t* expression, const wchar_t* file, unsigned line) {
  err_Write("Assertion failed: ");
  writeWide(expression);
  err_Write(", file ");
  writeWide(file);
  err_Write(", line ");
  err_Write(static_cast<int>(line));
  err_Write("\n");
  err_Flush();
  std::abort();
}
#endif
