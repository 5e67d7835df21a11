// The scanner against a slow model of its rules, on random texts in three encodings, and on single cases.

#include <gtest/gtest.h>

#include <optional>
#include <random>
#include <string>
#include <vector>

#include "tests/support/locales.h"
#include "zulib/errors/zuerror.h"
#include "zulib/language/zuscanner.h"

namespace {

struct Cut {
  unsigned long code;
  unsigned long begin;
  unsigned long length;
  bool operator==(const Cut&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Cut& cut) {
  return out << "{" << cut.code << " at " << cut.begin << ", " << cut.length << "}";
}

struct Options {
  bool parens = false;
  bool brackets = false;
  bool comments = false;
  bool decimals = true;
  bool pair = false;  // "<" and ">"
  std::string first, middle, delimiters;
};

// One symbol of a text: its first unit, its size and its classes.
struct Symbol {
  unsigned unit;
  unsigned long size;
  bool white, alpha, alnum;
};

// The rules, one after another, over a list of symbols. It keeps no state but the index of the next symbol.
class Model {
 public:
  Model(std::vector<Symbol> text, Options options) : text(std::move(text)), o(std::move(options)) {
    for (const Symbol& s : this->text) offsets.push_back(offsets.back() + s.size);
  }

  Cut next(SearchType search) {
    while (at < text.size() && text[at].white && !in(o.first, text[at].unit)) ++at;
    begin = at;
    if (at == text.size()) return cut(scanEnd);
    const Symbol& s = text[at++];
    const unsigned c = s.unit;
    if (isQuote(c)) return quoted(c) ? cut(scanQuoted) : cut(scanUnterminated);
    if (c == '(' && o.parens) return cut(group('(', ')'));
    if (c == '{' && o.brackets) return cut(group('{', '}'));
    if (c == '<' && o.pair) return cut(group('<', '>'));
    if (o.comments && c == '-' && ahead(1) == '-') {
      while (at < text.size() && text[at].unit != '\n') ++at;
      const Cut comment = cut(scanComment);
      if (at < text.size()) ++at;
      return comment;
    }
    if (o.comments && c == '/' && ahead(1) == '*') {
      for (std::size_t i = at + 2; i < text.size(); ++i) {
        if (text[i].unit == '/' && text[i - 1].unit == '*') {
          at = i + 1;
          return cut(scanComment);
        }
      }
      at = text.size();
      return cut(scanComment);
    }
    const auto stop = [](unsigned u) { return u == ',' || u == '(' || u == ')' || u == '|'; };
    if (search == searchWord && !stop(c)) {
      return run(scanSearchWord, [&](const Symbol& x) { return x.unit >= 33 && !stop(x.unit); });
    }
    const auto wordPart = [&](const Symbol& x) {
      if (!o.delimiters.empty()) return !in(o.delimiters, x.unit);
      return x.alnum || x.unit == '_' || in(o.middle, x.unit);
    };
    if (search == searchIdent && (s.alpha || c == '_' || c == '#')) {
      return run(scanSearchIdent, [&](const Symbol& x) {
        return x.alnum || x.unit == '_' || x.unit == '#' || x.unit == '$' || wordPart(x);
      });
    }
    if (!o.delimiters.empty() && !in(o.delimiters, c)) return run(scanWord, wordPart);
    if (s.alpha || c == '_' || in(o.first, c)) return run(scanWord, wordPart);
    if (isDigit(c) || (c == '.' && o.decimals && isDigit(ahead(1)))) {
      bool point = c == '.';
      const Cut number = run(scanInteger, [&](const Symbol& x) {
        if (isDigit(x.unit)) return true;
        return x.unit == '.' && o.decimals && !point && (point = true);
      });
      return point && at == text.size() ? cut(scanDecimal) : number;
    }
    if (c == '(' && ahead(1) == '+' && ahead(2) == ')') {
      at += 2;
      return cut(scanOuterJoin);
    }
    static const char* const kTwo[] = {"==", "=*", "=<", "=>", "++", "&&", "||", "--", "//",
                                       "**", "*=", ">=", "<=", "<>", "!=", "!<", "!>"};
    for (const char* two : kTwo) {
      if (c == static_cast<unsigned>(two[0]) && ahead(1) == static_cast<unsigned>(two[1])) {
        ++at;
        return cut(c * 256 + static_cast<unsigned>(two[1]));
      }
    }
    const bool one =
        c < 128 && std::string("?,().=+&|-/*><!;:{}$#%@\"'`").find(static_cast<char>(c)) != std::string::npos;
    return cut(one || c == 0 ? c : scanOther);
  }

