#pragma once

#include <UTI_CoreUtils/mem_Allocation.h>
#include <omi/omi_BtreePath.h>

#include <cstddef>
#include <cstdint>
#include <utility>

// Steps that only other members take: reached directly, not through the library's table of exports.
#define OMI_LOCAL __attribute__((visibility("hidden")))

template <class Key, class Value>
class omi_Btree;

/// One node of a tree, and the root of the subtree below it.
///
/// Keys are ordered by a free function `int BtreeCompare(const Key& probe, const Key& node)` found beside the
/// key type: negative when the probe comes before, 0 when equal, positive after. A node and its value have
/// the same address. Each node is one block of mem_OperatorNewThrow; it owns both its subtrees.
///
/// Shape. A missing child and a childless child both count as height 0. Where the right child's height
/// exceeds the left's by more than 1, the right child is rotated up, once, as it is; likewise on the left.
/// A rotation may therefore leave its place out of balance again; the next change that passes turns it again.
/// Threads: any number may read one tree while nobody changes it.
template <class Key, class Value>
class omi_BtreeNode {
 public:
  /// Copies both. No children, height 0.
  omi_BtreeNode(const Key& key, const Value& value) : m_value(value), m_key(key) {}
  /// Takes the key over.
  omi_BtreeNode(Key&& key, const Value& value) : m_value(value), m_key(std::move(key)) {}
  omi_BtreeNode& operator=(const omi_BtreeNode&) = delete;
  /// Destroys the left subtree, the right subtree, then its own value and key. Takes no stack for depth.
  /// Cost: O(nodes).
  ~omi_BtreeNode();

  static void* operator new(std::size_t n) { return mem_OperatorNewThrow(n); }
  static void operator delete(void* block) noexcept { mem_Free(block); }

  /// Looks a key up. Cost: O(height).
  /// \return the node of this subtree with an equal key, or null; valid until that key is removed.
  omi_BtreeNode* Find(const Key& key) const {
    auto* node = const_cast<omi_BtreeNode*>(this);
    do {
      node->PrefetchChildren();
      const int order = BtreeCompare(key, node->m_key);
      if (order == 0)
        return node;
      omi_BtreeNode* const left = node->m_child[kLeft];
      omi_BtreeNode* const right = node->m_child[kRight];
      node = Choose(order, left, right);
    } while (node != nullptr);
    return nullptr;
  }

  /// Adds a node below this one, which itself stays in place. One step of the tree's Insert, which goes on to
  /// rebalance this node and those above; on a node within a tree, call the tree's. Cost: O(height).
  /// \return false, with nothing changed, when the key is present.
  bool Insert(const Key& key, const Value& value);

  /// Removes the node with the key from this subtree. One step of the tree's Remove, as Insert is. Cost:
  /// O(height).
  /// \param parent  the node whose left or right child this is; when this very node goes, the parent's child
  /// is
  ///                replaced and its height recomputed.
  /// \return false, with nothing changed, when the key is absent.
  bool Remove(const Key& key, omi_BtreeNode& parent);

  const Key& ConstGetKey() const { return m_key; }
  const Value& ConstGetValue() const { return m_value; }
  Value& GetValue() { return m_value; }

  /// \return the subtree of lesser keys, or null.
  const omi_BtreeNode* Left() const { return m_child[kLeft]; }
  /// \return the subtree of greater keys, or null.
  const omi_BtreeNode* Right() const { return m_child[kRight]; }
  /// \return the stored height: 0 without children; below a removal it may lag behind the true height.
  int Height() const { return m_height; }

 private:
  friend class omi_Btree<Key, Value>;
  enum { kLeft = 0, kRight = 1 };
  enum : unsigned char { kEven = 1, kUnsettled = 4 }; // values of m_balance
  using Link = omi_BtreeNode**; // where a node hangs: the tree's root or a parent's child
  using Path = omi_BtreePath<Link>;

  struct Alone {};
  omi_BtreeNode(const omi_BtreeNode& src);        // with all below it
  omi_BtreeNode(const omi_BtreeNode& src, Alone); // without children

