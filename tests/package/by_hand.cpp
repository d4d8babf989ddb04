// A program that has none of the library's headers: what it declares here, and no more, the library gives it.

#include <cstddef>
#include <cstring>

void* mem_OperatorNewThrowBuiltin(std::size_t);

class kda_string {
 public:
  kda_string(const char*);
  kda_string(const kda_string&);
  ~kda_string();
  void assign(const char*);
  const char* cStr() const;
  int byteCount() const;
  void swap(kda_string&);

  char* characters;
};
int BtreeCompare(const kda_string&, const kda_string&);

class kda_MapIntKey {
 public:
  kda_MapIntKey(int);

  int number;
};
template <class Key, class Value>
class omi_BtreeNode {
 public:
  omi_BtreeNode(const Key&, const Value&);
  omi_BtreeNode(const omi_BtreeNode&);
  ~omi_BtreeNode();
  bool Insert(const Key&, const Value&);

  Value value;
  Key key;
  omi_BtreeNode *left, *right;
  int height;
};
template <class T>
class kda_MapString {
 public:
  kda_MapString();
  ~kda_MapString();
  void insert(const kda_string&, const T&);
  T& get(const kda_string&);

  void* root;
  int count;
  T initial;
};

// Its characters come in a block of the least size, with something else behind them.
static bool stringOfItsOwn() {
  kda_string own(nullptr), other("name");
  own.characters = static_cast<char*>(std::memcpy(mem_OperatorNewThrowBuiltin(8), "name\0xyz", 8));
  kda_MapString<int> map;
  map.insert(other, 7);
  if (BtreeCompare(own, other) != 0 || BtreeCompare(other, own) != 0 || map.get(own) != 7 ||
      &map.get("absent") != &map.initial || map.count != 1 || map.root == nullptr)
    return false;
  other.swap(own);
  const kda_string longer("name of ten"), copy(longer);
  other.~kda_string();
  other.characters = nullptr;
  other.assign("nam\xff");
  return own.byteCount() == 4 && BtreeCompare(other, copy) == 1 && BtreeCompare(own, copy) == -1 &&
         std::strcmp(copy.cStr(), "name of ten") == 0 && copy.characters != longer.characters;
}

// Its copy has the subtrees as well.
static bool nodeOfItsOwn() {
  using Node = omi_BtreeNode<kda_MapIntKey, int>;
  Node node(5, 50);
  node.Insert(3, 30);
  node.Insert(8, 80);
  node.Insert(9, 90);
  const Node copy(node);
  return copy.height == 2 && copy.left && copy.right && copy.left != node.left && copy.left->value == 30 &&
         copy.right->right && copy.right->right->key.number == 9 && copy.right->right != node.right->right;
}

int main() {
  return (stringOfItsOwn() ? 0 : 1) + (nodeOfItsOwn() ? 0 : 2);
}
