// The collections as a small language: the first byte chooses one, and the bytes after it edit the collection
// and its counterpart in the standard library, which must agree after every step.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <string>
#include <unordered_set>
#include <vector>

#include "fuzz/input.h"
#include "tests/collections/support.h"
#include "zulib/collections/zuarray.h"
#include "zulib/collections/zudictionary.h"
#include "zulib/collections/zulist.h"
#include "zulib/collections/zuset.h"
#include "zulib/collections/zusorted.h"

namespace collectionsfuzz {

using Items = std::vector<ZuObject*>;

// ---- arrays ----

// One operation on both. Elements that leave the array alive go to `strays`.
void step(ZuArray& array, Items& model, Items& strays, Input& in) {
  const unsigned long n = model.size();
  const unsigned long i = in(n + 1);
  const auto at = model.begin() + static_cast<long>(i);
  const unsigned long work = in(8);
  if (work < 4) {
    model.insert(work < 2 ? model.end() : at, new Item(0));
    demand((work < 2 ? array.add(model.back()) : array.addAtIndex(model[i], i)) == 0);
  } else if (work == 4) {
    demand(array.resize(n + 1 + in(40), 1) == 0);  // one that doubles stays empty from size 0 on
  } else if (work == 5 && i && n - i < 3) {
    strays.insert(strays.end(), at, model.end());
    model.resize(i);
    demand(array.shrink(i) == 0 && array.getSizeOfArray() == i);
  } else if (work > 5 && i < n) {
    ZuObject* const gone = *at;
    model.erase(at);
    if (work == 6) strays.push_back(gone);
    work == 6 ? array.removeAtIndex(i) : array.deleteAtIndex(i);
    demand(!array.doesExist(gone));
  }
  demand(array.getCount() == model.size() && array.getSizeOfArray() >= array.getCount());
  for (unsigned long k = 0; k < model.size(); ++k) demand(array.at(k) == model[k]);
}

void arrays(Input& in) {
  Items model, strays;
  {
    ZuArray array(in(3) * 8);
    demand(array.setInitialSize(1 + in(4)) == 0);
    array.setDeleteContentsOnDestruct();
    while (!in.atEnd()) step(array, model, strays, in);
  }
  demand(Item::alive == static_cast<long>(strays.size()));
  for (const ZuObject* stray : strays) delete stray;
}

void sortedArrays(Input& in) {
  const auto before = [](const ZuObject* a, const ZuObject* b) { return a->compare(b) < 0; };
  const unsigned long keys = 1 + in(60);
  ZuSortedArray array;
  array.setDeleteContentsOnDestruct();
  Items model;
  while (!in.atEnd()) {
    auto* item = new Item(static_cast<int>(in(keys)));
    demand(array.add(item) == 0);
    model.insert(std::upper_bound(model.begin(), model.end(), item, before), item);
    for (unsigned long i = 0; i < model.size(); ++i) demand(array.at(i) == model[i]);
    const Item wanted(static_cast<int>(in(keys + 2)) - 1);
    const auto [first, last] = std::equal_range(model.begin(), model.end(), &wanted, before);
    unsigned long index = 99999;
    demand((array.findIndexOf(&wanted, index) != 0) == (first != last));
    if (first == last) {
      demand(model.begin() + static_cast<long>(index) == first);
      continue;
    }
    demand(wanted.compare(array.at(index)) == 0);
    array.findIndexOfLastKey(&wanted, index);
    demand(model.begin() + static_cast<long>(index) + 1 == last);
    demand(array.seqFindIndexOf(&wanted, index) == 1 && model.begin() + static_cast<long>(index) == first);
  }
}

// ---- sets ----

// A set of numbers. With `hashes` at 1 all values collide.
class NumberSet : public ZuSet {
 public:
  explicit NumberSet(uint32_t hashes) : hashes(hashes) {}
  uint32_t doHash(const void* value) const override {
    return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(value)) % hashes;
  }
  bool areEqual(const void* stored, const void* wanted) const override { return stored == wanted; }
  bool holds(const void* value) const { return at(findIndexOf(value)) == value; }

