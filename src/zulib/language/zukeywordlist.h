// ZuKeywordList: which words are keywords, and their codes. Of two entries that a word equals, the first one
// counts. Comparison is case-sensitive at first, as compiling a grammar needs it; parsing turns that off.
//
// Thread safety: none; one thread at a time.

#ifndef ZULIB_LANGUAGE_ZUKEYWORDLIST_H
#define ZULIB_LANGUAGE_ZUKEYWORDLIST_H

#include <cstdint>

#include "zulib/runtime/zuapi.h"
#include "zulib/runtime/zuobject.h"

class ZU_API ZuKeywordList : public ZuObject {
 public:
  ZuKeywordList() = default;
  ZuKeywordList(const ZuKeywordList&) = delete;
  ZuKeywordList& operator=(const ZuKeywordList&) = delete;
  ~ZuKeywordList() override;

  // Takes a copy of a block of keywords with their codes (see zuresourceblock.h); null is an empty one.
  // 0, or 1 with the list as it was if allocation fails.
  [[nodiscard]] int init(const void* block);

  void setCaseSensitiveCompare(int isSensitive) { caseSensitive = isSensitive ? 1 : 0; }

  // 0 with the keyword's code, or 1 if the word is no keyword.
  int lookup(const unsigned char* text, short* code) const;
  int lookup(const unsigned char* text, unsigned long length, short* code) const;

 private:
  // The entries of one bucket have lengths that are equal modulo kBuckets, and are in the block's order.
  struct Entry {
    const unsigned char* text;  // in the block
    unsigned long length;
    Entry* next;
    short code;
  };
  static constexpr unsigned kBuckets = 16;

  bool isKeyword(const Entry& entry, const unsigned char* text, unsigned long length) const;

  unsigned char* keywordBlock = nullptr;  // owned
  std::uint32_t caseSensitive = 1;
  Entry* entries = nullptr;  // owned
  Entry* buckets[kBuckets] = {};
};

#endif
