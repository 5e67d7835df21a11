// Texts of the catalog, by number (os/catalogs/boscatalog.h): UTF-8, and UTF-16. A text that no catalog has
// is its number in decimal.
//
// Thread use: any thread.

#ifndef ZULIB_OS_CATALOGS_ZURESOURCE_H
#define ZULIB_OS_CATALOGS_ZURESOURCE_H

#include "zulib/runtime/zuapi.h"

// The longest text with its terminator, in characters.
constexpr unsigned long zuResourceTextSize = 1024;

// Writes text `id`, terminated, to `out`, which has room for zuResourceTextSize characters, and answers its
// length: 0, with `out` empty, when the text is empty.
ZU_API unsigned long winGetString(unsigned char* out, unsigned short id);
ZU_API unsigned long winGetString(unsigned short* out, unsigned short id);

// A text of the catalog as a value.
class ZU_API ZuResourceString {
 public:
  explicit ZuResourceString(unsigned short id) {
    buffer[0] = 0;
    winGetString(buffer, id);
  }
  operator const unsigned char*() const { return buffer; }

 private:
  unsigned char buffer[zuResourceTextSize];
};

class ZU_API ZuResourceStringW {
 public:
  explicit ZuResourceStringW(unsigned short id) {
    buffer[0] = 0;
    winGetString(buffer, id);
  }
  operator const unsigned short*() const { return buffer; }

 private:
  unsigned short buffer[zuResourceTextSize];
};

// Makes this the source of the texts that the lower floors ask for. Made once, at load.
struct ResourceTextStart {
  ResourceTextStart();
};

#endif
