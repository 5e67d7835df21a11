#include "tools/zusql/display.h"

#include <cwchar>

namespace zusql {

namespace {

constexpr char32_t kBad = 0xFFFD;
constexpr char32_t kControlPictures = 0x2400;
constexpr char32_t kDeletePicture = 0x2421;

// The code point at the start of `text`, which is not empty, and its bytes. One byte and U+FFFD where the
// bytes are no UTF-8.
char32_t decode(std::string_view text, std::size_t& bytes) {
  const auto at = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  bytes = 1;
  const unsigned char lead = at(0);
  if (lead < 0x80) return lead;
  const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4 || text.size() < length) return kBad;
  char32_t code = lead & (0x7Fu >> length);
  for (std::size_t i = 1; i < length; ++i) {
    if ((at(i) & 0xC0u) != 0x80) return kBad;
    code = code << 6 | (at(i) & 0x3Fu);
  }
  constexpr char32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  if (code < kSmallest[length] || (code >= 0xD800 && code <= 0xDFFF) || code > 0x10FFFF) return kBad;
  bytes = length;
  return code;
}

void append(std::string& out, char32_t code) {
  if (code < 0x80) {
    out += static_cast<char>(code);
    return;
  }
  const int more = code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
  constexpr unsigned kLead[] = {0, 0xC0, 0xE0, 0xF0};
  out += static_cast<char>(kLead[more] | code >> (6 * more));
  for (int i = more - 1; i >= 0; --i) out += static_cast<char>(0x80u | (code >> (6 * i) & 0x3Fu));
}

char32_t shown(char32_t code) {
  if (code < 0x20) return kControlPictures + code;
  if (code == 0x7F) return kDeletePicture;
  return code >= 0x80 && wcwidth(static_cast<wchar_t>(code)) < 0 ? kBad : code;
}

std::size_t widthOf(char32_t code) {
  if (code < 0x80) return 1;
  const int width = wcwidth(static_cast<wchar_t>(code));
  return width < 0 ? 1 : static_cast<std::size_t>(width);
}

}  // namespace

std::string visible(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t bytes = 0; !text.empty(); text.remove_prefix(bytes))
    append(out, shown(decode(text, bytes)));
  return out;
}

std::size_t columnsOf(std::string_view text) {
  std::size_t columns = 0;
  for (std::size_t bytes = 0; !text.empty(); text.remove_prefix(bytes))
    columns += widthOf(decode(text, bytes));
  return columns;
}

std::size_t bytesWithin(std::string_view text, std::size_t columns) {
  std::size_t taken = 0;
  while (taken < text.size()) {
    std::size_t bytes = 0;
    const std::size_t width = widthOf(decode(text.substr(taken), bytes));
    if (width > columns) break;
    columns -= width;
    taken += bytes;
  }
  return taken;
}

std::string fitted(std::string_view text, std::size_t columns, bool isRightAligned) {
  std::string out(text.substr(0, bytesWithin(text, columns)));
  if (out.size() < text.size() && columns > 0) {
    out = std::string(text.substr(0, bytesWithin(text, columns - 1))) + "…";
  }
  const std::string blanks(columns - columnsOf(out), ' ');
  return isRightAligned ? blanks + out : out + blanks;
}

void appendValidUtf8(std::string& out, std::string_view text, std::size_t& from) {
  std::size_t bytes = 0;
  append(out, decode(text.substr(from), bytes));
  from += bytes;
}

std::string grouped(std::int64_t number) {
  std::string digits = std::to_string(number);
  for (std::size_t i = digits.size(); i > (number < 0 ? 4U : 3U);) {
    i -= 3;
    digits.insert(i, ",");
  }
  return digits;
}

}  // namespace zusql
