#pragma once

#include <UTI_CoreUtils/mem_Allocation.h>
#include <omi/omi_BtreeNode.h>

/// One cell of an iterator's stack. It owns neither the node nor the next link.
/// Threads: as the iterator that it belongs to.
template <class Key, class Value>
class omi_BtreeNodeLink {
 public:
  omi_BtreeNodeLink(omi_BtreeNode<Key, Value>* node, omi_BtreeNodeLink* next) : m_node(node) {
    // Two stores: compilers make one of them through a vector register, and the next step of the walk, which
    // reads the link right back, then waits for it.
    __asm__ volatile("" ::: "memory");
    m_next = next;
  }
  ~omi_BtreeNodeLink() {}

  static void* operator new(std::size_t n) { return mem_OperatorNewThrow(n); }
  static void operator delete(void* block) noexcept { mem_Free(block); }

  /// \return the node on the path.
  omi_BtreeNode<Key, Value>* Node() const { return m_node; }
  /// \return the link below, or null at the bottom.
  omi_BtreeNodeLink* Next() const { return m_next; }

 private:
  omi_BtreeNode<Key, Value>* m_node;
  omi_BtreeNodeLink* m_next;
};
