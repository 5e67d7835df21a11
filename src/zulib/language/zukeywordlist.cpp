#include "zulib/language/zukeywordlist.h"

#include <cstdlib>
#include <cstring>

#include "zulib/language/zuresourceblock.h"
#include "zulib/text/strcompare.h"
#include "zulib/text/strcopy.h"

namespace {

// Whether two first bytes can belong to words that are equal in some locale. Bytes beyond ASCII may fold to
// anything.
bool mayFoldAlike(unsigned char a, unsigned char b) {
  return ((a ^ b) & ~0x20) == 0 || a >= 0x80 || b >= 0x80;
}

}  // namespace

ZuKeywordList::~ZuKeywordList() {
  std::free(entries);
  std::free(keywordBlock);
}

int ZuKeywordList::init(const void* block) {
  static constexpr unsigned char kEmpty[] = {0};
  const auto* const given = block ? static_cast<const unsigned char*>(block) : kEmpty;
  unsigned long size = 1;
  unsigned long count = 0;
  ZuBlockEntry read;
  for (const unsigned char* at = given; (at = zuReadBlockEntry(at, read)); ++count) size += read.length + 3;

  unsigned char* const copy = ramAllocStr(given, size);
  auto* const made = static_cast<Entry*>(ramAlloc(count * sizeof(Entry)));
  if (!copy || !made) {
    std::free(copy);
    std::free(made);
    return 1;
  }
  std::free(entries);
  std::free(keywordBlock);
  keywordBlock = copy;
  entries = made;
  Entry* next = made;
  Entry** ends[kBuckets];
  for (unsigned i = 0; i < kBuckets; ++i) {
    buckets[i] = nullptr;
    ends[i] = &buckets[i];
  }
  for (const unsigned char* at = copy; (at = zuReadBlockEntry(at, read)); ++next) {
    *next = {read.text, read.length, nullptr, read.number};
    *ends[read.length % kBuckets] = next;
    ends[read.length % kBuckets] = &next->next;
  }
  return 0;
}

int ZuKeywordList::lookup(const unsigned char* text, short* code) const {
  return lookup(text, strLen(text), code);
}

int ZuKeywordList::lookup(const unsigned char* text, unsigned long length, short* code) const {
  for (const Entry* entry = buckets[length % kBuckets]; entry; entry = entry->next) {
    if (entry->length != length || !isKeyword(*entry, text, length)) continue;
    *code = entry->code;
    return 0;
  }
  return 1;
}

bool ZuKeywordList::isKeyword(const Entry& entry, const unsigned char* text, unsigned long length) const {
  if (length == 0) return false;
  if (caseSensitive) return std::memcmp(entry.text, text, length) == 0;
  return mayFoldAlike(*entry.text, *text) && strEqualCi(entry.text, length, text, length);
}
