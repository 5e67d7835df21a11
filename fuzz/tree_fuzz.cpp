// Trees as a small language: the first byte chooses what the records look like, and the bytes after it edit a
// tree beside a std::multimap, or a positional tree beside a vector, which must agree after every step.

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "fuzz/input.h"
#include "fuzz/storage/treechecker.h"

namespace treefuzz {

short reversed(const void* a, const void* b, unsigned long n) { return memCompare(b, a, n); }

// Keys are texts of digits at the end of `keySize` bytes, so that their bytes are in the order of the
// numbers.
struct Shape {
  unsigned short keySize, dataSize;
  bool marks, duplicates;
  unsigned long range;  // of the numbers
  short (*compare)(const void*, const void*, unsigned long);
};

constexpr Shape kShapes[] = {
    {8, 4, true, false, 65536, nullptr},       // 49 sons
    {8, 4, true, true, 2000, nullptr},         // groups of equal keys
    {8, 4, true, true, 30, nullptr},           // long ones
    {3, 3, false, true, 500, nullptr},         // without marks
    {8, 0, false, false, 5000, reversed},      //
    {5, 600, true, true, 256, nullptr},        // 4 sons
    {5, 600, false, true, 256, nullptr},       //
    {6, 900, true, false, 3000, nullptr},      // 3 sons
    {6, 900, false, false, 3000, nullptr},     //
    {1000, 500, true, true, 200, nullptr},     // 2 sons
    {1000, 500, false, false, 200, reversed},  //
};

class Sequence {
 public:
  Sequence(const Shape& shape, Input& in)
      : shape(shape),
        in(in),
        tree(shape.keySize, shape.dataSize, shape.compare, shape.marks, shape.duplicates, 1),
        model(Order{shape.compare != nullptr}) {}

  void run() {
    for (int steps = 1; !in.atEnd(); ++steps) {
      // Times of growth and of shrinking.
      const bool grows = steps / 2000 % 3 != 2;
      const unsigned long what = in(20);
      if (what < (grows ? 10u : 4u)) {
        add();
      } else if (what < 14) {
        what % 2 ? remove() : removeData();
      } else if (what < 16) {
        change();
      } else if (what < 19) {
        walkAround();
      } else {
        look();
      }
      if (steps % 1000 == 0) checkAll();
    }
    checkAll();
  }

 private:
  struct Order {
    bool backwards;
    bool operator()(const std::string& a, const std::string& b) const { return backwards ? b < a : a < b; }
  };
  using Model = std::multimap<std::string, std::string, Order>;

  static std::string padded(unsigned long n, unsigned long size) {
    const std::string digits = std::to_string(n);
    return std::string(size > digits.size() ? size - digits.size() : 0, '0') +
           digits.substr(digits.size() - std::min(size, digits.size()));
  }
  std::string someKey() { return padded(in(shape.range), shape.keySize); }
  std::string someData() { return padded(in(1000), shape.dataSize); }
  // Mostly one that is there.
  std::string usualKey() {
    if (model.empty() || in(3) == 0) return someKey();
    const auto it = model.lower_bound(someKey());
    return it == model.end() ? model.begin()->first : it->first;
  }

  // One record or many.
  void add() {
    const unsigned long first = in(shape.range);
    const unsigned long stride = in(200);
    const std::string data = someData();
    for (unsigned long n = in (16) ? 1 : in(60); n-- > 0;) {
      const std::string key = padded((first + n * stride) % shape.range, shape.keySize);
      unsigned existed = 7;
      demand(tree.add(key.data(), data.data(), &existed) == 0);
      const bool is = !shape.duplicates && model.count(key);
      demand(existed == (is ? 1u : 0u));
      if (!is) model.emplace_hint(model.lower_bound(key), key, data);
    }
  }

  void remove() {
    const std::string key = usualKey();
    unsigned found = 7;
    demand(tree.deleteKey(key.data(), &found) == 0 && found == (model.count(key) ? 1u : 0u));
    if (found) model.erase(model.lower_bound(key));
  }

  void removeData() {
    const std::string key = usualKey();
    auto it = model.lower_bound(key);
    const auto end = model.upper_bound(key);
    std::string data = someData();
    if (it != end && in(4)) {
      auto chosen = it;
      for (unsigned long n = in(3); n-- > 0 && std::next(chosen) != end;) ++chosen;
      data = chosen->second;
    }
    while (shape.duplicates && it != end && it->second != data) ++it;
    unsigned found = 7;
    demand(tree.deleteKeyAndData(key.data(), data.data(), &found) == 0 && found == (it != end ? 1u : 0u));
    if (found) model.erase(it);
  }

