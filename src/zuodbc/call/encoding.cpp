#include "zuodbc/call/encoding.h"

#include <unicode/ucnv.h>
#include <unicode/ustring.h>
#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <cstring>
#include <new>

#include "zulib/codepages/ucnvconv.h"
#include "zuodbc/handles/handles.h"

namespace dm {
namespace {

constexpr UChar kReplacement = 0xFFFD;
constexpr char kQuestionMark = '?';

// What ICU calls for a character that has no counterpart.
void substituteFrom(const void* context, UConverterFromUnicodeArgs* arguments, const UChar* units,
                    int32_t length, UChar32 character, UConverterCallbackReason reason, UErrorCode* error) {
  if (reason <= UCNV_IRREGULAR) *static_cast<bool*>(const_cast<void*>(context)) = true;
  UCNV_FROM_U_CALLBACK_SUBSTITUTE(nullptr, arguments, units, length, character, reason, error);
}

void substituteTo(const void* context, UConverterToUnicodeArgs* arguments, const char* units, int32_t length,
                  UConverterCallbackReason reason, UErrorCode* error) {
  if (reason <= UCNV_IRREGULAR) *static_cast<bool*>(const_cast<void*>(context)) = true;
  UCNV_TO_U_CALLBACK_SUBSTITUTE(nullptr, arguments, units, length, reason, error);
}

int32_t units(size_t size) {
  if (size > INT32_MAX) throw std::bad_alloc();
  return static_cast<int32_t>(size);
}

// Appends what `convert(buffer, capacity, error)` writes, in a second try if the first room was too small.
template <class Text, class Convert>
void appendThrough(Text& out, size_t room, Convert&& convert) {
  const size_t start = out.size();
  for (;;) {
    out.resize(start + room);
    UErrorCode error = U_ZERO_ERROR;
    const int32_t length = convert(out.data() + start, units(room), error);
    if (error == U_MEMORY_ALLOCATION_ERROR) throw std::bad_alloc();
    if (error != U_BUFFER_OVERFLOW_ERROR) {
      out.resize(start + (U_SUCCESS(error) ? static_cast<size_t>(length) : 0));
      return;
    }
    room = static_cast<size_t>(length);
  }
}

bool utf8ToUnicode(std::string_view text, std::u16string& out) {
  int32_t substitutions = 0;
  appendThrough(out, text.size() + 1, [&](UChar* buffer, int32_t room, UErrorCode& error) {
    int32_t length = 0;
    u_strFromUTF8WithSub(buffer, room, &length, text.data(), units(text.size()), kReplacement, &substitutions,
                         &error);
    return length;
  });
  return substitutions == 0;
}

bool utf8FromUnicode(std::u16string_view text, std::string& out) {
  int32_t substitutions = 0;
  appendThrough(out, 3 * text.size() + 1, [&](char* buffer, int32_t room, UErrorCode& error) {
    int32_t length = 0;
    u_strToUTF8WithSub(buffer, room, &length, text.data(), units(text.size()), kReplacement, &substitutions,
                       &error);
    return length;
  });
  return substitutions == 0;
}

// Latin-1, and ASCII for a code page without a converter.
bool bytesToUnicode(std::string_view text, unsigned limit, std::u16string& out) {
  bool whole = true;
  for (const char byte : text) {
    const auto unit = static_cast<unsigned char>(byte);
    whole &= unit < limit;
    out += unit < limit ? static_cast<char16_t>(unit) : char16_t{kReplacement};
  }
  return whole;
}

bool bytesFromUnicode(std::u16string_view text, unsigned limit, std::string& out) {
  bool whole = true;
  for (size_t i = 0; i < text.size();) {
    UChar32 character;
    U16_NEXT(text.data(), i, text.size(), character);
    const bool fits = character < static_cast<UChar32>(limit);
    whole &= fits;
    out += fits ? static_cast<char>(character) : kQuestionMark;
  }
  return whole;
}

constexpr unsigned kLatin1Limit = 0x100;
constexpr unsigned kAsciiLimit = 0x80;

CodePageConverter* converterOf(DMConn* conn) {
  return conn ? static_cast<CodePageConverter*>(conn->converter) : nullptr;
}

bool toUnicode(DMConn* conn, CodePage page, std::string_view text, std::u16string& out) {
  if (page == kUtf16) {
    out.resize(text.size() / sizeof(char16_t));
    if (!out.empty()) std::memcpy(out.data(), text.data(), out.size() * sizeof(char16_t));
    return true;
  }
  if (page == kUtf8) return utf8ToUnicode(text, out);
  CodePageConverter* converter = page == kLatin1 ? nullptr : converterOf(conn);
  if (converter && converter->isOpen()) return converter->toUnicode(text, out);
  return bytesToUnicode(text, page == kLatin1 ? kLatin1Limit : kAsciiLimit, out);
}

bool fromUnicode(DMConn* conn, CodePage page, std::u16string_view text, std::string& out) {
  if (page == kUtf8) return utf8FromUnicode(text, out);
  CodePageConverter* converter = page == kLatin1 ? nullptr : converterOf(conn);
  if (converter && converter->isOpen()) return converter->fromUnicode(text, out);
  return bytesFromUnicode(text, page == kLatin1 ? kLatin1Limit : kAsciiLimit, out);
}

std::string_view bytesOf(std::u16string_view text) {
  return {reinterpret_cast<const char*>(text.data()), text.size() * sizeof(char16_t)};
}

}  // namespace

CodePageConverter::CodePageConverter(CodePage page) noexcept : converter(nullptr) {
  UErrorCode error = U_ZERO_ERROR;
  converter = ucnv_open(ucnvIANAidToICUname(page), &error);
  if (!converter) return;
  if (ucnv_getMinCharSize(converter) != 1) {
    ucnv_close(converter);
    converter = nullptr;
    return;
  }
  const UChar mark = kQuestionMark;
  ucnv_setSubstString(converter, &mark, 1, &error);
  error = U_ZERO_ERROR;
  ucnv_setFromUCallBack(converter, substituteFrom, &substituted, nullptr, nullptr, &error);
  ucnv_setToUCallBack(converter, substituteTo, &substituted, nullptr, nullptr, &error);
}

CodePageConverter::~CodePageConverter() {
  if (converter) ucnv_close(converter);
}

bool CodePageConverter::toUnicode(std::string_view text, std::u16string& out) {
  const std::lock_guard guard(lock);
  substituted = false;
  appendThrough(out, text.size() + 1, [&](UChar* buffer, int32_t room, UErrorCode& error) {
    return ucnv_toUChars(converter, buffer, room, text.data(), units(text.size()), &error);
  });
  return !substituted;
}

bool CodePageConverter::fromUnicode(std::u16string_view text, std::string& out) {
  const std::lock_guard guard(lock);
  substituted = false;
  appendThrough(out, 4 * text.size() + 1, [&](char* buffer, int32_t room, UErrorCode& error) {
    return ucnv_fromUChars(converter, buffer, room, text.data(), units(text.size()), &error);
  });
  return !substituted;
}

void useCodePage(DMConn& conn, CodePage page) {
  std::unique_ptr<CodePageConverter> converter;
  // Narrow text cannot be in UTF-16: with that number it is in no code page that is known.
  if (page == kUtf16) page = 0;
  if (page != kUtf8 && page != kLatin1) converter = std::make_unique<CodePageConverter>(page);
  delete conn.converter;
  conn.converter = converter.release();
  conn.state->codePage = page;
}

HeldText holdText(std::string_view text) {
  HeldText held;
  held.bytes = std::make_unique<char[]>(text.size() + sizeof(char16_t));
  held.size = text.size();
  if (!text.empty()) std::memcpy(held.bytes.get(), text.data(), text.size());
  return held;
}

bool convertText(DMConn* conn, CodePage from, CodePage to, std::string_view text, HeldText& out) {
  std::u16string wide;
  std::string narrow;
  bool whole = toUnicode(conn, from, text, wide);
  if (to == kUtf16) {
    out = holdText(bytesOf(wide));
  } else {
    whole &= fromUnicode(conn, to, wide, narrow);
    out = holdText(narrow);
  }
  return whole;
}

size_t wholeCharacters(DMConn* conn, CodePage page, std::string_view text, size_t room) {
  if (text.size() <= room) return text.size();
  if (page == kUtf16) {
    size_t length = room / sizeof(char16_t);
    char16_t around[2];
    if (length == 0) return 0;
    std::memcpy(around, text.data() + (length - 1) * sizeof(char16_t), sizeof around);
    if (U16_IS_LEAD(around[0]) && U16_IS_TRAIL(around[1])) --length;
    return length * sizeof(char16_t);
  }
  if (page == kUtf8) {
    size_t length = room;
    while (length > 0 && room - length < 3 && U8_IS_TRAIL(text[length])) --length;
    return U8_IS_TRAIL(text[length]) ? room : length;
  }
  if (page == kLatin1 || !converterOf(conn) || !converterOf(conn)->isOpen()) return room;
  // Character by character: a code page may have any rule about which bytes belong together.
  std::u16string wide;
  toUnicode(conn, page, text, wide);
  size_t taken = 0;
  for (size_t i = 0; i < wide.size();) {
    const size_t start = i;
    U16_FWD_1(wide.data(), i, wide.size());
    std::string one;
    fromUnicode(conn, page, std::u16string_view(wide).substr(start, i - start), one);
    if (taken + one.size() > room) break;
    taken += one.size();
  }
  return taken;
}

}  // namespace dm
