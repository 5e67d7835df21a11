// Dictionaries: keys, which are numbers or views of text, and their data, which are numbers or objects.
//
//   ZuDictionary, ZuDictionaryW        hashed, on ZuSet; must be initialised before use
//   ZuSeqDictionary, ZuSeqDictionaryW  searched from the start, on ZuArray; keep the order of insertion
//
//   ZuDictionary columns;
//   if (columns.initialize(100)) return 1;
//   if (columns.addAssoc(name, column)) return 1;    // name and column stay the caller's
//   ZuObject* found = columns.getPtrForKey(&wanted);  // null if it is not there
//   columns.deleteKeyAndData();                       // now they are deleted
//
// A dictionary owns its associations (zuassociation.h) and never, by its destructor, keys or data. Text keys
// are hashed by ZuSubString::hash, the sum of the first five bytes (six units in the W forms) without regard
// to case, so that names with a common prefix all begin their search at one cell, and the search passes all
// that were added before. If case matters it compares only names that agree in a byte of a hash of the whole
// name (rows dictionary_find and dictionary_find_prefix of `./dev bench collections`); docs/performance.md
// has the figures. Large sets of names with a prefix belong in a ZuSortedArray.
//
// Functions that add return 0, or 1 with the dictionary as it was and the out-of-memory state of the thread
// marked; keys and data are not touched then.
//
// Thread safety: none; one thread at a time.

#ifndef ZULIB_COLLECTIONS_ZUDICTIONARY_H
#define ZULIB_COLLECTIONS_ZUDICTIONARY_H

#include "zulib/collections/zuarray.h"
#include "zulib/collections/zuassociation.h"
#include "zulib/collections/zuset.h"

namespace zucollections {

// The data of an association that may be null.
inline unsigned long intDataOf(const ZuAssociation* association) {
  return association ? association->getIntData() : 0;
}
inline ZuObject* ptrDataOf(const ZuAssociation* association) {
  return association ? association->getPtrData() : nullptr;
}

}  // namespace zucollections

template <class Char>
class ZU_API ZuDictionaryOf : public ZuSet {
 public:
  using Key = typename ZuTextNames<Char>::View;

  ZuDictionaryOf() = default;
  // Deletes the associations.
  ~ZuDictionaryOf() override;

  // Text keys are compared without regard to case from here on.
  void setCaseInsensitive();

  // Adds a key, which must not be there yet: an equal one is put in the place of the old association, which
  // is then neither deleted nor reachable, and still counts. Ask `doesExist` first.
  [[nodiscard]] int addAssoc(unsigned long key, unsigned long data);
  [[nodiscard]] int addAssoc(unsigned long key, ZuObject* data);
  [[nodiscard]] int addAssoc(Key* key, ZuObject* data);

  // The cell of the key, or the empty cell where the search for it ended. The dictionary must be initialised.
  unsigned long getIndexForKey(unsigned long key) const;
  unsigned long getIndexForKey(const Key* key) const;

  // The data; 0 or null if the key is not there.
  unsigned long getIntForKey(unsigned long key) const { return zucollections::intDataOf(find(key)); }
  unsigned long getIntForKey(const Key* key) const { return zucollections::intDataOf(find(key)); }
  ZuObject* getPtrForKey(unsigned long key) const { return zucollections::ptrDataOf(find(key)); }
  ZuObject* getPtrForKey(const Key* key) const { return zucollections::ptrDataOf(find(key)); }

  bool doesExist(unsigned long key) const { return find(key); }
  bool doesExist(const Key* key) const { return find(key); }

  // Deletes all keys, data and associations, from the last cell to the first.
  void deleteKeyAndData();

  // Of ZuSet; both are associations.
  std::uint32_t doHash(const void* value) const override;
  bool areEqual(const void* stored, const void* wanted) const override;
  std::uint32_t doMark(const void* value, uint32_t hash) const override;

 private:
  enum : unsigned char { kCaseInsensitive = 1 };