  // The next item of a list. No item is known (nullopt) of which the group that the text ends in cuts a
  // symbol.
  std::optional<Cut> nextItem(unsigned delimiter) {
    while (at < text.size() && text[at].white) ++at;
    begin = at;
    if (at == text.size()) return cut(scanEnd);
    if (text[at].unit == delimiter) return cut(scanNone);
    unsigned quote = isQuote(text[at].unit) ? text[at].unit : 0;
    ++at;
    ScanCode code = scanDelimited;
    while (at < text.size()) {
      const unsigned c = text[at].unit;
      if (!quote && c == delimiter && (c != '(' || !(o.parens || o.brackets))) break;
      ++at;
      if (c == '(' && (o.parens || o.brackets)) {
        const bool isClosed = o.parens ? group('(', ')') == scanQuoted : group('{', '}') == scanQuoted;
        if (!isClosed) code = scanUnterminated;
      } else if (c == quote) {
        quote = 0;
      } else if (isQuote(c)) {
        quote = c;
      }
    }
    // The "(" of a group that is not closed is not counted.
    if (code == scanUnterminated && text[at - 1].size != 1) return std::nullopt;
    std::size_t end = at - (code == scanUnterminated ? 1 : 0);
    while (text[end - 1].white) --end;
    return Cut{code, offsets[begin], offsets[end] - offsets[begin]};
  }

 private:
  static bool isQuote(unsigned c) { return c == '\'' || c == '"' || c == '`'; }
  static bool isDigit(unsigned c) { return c >= '0' && c <= '9'; }
  static bool in(const std::string& set, unsigned c) {
    return c < 128 && set.find(static_cast<char>(c)) != std::string::npos;
  }
  unsigned ahead(std::size_t n) const { return at + n - 1 < text.size() ? text[at + n - 1].unit : 0; }
  Cut cut(unsigned long code) const { return {code, offsets[begin], offsets[at] - offsets[begin]}; }

  bool quoted(unsigned quote) {
    for (; at < text.size(); ++at) {
      if (text[at].unit != quote) continue;
      ++at;
      if (at == text.size() || text[at].unit != quote) return true;
    }
    return false;
  }
  ScanCode group(unsigned open, unsigned close) {
    for (int depth = 1; depth;) {
      if (at == text.size()) return scanUnterminated;
      const unsigned c = text[at++].unit;
      if (isQuote(c) && !quoted(c)) return scanUnterminated;
      depth += c == open ? 1 : c == close ? -1 : 0;
    }
    return scanQuoted;
  }
  template <class Accepts>
  Cut run(unsigned long code, Accepts accepts) {
    while (at < text.size() && accepts(text[at])) ++at;
    return cut(code);
  }

