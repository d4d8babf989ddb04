#pragma once

// The members of the tree that are not inline. Included where a tree of new types is instantiated.

#include <omi/omi_Btree.h>
#include <omi/omi_BtreeIterator.h>

#include <bit>

template <class Key, class Value>
omi_BtreeNode<Key, Value>::omi_BtreeNode(const omi_BtreeNode& src)
    : m_value(src.m_value), m_key(src.m_key), m_height(src.m_height), m_unsettled(src.m_unsettled) {}

template <class Key, class Value>
omi_BtreeNode<Key, Value>::~omi_BtreeNode() {
  if (m_child[kLeft] != nullptr)
    Destroy(m_child[kLeft]);
  if (m_child[kRight] != nullptr)
    Destroy(m_child[kRight]);
}

// In depth-first order, left before right. Waiting nodes lie on the path; links are written by parents.
template <class Key, class Value>
omi_BtreeNode<Key, Value>* omi_BtreeNode<Key, Value>::Clone(const omi_BtreeNode* src) {
  struct Waiting {
    const omi_BtreeNode* src;
    omi_BtreeNode** slot;
  };
  omi_BtreePath<Waiting> waiting;
  omi_BtreeNode* root = nullptr;
  omi_BtreeNode** slot = &root;
  try {
    for (;;) {
      while (src != nullptr) {
        omi_BtreeNode* const copy = new omi_BtreeNode(*src);
        *slot = copy;
        if (src->m_child[kRight] != nullptr)
          waiting.Push({src->m_child[kRight], &copy->m_child[kRight]});
        slot = &copy->m_child[kLeft];
        src = src->m_child[kLeft];
      }
      if (waiting.Count() == 0)
        return root;
      const Waiting next = waiting.Pop();
      src = next.src;
      slot = next.slot;
    }
  } catch (...) {
    Destroy(root);
    throw;
  }
}

// Children before their parent, left before right. A node on the way down keeps the child still to be done
// as its left and its own parent as its right, so that no depth of tree needs a stack.
template <class Key, class Value>
void omi_BtreeNode<Key, Value>::Destroy(omi_BtreeNode* node) {
  omi_BtreeNode* up = nullptr;
  while (node != nullptr) {
    omi_BtreeNode* const left = node->m_child[kLeft];
    omi_BtreeNode* const right = node->m_child[kRight];
    if (left != nullptr || right != nullptr) {
      node->m_child[kLeft] = left != nullptr ? right : nullptr;
      node->m_child[kRight] = up;
      up = node;
      node = left != nullptr ? left : right;
      continue;
    }
    delete node;
    while (up != nullptr && up->m_child[kLeft] == nullptr) {
      omi_BtreeNode* const done = up;
      up = done->m_child[kRight];
      done->m_child[kRight] = nullptr;
      delete done;
    }
    node = up != nullptr ? std::exchange(up->m_child[kLeft], nullptr) : nullptr;
  }
}

template <class Key, class Value>
int omi_BtreeNode<Key, Value>::HeightAboveChildren() const {
  const int left = m_child[kLeft] != nullptr ? m_child[kLeft]->m_height + 1 : 0;
  const int right = m_child[kRight] != nullptr ? m_child[kRight]->m_height + 1 : 0;
  return left > right ? left : right;
}

// Returns how much higher the right child is than the left.
template <class Key, class Value>
int omi_BtreeNode<Key, Value>::Recompute() {
  m_height = HeightAboveChildren();
  const int lean = Lean();
  m_unsettled = lean > 1 || lean < -1;
  return lean;
}

// The child on that side comes up and gives its inner subtree to this node. Returns the child.
template <class Key, class Value>
omi_BtreeNode<Key, Value>* omi_BtreeNode<Key, Value>::RotateUp(int side) {
  omi_BtreeNode* const riser = m_child[side];
  m_child[side] = riser->m_child[1 - side];
  riser->m_child[1 - side] = this;
  Recompute();
  riser->Recompute();
  return riser;
}

template <class Key, class Value>
void omi_BtreeNode<Key, Value>::Rebalance(omi_BtreeNode*& slot, int lean) {
  if (lean > 1)
    slot = slot->RotateUp(kRight);
  else if (lean < -1)
    slot = slot->RotateUp(kLeft);
}

