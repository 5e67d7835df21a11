// What the C locale makes of bytes.
//
// What it makes of each single byte is worked out once per encoding and looked up from then on; only a byte
// that may begin a double-byte character is put to the C library. The facts belong to the name of the
// encoding, so a later `setlocale` or `uselocale` is seen by the next call.

#ifndef ZULIB_TEXT_INTERNAL_LOCALEFACTS_H
#define ZULIB_TEXT_INTERNAL_LOCALEFACTS_H

namespace zutext {

struct LocaleFacts {
  bool asciiPlain;           // no byte below 0x80 begins a longer character
  bool asciiFold;            // below 0x80 exactly a to z and A to Z fold, and nothing above folds into it
  char codeset[64];          // the name of the encoding
  unsigned char size[256];   // 2 if the byte can begin a double-byte character, else 1
  unsigned char upper[256];  // the byte as a character of its own, folded by strUpper
};

// The facts of the calling thread's locale. They stay valid until the library is unloaded.
const LocaleFacts& localeFacts();

// True if the two bytes at `p` are one character of the C locale.
bool isDoubleByte(const unsigned char* p);

// The wide character at `p` and its size within `left` bytes: 0 if there is none that is whole and valid.
// `cut` tells a character that the count ends within.
unsigned long decodeLocale(const unsigned char* p, unsigned long left, wchar_t* wide, bool* cut);

// White space in the C locale, looking at no more than `left` bytes.
bool isWhiteSpaceWithin(const unsigned char* p, unsigned long left, const LocaleFacts& facts);

}  // namespace zutext

#endif
