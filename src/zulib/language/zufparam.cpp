#include "zulib/language/zufparam.h"

#include <initializer_list>

#include "zulib/language/internal/querytext.h"
#include "zulib/language/zuscanner.h"

namespace {

// The tokens up to the first text: PARAMETER . ITEM ( 'text1'. From there every other one is a comma.
constexpr int kTokensToText = 5;
constexpr int kTokensBetween = 2;

void getTokens(ZuScanner& scanner, ZuToken& token, int count) {
  for (; count > 0; --count) scanner.getToken(token);
}

}  // namespace

ZufParam::~ZufParam() = default;

int ZufParam::initialize(const ZuSubString& line) {
  ZuScanner scanner(line.asPascalStr(), line.getLength());
  ZuToken token;
  int count = kTokensToText;
  for (ZuString* const text : {&text1, &text2, &text3, &text4}) {
    getTokens(scanner, token, count);
    if (text->clearAndSet(token)) return 1;
    text->removeQuotes();
    count = kTokensBetween;
  }
  getTokens(scanner, token, count);
  number = 0;
  return zuquery::readNumber(token, &number) ? 0 : token.getAsZUSIZE_T(&number);
}

int ZufParam::getParamLine(ZuString* line) const {
  const unsigned long before = line->getLength();
  bool failed = line->concat(zuquery::bytes("PARAMETER.ITEM (")) != 0;
  for (const ZuString* const text : {&text1, &text2, &text3, &text4})
    failed = failed || line->addQuotedBytes(*text, '\'') || line->concat(zuquery::bytes(", "));
  failed = failed || line->concat(number) || line->concat(zuquery::bytes(")\n"));
  if (failed) line->setCurSize(before);
  return failed;
}
