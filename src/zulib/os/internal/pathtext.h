// A path under construction in a buffer of the stated size, and UTF-16 names as narrow text.

#ifndef ZULIB_OS_INTERNAL_PATHTEXT_H
#define ZULIB_OS_INTERNAL_PATHTEXT_H

#include <cerrno>
#include <cstring>

#include "zulib/codepages/zutextconvert.h"
#include "zulib/os/files/boserror.h"
#include "zulib/text/strcopy.h"

namespace zuos {

// Text that does not fit is not appended, and `fits` returns false from then on.
class PathText {
 public:
  PathText() = default;
  explicit PathText(const unsigned char* name) { append(name); }

  PathText& append(const char* more, unsigned long n) {
    if (n >= bosPathSize - length) overflown = true;
    if (overflown) return *this;
    std::memcpy(bytes + length, more, n);
    length += n;
    bytes[length] = 0;
    return *this;
  }
  PathText& append(const char* more) { return append(more, std::strlen(more)); }
  PathText& append(const unsigned char* more) { return append(reinterpret_cast<const char*>(more)); }
  PathText& set(const unsigned char* name) {
    clear();
    return append(name);
  }
  PathText& set(const char* name) { return set(reinterpret_cast<const unsigned char*>(name)); }
  void clear() { shorten(0); }
  void shorten(unsigned long n) {
    length = n;
    bytes[n] = 0;
    overflown = false;
  }
  void endWithSlash() {
    if (length == 0 || bytes[length - 1] != '/') append("/", 1);
  }

  // False after text was refused. `errno` is then set.
  bool fits() const {
    if (overflown) errno = ENAMETOOLONG;
    return !overflown;
  }
  unsigned long size() const { return length; }
  char* text() { return bytes; }
  const char* text() const { return bytes; }
  const unsigned char* name() const { return reinterpret_cast<const unsigned char*>(bytes); }
  // `out` has room for bosPathSize bytes.
  void copyTo(unsigned char* out) const { std::memcpy(out, bytes, length + 1); }

 private:
  char bytes[bosPathSize] = "";
  unsigned long length = 0;
  bool overflown = false;
};

// A UTF-16 name in narrow form. A null name stays null. One that is too long records an error; one that does
// not convert records none.
class NarrowName {
 public:
  explicit NarrowName(const unsigned short* w) {
    if (!w) return;
    present = true;
    const bool tooLong = strLen(w) >= bosPathSize;
    if (tooLong) bosMapError(ENAMETOOLONG, static_cast<const unsigned char*>(nullptr));
    good = !tooLong && zuGetANSIStrFromUTF16Str(w, bytes, bosPathSize) >= 0;
  }
  bool converts() const { return good; }
  const unsigned char* text() const { return present ? bytes : nullptr; }
  unsigned char* buffer() { return bytes; }

 private:
  unsigned char bytes[bosPathSize] = "";
  bool present = false;
  bool good = true;
};

}  // namespace zuos

#endif