  void change() {
    const std::string key = usualKey();
    const auto it = model.lower_bound(key);
    const bool is = it != model.end() && it->first == key;
    if (in(2)) {
      const std::string data = someData();
      demand(tree.changeData(key.data(), data.data()) == (is ? 0 : 1));
      if (is) it->second = data;
      return;
    }
    const std::string newKey = in(10) ? someKey() : key;
    const bool allowed = is && (newKey == key || shape.duplicates || !model.count(newKey));
    demand(tree.changeKey(key.data(), newKey.data()) == (allowed ? 0 : 1));
    if (!allowed || newKey == key) return;
    const std::string data = it->second;
    model.erase(it);
    model.emplace_hint(model.lower_bound(newKey), newKey, data);
  }

  void look() {
    const std::string key = usualKey();
    std::string data(shape.dataSize, '?');
    unsigned found = 7;
    demand(tree.getData(key.data(), data.data(), &found, in(2) ? nullptr : &place) == 0);
    const auto it = model.lower_bound(key);
    const bool is = it != model.end() && it->first == key;
    demand(found == (is ? 1u : 0u) && (!is || data == it->second));
    demand(tree.doesExist(key.data(), &found) == 0 && found == (is ? 1u : 0u));
    if (in(1000)) return;
    demand(tree.reset() == 0);
    model.clear();
    demand(next(true) == "end");  // by an iterator that was open
  }

  std::string step(int (ZuTree::*move)(void*, void*, unsigned*, ZuTreeIterator*)) {
    std::string key(shape.keySize, '?');
    std::string data(shape.dataSize, '?');
    unsigned found = 7;
    demand((tree.*move)(key.data(), data.data(), &found, &place) == 0);
    demand(place.isOnRecord() == (found == 1));
    return found ? key + "=" + data : "end";
  }
  std::string next(bool forward) { return step(forward ? &ZuTree::getNext : &ZuTree::getPrevious); }
  std::string shown(typename Model::const_iterator it) const {
    return it == model.end() ? "end" : it->first + "=" + it->second;
  }

  // From a record, some steps to and fro; records on the way are deleted and changed.
  void walkAround() {
    if (model.empty()) return;
    auto it = model.lower_bound(usualKey());
    if (it == model.end()) it = model.begin();
    it = model.lower_bound(it->first);
    unsigned found = 0;
    demand(tree.getData(it->first.data(), nullptr, &found, &place) == 0 && found == 1);
    bool onRecord = true;
    for (unsigned long n = in(30); n-- > 0;) {
      const bool forward = in(3) != 0;
      if (onRecord && in(8) == 0) {
        demand(tree.deleteCurrent(&place) == 0);
        it = model.erase(it);
        onRecord = false;
        demand(tree.deleteCurrent(&place) == 1);  // it is deleted
        continue;
      }
      if (onRecord && in(8) == 0) {
        const std::string data = someData();
        demand(tree.changeCurrentData(data.data(), &place) == 0);
        it->second = data;
      }
      // Between two records `it` is the one after the place.
      if (forward && onRecord) ++it;
      if (!forward && it == model.begin())
        it = model.end();
      else if (!forward)
        --it;
      demand(next(forward) == shown(it));
      if (it == model.end()) break;
      onRecord = true;
    }
  }

  void checkAll() {
    tree.check();
    demand(tree.getRecordCount() == model.size());
    std::string found = step(&ZuTree::getFirst);
    for (auto it = model.begin(); it != model.end(); ++it, found = next(true)) demand(found == shown(it));
    demand(found == "end" && next(false) == "end");  // the place is lost
    found = step(&ZuTree::getLast);
    for (auto it = model.end(); it != model.begin(); found = next(false)) demand(found == shown(--it));
    demand(found == "end");
  }

  const Shape shape;
  Input& in;
  CheckedTree<ZuTree> tree;
  Model model;
  ZuTreeIterator place{&tree};
};

// A vector whose empty elements are holes.
class Positions {
 public:
  Positions(unsigned short dataSize, Input& in) : in(in), dataSize(dataSize), tree(dataSize) {}

