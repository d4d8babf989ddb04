#pragma once

// What the source files of all schema classes share: the definitions of the pattern, and how New makes an
// object.
// Threads: as the templates' own headers say.

#include <gbb/pattern/gbb_Pattern.h>

/// A new object of the class, in memory only. Threads: any.
/// \param flags     gbb_HolderFlags of the holder.
/// \param outer     the caller's interface object, null for none.
/// \param own       what the members are made from.
/// \param inherited the same for the base part.
template <class Traits>
typename Traits::Holder gbb_NewObject(unsigned flags, typename Traits::Interface* outer,
                                      typename Traits::Initial own,
                                      typename gbb_BasePart<Traits>::Initial inherited, int trace) {
  auto* const made = new typename Traits::Impl(outer, std::move(own), std::move(inherited), trace);
  return gbb_ObjectHolder<Traits>::Adopt(made, flags);
}
