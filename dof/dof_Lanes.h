#pragma once

// Four ints at once: SSE2 where it is the baseline, plain loops elsewhere (PDM_PLAIN_LANES asks for them).
#if defined(__SSE2__) && !defined(PDM_PLAIN_LANES)
#include <emmintrin.h>

struct fesD_Lanes {
  __m128i lanes;

  static fesD_Lanes Splat(int value) { return {_mm_set1_epi32(value)}; }
  static fesD_Lanes Load(const int* from) {
    return {_mm_loadu_si128(reinterpret_cast<const __m128i*>(from))};
  }
  void Store(int* to) const { _mm_storeu_si128(reinterpret_cast<__m128i*>(to), lanes); }
  template <int Bits>
  fesD_Lanes ShiftRight() const {
    return {_mm_srli_epi32(lanes, Bits)};
  }
  friend fesD_Lanes operator+(fesD_Lanes a, fesD_Lanes b) { return {_mm_add_epi32(a.lanes, b.lanes)}; }
  friend fesD_Lanes operator-(fesD_Lanes a, fesD_Lanes b) { return {_mm_sub_epi32(a.lanes, b.lanes)}; }
  friend fesD_Lanes operator&(fesD_Lanes a, fesD_Lanes b) { return {_mm_and_si128(a.lanes, b.lanes)}; }
  friend fesD_Lanes operator|(fesD_Lanes a, fesD_Lanes b) { return {_mm_or_si128(a.lanes, b.lanes)}; }
};

/// Asks for the line of an address that will be read soon.
inline void fesD_Prefetch(const int* place) {
  _mm_prefetch(reinterpret_cast<const char*>(place), _MM_HINT_T0);
}
#else
struct fesD_Lanes {
  unsigned lanes[4];

  static fesD_Lanes Splat(int value) {
    const auto bits = static_cast<unsigned>(value);
    return {{bits, bits, bits, bits}};
  }
  static fesD_Lanes Load(const int* from) {
    fesD_Lanes loaded;
    for (int i = 0; i < 4; ++i)
      loaded.lanes[i] = static_cast<unsigned>(from[i]);
    return loaded;
  }
  void Store(int* to) const {
    for (int i = 0; i < 4; ++i)
      to[i] = static_cast<int>(lanes[i]);
  }
  template <int Bits>
  fesD_Lanes ShiftRight() const {
    fesD_Lanes shifted;
    for (int i = 0; i < 4; ++i)
      shifted.lanes[i] = lanes[i] >> Bits;
    return shifted;
  }
  template <class Operation>
  static fesD_Lanes Each(fesD_Lanes a, fesD_Lanes b, Operation operation) {
    for (int i = 0; i < 4; ++i)
      a.lanes[i] = operation(a.lanes[i], b.lanes[i]);
    return a;
  }
  friend fesD_Lanes operator+(fesD_Lanes a, fesD_Lanes b) {
    return Each(a, b, [](unsigned x, unsigned y) { return x + y; });
  }
  friend fesD_Lanes operator-(fesD_Lanes a, fesD_Lanes b) {
    return Each(a, b, [](unsigned x, unsigned y) { return x - y; });
  }
  friend fesD_Lanes operator&(fesD_Lanes a, fesD_Lanes b) {
    return Each(a, b, [](unsigned x, unsigned y) { return x & y; });
  }
  friend fesD_Lanes operator|(fesD_Lanes a, fesD_Lanes b) {
    return Each(a, b, [](unsigned x, unsigned y) { return x | y; });
  }
};

inline void fesD_Prefetch(const int*) {}
#endif