  void run() {
    for (int steps = 1; !in.atEnd(); ++steps) {
      const bool grows = steps / 2000 % 3 != 2;
      const unsigned long what = in(20);
      if (what < (grows ? 10u : 3u)) {
        insert();
      } else if (what < 16) {
        erase();
      } else {
        what < 18 ? fillOrMake() : look();
      }
      if (steps % 1000 == 0 || steps < 50) checkAll();
    }
    checkAll();
  }

 private:
  using Element = std::optional<unsigned>;

  std::string bytes(unsigned n) const {
    std::string text = std::to_string(n);
    text.resize(dataSize, '.');
    return text;
  }
  // Often at an end of the sequence, where deleted keys have no position before them.
  unsigned long somewhere() { return in(4) == 0 ? in(2) : in(model.size() + 2); }
  void reach(unsigned long position) {
    if (model.size() < position) model.resize(position);
  }

  void insert() {
    const unsigned long position = somewhere();
    const auto at = [&] { return model.begin() + static_cast<long>(position); };
    if (in(10) == 0) {
      demand(tree.addHoleAtPos(position) == 0);
      if (position < model.size()) model.insert(at(), Element());
      return;
    }
    demand(tree.addAtPos(position, bytes(++last).data()) == 0);
    reach(position);
    model.insert(at(), last);
  }

  void erase() {
    const unsigned long position = somewhere();
    unsigned found = 7;
    demand(tree.deleteKeyAtPos(position, &found) == 0);
    demand(found == (position < model.size() && model[position] ? 1u : 0u));
    if (position < model.size()) model.erase(model.begin() + static_cast<long>(position));
  }

  // Without moving what comes after.
  void fillOrMake() {
    const unsigned long position = somewhere();
    const auto key = static_cast<uint32_t>(position);
    const bool is = position < model.size() && model[position];
    unsigned found = 7;
    if (in(2)) {
      demand(tree.add(&key, bytes(++last).data(), &found) == 0);
      reach(position + 1);
      if (!is) model[position] = last;
    } else {
      demand(tree.deleteKey(&key, &found) == 0);
      if (is) model[position] = Element();
    }
    demand(found == (is ? 1u : 0u));
  }

  void look() {
    const unsigned long position = somewhere();
    auto key = static_cast<uint32_t>(position);
    std::string data(dataSize, '?');
    unsigned found = 7;
    demand(tree.getData(&key, data.data(), &found, &place) == 0);
    const bool is = position < model.size() && model[position];
    demand(found == (is ? 1u : 0u));
    if (!is) return;
    demand(data == bytes(*model[position]));
    // The neighbours, with their positions.
    demand(tree.getNext(&key, data.data(), &found, &place) == 0);
    unsigned long expected = position + 1;
    while (expected < model.size() && !model[expected]) ++expected;
    demand(found == (expected < model.size() ? 1u : 0u));
    if (!found) return;
    demand(key == expected && data == bytes(*model[expected]));
    demand(tree.getPrevious(&key, data.data(), &found, &place) == 0 && found == 1 && key == position);
  }

  void checkAll() {
    tree.check();
    uint32_t key = 0;
    std::string data(dataSize, '?');
    unsigned found = 7;
    demand(tree.getFirst(&key, data.data(), &found, &place) == 0);
    for (unsigned long i = 0; i < model.size(); ++i) {
      if (!model[i]) continue;
      demand(found == 1 && key == i && data == bytes(*model[i]));
      demand(tree.getNext(&key, data.data(), &found, &place) == 0);
    }
    demand(found == 0 && tree.getLast(&key, data.data(), &found, &place) == 0);
    for (unsigned long i = model.size(); i-- > 0;) {
      if (!model[i]) continue;
      demand(found == 1 && key == i);
      demand(tree.getPrevious(&key, nullptr, &found, &place) == 0);
    }
    demand(found == 0);
  }

  Input& in;
  const unsigned short dataSize;
  CheckedTree<ZuPTree> tree;
  std::vector<Element> model;
  unsigned last = 0;
  ZuTreeIterator place{&tree};
};

constexpr unsigned short kPositionSizes[] = {8, 300, 500, 900};
constexpr size_t kKinds = std::size(kShapes) + std::size(kPositionSizes);

}  // namespace treefuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace treefuzz;
  Input in(data, size);
  const size_t kind = in(kKinds);
  if (kind < std::size(kShapes)) {
    Sequence(kShapes[kind], in).run();
  } else {
    Positions(kPositionSizes[kind - std::size(kShapes)], in).run();
  }
  return 0;
}