  static omi_BtreeNode* Clone(const omi_BtreeNode* src);
  static void Destroy(omi_BtreeNode* node);

  OMI_LOCAL static omi_BtreeNode* InsertAt(omi_BtreeNode*& root, const Key& key, const Value& value,
                                           bool rebalanceRoot);
  OMI_LOCAL static omi_BtreeNode* AppendAt(omi_BtreeNode*& root, Key&& key, const Value& value);
  OMI_LOCAL static bool RemoveAt(omi_BtreeNode*& root, const Key& key, bool rebalanceRoot);
  OMI_LOCAL static void Climb(Link* first, Link* last, Link changed, int before, bool anyUnsettled,
                              bool rebalanceFirst);
  OMI_LOCAL static void ClimbFrom(Link added, Link* first, Link* last, Link uneven, bool anyUnsettled,
                                  bool rebalanceFirst);
  OMI_LOCAL static omi_BtreeNode* Splice(omi_BtreeNode* node);

  OMI_LOCAL void Recompute();
  OMI_LOCAL void FallBehind();
  OMI_LOCAL omi_BtreeNode* Follow(omi_BtreeNode* child, bool right, int before, bool rebalance);
  OMI_LOCAL void RotateUp(omi_BtreeNode* riser, bool right);
  OMI_LOCAL static omi_BtreeNode* Rebalanced(omi_BtreeNode* node);

  // Where a search goes is a coin toss, which a branch would guess wrongly every other time: chosen by bits,
  // of two addresses that are loaded while the keys are still being compared.
  static omi_BtreeNode* Choose(int order, omi_BtreeNode* left, omi_BtreeNode* right) {
    const auto l = reinterpret_cast<std::uintptr_t>(left), r = reinterpret_cast<std::uintptr_t>(right);
    const auto isLess = static_cast<std::uintptr_t>(static_cast<std::intptr_t>(order >> 31));
    return reinterpret_cast<omi_BtreeNode*>(r ^ ((l ^ r) & isLess));
  }
  // Keys that lie elsewhere are two loads away: begun for both children while this node's key is compared.
  void PrefetchChildren() const {
    if constexpr (requires(const Key& key) { BtreePrefetch(key); }) {
      for (const omi_BtreeNode* const child : m_child)
        BtreePrefetch((child != nullptr ? child : this)->m_key);
    }
  }
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof" // value types of any layout
  // Of no node: -1. Without a branch, as above.
  static int HeightOf(const omi_BtreeNode* node) {
    static constexpr int kNone = -1;
    const auto present = -static_cast<std::uintptr_t>(node != nullptr);
    const auto own = reinterpret_cast<std::uintptr_t>(node) + offsetof(omi_BtreeNode, m_height);
    return *reinterpret_cast<const int*>((own & present) |
                                         (reinterpret_cast<std::uintptr_t>(&kNone) & ~present));
  }
#pragma GCC diagnostic pop
  // A missing child weighs as much as a childless one.
  static int AsSubtree(int height) {
    return height > 0 ? height : 0;
  }
  static bool IsTooMuch(int lean) {
    return static_cast<unsigned>(lean + 1) > 2u;
  }
  // A lean to the right as a lean towards the right or the left, and back.
  static int Towards(bool right, int lean) {
    const int flip = int{right} - 1;
    return (lean ^ flip) - flip;
  }
  static unsigned char BalanceOf(int lean) {
    return static_cast<unsigned char>(IsTooMuch(lean) ? int{kUnsettled} : lean + 1);
  }
  // REQUIRES a settled node.
  int Lean() const {
    return m_balance - 1;
  }

  Value m_value;
  Key m_key;
  omi_BtreeNode* m_child[2] = {nullptr, nullptr}; // lesser keys, greater keys
  int m_height = 0;
  // How much higher the right subtree is than the left, by stored heights, plus 1, when that is 0 to 2 and
  // the own height agrees with them; else kUnsettled: the next change that passes has to recompute or turn
  // this node. Lies in what is padding anyway; lets a change climb without a look at siblings, and stop
  // early.
  unsigned char m_balance = kEven;
};
