#include "zulib/collections/zudictionary.h"

#include <cstring>

#include "zulib/collections/internal/setprobe.h"

namespace {

// The association of a text key, and the text key of an association, by width.
ZuAssociation* newAssociation(ZuSubString* key, ZuObject* data) { return new ZuSubPtrKey(key, data); }
ZuAssociation* newAssociation(ZuSubStringW* key, ZuObject* data) { return new ZuSubPtrKeyW(key, data); }

ZuSubString* subKeyOf(const ZuAssociation& association, const ZuSubString*) {
  return association.getSubKey();
}
ZuSubStringW* subKeyOf(const ZuAssociation& association, const ZuSubStringW*) {
  return association.getSubKeyW();
}

template <class Key>
bool matches(const ZuAssociation& association, const Key* key, bool ignoreCase) {
  return ignoreCase ? association.isEqualCi(key) : association.isEqual(key);
}

// A hash of all of a text.
std::uint32_t hashBytes(const void* text, unsigned long n) {
  constexpr std::uint64_t kFactor = 0x9E3779B97F4A7C15;
  std::uint64_t sum = n;
  const auto* p = static_cast<const unsigned char*>(text);
  for (std::uint64_t word = 0; n > 0; word = 0) {
    const unsigned long taken = n < sizeof word ? n : sizeof word;
    std::memcpy(&word, p, taken);
    sum = (sum ^ word) * kFactor;
    sum ^= sum >> 32;
    p += taken;
    n -= taken;
  }
  return static_cast<std::uint32_t>(sum);
}

}  // namespace

// ---- hashed ----

template <class Char>
void ZuDictionaryOf<Char>::setCaseInsensitive() {
  flags |= kCaseInsensitive;
  markAgain();
}

template <class Char>
ZuDictionaryOf<Char>::~ZuDictionaryOf() {
  for (unsigned long i = 0; i < cells(); ++i) delete associationAt(i);
}

template <class Char>
std::uint32_t ZuDictionaryOf<Char>::doHash(const void* value) const {
  return static_cast<const ZuAssociation*>(value)->hash();
}

template <class Char>
bool ZuDictionaryOf<Char>::areEqual(const void* stored, const void* wanted) const {
  const auto* one = static_cast<const ZuAssociation*>(stored);
  const auto* other = static_cast<const ZuAssociation*>(wanted);
  return flags & kCaseInsensitive ? one->isEqualCi(other) : one->isEqual(other);
}

// Names whose case does not matter may be equal with other bytes.
template <class Char>
std::uint32_t ZuDictionaryOf<Char>::markBits(const Key* key, std::uint32_t hash) const {
  if (!key || flags & kCaseInsensitive) return hash;
  return hashBytes(key->asPascalStr(), key->getLength() * sizeof(Char));
}

template <class Char>
std::uint32_t ZuDictionaryOf<Char>::doMark(const void* value, std::uint32_t hash) const {
  const auto& association = *static_cast<const ZuAssociation*>(value);
  return markBits(subKeyOf(association, static_cast<const Key*>(nullptr)), hash);
}

template <class Char>
int ZuDictionaryOf<Char>::addNew(ZuAssociation* association) {
  if (!association) return 1;
  if (add(association) == 0) return 0;
  delete association;
  return 1;
}

template <class Char>
int ZuDictionaryOf<Char>::addAssoc(unsigned long key, unsigned long data) {
  return addNew(new ZuIntIntKey(key, data));
}

template <class Char>
int ZuDictionaryOf<Char>::addAssoc(unsigned long key, ZuObject* data) {
  return addNew(new ZuIntPtrKey(key, data));
}

template <class Char>
int ZuDictionaryOf<Char>::addAssoc(Key* key, ZuObject* data) {
  return addNew(newAssociation(key, data));
}

// Number keys are compared by what `getIntKey` returns.
template <class Char>
unsigned long ZuDictionaryOf<Char>::getIndexForKey(unsigned long key) const {
  const auto hash = static_cast<std::uint32_t>(key);
  return zucollections::probe(marks, tableSize, startIndex(hash), zucollections::OneMark(hash),
                              [&](unsigned long i) { return associationAt(i)->getIntKey() == key; });
}

template <class Char>
unsigned long ZuDictionaryOf<Char>::getIndexForKey(const Key* key) const {
  const bool ignoreCase = flags & kCaseInsensitive;
  const std::uint32_t hash = key->hash();
  // An association of a driver's own, without a view of its key, has the mark of its hash.
  const zucollections::EitherMark wanted(markBits(key, hash), hash);
  return zucollections::probe(marks, tableSize, startIndex(hash), wanted,
                              [&](unsigned long i) { return matches(*associationAt(i), key, ignoreCase); });
}

