#include <kda/kda_MapString.h>
#include <omi/omi_Btree_Impl.h>

#include <cstddef>

// Programs built against the library read these fields in place.
#define KDA_DEFINE(T)                                                                                        \
  template class omi_BtreeNode<kda_string, T>;                                                               \
  template class omi_Btree<kda_string, T>;                                                                   \
  template class omi_BtreeNodeLink<kda_string, T>;                                                           \
  template class omi_BtreeIterator<kda_string, T>;                                                           \
  template class kda_MapString<T>;                                                                           \
  template class kda_MapStringIterator<T>;                                                                   \
  static_assert(sizeof(kda_MapString<T>) == sizeof(omi_Btree<kda_string, T>));                               \
  static_assert(sizeof(kda_MapStringIterator<T>) == sizeof(omi_BtreeIterator<kda_string, T>));
KDA_FOR_EACH_VALUE_TYPE(KDA_DEFINE)
#undef KDA_DEFINE
