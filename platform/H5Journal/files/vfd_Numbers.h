#pragma once

#include <cstddef>
#include <cstdint>

// Little-endian numbers of a file.

/// \param width bytes of the number that are written, at most 8.
inline void vfd_PutBytes(unsigned char* target, std::uint64_t number, std::size_t width) {
  for (std::size_t i = 0; i < width; ++i)
    target[i] = static_cast<unsigned char>(number >> (8 * i));
}

template <class Number>
void vfd_PutNumber(unsigned char* target, Number number) {
  vfd_PutBytes(target, number, sizeof number);
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
