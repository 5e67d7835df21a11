// A node of a tree in the cache of the tree's file. It is valid until another node of the tree is looked up.

#ifndef ZULIB_STORAGE_INTERNAL_TREENODE_H
#define ZULIB_STORAGE_INTERNAL_TREENODE_H

#include <cstdint>
#include <cstring>

namespace zustorage {

// What all nodes of a tree have in common; sizes in bytes.
struct NodeShape {
  uint16_t keySize;
  uint16_t dataSize;
  uint16_t markSize;  // 0 or 1
  uint16_t triadSize;
  uint16_t maxSons;
};

class TreeNode {
 public:
  static constexpr unsigned short kHeaderSize = 8;
  static constexpr unsigned short kSonSize = 4;
  static constexpr unsigned short kMostBytes = 2048;

  TreeNode() = default;
  TreeNode(const NodeShape& shape, unsigned char* bytes) : shape(shape), bytes(bytes) {}

  uint16_t sonCount() const { return load<uint16_t>(bytes); }
  void setSonCount(unsigned n) { store(bytes, static_cast<uint16_t>(n)); }
  // A node that is made empty for a split has no sons for a moment.
  uint16_t keyCount() const { return static_cast<uint16_t>(sonCount() ? sonCount() - 1 : 0); }
  uint16_t pendingKeyAdjust() const { return load<uint16_t>(bytes + 2); }
  void setPendingKeyAdjust(unsigned on) { store(bytes + 2, static_cast<uint16_t>(on)); }
  uint32_t address() const { return load<uint32_t>(bytes + 4); }
  void setAddress(unsigned long address) { store(bytes + 4, static_cast<uint32_t>(address)); }

  uint32_t son(unsigned i) const { return load<uint32_t>(triad(i)); }
  void setSon(unsigned i, unsigned long address) { store(triad(i), static_cast<uint32_t>(address)); }
  unsigned char* key(unsigned i) const { return triad(i) + kSonSize; }
  unsigned char* data(unsigned i) const { return key(i) + shape.keySize; }
  bool isDeleted(unsigned i) const { return shape.markSize && data(i)[shape.dataSize] == 1; }
  void setDeleted(unsigned i, bool on) {
    if (shape.markSize) data(i)[shape.dataSize] = on;
  }
  bool isLeaf() const { return son(0) == 0; }
  bool isFull() const { return sonCount() == shape.maxSons; }

  // The key of a positional tree.
  uint32_t number(unsigned i) const { return load<uint32_t>(key(i)); }
  void addToKeys(unsigned from, uint32_t amount) {
    for (unsigned i = from; i < keyCount(); ++i) store(key(i), number(i) + amount);
  }

  void setRecord(unsigned i, const void* newKey, const void* newData, bool deleted) {
    std::memcpy(key(i), newKey, shape.keySize);
    if (shape.dataSize) std::memcpy(data(i), newData, shape.dataSize);
    setDeleted(i, deleted);
  }
  // Makes room for a key at `i`, and a son after it.
  void openGap(unsigned i) {
    std::memmove(key(i + 1), key(i), static_cast<unsigned long>(keyCount() - i) * shape.triadSize);
    setSonCount(sonCount() + 1u);
  }
  // Takes key `i` out, with the son after it or the one before it.
  void removeWithSonAfter(unsigned i) {
    std::memmove(key(i), key(i + 1), static_cast<unsigned long>(keyCount() - i - 1) * shape.triadSize);
    setSonCount(sonCount() - 1u);
  }
  void removeWithSonBefore(unsigned i) {
    std::memmove(triad(i), triad(i + 1),
                 static_cast<unsigned long>(keyCount() - i - 1) * shape.triadSize + kSonSize);
    setSonCount(sonCount() - 1u);
  }

  unsigned char* triad(unsigned i) const { return bytes + kHeaderSize + i * shape.triadSize; }
  unsigned char* start() const { return bytes; }

  // Numbers lie in the machine's byte order: the file is never read by another machine.
  template <class Number>
  static Number load(const unsigned char* from) {
    Number value;
    std::memcpy(&value, from, sizeof value);
    return value;
  }
  template <class Number>
  static void store(unsigned char* to, Number value) {
    std::memcpy(to, &value, sizeof value);
  }

 private:
  NodeShape shape = {};
  unsigned char* bytes = nullptr;
};

}  // namespace zustorage

#endif
