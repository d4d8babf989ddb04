#pragma once

/// The value of a container that needs only keys: a map of kda_none is a set. It carries nothing. Any two are
/// equal.
/// Threads: any, at any time; there is nothing to change.
class kda_none {
 public:
  friend constexpr bool operator==(kda_none, kda_none) { return true; }
};

static_assert(sizeof(kda_none) == 1);