 private:
  uint32_t hashes;
};

void sets(Input& in) {
  const uint32_t hashes[] = {1, 5, 1000, ~0u};
  NumberSet set(hashes[in(4)]);
  demand(set.initialize(in(9)) == 0);
  std::unordered_set<void*> model;
  while (!in.atEnd()) {
    auto* const number = reinterpret_cast<void*>(1 + in(3000));
    demand(set.holds(number) == (model.count(number) == 1));
    if (!set.holds(number)) demand(set.add(number) == 0);
    model.insert(number);
    demand(set.getCount() == model.size() && set.getHighWater() == model.size());
    demand(set.getCount() <= set.getCapacity());
  }
  for (uintptr_t number = 1; number <= 3000; ++number) {
    auto* const value = reinterpret_cast<void*>(number);
    demand(set.holds(value) == (model.count(value) == 1));
  }
}

// ---- lists ----

using Nodes = std::vector<ZuNode*>;

void demandSame(ZuList& list, const Nodes& model) {
  demand(list.getCount() == model.size());
  const ZuNode* node = list.getFirstNode();
  for (const ZuNode* expected : model) {
    demand(node == expected);
    node = list.getNextNode();
  }
  demand(!node && !list.getNextNode());  // the cursor stays off the end
  demand(list.getLastNode() == (model.empty() ? nullptr : model.back()));
}

// A node is added, removed, or moved from the end to `pos`.
void step(ZuList& list, Nodes& model, Input& in) {
  const unsigned long n = model.size();
  const unsigned long work = in(8);
  const unsigned long pos = work == 0 || work == 4 ? 0 : work == 1 ? n : in(n + 1);
  const auto at = model.begin() + static_cast<long>(pos);
  if (work < 4) {
    ZuNode* const node = *model.insert(at, new ZuNode);
    if (work == 0) list.insert(node);
    if (work == 1) list.append(node);
    if (work > 1) demand(list.insertAtPos(node, pos) == 0);
  } else if (work == 7) {
    demand(list.moveLastNodeToPos(pos) == (pos < n ? 0 : 1));
    if (pos < n) std::rotate(at, model.end() - 1, model.end());
  } else {
    const unsigned long from = work == 5 && n ? n - 1 : pos;
    ZuNode* const node = from < n ? model[from] : nullptr;
    if (work == 4) demand(list.removeFirstNode() == node);
    if (work == 5) demand(list.removeLastNode() == node);
    if (!node) return;
    if (work == 6) {
      demand(list.getNodeAtPos(pos) == node);
      list.unlink(node);
      demand(!list.getNextNode());  // a cursor on the node is cleared
    }
    demand(!node->getNext());
    model.erase(model.begin() + static_cast<long>(from));
    delete node;
  }
}

void lists(Input& in) {
  ZuList list;
  Nodes model;
  while (!in.atEnd()) {
    step(list, model, in);
    demandSame(list, model);
  }
  list.deleteNodes();
  demandSame(list, {});
}

// ---- dictionaries ----

template <class Char>
class Names {
 public:
  using Name = std::basic_string<Char>;
  using Key = typename ZuTextNames<Char>::View;

  explicit Names(bool ignoreCase) : ignoreCase(ignoreCase) {}

  // Many of these are equal except for case, and most have the first five letters in common with another.
  static Name random(Input& in) {
    Name name(in(3) == 0 ? 5 : 0, Char{'p'});
    for (unsigned long n = in(4); n > 0; --n) name += static_cast<Char>("aAbB"[in(4)]);
    return name;
  }
  // What equal names have in common.
  Name canonical(Name name) const {
    for (Char& c : name) c = static_cast<Char>(ignoreCase ? c & ~0x20 : c);
    return name;
  }
  static Key* newKey(const Name& name) {
    auto* key = new typename ZuTextNames<Char>::String;
    demand(key->initialize(name.data(), name.size()) == 0);
    return key;
  }

