#pragma once

#include <kda/kda_ValueTypes.h>
#include <omi/omi_Btree.h>
#include <omi/omi_BtreeIterator.h>

/// An ordered map from strings to T.
///
/// Keys ascend by their bytes as unsigned numbers, the empty string first.
/// A key that is absent reads as the map's default value, T() at first: one slot for all, so writing through
/// get() of an absent key changes what every later miss reads. Readers may share a map while nobody changes
/// it. For value types other than those of kda_ValueTypes.h include omi_Btree_Impl.h where the map is used.
template <class T>
class kda_MapString {
 public:
  using Tree = omi_Btree<kda_string, T>;

  /// An empty map. (Written out, as all members here, for the library to export it.)
  kda_MapString() {}
  /// Copies all entries and the default value. Cost: O(count).
  kda_MapString(const kda_MapString& src) : m_tree(src.m_tree) {}
  /// Takes the entries and the default value; leaves an empty map with the default value T().
  kda_MapString(kda_MapString&& src) noexcept : kda_MapString() { swap(src); }
  ~kda_MapString() {}
  /// Becomes the source, default value included.
  kda_MapString& operator=(kda_MapString src) {
    swap(src);
    return *this;
  }

  /// Adds the pair, or overwrites the value of the key that is present. Cost: O(log count).
  void insert(const kda_string& key, const T& value) { m_tree.InsertOrReplace(key, value); }
  /// Adds a pair whose key is greater than all others, as insert but with no key compared: for building a map
  /// from ordered keys. REQUIRES that order. \return the key in the map, valid until it is removed.
  const kda_string& append(kda_string key, const T& value) { return m_tree.Append(std::move(key), value); }
  /// Removes the entry; an absent key is ignored. Cost: O(log count).
  void remove(const kda_string& key) { m_tree.Remove(key); }
  bool isMember(const kda_string& key) const { return m_tree.IsMember(key); }
  /// The stored value, or the default value when the key is absent; never inserts. Valid until the entry is
  /// removed or the map cleared.
  T& get(const kda_string& key) { return m_tree.Get(key); }
  const T& get(const kda_string& key) const { return m_tree.ConstGet(key); }
  /// Number of entries.
  int count() const { return m_tree.Count(); }
  /// Destroys every entry; the default value stays.
  void clear() { m_tree.Clear(); }
  /// Exchanges entries and default values; copies no entry.
  void swap(kda_MapString& other) { m_tree.Swap(other.m_tree); }

  /// Calls visit(const kda_string& key, const T& value) for every entry in ascending order. Needs no link per
  /// entry as an iterator does. The map must not change meanwhile.
  template <class Visit>
  void ForEach(Visit&& visit) const {
    m_tree.ForEach([&visit](const kda_string& key, const T& value) { visit(key, value); });
  }

  /// The tree beneath.
  const Tree& tree() const { return m_tree; }

 private:
  Tree m_tree;
};

/// Visits a map in key order, either way. Unpositioned (done) until first() or last(); borrows the map, which
/// must outlive it and must not change while it is positioned. On a done iterator call only first, last,
/// isDone.
template <class T>
class kda_MapStringIterator {
 public:
  explicit kda_MapStringIterator(const kda_MapString<T>& map) : m_iterator(map.tree()) {}
  ~kda_MapStringIterator() {}

  /// Ascending, from the least key.
  void first() { m_iterator.first(); }
  void next() { m_iterator.next(); }
  /// Descending, from the greatest key.
  void last() { m_iterator.last(); }
  void previous() { m_iterator.previous(); }
  /// True when there is no current entry.
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
