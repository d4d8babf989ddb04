#pragma once

#include <kda/kda_MapIntKey.h>
#include <kda/kda_ValueTypes.h>
#include <omi/omi_Btree.h>
#include <omi/omi_BtreeIterator.h>

/// An ordered map from 32-bit integers to T.
///
/// Keys ascend by their wrapping 32-bit difference (see kda_MapIntKey): ascending integers, as long as no two
/// keys are more than 2^31 - 1 apart.
/// A key that is absent reads as the map's default value, T() at first. There is one slot for all absent
/// keys: writing through get() of an absent key changes what every later miss reads. For value types other
/// than those of kda_ValueTypes.h include omi_Btree_Impl.h where the map is used. Threads: any number may
/// read one map while nobody changes it; different maps are independent.
template <class T>
class kda_MapInt {
 public:
  using Tree = omi_Btree<kda_MapIntKey, T>;

  /// An empty map. (Written out, as all members here, for the library to export it.)
  kda_MapInt() {}
  /// Copies all entries and the default value. Cost: O(count).
  kda_MapInt(const kda_MapInt& src) : m_tree(src.m_tree) {}
  /// Takes the entries and the default value. Leaves an empty map with the default value T().
  kda_MapInt(kda_MapInt&& src) noexcept : kda_MapInt() { swap(src); }
  ~kda_MapInt() {}
  /// Takes over the source's entries and default value. Cost: O(count of both).
  kda_MapInt& operator=(kda_MapInt src) {
    swap(src);
    return *this;
  }

  /// Adds the pair, or overwrites the value of the key that is present. Cost: one way down the tree, O(log
  /// count) in all histories that were measured.
  void insert(int key, const T& value) { m_tree.InsertOrReplace(key, value); }
  /// Removes the entry. An absent key is ignored. Cost: as insert.
  void remove(int key) { m_tree.Remove(key); }
  /// \return whether the key is present.
  /// Cost: as insert.
  bool isMember(int key) const { return m_tree.IsMember(key); }
  /// Looks a key up; never inserts. Cost: as insert.
  /// \return the stored value, or the default value when the key is absent; valid until the entry is removed,
  ///         or the map cleared or destroyed.
  T& get(int key) { return m_tree.Get(key); }
  const T& get(int key) const { return m_tree.ConstGet(key); }
  /// \return the number of entries.
  int count() const { return m_tree.Count(); }
  /// Destroys every entry. The default value stays. Cost: O(count).
  void clear() { m_tree.Clear(); }
  /// Exchanges entries and default values. Copies no entry.
  void swap(kda_MapInt& other) { m_tree.Swap(other.m_tree); }

  /// Visits every entry in ascending order, without an iterator's link for each. The map must not change
  /// meanwhile. Cost: O(count).
  /// \param visit  called as visit(int key, const T& value).
  template <class Visit>
  void ForEach(Visit&& visit) const {
    m_tree.ForEach([&visit](const kda_MapIntKey& key, const T& value) { visit(key.Value(), value); });
  }

  /// \return the tree beneath; lives as long as the map.
  const Tree& tree() const { return m_tree; }

 private:
  Tree m_tree;
};

/// Visits a map in key order, either way. It is unpositioned (done) until first() or last(). It borrows the
/// map, which must outlive it and must not change while it is positioned. On a done iterator call only first,
/// last and isDone.
/// Threads: one thread at a time for one iterator; several iterators may stand in one map.
template <class T>
class kda_MapIntIterator {
 public:
  explicit kda_MapIntIterator(const kda_MapInt<T>& map) : m_iterator(map.tree()) {}
  ~kda_MapIntIterator() {}

  /// Ascending, from the least key. Cost: O(height of the tree) for first, amortised constant for next.
  void first() { m_iterator.first(); }
  void next() { m_iterator.next(); }
  /// Descending, from the greatest key. Cost: as ascending.
  void last() { m_iterator.last(); }
  void previous() { m_iterator.previous(); }
  /// \return whether there is no current entry.
  bool isDone() const { return m_iterator.isDone(); }

  int key() const { return m_iterator.CurrentKey().Value(); }
  const T& value() const { return m_iterator.CurrentValue(); }

 private:
  omi_BtreeIterator<kda_MapIntKey, T> m_iterator;
};

#define KDA_DECLARE(T)                                                                                       \
  extern template class PDM_CORE_API omi_BtreeNode<kda_MapIntKey, T>;                                        \
  extern template class PDM_CORE_API omi_Btree<kda_MapIntKey, T>;                                            \
  extern template class PDM_CORE_API omi_BtreeNodeLink<kda_MapIntKey, T>;                                    \
  extern template class PDM_CORE_API omi_BtreeIterator<kda_MapIntKey, T>;                                    \
  extern template class PDM_CORE_API kda_MapInt<T>;                                                          \
  extern template class PDM_CORE_API kda_MapIntIterator<T>;
KDA_FOR_EACH_VALUE_TYPE(KDA_DECLARE)
#undef KDA_DECLARE
