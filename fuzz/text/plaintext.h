// What the models of text share: literals of both widths, text in blocks that end where the text ends, and
// the plain rules of stepping, which ask the C library about every byte.

#ifndef ZULIB_FUZZ_TEXT_PLAINTEXT_H
#define ZULIB_FUZZ_TEXT_PLAINTEXT_H

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "zulib/text/zudbcs.h"

namespace texttest {

inline const unsigned char* bytes(const char* s) { return reinterpret_cast<const unsigned char*>(s); }
inline const unsigned char* bytes(const std::string& s) { return bytes(s.c_str()); }
inline const unsigned short* units(const char16_t* s) { return reinterpret_cast<const unsigned short*>(s); }
inline const unsigned short* units(const std::u16string& s) { return units(s.c_str()); }

inline std::string text(const unsigned char* p, unsigned long n) {
  return n == 0 ? std::string() : std::string(reinterpret_cast<const char*>(p), n);
}
inline std::string text(const unsigned char* p) { return reinterpret_cast<const char*>(p); }
inline std::u16string text(const unsigned short* p, unsigned long n) {
  return n == 0 ? std::u16string() : std::u16string(reinterpret_cast<const char16_t*>(p), n);
}
inline std::u16string text(const unsigned short* p) { return reinterpret_cast<const char16_t*>(p); }

// A copy without a terminator in a block of its own, so that a read past the count is found.
template <class Element>
class Exact {
 public:
  template <class Text>
  explicit Exact(const Text& s) : n(s.size()), block(new Element[n]) {
    for (unsigned long i = 0; i < n; ++i) block[i] = static_cast<Element>(s[i]);
  }
  Element* get() const { return block.get(); }
  unsigned long size() const { return n; }

 private:
  unsigned long n;
  std::unique_ptr<Element[]> block;
};
using ExactBytes = Exact<unsigned char>;
using ExactUnits = Exact<unsigned short>;

// Bytes of the character at `i`, at most what is left.
inline unsigned long plainSize(const std::string& s, unsigned long i, zuCPType cp) {
  const auto byte = static_cast<unsigned char>(s[i]);
  unsigned long size = 1;
  if (cp == zuCPUTF8) {
    size = byte < 0xC0 ? 1 : byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : 4;
  } else if (s.size() - i >= 2 && std::mblen(s.c_str() + i, 2) == 2) {
    size = 2;
  }
  return size < s.size() - i ? size : s.size() - i;
}

// The text cut into its characters.
inline std::vector<std::string> plainCharacters(const std::string& s, zuCPType cp) {
  std::vector<std::string> characters;
  for (unsigned long i = 0; i < s.size();) {
    const unsigned long size = plainSize(s, i, cp);
    characters.push_back(s.substr(i, size));
    i += size;
  }
  return characters;
}

}  // namespace texttest

#endif
