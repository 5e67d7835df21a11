#include "wordcounter.h"

#include <algorithm>
#include <cstring>

namespace {

// A key by which the highest count comes first: the count in reversed order of bytes and values, then the
// word.
void putRank(unsigned char* key, uint64_t count) {
  for (int shift = 56; shift >= 0; shift -= 8) *key++ = static_cast<unsigned char>(~count >> shift);
}

uint64_t countOf(const unsigned char* key) {
  uint64_t inverted = 0;
  for (unsigned i = 0; i < sizeof inverted; ++i) inverted = inverted << 8 | key[i];
  return ~inverted;
}

std::string textOf(const unsigned char* word, unsigned long size) {
  return {reinterpret_cast<const char*>(word), strnlen(reinterpret_cast<const char*>(word), size)};
}

}  // namespace

int WordCounter::count(const std::string& word) {
  unsigned char key[kWordSize] = {};
  std::memcpy(key, word.data(), std::min<size_t>(word.size(), kWordSize));
  uint64_t times = 0;
  unsigned found = 0;
  if (words.getData(key, &times, &found, nullptr)) return 1;
  ++times;
  return found ? words.changeCurrentData(&times, nullptr) : words.add(key, &times, nullptr);
}

int WordCounter::visitAll(const Visit& visit) {
  unsigned char key[kWordSize];
  uint64_t times = 0;
  unsigned found = 0;
  int failed = words.getFirst(key, &times, &found, nullptr);
  while (!failed && found) {
    visit(textOf(key, kWordSize), times);
    failed = words.getNext(key, &times, &found, nullptr);
  }
  return failed;
}

int WordCounter::visitTop(unsigned long n, const Visit& visit) {
  // The tree holds the best n so far: the last one leaves when another comes.
  ZuTree best(sizeof(uint64_t) + kWordSize, 0, nullptr, 0, 0, 1);
  unsigned char key[sizeof(uint64_t) + kWordSize];
  unsigned found = 0;
  int failed = 0;
  const int walked = visitAll([&](const std::string& word, uint64_t times) {
    std::memset(key, 0, sizeof key);
    putRank(key, times);
    std::memcpy(key + sizeof times, word.data(), word.size());
    failed |= best.add(key, nullptr, nullptr);
    if (best.getRecordCount() > n && !failed) {
      failed |= best.getLast(nullptr, nullptr, &found, nullptr) || best.deleteCurrent(nullptr);
    }
  });
  failed |= walked;
  if (!failed) failed = best.getFirst(key, nullptr, &found, nullptr);
  while (!failed && found) {
    visit(textOf(key + sizeof(uint64_t), kWordSize), countOf(key));
    failed = best.getNext(key, nullptr, &found, nullptr);
  }
  return failed;
}
