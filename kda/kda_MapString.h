#pragma once

#include <kda/kda_ValueTypes.h>
#include <omi/omi_Btree.h>
#include <omi/omi_BtreeIterator.h>

/// An ordered map from strings to T.
///
/// Keys ascend by their bytes as unsigned numbers, the empty string first.
/// A key that is absent reads as the map's default value, T() at first. There is one slot for all absent
/// keys: writing through get() of an absent key changes what every later miss reads. For value types other
/// than those of kda_ValueTypes.h include omi_Btree_Impl.h where the map is used. Threads: any number may
/// read one map while nobody changes it; different maps are independent.
template <class T>
class kda_MapString {
 public:
  using Tree = omi_Btree<kda_string, T>;

  /// An empty map. (Written out, as all members here, for the library to export it.)
  kda_MapString() {}
  /// Copies all entries and the default value. Cost: O(count).
  kda_MapString(const kda_MapString& src) : m_tree(src.m_tree) {}
  /// Takes the entries and the default value. Leaves an empty map with the default value T().
  kda_MapString(kda_MapString&& src) noexcept : kda_MapString() { swap(src); }
  ~kda_MapString() {}
  /// Takes over the source's entries and default value. Cost: O(count of both).
  kda_MapString& operator=(kda_MapString src) {
    swap(src);
    return *this;
  }

  /// Adds the pair, or overwrites the value of the key that is present. Cost: one way down the tree, O(log
  /// count) in all histories that were measured.
  void insert(const kda_string& key, const T& value) { m_tree.InsertOrReplace(key, value); }
  /// Adds a pair as insert does, but with no key compared: for building a map from ordered keys. REQUIRES a
  /// key that is greater than all others. Cost: as insert.
  /// \return the key in the map; valid until it is removed.
  const kda_string& append(kda_string key, const T& value) { return m_tree.Append(std::move(key), value); }
  /// Removes the entry. An absent key is ignored. Cost: as insert.
  void remove(const kda_string& key) { m_tree.Remove(key); }
  /// \return whether the key is present.
  /// Cost: as insert.
  bool isMember(const kda_string& key) const { return m_tree.IsMember(key); }
  /// Looks a key up; never inserts. Cost: as insert.
  /// \return the stored value, or the default value when the key is absent; valid until the entry is removed,
  ///         or the map cleared or destroyed.
  T& get(const kda_string& key) { return m_tree.Get(key); }
  const T& get(const kda_string& key) const { return m_tree.ConstGet(key); }
  /// \return the number of entries.
  int count() const { return m_tree.Count(); }
  /// Destroys every entry. The default value stays. Cost: O(count).
  void clear() { m_tree.Clear(); }
  /// Exchanges entries and default values. Copies no entry.
  void swap(kda_MapString& other) { m_tree.Swap(other.m_tree); }

  /// Visits every entry in ascending order, without an iterator's link for each. The map must not change
  /// meanwhile. Cost: O(count).
  /// \param visit  called as visit(const kda_string& key, const T& value).
  template <class Visit>
  void ForEach(Visit&& visit) const {
    m_tree.ForEach([&visit](const kda_string& key, const T& value) { visit(key, value); });
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
class kda_MapStringIterator {
 public:
  explicit kda_MapStringIterator(const kda_MapString<T>& map) : m_iterator(map.tree()) {}
  ~kda_MapStringIterator() {}

  /// Ascending, from the least key. Cost: O(height of the tree) for first, amortised constant for next.
  void first() { m_iterator.first(); }
  void next() { m_iterator.next(); }
  /// Descending, from the greatest key. Cost: as ascending.
  void last() { m_iterator.last(); }
  void previous() { m_iterator.previous(); }
  /// \return whether there is no current entry.
  bool isDone() const { return m_iterator.isDone(); }

  const kda_string& key() const { return m_iterator.CurrentKey(); }
  const T& value() const { return m_iterator.CurrentValue(); }

 private:
  omi_BtreeIterator<kda_string, T> m_iterator;
};

#define KDA_DECLARE(T)                                                                                       \
  extern template class PDM_CORE_API omi_BtreeNode<kda_string, T>;                                           \
  extern template class PDM_CORE_API omi_Btree<kda_string, T>;                                               \
  extern template class PDM_CORE_API omi_BtreeNodeLink<kda_string, T>;                                       \
  extern template class PDM_CORE_API omi_BtreeIterator<kda_string, T>;                                       \
  extern template class PDM_CORE_API kda_MapString<T>;                                                       \
  extern template class PDM_CORE_API kda_MapStringIterator<T>;
KDA_FOR_EACH_VALUE_TYPE(KDA_DECLARE)
#undef KDA_DECLARE
