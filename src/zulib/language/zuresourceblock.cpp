#include "zulib/language/zuresourceblock.h"

#include <cstring>

#include "zulib/runtime/ram.h"
#include "zulib/text/strcopy.h"

const unsigned char* zuReadBlockEntry(const unsigned char* at, ZuBlockEntry& entry) {
  if (!*at) return nullptr;
  entry.text = at;
  entry.length = strLen(at);
  at += entry.length + 1;
  std::memcpy(&entry.number, at, sizeof entry.number);
  return at + sizeof entry.number;
}

unsigned char* zuPackBlock(const resourceElement* rows, unsigned short count) {
  constexpr unsigned long kPerRow = 1 + sizeof rows->number;
  unsigned long size = 1;
  for (unsigned short i = 0; i < count; ++i) size += (rows[i].text ? strLen(rows[i].text) : 0) + kPerRow;
  auto* const block = static_cast<unsigned char*>(ramAlloc(size));
  if (!block) return nullptr;
  unsigned char* at = block;
  for (unsigned short i = 0; i < count; ++i) {
    const unsigned long length = rows[i].text ? strLen(rows[i].text) : 0;
    if (length) std::memcpy(at, rows[i].text, length);
    at += length;
    *at++ = 0;
    std::memcpy(at, &rows[i].number, sizeof rows[i].number);
    at += sizeof rows[i].number;
  }
  *at = 0;
  return block;
}
