#include "zulib/language/internal/querydescription.h"

#include <algorithm>

#include "zulib/language/internal/querytext.h"

namespace zuquery {

namespace {

constexpr char kWord[] = "SET.QUERY.DESCRIPTION";
constexpr char kStart[] = "SET.QUERY.DESCRIPTION ('";
constexpr char kEnd[] = "')";
constexpr unsigned long kMostOfLine = 254 + sizeof kStart - 1 + sizeof kEnd - 1;

// The line from its word on, without its line feed; at the end of the text and empty if there is none.
ZuSubString lineOf(const ZuSubString& definition) {
  const unsigned long start = definition.findSubString(bytes(kWord));
  return {definition.asPascalStr(start), definition.findChar('\n', start) - start};
}

}  // namespace

int getDescription(const ZuSubString& definition, ZuString* text) {
  const ZuSubString line = lineOf(definition);
  if (line.getLength() == 0) return 1;
  const unsigned char* const first = line.asPascalStr();
  const unsigned char* const end = first + std::min(line.getLength(), kMostOfLine);
  const unsigned char* const open = std::find(first, end, '\'');
  const unsigned char* close = end;
  while (close > open && close[-1] != '\'') --close;
  // `close` is past the last apostrophe.
  if (close <= open + 1) return 0;
  return text->concat(open + 1, static_cast<unsigned long>(close - open) - 2);
}

int setDescription(const ZuSubString& definition, const ZuSubString& text, ZuString* changed) {
  const ZuSubString line = lineOf(definition);
  const bool isNew = line.getLength() == 0;
  const unsigned long before =
      isNew ? 0 : static_cast<unsigned long>(line.asPascalStr() - definition.asPascalStr());
  const unsigned long passed = before + line.getLength();
  if (changed->concat(definition.asPascalStr(), before) || changed->concat(bytes(kStart)) ||
      changed->concat(text) || changed->concat(bytes(kEnd)) || (isNew && changed->concat('\n')) ||
      changed->concat(definition.asPascalStr(passed), definition.getLength() - passed))
    return 1;
  changed->rightBlankTrim();
  return 0;
}

}  // namespace zuquery
