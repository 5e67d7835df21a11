// Blocks of numbered texts, the form in which grammars and keyword lists are given:
//
//   | text | 0 | number, 16 bits | text | 0 | number, 16 bits | ... | 0 |
//
// Nothing in a block is aligned; numbers are in the machine's byte order. An empty text ends the block.

#ifndef ZULIB_LANGUAGE_ZURESOURCEBLOCK_H
#define ZULIB_LANGUAGE_ZURESOURCEBLOCK_H

#include "zulib/runtime/zuapi.h"

// A row of a table in a program's source, from which blocks are made.
struct resourceElement {
  resourceElement() = default;
  resourceElement(const unsigned char* t, int n) : text(t), number(static_cast<short>(n)) {}
  resourceElement(const char* t, int n) : resourceElement(reinterpret_cast<const unsigned char*>(t), n) {}

  const unsigned char* text = nullptr;
  short number = 0;
};

// One entry of a block; `text` points into it.
struct ZuBlockEntry {
  const unsigned char* text;
  unsigned long length;
  short number;
};

// Reads the entry at `at`. Returns where the next one begins, or null at the end of the block.
ZU_API const unsigned char* zuReadBlockEntry(const unsigned char* at, ZuBlockEntry& entry);

// A new block of the rows, to be freed with `free`; null if the allocation fails.
[[nodiscard]] ZU_API unsigned char* zuPackBlock(const resourceElement* rows, unsigned short count);

#endif
