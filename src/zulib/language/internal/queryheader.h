// The first line of a query file.

#ifndef ZULIB_LANGUAGE_INTERNAL_QUERYHEADER_H
#define ZULIB_LANGUAGE_INTERNAL_QUERYHEADER_H

#include "zulib/text/zustring.h"

namespace zuquery {

// The header, with its line feed, fits a line of this size.
constexpr unsigned long kLineSize = 2048;

struct Header {
  unsigned long versionMajor = 1;  // if the line has no version
  unsigned long versionMinor = 0;
  unsigned long versionThird = 0;
  ZuSubString dbType;  // in the line
  bool isEncrypted = false;
  unsigned short cryptType = 0;
};

// Reads the line, which has no line feed. False if it is not a header.
bool parseHeaderLine(const ZuSubString& line, Header* header);

}  // namespace zuquery

#endif
