#pragma once

#include <omi/omi_Btree.h>
#include <omi/omi_BtreeNodeLink.h>

/// Visits a tree in key order, either way, each node once.
///
/// It is unpositioned (done) until first() or last(). It keeps the path from the root as a stack of links,
/// one block each. It borrows the tree, which must outlive it and must not change while the iterator is
/// positioned. On a done iterator only first, last and isDone may be called. omi_Btree::ForEach is faster.
/// Threads: one thread at a time for one iterator; several iterators may stand in one tree.
template <class Key, class Value>
class omi_BtreeIterator {
 public:
  explicit omi_BtreeIterator(const omi_Btree<Key, Value>& tree) : m_tree(&tree) {}
  omi_BtreeIterator(const omi_BtreeIterator&) = delete;
  omi_BtreeIterator& operator=(const omi_BtreeIterator&) = delete;
  ~omi_BtreeIterator() { PopAll(); }

  /// Goes to the least key; done when the tree is empty. Cost: O(height of the tree).
  void first() { Start(kLeft); }
  /// Goes to the greatest key; done when the tree is empty. Cost: O(height of the tree).
  void last() { Start(kRight); }
  /// Goes to the next greater key; done after the greatest. Cost: amortised constant.
  void next() { Step(kRight); }
  /// Goes to the next lesser key; done after the least. Cost: amortised constant.
  void previous() { Step(kLeft); }
  /// \return whether there is no current node.
  bool isDone() const { return m_top == nullptr; }

  const Key& CurrentKey() const { return m_top->Node()->ConstGetKey(); }
  const Value& CurrentValue() const { return m_top->Node()->ConstGetValue(); }

 private:
  using Node = omi_BtreeNode<Key, Value>;
  using Link = omi_BtreeNodeLink<Key, Value>;
  enum Side { kLeft, kRight };

  static const Node* ChildOf(const Node* node, Side side) {
    return side == kLeft ? node->Left() : node->Right();
  }
  void Push(Node* node) { m_top = new Link(node, m_top); }
  void Pop() {
    Link* const popped = m_top;
    m_top = popped->Next();
    delete popped;
  }
  void PopAll() {
    while (m_top != nullptr)
      Pop();
  }
  // Pushes a node, when there is one, and all below it on one side.
  void PushSpine(const Node* node, Side side) {
    for (; node != nullptr; node = ChildOf(node, side))
      Push(const_cast<Node*>(node));
  }
  void Start(Side side) {
    PopAll();
    PushSpine(m_tree->Root(), side);
  }
  void Step(Side side) {
    const Node* left = m_top->Node();
    if (const Node* const child = ChildOf(left, side)) {
      PushSpine(child, side == kLeft ? kRight : kLeft);
      return;
    }
    for (;;) {
      Pop();
      if (m_top == nullptr || ChildOf(m_top->Node(), side) != left)
        return;
      left = m_top->Node();
    }
  }

  const omi_Btree<Key, Value>* m_tree; // not owned
  Link* m_top = nullptr;               // the current node's link, below it the path to the root; null: done
};