  int addNew(ZuAssociation* association);
  std::uint32_t markBits(const Key* key, std::uint32_t hash) const;
  ZuAssociation* associationAt(unsigned long index) const { return static_cast<ZuAssociation*>(at(index)); }
  ZuAssociation* find(unsigned long key) const;
  ZuAssociation* find(const Key* key) const;

  unsigned char flags = 0;
};

template <class Char>
class ZU_API ZuSeqDictionaryOf : public ZuArray {
 public:
  using Key = typename ZuTextNames<Char>::View;

  ZuSeqDictionaryOf() { setDeleteContentsOnDestruct(); }
  // Deletes the associations.
  ~ZuSeqDictionaryOf() override;

  // Text keys are compared without regard to case from here on, for the lifetime of the object.
  void setCaseInsensitive() { caseInsensitive = 1; }

  // Appends, also a key that is there already: the first one is found.
  [[nodiscard]] int addAssoc(unsigned long key, unsigned long data);
  [[nodiscard]] int addAssoc(unsigned long key, ZuObject* data);
  [[nodiscard]] int addAssoc(Key* key, ZuObject* data);

  // Index of the first equal key; the count if there is none.
  unsigned long getIndexForKey(unsigned long key) const;
  unsigned long getIndexForKey(const Key* key) const;

  // The data; 0 or null if the key is not there.
  unsigned long getIntForKey(unsigned long key) const { return zucollections::intDataOf(find(key)); }
  unsigned long getIntForKey(const Key* key) const { return zucollections::intDataOf(find(key)); }
  ZuObject* getPtrForKey(unsigned long key) const { return zucollections::ptrDataOf(find(key)); }
  ZuObject* getPtrForKey(const Key* key) const { return zucollections::ptrDataOf(find(key)); }

  bool doesExist(unsigned long key) const { return find(key); }
  bool doesExist(const Key* key) const { return find(key); }

  // Replaces the data of a key; the old data is not deleted. No effect if the key is not there.
  void changeData(unsigned long key, unsigned long data);
  void changeData(unsigned long key, ZuObject* data);
  void changeData(const Key* key, ZuObject* data);

  // By position; no range test.
  ZuObject* getPtrDataAtIndex(unsigned long i) const { return associationAt(i)->getPtrData(); }
  unsigned long getIntDataAtIndex(unsigned long i) const { return associationAt(i)->getIntData(); }
  Key* getSubKeyAtIndex(unsigned long i) const;
  unsigned long getIntKeyAtIndex(unsigned long i) const { return associationAt(i)->getIntKey(); }

  // Deletes all keys, data and associations, from the last to the first; or those of one position, and closes
  // the gap.
  void deleteKeyAndData();
  void deleteKeyAndDataAtIndex(unsigned long i);

 private:
  int addNew(ZuAssociation* association);
  ZuAssociation* associationAt(unsigned long i) const { return static_cast<ZuAssociation*>(at(i)); }
  ZuAssociation* find(unsigned long key) const;
  ZuAssociation* find(const Key* key) const;

  long caseInsensitive = 0;
};

extern template class ZuDictionaryOf<unsigned char>;
extern template class ZuDictionaryOf<unsigned short>;
extern template class ZuSeqDictionaryOf<unsigned char>;
extern template class ZuSeqDictionaryOf<unsigned short>;

class ZU_API ZuDictionary : public ZuDictionaryOf<unsigned char> {
 public:
  ~ZuDictionary() override;
};

class ZU_API ZuDictionaryW : public ZuDictionaryOf<unsigned short> {
 public:
  ~ZuDictionaryW() override;
};

class ZU_API ZuSeqDictionary : public ZuSeqDictionaryOf<unsigned char> {
 public:
  ~ZuSeqDictionary() override;
};

class ZU_API ZuSeqDictionaryW : public ZuSeqDictionaryOf<unsigned short> {
 public:
  ~ZuSeqDictionaryW() override;
};

#endif
