#include "zulib/language/internal/queryheader.h"

#include <initializer_list>
#include <limits>

#include "zulib/language/internal/querytext.h"
#include "zulib/language/zuscanner.h"

namespace zuquery {

namespace {

constexpr unsigned long kMostCryptType = std::numeric_limits<unsigned short>::max();

bool isCode(const ZuToken& token, char c) { return token.getTokenType() == static_cast<ScanCode>(c); }

// Passes up to three numbers with points between them, and one character after the third. False if a number
// does not fit.
bool parseVersion(ZuScanner& scanner, ZuToken& token, Header* header) {
  if (token != scanInteger) return true;
  if (!readNumber(token, &header->versionMajor)) return false;
  scanner.getToken(token);
  for (unsigned long* const number : {&header->versionMinor, &header->versionThird}) {
    if (!isCode(token, '.')) return true;
    scanner.getToken(token);
    if (token != scanInteger) return true;
    if (!readNumber(token, number)) return false;
    scanner.getToken(token);
  }
  if (token.getLength() == 1) scanner.getToken(token);
  return true;
}

// Passes "(", a number and ")".
bool parseCryptMark(ZuScanner& scanner, ZuToken& token, Header* header) {
  unsigned long type = 0;
  scanner.getToken(token);
  if (token != scanInteger || !readNumber(token, &type) || type > kMostCryptType) return false;
  header->cryptType = static_cast<unsigned short>(type);
  header->isEncrypted = true;
  scanner.getToken(token);
  if (!isCode(token, ')')) return false;
  scanner.getToken(token);
  return true;
}

}  // namespace

bool parseHeaderLine(const ZuSubString& line, Header* header) {
  if (line.getLength() >= kLineSize) return false;
  ZuScanner scanner(line.asPascalStr(), line.getLength());
  scanner.resetDecimalOk();
  ZuToken token;
  scanner.getToken(token);
  if (!token.isEqualCi(bytes("ZUK")) && !token.isEqualCi(bytes("ZAK"))) return false;
  scanner.getToken(token);
  if (!parseVersion(scanner, token, header) || !token.isEqualCi(bytes("for"))) return false;
  scanner.getDelimitedToken(token, '(');
  if (token != scanDelimited) return false;
  header->dbType = token;
  scanner.getToken(token);
  if (isCode(token, '(') && !parseCryptMark(scanner, token, header)) return false;
  return token == scanEnd;
}

}  // namespace zuquery