// Recomputes and rebalances the nodes in path[depth], path[depth - 1], ..., path[0] after a change below
// path[depth]. A settled node whose changed child kept its height would stay as it is, so the climb then goes
// straight to the next unsettled one (bit d of `unsettled` tells of path[d]), or ends.
template <class Key, class Value>
template <class Path>
void omi_BtreeNode<Key, Value>::Climb(Path& path, unsigned long long unsettled, bool rebalanceRoot) {
  int depth = path.Count() - 1;
  while (depth >= 0) {
    omi_BtreeNode*& slot = *path[depth];
    const int before = slot->m_height;
    const int lean = slot->Recompute();
    if (depth > 0 || rebalanceRoot)
      Rebalance(slot, lean);
    --depth;
    if (slot->m_height != before || depth >= 63)
      continue;
    if (depth >= 0)
      unsettled &= (2ull << depth) - 1; // what is left for path[0] to path[depth]
    if (depth < 0 || unsettled == 0)
      return;
    depth = 63 - std::countl_zero(unsettled);
  }
}

template <class Key, class Value>
omi_BtreeNode<Key, Value>* omi_BtreeNode<Key, Value>::InsertAt(omi_BtreeNode*& root, const Key& key,
                                                               const Value& value, bool rebalanceRoot) {
  omi_BtreePath<omi_BtreeNode**> path;
  unsigned long long unsettled = 0;
  omi_BtreeNode** slot = &root;
  do {
    omi_BtreeNode* const node = *slot;
    const int order = BtreeCompare(key, node->m_key);
    if (order == 0)
      return node;
    unsettled |= static_cast<unsigned long long>(node->m_unsettled) << (path.Count() & 63);
    path.Push(slot);
    slot = &node->m_child[order > 0];
  } while (*slot != nullptr);
  *slot = new omi_BtreeNode(key, value);
  Climb(path, unsettled, rebalanceRoot);
  return nullptr;
}

// Takes a node out of the tree and returns the subtree that stands in its place. Where the successor moves
// up, its former parent and itself are recomputed, the nodes above that parent are not.
template <class Key, class Value>
omi_BtreeNode<Key, Value>* omi_BtreeNode<Key, Value>::Splice(omi_BtreeNode* node) {
  omi_BtreeNode* const left = std::exchange(node->m_child[kLeft], nullptr);
  omi_BtreeNode* const right = std::exchange(node->m_child[kRight], nullptr);
  if (right == nullptr)
    return left;
  if (left == nullptr)
    return right;
  omi_BtreeNode *grandparent = nullptr, *parent = nullptr, *successor = right;
  while (successor->m_child[kLeft] != nullptr) {
    grandparent = parent;
    parent = successor;
    successor = successor->m_child[kLeft];
  }
  if (parent != nullptr) {
    parent->m_child[kLeft] = successor->m_child[kRight];
    successor->m_child[kRight] = right;
    parent->Recompute();
    if (grandparent != nullptr)
      grandparent->Settle();
  }
  successor->m_child[kLeft] = left;
  successor->Recompute();
  return successor;
}

template <class Key, class Value>
bool omi_BtreeNode<Key, Value>::RemoveAt(omi_BtreeNode*& root, const Key& key, bool rebalanceRoot) {
  omi_BtreePath<omi_BtreeNode**> path;
  unsigned long long unsettled = 0;
  omi_BtreeNode** slot = &root;
  while (*slot != nullptr) {
    omi_BtreeNode* const node = *slot;
    const int order = BtreeCompare(key, node->m_key);
    if (order == 0)
      break;
    unsettled |= static_cast<unsigned long long>(node->m_unsettled) << (path.Count() & 63);
    path.Push(slot);
    slot = &node->m_child[order > 0];
  }
  omi_BtreeNode* const found = *slot;
  if (found == nullptr)
    return false;
  *slot = Splice(found);
  delete found;
  if (*slot != nullptr && (path.Count() > 0 || rebalanceRoot))
    Rebalance(*slot, (*slot)->Lean());
  Climb(path, unsettled, rebalanceRoot);
  return true;
}

template <class Key, class Value>
bool omi_BtreeNode<Key, Value>::Insert(const Key& key, const Value& value) {
  omi_BtreeNode* self = this;
  return InsertAt(self, key, value, false) == nullptr;
}

template <class Key, class Value>
bool omi_BtreeNode<Key, Value>::Remove(const Key& key, omi_BtreeNode& parent) {
  omi_BtreeNode*& slot = parent.m_child[parent.m_child[kRight] == this];
  const bool self = BtreeCompare(key, m_key) == 0;
  const bool removed = RemoveAt(slot, key, false);
  if (self)
    parent.Recompute();
  else if (removed)
    parent.Settle();
  return removed;
}

template <class Key, class Value>
omi_Btree<Key, Value>::omi_Btree(const omi_Btree& src) : omi_Btree() {
  m_default = src.m_default;
  m_root = Node::Clone(src.m_root);
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
bool omi_Btree<Key, Value>::Remove(const Key& key) {
  if (m_root == nullptr || !Node::RemoveAt(m_root, key, true))
    return false;
  --m_count;
  return true;
}
