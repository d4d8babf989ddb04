#pragma once

#include <UTI_CoreUtils/err_Stream.h>

#include <cstddef>

/// A text as a template argument, so that messages are joined at compile time.
/// Threads: any number; a text never changes.
template <std::size_t N>
struct gbb_Text {
  char chars[N]{};

  constexpr gbb_Text() = default;
  consteval gbb_Text(const char (&text)[N]) {
    for (std::size_t i = 0; i < N; ++i)
      chars[i] = text[i];
  }
};

/// The parts one after another.
template <gbb_Text... Parts>
consteval auto gbb_Join() {
  gbb_Text<(sizeof(Parts.chars) + ... + 1) - sizeof...(Parts)> joined;
  std::size_t at = 0;
  const auto append = [&](const char* text) {
    while (*text != '\0')
      joined.chars[at++] = *text++;
  };
  (append(Parts.chars), ...);
  return joined;
}

/// The text with its first letter in upper case: the setter's name of a member.
template <gbb_Text Name>
consteval auto gbb_Capitalised() {
  auto text = Name;
  if (text.chars[0] >= 'a' && text.chars[0] <= 'z')
    text.chars[0] = static_cast<char>(text.chars[0] - 'a' + 'A');
  return text;
}

/// The joined parts as a text that lives for ever.
template <gbb_Text... Parts>
const char* gbb_TextOf() {
  static constexpr auto kText = gbb_Join<Parts...>();
  return kText.chars;
}

/// Writes the joined parts to the error stream in one piece.
template <gbb_Text... Parts>
void gbb_Print() {
  err_Write(gbb_TextOf<Parts...>());
}
