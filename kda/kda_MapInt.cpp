#define PDM_CORE_KEEP_INLINE
#include <kda/kda_MapInt.h>
#include <omi/omi_Btree_Impl.h>

#include <cstddef>

// Programs built against the library read these fields in place.
#define KDA_DEFINE(T)                                                                                        \
  template class omi_BtreeNode<kda_MapIntKey, T>;                                                            \
  template class omi_Btree<kda_MapIntKey, T>;                                                                \
  template class omi_BtreeNodeLink<kda_MapIntKey, T>;                                                        \
  template class omi_BtreeIterator<kda_MapIntKey, T>;                                                        \
  template class kda_MapInt<T>;                                                                              \
  template class kda_MapIntIterator<T>;                                                                      \
  static_assert(sizeof(kda_MapInt<T>) == sizeof(omi_Btree<kda_MapIntKey, T>));                               \
  static_assert(sizeof(kda_MapIntIterator<T>) == sizeof(omi_BtreeIterator<kda_MapIntKey, T>));
KDA_FOR_EACH_VALUE_TYPE(KDA_DEFINE)
#undef KDA_DEFINE
