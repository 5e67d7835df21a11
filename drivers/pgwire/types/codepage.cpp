#include "types/codepage.h"

#include <algorithm>

namespace pgwire {

namespace {

constexpr unsigned long kOpenConverters = 4;
constexpr std::size_t kMostBytes = 8;  // of a character, in any code page
constexpr long kWidestPage = 4;        // of UTF-8, for a UTF-16 unit or a narrow character

bool isAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

unsigned char* bytes(char* p) { return reinterpret_cast<unsigned char*>(p); }
const unsigned char* bytes(const char* p) { return reinterpret_cast<const unsigned char*>(p); }

}  // namespace

int CodePage::initialize(long wanted) {
  page = wanted;
  if (!ready && converter.initialize(kOpenConverters)) return 1;
  ready = true;
  const unsigned long most = converter.oxMaxCharSize(page);
  width = most == converter.oxMinCharSize(page) ? most : 0;
  constexpr std::string_view kSample = " !\"$&'()*+,-./09:<=>?@AZ[\\]^_`az{|}~";
  asciiSuperset = false;
  Array<char> converted;
  if (fromUtf8(kSample, converted)) return 1;
  asciiSuperset = std::string_view(converted.data(), converted.size()) == kSample;
  return 0;
}

int CodePage::toUtf8(const char* text, std::size_t length, Text& out) {
  if (page == UCNV_IANA_UTF_8 || (asciiSuperset && isAscii({text, length})))
    return out.append({text, length});
  const std::size_t before = out.size();
  const std::size_t room = length * kWidestPage + 1;
  long used = 0;
  if (out.resize(before + room) ||
      converter.oxAnsiToUTF8(bytes(out.data() + before), static_cast<long>(room), bytes(text),
                             static_cast<long>(length), &used, nullptr, page)) {
    return 1;
  }
  out.shorten(before + static_cast<std::size_t>(used));
  return 0;
}

int CodePage::toUtf8(const SQLWCHAR* text, std::size_t length, Text& out) {
  const std::size_t before = out.size();
  const std::size_t room = length * kWidestPage + 1;
  long used = 0;
  if (out.resize(before + room) ||
      converter.oxUCS2ToAnsi(bytes(out.data() + before), static_cast<long>(room),
                             const_cast<unsigned short*>(text), static_cast<long>(length), &used, nullptr,
                             UCNV_IANA_UTF_8)) {
    return 1;
  }
  out.shorten(before + static_cast<std::size_t>(used));
  return 0;
}

int CodePage::fromUtf8(std::string_view text, Array<char>& out) {
  if (page == UCNV_IANA_UTF_8 || (asciiSuperset && isAscii(text)))
    return out.append(text.data(), text.size());
  const std::size_t before = out.size();
  const std::size_t room = text.size() * kMostBytes + kMostBytes;
  long used = 0;
  if (out.resize(before + room) ||
      converter.oxUTF8ToAnsi(bytes(out.data() + before), static_cast<long>(room), bytes(text.data()),
                             static_cast<long>(text.size()), &used, nullptr, page)) {
    return 1;
  }
  out.shorten(before + static_cast<std::size_t>(used));
  return 0;
}

int CodePage::fromUtf8(std::string_view text, Array<SQLWCHAR>& out) {
  const std::size_t before = out.size();
  const std::size_t room = text.size() + 2;
  long used = 0;
  if (out.resize(before + room) ||
      converter.oxAnsiToUCS2(out.data() + before, static_cast<long>(room), bytes(text.data()),
                             static_cast<long>(text.size()), &used, nullptr, UCNV_IANA_UTF_8)) {
    return 1;
  }
  out.shorten(before + static_cast<std::size_t>(used));
  return 0;
}

}  // namespace pgwire
