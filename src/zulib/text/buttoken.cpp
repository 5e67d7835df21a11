#include "zulib/text/buttoken.h"

#include <cstring>

#include "zulib/runtime/ram.h"
#include "zulib/runtime/zuhooks.h"
#include "zulib/text/zudbcs.h"
#include "zulib/text/zustring.h"

namespace {

using Text = const unsigned char*;

// What the first character makes of a token. Names up to HashNameWide bear the number of their mode.
enum Class {
  Name = 0,
  Argument = butModeArgument,
  HashName = butModeHash,
  DottedName = butModeDot,
  ColonName = butModeColon,
  PlainName = butModePlain,
  HashNameWide = butModeHashWide,
  Number,
  Fraction,
  Operator,
  OuterJoin,
  Quoted,
  Braced,
  Parameter,
  SingleCharacter,
};

bool isOneOf(unsigned char c, const char* set) { return c && std::strchr(set, c); }
bool isDigit(unsigned char c) { return c >= '0' && c <= '9'; }

// The bytes of the character at `p`, less those past the terminator of a cut text.
unsigned long sizeAt(Text p, zuCPType cp) {
  const unsigned long size = zuCharSize(p, cp);
  for (unsigned long i = 1; i < size; ++i) {
    if (!p[i]) return i;
  }
  return size;
}

bool isOperator(Text p) {
  static constexpr char kOperators[][3] = {"||", "<>", "<=", ">=", "!=", "!<", "!>", "**", "*=", "=*"};
  for (const char* op : kOperators) {
    if (p[0] == op[0] && p[1] == op[1]) return true;
  }
  return false;
}

bool isNamePart(Text p, zuCPType cp) { return *p == '_' || sizeAt(p, cp) > 1 || zuIsAlphaNumeric(p, cp); }

Class ofName(unsigned mode) { return mode <= butModeHashWide ? static_cast<Class>(mode) : Name; }

// The class of a token that begins at `p`, where the text has not ended.
Class classify(Text p, unsigned mode, zuCPType cp) {
  const bool hashMode = mode == butModeHash || mode == butModeHashWide;
  if (mode == butModeArgument && !isOneOf(*p, ",()|")) return Argument;
  if (sizeAt(p, cp) > 1) return Name;
  if (*p == '#' && hashMode) return ofName(mode);
  if (*p == '.' && mode == butModeDot) return DottedName;
  if ((*p == ':' || isDigit(*p)) && mode == butModeColon) return ColonName;
  if (isDigit(*p)) return Number;
  if (*p == '.' && isDigit(p[1])) return Fraction;
  if (isOperator(p)) return Operator;
  if (p[0] == '(' && p[1] == '+' && p[2] == ')') return OuterJoin;
  if (isOneOf(*p, "'`\"")) return Quoted;
  if (*p == '{') return Braced;
  if (*p == '?') return Parameter;
  if (*p == '_' || zuIsAlpha(p, cp)) return ofName(mode);
  return SingleCharacter;
}

// One token on its way from the text to its place. There is always room for the terminator.
class Token {
 public:
  // `outSize` is not 0.
  Token(unsigned char* out, Text text, unsigned short kindAndFlags, unsigned short outSize, zuCPType cp)
      : out(out),
        place(out),
        room(outSize),
        text(text),
        cp(cp),
        flags(kindAndFlags),
        mode(kindAndFlags & butModeMask) {}

  int read();
  Text end() const { return text; }

 private:
  int readBody();
  int readName();
  int readArgument();
  int readDigits();
  int readQuoted();
  int readBraced();
  int readParameter();
  bool continuesName() const;
  int takeCharacter() { return take(sizeAt(text, cp)); }
  int take(unsigned long bytes);
  int makeRoom(unsigned long bytes);
  int grow();
  int notClosed();