 private:
  bool ignoreCase;
};

template <class Char, class Dictionary>
void hashed(Input& in) {
  const bool ignoreCase = in(2) == 1;
  const Names<Char> names(ignoreCase);
  Dictionary dictionary;
  demand(!dictionary.doesExist(1ul));  // not initialised
  demand(dictionary.initialize(2) == 0);
  if (ignoreCase) dictionary.setCaseInsensitive();
  std::map<std::basic_string<Char>, ZuObject*> objects;
  std::map<unsigned long, unsigned long> numbers;
  while (!in.atEnd()) {
    const auto wanted = names.random(in);
    const typename ZuTextNames<Char>::View key(wanted.data(), wanted.size());
    ZuObject*& object = objects[names.canonical(wanted)];
    demand(dictionary.doesExist(&key) == (object != nullptr) && dictionary.getPtrForKey(&key) == object);
    if (!object) {
      object = new Item(1);
      demand(dictionary.addAssoc(names.newKey(wanted), object) == 0);
    }
    // From 2^32 on only the low half of a key is its hash.
    const unsigned long number = (in(500) << 31) + 2;
    demand(dictionary.getIntForKey(number) == (numbers.count(number) ? numbers[number] : 0));
    if (dictionary.doesExist(number)) continue;
    numbers[number] = 1 + in(100);
    demand(dictionary.addAssoc(number, numbers[number]) == 0);
  }
  demand(dictionary.getCount() == objects.size() + numbers.size());
  dictionary.deleteKeyAndData();
  demand(Item::alive == 0 && dictionary.getCount() == 0 && !dictionary.doesExist(2ul));
}

template <class Char, class Dictionary>
void sequential(Input& in) {
  const bool ignoreCase = in(2) == 1;
  const Names<Char> names(ignoreCase);
  Dictionary dictionary;
  if (ignoreCase) dictionary.setCaseInsensitive();
  std::vector<std::pair<std::basic_string<Char>, ZuObject*>> model;
  while (!in.atEnd()) {
    const auto wanted = names.random(in);
    const typename ZuTextNames<Char>::View key(wanted.data(), wanted.size());
    const auto same = [&](const auto& entry) {
      return names.canonical(entry.first) == names.canonical(wanted);
    };
    const auto found = std::find_if(model.begin(), model.end(), same);
    const auto at = static_cast<unsigned long>(found - model.begin());
    demand(dictionary.getIndexForKey(&key) == at && dictionary.doesExist(&key) == (found != model.end()));
    demand(dictionary.getPtrForKey(&key) == (found != model.end() ? found->second : nullptr));
    if (found != model.end() && in(4) == 0) {
      delete found->second;
      found->second = new Item(1);
      dictionary.changeData(&key, found->second);
      demand(dictionary.getPtrDataAtIndex(at) == found->second);
    }
    if (found != model.end() && in(2) == 0) {
      model.erase(found);
      dictionary.deleteKeyAndDataAtIndex(at);
    } else {
      model.emplace_back(wanted, new Item(1));
      demand(dictionary.addAssoc(names.newKey(wanted), model.back().second) == 0);
      demand(dictionary.getSubKeyAtIndex(model.size() - 1)->isEqual(wanted.data(), wanted.size()));
    }
    demand(dictionary.getCount() == model.size());
  }
  dictionary.deleteKeyAndData();
  demand(Item::alive == 0);
}

}  // namespace collectionsfuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace collectionsfuzz;
  Input in(data, size);
  switch (in(8)) {
    case 0: arrays(in); break;
    case 1: sortedArrays(in); break;
    case 2: lists(in); break;
    case 3: hashed<unsigned char, ZuDictionary>(in); break;
    case 4: hashed<unsigned short, ZuDictionaryW>(in); break;
    case 5: sequential<unsigned char, ZuSeqDictionary>(in); break;
    case 6: sets(in); break;
    default: sequential<unsigned short, ZuSeqDictionaryW>(in);
  }
  return 0;
}
