// Words with their counts, in a tree that may outgrow memory.
//
// A word is a key of kWordSize bytes, filled up with zeros; a longer word is cut. Its count is the data.
//
// Operations return 0, or 1 with the cause on the thread's error list.

#ifndef ZUWORDS_WORDCOUNTER_H
#define ZUWORDS_WORDCOUNTER_H

#include <cstdint>
#include <functional>
#include <string>

#include <zulib/storage/zutree.h>

class WordCounter {
 public:
  using Visit = std::function<void(const std::string& word, uint64_t count)>;

  int count(const std::string& word);

  // All words in the order of their bytes.
  int visitAll(const Visit& visit);

  // The `n` words with the highest counts; words with equal counts in the order of their bytes.
  int visitTop(unsigned long n, const Visit& visit);

 private:
  static constexpr unsigned short kWordSize = 40;

  ZuTree words{kWordSize, sizeof(uint64_t), nullptr, 0, 0, 1};
};

#endif
