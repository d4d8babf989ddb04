#pragma once

// The members of a node that are not inline: how a tree changes its shape.

#include <omi/omi_BtreeNode.h>

#include <algorithm>
#include <bit>

template <class Key, class Value>
omi_BtreeNode<Key, Value>::omi_BtreeNode(const omi_BtreeNode& src, Alone)
    : m_value(src.m_value), m_key(src.m_key), m_height(src.m_height), m_balance(src.m_balance) {
  struct Documented {
    Value value;
    Key key;
    void *left, *right;
    int height;
  };
  static_assert(sizeof(omi_BtreeNode) == sizeof(Documented));
}

template <class Key, class Value>
omi_BtreeNode<Key, Value>::omi_BtreeNode(const omi_BtreeNode& src) : omi_BtreeNode(src, Alone()) {
  m_child[kLeft] = Clone(src.m_child[kLeft]);
  m_child[kRight] = Clone(src.m_child[kRight]);
}

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
        omi_BtreeNode* const copy = new omi_BtreeNode(*src, Alone());
        *slot = copy;
        if (src->m_child[kRight] != nullptr)
          waiting.Push({src->m_child[kRight], &copy->m_child[kRight]});
        slot = &copy->m_child[kLeft];
        src = src->m_child[kLeft];
      }
      if (waiting.IsEmpty())
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

// Sets the height from the children's.
template <class Key, class Value>
void omi_BtreeNode<Key, Value>::Recompute() {
  const int left = HeightOf(m_child[kLeft]), right = HeightOf(m_child[kRight]);
  m_height = std::max(left, right) + 1;
  m_balance = BalanceOf(AsSubtree(right) - AsSubtree(left));
}

// Notes that a child's stored height has changed, which this node's does not follow.
template <class Key, class Value>
void omi_BtreeNode<Key, Value>::FallBehind() {
  const int height = m_height;
  Recompute();
  if (height != m_height)
    m_balance = kUnsettled;
  m_height = height;
}

// Turns a subtree that is out of balance: the child on the higher side comes up, as it is, and gives its
// inner subtree to the node. Returns the node that now stands on top.
template <class Key, class Value>
omi_BtreeNode<Key, Value>* omi_BtreeNode<Key, Value>::Rebalanced(omi_BtreeNode* node) {
  const int lean = AsSubtree(HeightOf(node->m_child[kRight])) - AsSubtree(HeightOf(node->m_child[kLeft]));
  if (!IsTooMuch(lean))
    return node;
  const int side = lean > 0 ? kRight : kLeft;
  omi_BtreeNode* const riser = node->m_child[side];
  node->m_child[side] = riser->m_child[1 - side];
  riser->m_child[1 - side] = node;
  node->Recompute();
  riser->Recompute();
  return riser;
}

// The same where this node was settled and `riser`, on the right or not, has just become higher by 2 than the
// other child and is settled itself: all heights follow from the riser's.
template <class Key, class Value>
void omi_BtreeNode<Key, Value>::RotateUp(omi_BtreeNode* riser, bool right) {
  omi_BtreeNode* const inner = riser->m_child[!right];
  const int top = riser->m_height - 1, outward = Towards(right, riser->Lean());
  const int innerHeight = top - (outward > 0), outerHeight = top - (outward < 0), otherHeight = top - 1;
  const bool childless = (innerHeight == 0) & (inner == nullptr) & (m_child[!right] == nullptr);
  m_child[right] = inner;
  riser->m_child[!right] = this;
  m_height = innerHeight + !childless;
  m_balance = BalanceOf(Towards(right, innerHeight - otherHeight));
  riser->m_height = std::max(m_height, outerHeight) + 1;
  riser->m_balance = BalanceOf(Towards(right, outerHeight - m_height));
}

