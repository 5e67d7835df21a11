// Connection strings of both widths over arbitrary text that ends where its block ends: what is parsed and
// written again is parsed to the same, and ASCII means the same in both widths.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "zulib/errors/zuerror.h"
#include "zulib/language/zuvalueparser.h"

namespace {

void demand(bool holds) {
  if (!holds) std::abort();
}

template <class Char>
using Text = std::basic_string<Char>;

template <class Char>
struct Parsed {
  bool failed = false;
  std::vector<std::pair<Text<Char>, Text<Char>>> attributes;
  Text<Char> built;

  bool operator==(const Parsed&) const = default;
};

template <class Parser, class Char>
Parsed<Char> parse(const Text<Char>& text, bool allowDuplicates) {
  const std::unique_ptr<Char[]> block(new Char[text.size()]);
  std::copy(text.begin(), text.end(), block.get());
  const typename Parser::View view(block.get(), text.size());
  const auto plain = [](const typename Parser::View* v) {
    return Text<Char>(v->asPascalStr(), v->getLength());
  };
  Parser parser(&view, ';', nullptr, allowDuplicates);
  Parsed<Char> parsed;
  parsed.failed = parser.initialize() != 0;
  for (unsigned long i = 0; i < parser.getAttributeCount(); ++i) {
    const auto* const key = parser.getAttributeKey(i);
    parsed.attributes.emplace_back(plain(key), plain(parser.getAttributeValue(key)));
  }
  demand(parsed.failed || parser.getUnusedCount() == 0);
  typename Parser::String built;
  demand(parser.buildString(&built) == 0);
  if (built.getLength()) parsed.built = plain(&built);
  return parsed;
}

template <class Parser, class Char>
Parsed<Char> check(const Text<Char>& text, bool allowDuplicates) {
  const Parsed<Char> parsed = parse<Parser>(text, allowDuplicates);
  if (!parsed.failed) demand(parse<Parser>(parsed.built, allowDuplicates) == parsed);
  return parsed;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  ZuErrorList errors;
  ZuErrorKeeper::setErrorList(&errors);
  const bool allowDuplicates = data[0] & 1;
  const Text<unsigned char> narrow(data + 1, data + size);
  const auto parsed = check<ZuValueParser>(narrow, allowDuplicates);
  bool isAscii = true;
  for (const unsigned char byte : narrow) isAscii = isAscii && byte < 0x80;
  const Text<unsigned short> wide(data + 1, data + size);
  const auto wideParsed = check<ZuValueParserW>(wide, allowDuplicates);
  if (isAscii) {
    demand(parsed.failed == wideParsed.failed && parsed.attributes.size() == wideParsed.attributes.size());
    demand(Text<unsigned short>(parsed.built.begin(), parsed.built.end()) == wideParsed.built);
  }
  // Any units.
  Text<unsigned short> units;
  for (size_t i = 1; i + 1 < size; i += 2) units += static_cast<unsigned short>(data[i] | data[i + 1] << 8);
  check<ZuValueParserW>(units, allowDuplicates);
  ZuErrorKeeper::giveUpErrorList();
  return 0;
}
