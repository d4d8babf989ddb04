#pragma once

#include <kda/kda_Export.h>

/// The key of the integer-keyed maps: one 32-bit integer.
/// Threads: any number may read one key while nobody changes it; different keys are independent.
class kda_MapIntKey {
 public:
  constexpr kda_MapIntKey() = default;
  PDM_CORE_INLINE_API constexpr kda_MapIntKey(int value) : m_value(value) {}
  constexpr int Value() const { return m_value; }

 private:
  int m_value = 0;
};

static_assert(sizeof(kda_MapIntKey) == 4);

/// Orders two keys by their 32-bit difference, which wraps: keys more than 2^31 - 1 apart compare with the
/// opposite sign. Files and peers rely on the tree shapes that follow, so this is not a three-way comparison.
/// \param probe  the key that is looked for.
/// \param node   the key that it is compared with.
/// \return probe - node: negative when the probe comes before, 0 when they are equal, positive after.
/// Threads: any, at any time.
PDM_CORE_INLINE_API constexpr int BtreeCompare(kda_MapIntKey probe, kda_MapIntKey node) {
  return static_cast<int>(static_cast<unsigned>(probe.Value()) - static_cast<unsigned>(node.Value()));
}