// Follows the change of one child, on the right or not, from height `before` to its present one, without a
// look at the other. Returns the node that now stands in this one's place, or null, with nothing changed,
// when the change has to be followed by Recompute and Rebalance.
template <class Key, class Value>
omi_BtreeNode<Key, Value>* omi_BtreeNode<Key, Value>::Follow(omi_BtreeNode* child, bool right, int before,
                                                             bool rebalance) {
  if (m_balance == kUnsettled)
    return nullptr;
  const int after = child->m_height;
  const int other = AsSubtree(before) - Towards(right, Lean());
  const int lean = after - other;
  if (!IsTooMuch(lean)) [[likely]] {
    m_balance = BalanceOf(Towards(right, lean));
    m_height = std::max(after, other) + 1;
    return this;
  }
  if (lean != 2 || child->m_balance == kUnsettled || !rebalance)
    return nullptr;
  RotateUp(child, right);
  return child;
}

// Recomputes and rebalances the nodes above a change, from the deepest up: those in the links from `first` to
// before `last`. `changed` is the link to what changed, whose height was `before`. A settled node whose
// changed child kept its height would stay as it is, so the climb then goes straight to the next unsettled
// node, of which there is none when not `anyUnsettled`.
template <class Key, class Value>
void omi_BtreeNode<Key, Value>::Climb(Link* first, Link* last, Link changed, int before, bool anyUnsettled,
                                      bool rebalanceFirst) {
  while (last != first) {
    const Link link = *--last;
    omi_BtreeNode* const node = *link;
    const int height = node->m_height;
    const bool rebalance = last != first || rebalanceFirst;
    omi_BtreeNode* stands = node->Follow(*changed, changed == &node->m_child[kRight], before, rebalance);
    if (stands == nullptr) [[unlikely]] {
      node->Recompute();
      stands = rebalance ? Rebalanced(node) : node;
    }
    *link = stands;
    changed = link;
    before = height;
    if (stands->m_height != height)
      continue;
    if (!anyUnsettled)
      return;
    for (; last != first && (**(last - 1))->m_balance != kUnsettled; --last) {
      changed = *(last - 1);
      before = (*changed)->m_height;
    }
  }
}

// Recomputes and rebalances above an added node, as Climb does. The lowest nodes of the way are done at once
// as long as they are even: such a node only grows by 1 and leans towards the way, but for the lowest of all,
// which had no child and weighs no more with one. `uneven` is the link to the lowest node of the way that is
// not even.
template <class Key, class Value>
void omi_BtreeNode<Key, Value>::ClimbFrom(Link added, Link* first, Link* last, Link uneven, bool anyUnsettled,
                                          bool rebalanceFirst) {
  int before = -1;
  if (last != first && (**(last - 1))->m_height == 0) {
    for (; last != first && *(last - 1) != uneven; --last) {
      const Link link = *(last - 1);
      omi_BtreeNode* const node = *link;
      if (before >= 0)
        node->m_balance = BalanceOf(added == &node->m_child[kRight] ? 1 : -1);
      before = node->m_height++;
      added = link;
    }
  } else if (!anyUnsettled) {
    return; // the other child's height is the parent's already
  }
  Climb(first, last, added, before, anyUnsettled, rebalanceFirst);
}

