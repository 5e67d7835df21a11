// The application code page of a connection: the connection string first, then the profiles.

#include "zulib/codepages/ucnvconv.h"

#include <unicode/uchar.h>
#include <unicode/ucnv.h>
#include <unicode/ustring.h>
#include <unicode/utf16.h>

#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>

#include "zulib/codepages/internal/ucnvdigits.h"

namespace {

struct Free {
  void operator()(void* block) const { std::free(block); }
};
template <class Char>
using Block = std::unique_ptr<Char, Free>;

template <class Char>
Block<Char> allocate(unsigned long n) {
  return Block<Char>(static_cast<Char*>(std::calloc(n, sizeof(Char))));
}

const char16_t* afterCharacter(const char16_t* cursor, const char16_t* end) {
  const bool isPair = U16_IS_SURROGATE(*cursor) && end - cursor > 1;
  return cursor + (isPair ? 2 : 1);
}

const char16_t* skipWhiteSpace(const char16_t* cursor, const char16_t* end) {
  while (cursor != end && u_isWhitespace(*cursor)) cursor = afterCharacter(cursor, end);
  return cursor;
}

const char16_t* findItemEnd(const char16_t* cursor, const char16_t* end) {
  while (cursor != end && *cursor != u';') ++cursor;
  return cursor;
}

// Moves the cursor past "=" and white space around it.
bool takeEqualsSign(const char16_t*& cursor, const char16_t* end) {
  cursor = skipWhiteSpace(cursor, end);
  if (cursor == end || *cursor != u'=') return false;
  cursor = skipWhiteSpace(cursor + 1, end);
  return true;
}

// The value of a "DSN" keyword as a terminated copy; null when there is none, or no memory.
char16_t* copyValue(const char16_t* cursor, const char16_t* end) {
  if (!takeEqualsSign(cursor, end)) return nullptr;
  const auto n = static_cast<unsigned long>(findItemEnd(cursor, end) - cursor);
  Block<char16_t> copy = allocate<char16_t>(n + 1);
  if (!copy) return nullptr;
  std::memcpy(copy.get(), cursor, n * sizeof *cursor);
  copy.get()[n] = 0;
  return copy.release();
}

struct Keyword {
  const char16_t* upper;
  const char16_t* lower;
  bool isIANA;  // its number is an IANA number, and the result
};

constexpr Keyword kKeywords[] = {
    {u"IANAAPPCODEPAGE", u"ianaappcodepage", true},
    {u"IACP", u"iacp", true},
    {u"APPCODEPAGE", u"appcodepage", false},
    {u"ACP", u"acp", false},
};
constexpr Keyword kDsn = {u"DSN", u"dsn", false};

// Moves the cursor past the keyword if the item begins with it.
bool takeKeyword(const Keyword& keyword, const char16_t*& cursor, const char16_t* end) {
  if (!ucnvEquals(cursor, end, keyword.upper, keyword.lower)) return false;
  cursor += u_strlen(keyword.upper);
  return true;
}

const Keyword* takeAnyKeyword(const char16_t*& cursor, const char16_t* end) {
  for (const Keyword& keyword : kKeywords) {
    if (takeKeyword(keyword, cursor, end)) return &keyword;
  }
  return nullptr;
}

struct CloseConverter {
  void operator()(UConverter* converter) const { ucnv_close(converter); }
};

// The string as UTF-16, by ICU's default converter. `length` gets its units; null on any failure.
Block<char16_t> widen(const char* text, unsigned long& length) {
  if (length > std::numeric_limits<int32_t>::max() / 4) return nullptr;
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<UConverter, CloseConverter> converter(ucnv_open(nullptr, &status));
  const unsigned long capacity = length * 2;
  Block<char16_t> wide = allocate<char16_t>(capacity + 1);
  if (U_FAILURE(status) || !wide) return nullptr;
  char16_t* to = wide.get();
  ucnv_toUnicode(converter.get(), &to, to + capacity, &text, text + length, nullptr, 1, &status);
  if (U_FAILURE(status)) return nullptr;
  length = static_cast<unsigned long>(to - wide.get());
  return wide;
}

// A terminated name in ICU's default encoding; null without memory.
Block<char> narrow(const char16_t* wide) {
  const int32_t most = u_strlen(wide) * 4;
  Block<char> name = allocate<char>(static_cast<unsigned long>(most) + 1);
  if (!name) return nullptr;
  u_austrncpy(name.get(), wide, most);
  name.get()[most] = 0;
  return name;
}

}  // namespace

int ucnvEquals(const char16_t* cursor, const char16_t* end, const char16_t* upper, const char16_t* lower) {
  for (; *upper; ++cursor, ++upper, ++lower) {
    if (cursor == end || U16_IS_SURROGATE(*cursor) || (*cursor != *upper && *cursor != *lower)) return 0;
  }
  return 1;
}

long ucnvGetNumericValue(const char16_t** cursor, const char16_t* end) {
  if (!takeEqualsSign(*cursor, end)) return ucnvNoNumber;
  bool any = false;
  const long value = ucnvTakeNumber(*cursor, end, any);
  return any ? value : ucnvNoNumber;
}

long ucnvUnicodeIANAAppCodePage(const char16_t* connectString, unsigned long length, char16_t** dsn) {
  const char16_t* cursor = connectString;
  const char16_t* end = connectString + length;
  long result = ucnvNoNumber;
  while (cursor != end) {
    if (U16_IS_SURROGATE(*cursor)) cursor = afterCharacter(cursor, end);
    cursor = skipWhiteSpace(cursor, end);
    if (const Keyword* keyword = takeAnyKeyword(cursor, end)) {
      const long value = ucnvGetNumericValue(&cursor, end);
      if (value != ucnvNoNumber) {
        if (keyword->isIANA) return value;
        result = ucnvUnilibToIANA(value);
      }
    } else if (!*dsn && takeKeyword(kDsn, cursor, end)) {
      *dsn = copyValue(cursor, end);
    }
    cursor = findItemEnd(cursor, end);
    if (cursor != end) ++cursor;
  }
  return result;
}

long ucnvAnsiIANAAppCodePage(const char* connectString, unsigned long length, char** dsn) {
  const Block<char16_t> wide = widen(connectString, length);
  if (!wide) return ucnvNoNumber;
  // A name that the caller knows keeps the parser from looking for another.
  char16_t known[] = u"";
  char16_t* wideDsn = *dsn ? known : nullptr;
  const long result = ucnvUnicodeIANAAppCodePage(wide.get(), length, &wideDsn);
  if (*dsn || !wideDsn) return result;
  const Block<char16_t> owned(wideDsn);
  *dsn = narrow(wideDsn).release();
  return *dsn ? result : ucnvNoNumber;
}

long ucnvGetAppCodePage(const char* connectString, unsigned long length, char** dsn) {
  const long result = ucnvAnsiIANAAppCodePage(connectString, length, dsn);
  return result != ucnvNoNumber ? result : ucnvGetAppCodePageFromDSN(*dsn);
}

long ucnvGetAppCodePageW(const char16_t* connectString, unsigned long length, char16_t** dsn) {
  const long result = ucnvUnicodeIANAAppCodePage(connectString, length, dsn);
  if (result != ucnvNoNumber) return result;
  const Block<char> name = *dsn ? narrow(*dsn) : nullptr;
  return ucnvGetAppCodePageFromDSN(name.get());
}

void ucnv_free(void* block) { std::free(block); }
