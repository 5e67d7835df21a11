// What the text tests share: random text, and encodings to read it in.

#ifndef ZULIB_TESTS_TEXT_SUPPORT_H
#define ZULIB_TESTS_TEXT_SUPPORT_H

#include <random>
#include <string>
#include <vector>

#include "fuzz/text/plaintext.h"

namespace texttest {

// Random text out of pieces, so that hits, near misses and cut characters all come up.
inline std::string randomText(std::mt19937& random, const std::vector<std::string>& pieces, unsigned most) {
  std::string s;
  for (unsigned n = random() % (most + 1); n > 0; --n) s += pieces[random() % pieces.size()];
  return s;
}

// A locale, the type its text is read as, and pieces of real text in it: characters whose trail byte is an
// ASCII letter, quote or wildcard where the encoding has such, and half characters.
struct Encoding {
  const char* locale;
  zuCPType cp;
  std::vector<std::string> pieces;
};

inline const std::vector<Encoding>& encodings() {
  static const std::vector<Encoding> all = {
      {"C", zuCPLocale, {"a", "B", "b", " ", "'", "\xE9", "_"}},
      {"ja_JP.EUC-JP", zuCPLocale, {"a", "B", "b", " ", "'", "\xA4\xA2", "\xC6\xFC", "\xA4", "_"}},
      {"ja_JP.SJIS",
       zuCPLocale,
       {"a", "B", "b", " ", "'", "\x83\x5C", "\x83\x61", "\x82\xA0", "\x83", "\\", "_"}},
      {"zh_CN.GBK", zuCPLocale, {"a", "B", "b", " ", "'", "\x81\x5F", "\x81\x42", "\xC4\xE3", "\x81", "_"}},
      {"en_US.UTF-8", zuCPLocale, {"a", "B", "b", " ", "'", "\xC3\xA9", "\xE2\x82\xAC", "\xC3", "_"}},
      {"C",
       zuCPUTF8,
       {"a", "B", "b", " ", "'", "\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "\xE2", "\x82", "_"}},
      {"tr_TR.ISO-8859-9", zuCPSingleByte, {"a", "B", "b", "I", "i", "\xFD", "\xDD", " ", "'", "_"}},
  };
  return all;
}

}  // namespace texttest

#endif
