#pragma once

#include <cstddef>
#include <cstdint>

/// Little-endian numbers of a file.
template <class Number>
void vfd_PutNumber(unsigned char* target, Number number) {
  for (std::size_t i = 0; i < sizeof number; ++i)
    target[i] = static_cast<unsigned char>(number >> (8 * i));
}

/// \param width bytes of the number, at most 8.
inline std::uint64_t vfd_TakeBytes(const unsigned char* source, std::size_t width) {
  std::uint64_t number = 0;
  while (width-- > 0)
    number = number << 8 | source[width];
  return number;
}

template <class Number>
Number vfd_TakeNumber(const unsigned char* source) {
  return static_cast<Number>(vfd_TakeBytes(source, sizeof(Number)));
}
