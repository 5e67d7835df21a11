// Text between code pages, through UTF-16.
//
// A code page is its IANA number. UTF-8, UTF-16 in this machine's byte order and Latin-1 are converted here;
// for every other one a connection has a converter of ICU. What a code page cannot express becomes a question
// mark, or U+FFFD in Unicode: whether that is an error is the caller's affair.
//
// Thread use: any thread. The converter of a connection has a lock.

#ifndef ZUODBC_CALL_ENCODING_H
#define ZUODBC_CALL_ENCODING_H

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "zuodbc/dmhandle.h"

struct UConverter;

namespace dm {

using CodePage = long;
inline constexpr CodePage kLatin1 = 4;
inline constexpr CodePage kUtf8 = 106;
inline constexpr CodePage kUtf16 = 1014;

// What a connection handle carries for a code page that is not converted here.
class CodePageConverter : public CharacterConverter {
 public:
  explicit CodePageConverter(CodePage page) noexcept;
  CodePageConverter(const CodePageConverter&) = delete;
  CodePageConverter& operator=(const CodePageConverter&) = delete;
  ~CodePageConverter() override;

  // False if ICU has no such converter, or one whose characters are not made of bytes.
  bool isOpen() const { return converter != nullptr; }

  // Append to `out`; return false if something was substituted. Throw std::bad_alloc.
  bool toUnicode(std::string_view text, std::u16string& out);
  bool fromUnicode(std::u16string_view text, std::string& out);

 private:
  std::mutex lock;
  UConverter* converter;
  bool substituted = false;  // set by ICU's callbacks
};

// Gives the connection a code page, and the converter that it needs. One that ICU does not have, or that has
// no 8-bit text, counts as ASCII: what is not ASCII is then substituted.
void useCodePage(DMConn& conn, CodePage page);

// Text that does not move, with a zero unit after its end.
struct HeldText {
  std::unique_ptr<char[]> bytes;
  size_t size = 0;  // in bytes, without the zero
  std::string_view view() const { return {bytes.get(), size}; }
};

// A copy of bytes. Throws std::bad_alloc.
HeldText holdText(std::string_view text);

// Converts the bytes of a text. `conn` may be null for Unicode and Latin-1. Returns false if something was
// substituted. Throws std::bad_alloc.
bool convertText(DMConn* conn, CodePage from, CodePage to, std::string_view text, HeldText& out);

// The longest part of a text, from its start, that is whole characters and has at most `room` bytes.
size_t wholeCharacters(DMConn* conn, CodePage page, std::string_view text, size_t room);

}  // namespace dm

#endif