  std::vector<Symbol> text;
  Options o;
  std::vector<unsigned long> offsets{0};
  std::size_t at = 0;
  std::size_t begin = 0;
};

// Pieces that random texts are made of: single characters, and beginnings and ends of what the rules look
// for.
const std::vector<std::string> kPieces = {"a",  "Z",  "_",  "7",  "0",  "\x1D", ".",    "1.5",  " ",  "\t",
                                          "\n", "'",  "\"", "`",  "''", "(",    ")",    "{",    "}",  "<",
                                          ">",  "--", "/*", "*/", "/",  "*",    "(+)",  "=",    "==", "=*",
                                          "!",  "!=", "&",  "|",  ",",  ";",    ":",    "$",    "#",  "%",
                                          "@",  "?",  "^",  "\\", "+",  "~",    "word", "GROUP"};

constexpr unsigned kDelimiters[] = {',', ';', '('};

template <class Char>
std::basic_string<Char> of(const std::string& s) {
  return {s.begin(), s.end()};
}

template <class Char, class Scanner, class Token>
void compareWithModel(const std::vector<std::basic_string<Char>>& pieces, unsigned seed,
                      std::optional<zuCPType> cp) {
  std::mt19937 random(seed);
  for (int round = 0; round < 4000; ++round) {
    std::basic_string<Char> text;
    std::vector<Symbol> symbols;
    for (auto n = random() % 25; n; --n) {
      const auto& piece = pieces[random() % pieces.size()];
      text += piece;
      unsigned long i = 0;
      while (i < piece.size()) {
        Symbol s{piece[i], 1, false, false, false};
        const Char* const p = piece.c_str() + i;
        if constexpr (sizeof(Char) == 1) {
          s = {piece[i], zuCharSize(p, *cp), zuIsWhiteSpace(p, *cp), zuIsAlpha(p, *cp),
               zuIsAlphaNumeric(p, *cp)};
        } else {
          s = {piece[i], (piece[i] & 0xFC00u) == 0xD800u ? 2u : 1u, zuIsWhiteSpace(p), zuIsAlpha(p),
               zuIsAlphaNumeric(p)};
        }
        symbols.push_back(s);
        i += s.size;
      }
    }
    const unsigned bits = random();
    Options o;
    o.parens = bits % 4 == 0;
    o.brackets = bits / 4 % 4 == 0;
    o.comments = bits / 16 % 2 == 0;
    o.decimals = bits / 32 % 4 != 0;
    o.pair = bits / 128 % 8 == 0;
    if (bits / 1024 % 8 == 0) o.first = "@ 7";
    if (bits / 8192 % 8 == 0) o.middle = "-.";
    if (bits / 65536 % 8 == 0) o.delimiters = ",; ";

    // The text lies in a block of its own, without a terminator, so that a read after it is found.
    const std::vector<Char> block(text.begin(), text.end());
    std::optional<Scanner> scanner;
    if constexpr (sizeof(Char) == 1) {
      scanner.emplace(block.data(), block.size(), *cp);
    } else {
      scanner.emplace(block.data(), block.size());
    }
    if (o.parens) scanner->setMatchParens();
    if (o.brackets) scanner->setMatchBrackets();
    if (o.comments) scanner->setParseComments();
    if (!o.decimals) scanner->resetDecimalOk();
    if (o.pair) scanner->setMatchingChars('<', '>');
    scanner->setValidFirstChars(of<Char>(o.first).c_str());
    scanner->setValidMiddleChars(of<Char>(o.middle).c_str());
    scanner->setDelimiterChars(of<Char>(o.delimiters).c_str());

    Model model(symbols, o);
    Token token;
    std::string trail;
    for (Cut expected{}; expected.code != scanEnd;) {
      if (random() % 8 == 0) {
        const unsigned delimiter = kDelimiters[random() % 3];
        const std::optional<Cut> item = model.nextItem(delimiter);
        if (!item) break;
        scanner->getDelimitedToken(token, static_cast<unsigned short>(delimiter));
        const Cut got{static_cast<unsigned long>(token.getTokenType()), token.getBegOfToken(),
                      token.getLength()};
        ASSERT_EQ(got, *item) << "round " << round << ", options " << bits << "\n"
                              << testing::PrintToString(text) << "\n"
                              << trail;
      }
      const auto search = static_cast<SearchType>(random() % 8 < 6 ? 0 : 1 + random() % 2);
      expected = model.next(search);
      scanner->getToken(token, search);
      if (random() % 4 == 0) {
        scanner->unGetToken(token);
        scanner->getToken(token, search);
      }
      const Cut got{static_cast<unsigned long>(token.getTokenType()), token.getBegOfToken(),
                    token.getLength()};
      trail += testing::PrintToString(got);
      ASSERT_EQ(got, expected) << "round " << round << ", options " << bits << ", search " << search << "\n"
                               << testing::PrintToString(text) << "\n"
                               << trail;
    }
  }
}

TEST(Scanner, FollowsTheModelInUtf8AndShiftJis) {
  std::vector<std::basic_string<unsigned char>> pieces;
  for (const std::string& piece : kPieces) pieces.push_back(of<unsigned char>(piece));
  for (const char* piece : {"\xC3\xA4", "\xE6\xBC\xA2", "\xF0\x9F\x98\x80", "\xE3\x80\x80"})
    pieces.push_back(of<unsigned char>(piece));
  {
    const TestLocale locale("en_US.UTF-8");
    compareWithModel<unsigned char, ZuScanner, ZuToken>(pieces, 1, zuCPUTF8);
    compareWithModel<unsigned char, ZuScanner, ZuToken>(pieces, 4, zuCPLocale);
  }
  pieces.resize(kPieces.size());
  // The second bytes are those of "\", "|" and "{" , and must not be taken for these.
  for (const char* piece : {"\x83\x5C", "\x83\x7C", "\x83\x7B", "\xB1"})
    pieces.push_back(of<unsigned char>(piece));
  const TestLocale locale("ja_JP.SJIS");
  compareWithModel<unsigned char, ZuScanner, ZuToken>(pieces, 2, zuCPLocale);
}

TEST(Scanner, FollowsTheModelInUtf16) {
  std::vector<std::basic_string<unsigned short>> pieces;
  for (const std::string& piece : kPieces) pieces.push_back(of<unsigned short>(piece));
  pieces.push_back({0x00E4});
  pieces.push_back({0x6F22});
  pieces.push_back({0xD83D, 0xDE00});
  pieces.push_back({0x3000});
  pieces.push_back({0xFF11});  // a digit that is none of ours
  compareWithModel<unsigned short, ZuScannerW, ZuTokenW>(pieces, 3, std::nullopt);
}

const unsigned char* bytes(const char* s) { return reinterpret_cast<const unsigned char*>(s); }

std::string textOf(const ZuSubString& view) {
  return {reinterpret_cast<const char*>(view.asPascalStr()), view.getLength()};
}

// How an item is cut is compared with the model; here, that each delimiter has one before it and one after
// it.
TEST(Scanner, ListsHaveOneItemMoreThanDelimiters) {
  const std::pair<const char*, std::vector<std::string>> cases[] = {
      {"", {""}}, {"a,", {"a", ""}}, {",a", {"", "a"}}, {" a b ,'c,'", {"a b", "'c,'"}}};
  for (const auto& [text, expected] : cases) {
    ZuScanner scanner(bytes(text));
    ZuArray views;
    ZuArray strings;
    ASSERT_EQ(scanner.parseList(&views, ','), 0);
    scanner.resetToBeginning();
    ASSERT_EQ(scanner.parseListZuString(&strings, ','), 0);
    ASSERT_EQ(views.getCount(), expected.size()) << text;
    ASSERT_EQ(strings.getCount(), expected.size()) << text;
    for (unsigned long i = 0; i < expected.size(); ++i) {
      EXPECT_EQ(textOf(*static_cast<ZuSubString*>(views.at(i))), expected[i]);
      EXPECT_EQ(textOf(*static_cast<ZuString*>(strings.at(i))), expected[i]);
    }
  }
}

TEST(Scanner, WordsAreComparedTogether) {
  ZuScanner scanner(bytes("GROUP  by x"));
  ZuToken token;
  scanner.getToken(token);
  EXPECT_FALSE(scanner.isEqual(token, bytes("GROUP BY")));
  EXPECT_EQ(scanner.getCurrentPosition(), 5u);
  EXPECT_TRUE(scanner.isInSetCi(token, bytes("ORDER BY\0GROUP\0")));
  EXPECT_EQ(textOf(token), "GROUP");
  EXPECT_TRUE(scanner.isInSetCi(token, bytes("ORDER BY\0GROUP BY\0")));
  EXPECT_EQ(textOf(token), "GROUP  by");
  scanner.getToken(token);
  EXPECT_EQ(textOf(token), "x");
  EXPECT_FALSE(scanner.isInSet(token, bytes("\0")));

  // Words compared up to the end of the text: the end stays reached, though the position goes back.
  ZuScanner reached(bytes("a bb"));
  reached.getToken(token);
  EXPECT_FALSE(reached.isEqual(token, bytes("a bb c")));
  EXPECT_EQ(reached.getCurrentPosition(), 1u);
  ZuToken next;
  reached.getToken(next);
  EXPECT_EQ(next.getTokenType(), scanEnd);
  reached.unGetToken(token);
  EXPECT_TRUE(reached.isEqual(token, bytes("a"))) << "the token is still that of one word";
  reached.getToken(next);
  EXPECT_EQ(textOf(next), "a");
}

TEST(Scanner, TokensOfAnAttachedStringChange) {
  ZuErrorList errors;
  ZuErrorKeeper::setErrorList(&errors);
  ZuString text;
  ASSERT_EQ(text.initialize(bytes("select old from t")), 0);
  ZuScanner scanner(&text);
  ZuToken token;
  scanner.getToken(token);
  scanner.getToken(token);
  EXPECT_EQ(scanner.changeToken(&token, ZuSubString(bytes("longer"))), 0);
  scanner.getToken(token);
  EXPECT_EQ(textOf(token), "from");
  EXPECT_EQ(scanner.insertToken(&token, ZuSubString(bytes("+ 1 "))), 0);
  EXPECT_EQ(textOf(token), "from");
  EXPECT_EQ(textOf(text), "select longer + 1 from t");
  scanner.getToken(token);
  EXPECT_EQ(textOf(token), "t");
  EXPECT_EQ(scanner.changeToken(&token, ZuSubString()), 0);
  EXPECT_EQ(textOf(text), "select longer + 1 from ");
  ZuScanner fixed(bytes("a"));
  fixed.getToken(token);
  EXPECT_EQ(fixed.changeToken(&token, ZuSubString(bytes("b"))), 1) << "no string is attached";
  ZuErrorKeeper::giveUpErrorList();
}

}  // namespace
