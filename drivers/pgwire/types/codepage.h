// The application's code page of a connection, and conversion of whole strings. Text inside the driver is
// UTF-8.
//
// Thread safety: as the connection.

#ifndef PGWIRE_TYPES_CODEPAGE_H
#define PGWIRE_TYPES_CODEPAGE_H

#include <sql.h>
#include <sqlext.h>
#include <zulib/codepages/ucnvconv.h>
#include <zulib/convert/services/characterconverter.h>

#include <string_view>

#include "base/array.h"

namespace pgwire {

class CodePage {
 public:
  CodePage() : converter(ZuReportAsWarning) {}

  [[nodiscard]] int initialize(long page);
  long number() const { return page; }

  // True if ASCII text is the same bytes in the page.
  bool isAsciiSuperset() const { return asciiSuperset; }
  // Bytes of every character; 0 if they differ.
  unsigned long fixedWidth() const { return width; }

  // Appends the text in UTF-8.
  [[nodiscard]] int toUtf8(const char* text, std::size_t length, Text& out);
  [[nodiscard]] int toUtf8(const SQLWCHAR* text, std::size_t length, Text& out);

  // Appends the UTF-8 text in the application's form. What the page does not have is substituted, with a
  // warning.
  [[nodiscard]] int fromUtf8(std::string_view text, Array<char>& out);
  [[nodiscard]] int fromUtf8(std::string_view text, Array<SQLWCHAR>& out);

 private:
  CharacterConverter converter;
  long page = UCNV_IANA_LATIN_1;
  bool ready = false;
  bool asciiSuperset = false;
  unsigned long width = 0;
};

}  // namespace pgwire

#endif
