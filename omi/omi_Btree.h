#pragma once

#include <omi/omi_BtreeNode.h>

#include <utility>

/// An ordered map as a binary search tree (see omi_BtreeNode for its order and its shape).
///
/// A key that is absent reads as the tree's default value. There is one slot for all absent keys: writing
/// through Get of an absent key changes what every later miss reads.
/// Definitions stand in omi_Btree_Impl.h, for whoever instantiates a tree of new types.
/// "O(height)" is one way down the tree: see README.md for how high trees grow.
/// Threads: any number may read one tree while nobody changes it; different trees are independent.
template <class Key, class Value>
class omi_Btree {
 public:
  using Node = omi_BtreeNode<Key, Value>;

  /// Empty; the default value is Value().
  omi_Btree() {}
  /// Copies every node, in the same shape with the same heights, and the default value. Cost: O(count).
  omi_Btree(const omi_Btree& src);
  omi_Btree& operator=(const omi_Btree&) = delete;
  ~omi_Btree() { Node::Destroy(m_root); }

  /// Adds an entry. Cost: O(height).
  /// \return false, with the stored value kept, when the key is present.
  bool Insert(const Key& key, const Value& value);
  /// Adds an entry, or assigns the value to the entry that has the key. Cost: O(height).
  /// \return true when it was added.
  bool InsertOrReplace(const Key& key, const Value& value);
  /// Adds an entry, to the same shape as Insert, but with no key compared. REQUIRES a key that is greater
  /// than all others. Cost: O(height).
  /// \return the key in the tree; valid until it is removed.
  const Key& Append(Key&& key, const Value& value);
  /// Removes an entry. Cost: O(height).
  /// \return false when the key is absent.
  bool Remove(const Key& key);

  /// \return whether the key is present.
  /// Cost: O(height).
  bool IsMember(const Key& key) const { return Find(key) != nullptr; }
  /// Looks a key up. Inserts nothing. Cost: O(height).
  /// \return the stored value, or the default value; valid until the key is removed.
  Value& Get(const Key& key) {
    Node* const node = Find(key);
    return node != nullptr ? node->m_value : m_default;
  }
  const Value& ConstGet(const Key& key) const {
    const Node* const node = Find(key);
    return node != nullptr ? node->m_value : m_default;
  }
  /// \return the entry's node, or null.
  /// Cost: O(height).
  Node* Find(const Key& key) const { return m_root != nullptr ? m_root->Find(key) : nullptr; }

  /// \return the number of entries.
  int Count() const { return m_count; }
  /// \return the root, for a walk over the shape; null when the tree is empty.
  const Node* Root() const { return m_root; }

  /// Destroys every entry. The default value stays. Cost: O(count).
  void Clear() {
    Node::Destroy(m_root);
    m_root = nullptr;
    m_count = 0;
  }
  /// Exchanges root, count and default value. Copies no entry.
  void Swap(omi_Btree& other) {
    using std::swap;
    swap(m_root, other.m_root);
    swap(m_count, other.m_count);
    swap(m_default, other.m_default);
  }

  /// Visits every entry in ascending order. Allocates nothing in a tree of ordinary height. The tree must not
  /// change during the walk. Cost: O(count).
  /// \param visit  called as visit(const Key&, const Value&).
  template <class Visit>
  void ForEach(Visit&& visit) const {
    omi_BtreePath<const Node*> path;
    const Node* node = m_root;
    for (;;) {
      for (; node != nullptr; node = node->Left())
        path.Push(node);
      if (path.IsEmpty())
        return;
      node = path.Pop();
      visit(node->ConstGetKey(), node->ConstGetValue());
      node = node->Right();
    }
  }

 private:
  Node* Add(const Key& key, const Value& value);

  Node* m_root = nullptr; // owned
  int m_count = 0;
  Value m_default{};
};
