#pragma once

// Four ints at once: SSE2 where it is the baseline, plain loops elsewhere (PDM_PLAIN_LANES asks for them).
#if defined(__SSE2__) && !defined(PDM_PLAIN_LANES)
#include <emmintrin.h>

struct dof_Lanes {
  __m128i lanes;

  static dof_Lanes Splat(int value) { return {_mm_set1_epi32(value)}; }
  static dof_Lanes Load(const int* from) { return {_mm_loadu_si128(reinterpret_cast<const __m128i*>(from))}; }
  void Store(int* to) const { _mm_storeu_si128(reinterpret_cast<__m128i*>(to), lanes); }
  template <int Bits>
  dof_Lanes ShiftRight() const {
    return {_mm_srli_epi32(lanes, Bits)};
  }
  friend dof_Lanes operator+(dof_Lanes a, dof_Lanes b) { return {_mm_add_epi32(a.lanes, b.lanes)}; }
  friend dof_Lanes operator-(dof_Lanes a, dof_Lanes b) { return {_mm_sub_epi32(a.lanes, b.lanes)}; }
  friend dof_Lanes operator&(dof_Lanes a, dof_Lanes b) { return {_mm_and_si128(a.lanes, b.lanes)}; }
  friend dof_Lanes operator|(dof_Lanes a, dof_Lanes b) { return {_mm_or_si128(a.lanes, b.lanes)}; }
};

/// Asks for the line of an address that will be read soon.
inline void dof_Prefetch(const int* place) {
  _mm_prefetch(reinterpret_cast<const char*>(place), _MM_HINT_T0);
}
#else
struct dof_Lanes {
  unsigned lanes[4];

  static dof_Lanes Splat(int value) {
    const auto bits = static_cast<unsigned>(value);
    return {{bits, bits, bits, bits}};
  }
  static dof_Lanes Load(const int* from) {
    dof_Lanes loaded;
    for (int i = 0; i < 4; ++i)
      loaded.lanes[i] = static_cast<unsigned>(from[i]);
    return loaded;
  }
  void Store(int* to) const {
    for (int i = 0; i < 4; ++i)
      to[i] = static_cast<int>(lanes[i]);
  }
  template <int Bits>
  dof_Lanes ShiftRight() const {
    dof_Lanes shifted;
    for (int i = 0; i < 4; ++i)
      shifted.lanes[i] = lanes[i] >> Bits;
    return shifted;
  }
  template <class Operation>
  static dof_Lanes Each(dof_Lanes a, dof_Lanes b, Operation operation) {
    for (int i = 0; i < 4; ++i)
      a.lanes[i] = operation(a.lanes[i], b.lanes[i]);
    return a;
  }
  friend dof_Lanes operator+(dof_Lanes a, dof_Lanes b) {
    return Each(a, b, [](unsigned x, unsigned y) { return x + y; });
  }
  friend dof_Lanes operator-(dof_Lanes a, dof_Lanes b) {
    return Each(a, b, [](unsigned x, unsigned y) { return x - y; });
  }
  friend dof_Lanes operator&(dof_Lanes a, dof_Lanes b) {
    return Each(a, b, [](unsigned x, unsigned y) { return x & y; });
  }
  friend dof_Lanes operator|(dof_Lanes a, dof_Lanes b) {
    return Each(a, b, [](unsigned x, unsigned y) { return x | y; });
  }
};

inline void dof_Prefetch(const int*) {}
#endif
