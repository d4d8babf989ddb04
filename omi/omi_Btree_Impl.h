#pragma once

// The members of the tree that are not inline. Included where a tree of new types is instantiated.

#include <omi/omi_Btree.h>
#include <omi/omi_BtreeIterator.h>
#include <omi/omi_BtreeNode_Impl.h>

template <class Key, class Value>
omi_Btree<Key, Value>::omi_Btree(const omi_Btree& src) : omi_Btree() {
  m_default = src.m_default;
  if (src.m_root != nullptr)
    m_root = new Node(*src.m_root);
  m_count = src.m_count;
}

// Adds the entry and returns null, or returns the node that has the key.
template <class Key, class Value>
omi_BtreeNode<Key, Value>* omi_Btree<Key, Value>::Add(const Key& key, const Value& value) {
  if (m_root == nullptr)
    m_root = new Node(key, value);
  else if (Node* const present = Node::InsertAt(m_root, key, value, true))
    return present;
  ++m_count;
  return nullptr;
}

template <class Key, class Value>
bool omi_Btree<Key, Value>::Insert(const Key& key, const Value& value) {
  return Add(key, value) == nullptr;
}

template <class Key, class Value>
bool omi_Btree<Key, Value>::InsertOrReplace(const Key& key, const Value& value) {
  Node* const present = Add(key, value);
  if (present != nullptr)
    present->m_value = value;
  return present == nullptr;
}

template <class Key, class Value>
const Key& omi_Btree<Key, Value>::Append(Key&& key, const Value& value) {
  const Key& added = Node::AppendAt(m_root, std::move(key), value)->m_key;
  ++m_count;
  return added;
}

template <class Key, class Value>
bool omi_Btree<Key, Value>::Remove(const Key& key) {
  if (m_root == nullptr || !Node::RemoveAt(m_root, key, true))
    return false;
  --m_count;
  return true;
}
