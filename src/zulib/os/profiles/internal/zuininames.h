// UTF-16 arguments of the profile functions.

#ifndef ZULIB_OS_INTERNAL_ZUININAMES_H
#define ZULIB_OS_INTERNAL_ZUININAMES_H

#include <algorithm>

#include "zulib/codepages/zutextconvert.h"
#include "zulib/text/strcopy.h"

namespace zuini {

// A UTF-16 text as narrow text of less than `size` bytes. A null text stays one. One that is too long, or
// that does not convert, gives no text: a cut name would be that of something else.
template <unsigned long size>
class NarrowText {
 public:
  explicit NarrowText(const unsigned short* w)
      : present(w != nullptr),
        good(!w || (strLen(w) < size && zuGetANSIStrFromUTF16Str(w, bytes, size) >= 0)) {}

  bool converts() const { return good; }
  const unsigned char* text() const { return present ? bytes : nullptr; }

 private:
  unsigned char bytes[size];
  bool present;
  bool good;
};

// The units of a default, at most `size`; only an empty one gets a terminator, which is meant. `size` is not
// 0.
inline unsigned long copyDefault(unsigned short* out, const unsigned short* text, unsigned long size) {
  const unsigned long length = text ? std::min(strLen(text), size) : 0;
  if (length == 0) *out = 0;
  for (unsigned long i = 0; i < length; ++i) out[i] = text[i];
  return length;
}

}  // namespace zuini

#endif