template <class Char>
ZuAssociation* ZuDictionaryOf<Char>::find(unsigned long key) const {
  return tableSize == 0 ? nullptr : associationAt(getIndexForKey(key));
}

template <class Char>
ZuAssociation* ZuDictionaryOf<Char>::find(const Key* key) const {
  return tableSize == 0 ? nullptr : associationAt(getIndexForKey(key));
}

template <class Char>
void ZuDictionaryOf<Char>::deleteKeyAndData() {
  for (unsigned long i = cells(); i-- > 0;) {
    ZuAssociation* const association = associationAt(i);
    if (!association) continue;
    association->deleteKeyAndData();
    delete association;
    clearCell(i);
  }
  count = 0;
}

// ---- in the order of insertion ----

template <class Char>
ZuSeqDictionaryOf<Char>::~ZuSeqDictionaryOf() = default;

template <class Char>
int ZuSeqDictionaryOf<Char>::addNew(ZuAssociation* association) {
  if (!association) return 1;
  if (add(association) == 0) return 0;
  delete association;
  return 1;
}

template <class Char>
int ZuSeqDictionaryOf<Char>::addAssoc(unsigned long key, unsigned long data) {
  return addNew(new ZuIntIntKey(key, data));
}

template <class Char>
int ZuSeqDictionaryOf<Char>::addAssoc(unsigned long key, ZuObject* data) {
  return addNew(new ZuIntPtrKey(key, data));
}

template <class Char>
int ZuSeqDictionaryOf<Char>::addAssoc(Key* key, ZuObject* data) {
  return addNew(newAssociation(key, data));
}

template <class Char>
unsigned long ZuSeqDictionaryOf<Char>::getIndexForKey(unsigned long key) const {
  unsigned long i = 0;
  while (i < count && !associationAt(i)->isEqual(key)) ++i;
  return i;
}

template <class Char>
unsigned long ZuSeqDictionaryOf<Char>::getIndexForKey(const Key* key) const {
  unsigned long i = 0;
  while (i < count && !matches(*associationAt(i), key, caseInsensitive != 0)) ++i;
  return i;
}

template <class Char>
ZuAssociation* ZuSeqDictionaryOf<Char>::find(unsigned long key) const {
  const unsigned long i = getIndexForKey(key);
  return i < count ? associationAt(i) : nullptr;
}

template <class Char>
ZuAssociation* ZuSeqDictionaryOf<Char>::find(const Key* key) const {
  const unsigned long i = getIndexForKey(key);
  return i < count ? associationAt(i) : nullptr;
}

template <class Char>
void ZuSeqDictionaryOf<Char>::changeData(unsigned long key, unsigned long data) {
  if (ZuAssociation* const found = find(key)) found->changeData(data);
}

template <class Char>
void ZuSeqDictionaryOf<Char>::changeData(unsigned long key, ZuObject* data) {
  if (ZuAssociation* const found = find(key)) found->changeData(data);
}

template <class Char>
void ZuSeqDictionaryOf<Char>::changeData(const Key* key, ZuObject* data) {
  if (ZuAssociation* const found = find(key)) found->changeData(data);
}

template <class Char>
typename ZuSeqDictionaryOf<Char>::Key* ZuSeqDictionaryOf<Char>::getSubKeyAtIndex(unsigned long i) const {
  return subKeyOf(*associationAt(i), static_cast<const Key*>(nullptr));
}

template <class Char>
void ZuSeqDictionaryOf<Char>::deleteKeyAndData() {
  while (count > 0) deleteKeyAndDataAtIndex(count - 1);
}

template <class Char>
void ZuSeqDictionaryOf<Char>::deleteKeyAndDataAtIndex(unsigned long i) {
  associationAt(i)->deleteKeyAndData();
  deleteAtIndex(i);
}

template class ZuDictionaryOf<unsigned char>;
template class ZuDictionaryOf<unsigned short>;
template class ZuSeqDictionaryOf<unsigned char>;
template class ZuSeqDictionaryOf<unsigned short>;

ZuDictionary::~ZuDictionary() = default;
ZuDictionaryW::~ZuDictionaryW() = default;
ZuSeqDictionary::~ZuSeqDictionary() = default;
ZuSeqDictionaryW::~ZuSeqDictionaryW() = default;
