// The scanner of both widths over arbitrary text that ends where its block ends, with arbitrary options:
// tokens follow each other with nothing but white space between them, can be given back, and are the same
// ones for ASCII in both widths.

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "zulib/language/zuscanner.h"

namespace {

void demand(bool holds) {
  if (!holds) std::abort();
}

struct Cut {
  unsigned code;
  unsigned long begin;
  unsigned long length;

  bool operator==(const Cut&) const = default;
};

template <class Scanner>
void setOptions(Scanner& scanner, unsigned options) {
  using Char = std::remove_cvref_t<decltype(typename Scanner::Token()[0])>;
  static constexpr Char kSet[] = {'-', '.', ' ', 0};
  if (options & 1) scanner.setMatchParens();
  if (options & 2) scanner.setMatchBrackets();
  if (options & 4) scanner.setParseComments();
  if (options & 8) scanner.resetDecimalOk();
  if (options & 16) scanner.setMatchingChars('<', '>');
  if (options & 32) scanner.setValidFirstChars(kSet);
  if (options & 64) scanner.setValidMiddleChars(kSet);
  if (options & 128) scanner.setDelimiterChars(kSet);
}

// Cuts the text by the steps that the options say, and again as a list.
template <class Scanner, class Char>
std::vector<Cut> scan(const std::basic_string<Char>& text, unsigned options, unsigned steps) {
  const std::unique_ptr<Char[]> block(new Char[text.size()]);
  std::copy(text.begin(), text.end(), block.get());
  Scanner scanner(block.get(), text.size());
  setOptions(scanner, options);
  std::vector<Cut> cuts;
  typename Scanner::Token token;
  unsigned long end = 0;
  do {
    const unsigned step = steps % 4;
    steps = steps / 4 * 3 + 1;
    if (step == 3) {
      scanner.getDelimitedToken(token, ',');
    } else {
      scanner.getToken(token, static_cast<SearchType>(step));
      scanner.unGetToken(token);
      scanner.getToken(token, static_cast<SearchType>(step));
    }
    cuts.push_back({token.getTokenType(), token.getBegOfToken(), token.getLength()});
    demand(token.getBegOfToken() >= end && token.getBegOfToken() + token.getLength() <= text.size());
    for (; end < token.getBegOfToken(); ++end) demand(text[end] >= 0x80 || std::isspace(text[end]));
    end = token.getBegOfToken() + token.getLength();
    // An empty item is not passed by itself; of one that ends in an open group not all is counted.
    if (token.getLength() == 0 && token != scanEnd) scanner.getToken(token);
    if (step == 3) end = scanner.getCurrentPosition();
  } while (token != scanEnd);

  scanner.resetToBeginning();
  ZuArray items;
  demand(scanner.parseList(&items, ',') == 0 && items.getCount() > 0);
  return cuts;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  const unsigned options = data[0];
  const unsigned steps = data[1];
  const std::basic_string<unsigned char> narrow(data + 2, data + size);
  const std::basic_string<unsigned short> wide(data + 2, data + size);
  const auto cuts = scan<ZuScanner>(narrow, options, steps);
  const auto wideCuts = scan<ZuScannerW>(wide, options, steps);
  bool isAscii = true;
  for (const unsigned char byte : narrow) isAscii = isAscii && byte < 0x80;
  demand(!isAscii || cuts == wideCuts);
  std::basic_string<unsigned short> units;
  for (size_t i = 2; i + 1 < size; i += 2) units += static_cast<unsigned short>(data[i] | data[i + 1] << 8);
  scan<ZuScannerW>(units, options, steps);
  return 0;
}