  unsigned char* out;    // the caller's
  unsigned char* place;  // `out`, or the block that the token moved to
  unsigned long length = 0;
  unsigned long room;  // bytes at `place`
  Text text;           // what is still to be read
  zuCPType cp;
  unsigned flags;
  unsigned mode;
  bool dropping = false;  // the token has overflowed, and what comes is passed over
  Class kind = Name;
};

int Token::read() {
  while (zuIsWhiteSpace(text, cp)) text += sizeAt(text, cp);
  int failed = 0;
  if (*text) {
    kind = classify(text, mode, cp);
    failed = readBody();
  }
  place[length] = 0;
  if (!failed && kind <= HashNameWide && !(flags & butNoFold)) strUpper(place);
  return failed;
}

int Token::readBody() {
  switch (kind) {
    case Argument: return readArgument();
    case Number:
    case Fraction: return readDigits();
    case Operator: return take(2);
    case OuterJoin: return take(3);
    case Quoted: return readQuoted();
    case Braced: return readBraced();
    case Parameter: return readParameter();
    case SingleCharacter: return take(1);
    default: return readName();
  }
}

int Token::readName() {
  if (takeCharacter()) return 1;
  while (*text && continuesName()) {
    if (*text == '\\') ++text;  // it only brings in the character after it
    if (takeCharacter()) return 1;
  }
  return 0;
}

bool Token::continuesName() const {
  if (isNamePart(text, cp)) return true;
  switch (kind) {
    case HashName:
    case HashNameWide: return isOneOf(*text, "#$") || (*text == '\\' && isOneOf(text[1], "-+*/"));
    case DottedName: return *text == '.' && zuIsAlphaNumeric(text + 1, cp);
    case ColonName: return isOneOf(*text, ":.");
    default: return false;
  }
}

int Token::readArgument() {
  bool backQuoted = false;
  do {
    if (*text == '`') backQuoted = !backQuoted;
    if (takeCharacter()) return 1;
  } while (*text && (backQuoted || (*text >= 33 && !isOneOf(*text, ",()|"))));
  return 0;
}

int Token::readDigits() {
  do {
    if (*text == '.') kind = Fraction;
    if (take(1)) return 1;
  } while (isDigit(*text) || (*text == '.' && kind == Number));
  return 0;
}

int Token::readQuoted() {
  const unsigned char quote = *text;
  if (take(1)) return 1;
  while (*text) {
    const bool isQuote = *text == quote;
    if (isQuote && text[1] != quote) return take(1);
    if (isQuote ? take(2) : takeCharacter()) return 1;
  }
  return notClosed();
}

int Token::readBraced() {
  while (*text) {
    const bool closing = *text == '}';
    if (takeCharacter()) return 1;
    if (closing) return 0;
  }
  return notClosed();
}

int Token::readParameter() {
  if (take(1)) return 1;
  if (!zuIsAlpha(text, cp)) return 0;
  do {
    if (takeCharacter()) return 1;
  } while (*text == '_' || zuIsAlphaNumeric(text, cp));
  return 0;
}

int Token::take(unsigned long bytes) {
  if (makeRoom(bytes)) return 1;
  if (!dropping) {
    memCopy(place + length, text, bytes);
    length += bytes;
  }
  text += bytes;
  return 0;
}

int Token::makeRoom(unsigned long bytes) {
  const bool bounded = mode != butModeColon && mode != butModeHashWide;
  if (!bounded || dropping || length + bytes + 1 <= room) return 0;
  if (flags & butDrop) {
    dropping = true;
    return 0;
  }
  const bool canGrow = flags & butGrow && place == out && room >= butBlockOffset + sizeof(unsigned char*);
  if (canGrow) return grow();
  zuhooks::report(ZU_MSG_TOKEN_TOO_LONG);
  return 1;
}

// Moves the token to a block that holds all the text there is.
int Token::grow() {
  const unsigned long size = strLen(text) + room + 1;
  auto* block = static_cast<unsigned char*>(ramAlloc(size));
  if (!block) return 1;
  memCopy(block, out, length);
  out[butBlockOffset - 1] = 0;
  memCopy(out + butBlockOffset, &block, sizeof block);
  place = block;
  room = size;
  return 0;
}

int Token::notClosed() {
  place[length] = 0;
  zuhooks::report({.number = ZU_MSG_TOKEN_NOT_CLOSED, .param = place, .paramLength = length, .codePage = cp});
  return 1;
}

}  // namespace

int buttoken(unsigned char* out, const unsigned char** cursor, unsigned short kindAndFlags,
             unsigned short outSize, zuCPType cp) {
  if (outSize == 0) {
    zuhooks::report(ZU_MSG_TOKEN_TOO_LONG);
    return 1;
  }
  Token token(out, *cursor, kindAndFlags, outSize, cp);
  if (token.read()) return 1;
  *cursor = token.end();
  return 0;
}

int butxpand(unsigned char** base, unsigned char** cursor, unsigned short* size, unsigned short need) {
  constexpr unsigned kStep = 512;
  const auto used = static_cast<unsigned short>(*base ? *cursor - *base : 0);
  const unsigned old = *base ? *size : 0u;
  if (*base && old - used >= need) return 0;
  const unsigned grown = old + need / kStep * kStep + kStep;
  if (grown > 0xFFFF) {
    ramAddMemoryError();
    return 1;
  }
  void* block = *base;
  if (ramResize(&block, grown)) return 1;
  *base = static_cast<unsigned char*>(block);
  *cursor = *base + used;
  *size = static_cast<unsigned short>(grown);
  return 0;
}