// Adds a node and returns null, or returns the node that has the key.
//
// The way begins with a run of greater children, which a branch foretells when keys come in ascending order;
// after that nothing foretells it, and the next node is chosen without a branch.
template <class Key, class Value>
omi_BtreeNode<Key, Value>* omi_BtreeNode<Key, Value>::InsertAt(omi_BtreeNode*& root, const Key& key,
                                                               const Value& value, bool rebalanceRoot) {
  Path path;
  Link *top = path.Begin(), *end = path.End();
  unsigned balances = 0;
  Link link = &root, uneven = nullptr;
  omi_BtreeNode *node = root, *parent = root;
  const auto pass = [&] {
    if (top == end) [[unlikely]] {
      top = path.Grow();
      end = path.End();
    }
    *top++ = link;
    balances |= node->m_balance;
    uneven = node->m_balance == kEven ? uneven : link;
    parent = node;
    node->PrefetchChildren();
  };
  int order;
  while ((order = BtreeCompare(key, node->m_key)) > 0) {
    pass();
    link = &parent->m_child[kRight];
    node = *link;
    if (node == nullptr)
      break;
  }
  while (node != nullptr) {
    if (order == 0)
      return node;
    pass();
    link = &parent->m_child[order > 0];
    node = Choose(order, parent->m_child[kLeft], parent->m_child[kRight]);
    if (node == nullptr)
      break;
    order = BtreeCompare(key, node->m_key);
  }
  *link = new omi_BtreeNode(key, value);
  const bool anyUnsettled = (balances & kUnsettled) != 0;
  ClimbFrom(link, path.Begin(), top, uneven, anyUnsettled, rebalanceRoot);
  return nullptr;
}

// As InsertAt of a key that is greater than all others: down the right side, with no key compared.
template <class Key, class Value>
omi_BtreeNode<Key, Value>* omi_BtreeNode<Key, Value>::AppendAt(omi_BtreeNode*& root, Key&& key,
                                                               const Value& value) {
  Path path;
  Link *top = path.Begin(), *end = path.End();
  unsigned balances = 0;
  Link link = &root, uneven = nullptr;
  for (omi_BtreeNode* parent = root; *link != nullptr; link = &parent->m_child[kRight]) {
    if (top == end) [[unlikely]] {
      top = path.Grow();
      end = path.End();
    }
    *top++ = link;
    parent = *link;
    balances |= parent->m_balance;
    uneven = parent->m_balance == kEven ? uneven : link;
  }
  omi_BtreeNode* const added = *link = new omi_BtreeNode(std::move(key), value);
  const bool anyUnsettled = (balances & kUnsettled) != 0;
  ClimbFrom(link, path.Begin(), top, uneven, anyUnsettled, true);
  return added;
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
      grandparent->FallBehind();
  }
  successor->m_child[kLeft] = left;
  successor->Recompute();
  return successor;
}

template <class Key, class Value>
bool omi_BtreeNode<Key, Value>::RemoveAt(omi_BtreeNode*& root, const Key& key, bool rebalanceRoot) {
  Path path;
  Link *top = path.Begin(), *end = path.End();
  unsigned balances = 0;
  Link link = &root;
  for (int order; *link != nullptr && (order = BtreeCompare(key, (*link)->m_key)) != 0;) {
    if (top == end) [[unlikely]] {
      top = path.Grow();
      end = path.End();
    }
    *top++ = link;
    balances |= (*link)->m_balance;
    link = &(*link)->m_child[order > 0];
  }
  omi_BtreeNode* const found = *link;
  if (found == nullptr)
    return false;
  const int before = found->m_height;
  *link = Splice(found);
  delete found;
  const bool isRoot = top == path.Begin();
  if (*link != nullptr && (!isRoot || rebalanceRoot))
    *link = Rebalanced(*link);
  if (isRoot)
    return true;
  (*top[-1])->m_balance = kUnsettled; // its child may be another now, or none
  Climb(path.Begin(), top, link, before, (balances & kUnsettled) != 0, rebalanceRoot);
  return true;
}

template <class Key, class Value>
bool omi_BtreeNode<Key, Value>::Insert(const Key& key, const Value& value) {
  omi_BtreeNode* self = this;
  return InsertAt(self, key, value, false) == nullptr;
}

template <class Key, class Value>
bool omi_BtreeNode<Key, Value>::Remove(const Key& key, omi_BtreeNode& parent) {
  if (BtreeCompare(key, m_key) == 0) {
    RemoveAt(parent.m_child[parent.m_child[kRight] == this], key, false);
    parent.Recompute();
    return true;
  }
  omi_BtreeNode* self = this;
  const bool removed = RemoveAt(self, key, false);
  parent.FallBehind();
  return removed;
}
