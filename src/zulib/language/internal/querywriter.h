// Writes the pieces of a query file in order.

#ifndef ZULIB_LANGUAGE_INTERNAL_QUERYWRITER_H
#define ZULIB_LANGUAGE_INTERNAL_QUERYWRITER_H

#include <algorithm>

#include "zulib/os/files/bosfile.h"
#include "zulib/text/zustring.h"

namespace zuquery {

// A statement is broken into lines of about this width.
constexpr unsigned long kLineWidth = 79;

class Writer {
 public:
  explicit Writer(int handle) : handle(handle) {}

  // From here on all is scrambled.
  void scramble() { isScrambled = true; }

  // Writes the text, which is scrambled in place. 0, or 1 with the error recorded.
  int write(ZuString* text) const {
    if (isScrambled) text->encrypt(ZuScrambleLines, nullptr);
    for (unsigned long done = 0, n; done < text->getLength(); done += n) {
      n = std::min(text->getLength() - done, kMostAtOnce);
      if (bosFileWrite(handle, kCurrentPosition, text->asPascalStr(done), n)) return 1;
    }
    return 0;
  }

 private:
  static constexpr unsigned long kMostAtOnce = 32768;  // a single write of 65536 bytes fails
  static constexpr long long kCurrentPosition = -1;

  int handle;
  bool isScrambled = false;
};

}  // namespace zuquery

#endif
