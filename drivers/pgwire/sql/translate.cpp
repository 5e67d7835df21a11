#include "sql/translate.h"

#include <zulib/convert/scalar/zuconvert.h>
#include <zulib/language/zuscanner.h>

#include <algorithm>

#include "base/errors.h"
#include "sql/functions.h"

namespace pgwire {

namespace {

constexpr unsigned short kNoQuote = 0xFFFF;
constexpr unsigned kDeepest = 64;  // braces in braces

const unsigned char* bytes(std::string_view s) { return reinterpret_cast<const unsigned char*>(s.data()); }

bool isNameByte(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
         static_cast<unsigned char>(c) >= 0x80;
}

class Translator {
 public:
  Translator(std::string_view sql, const TranslateOptions& options, Translation& out)
      : sql(sql), options(options), out(out), scanner(bytes(sql), sql.size(), zuCPUTF8) {}

  int run() {
    scanner.setQuotingChars('\'', '"', kNoQuote);
    scanner.setParseComments();
    if (scanner.setValidMiddleChars(reinterpret_cast<const unsigned char*>("$"))) return 1;
    for (next(); token != scanEnd; next()) {
      if (step()) return 1;
    }
    return copyUpTo(sql.size());
  }

 private:
  std::size_t begin() const { return token.getBegOfToken(); }
  std::size_t end() const { return begin() + token.getLength(); }
  std::string_view text() const { return sql.substr(begin(), token.getLength()); }
  bool is(char c) const { return token.getLength() == 1 && sql[begin()] == c; }

  // The next token; what the scanner reads otherwise than the server is put right: strings with backslashes,
  // dollar quotes, comments in comments.
  void next() {
    scanner.getToken(token);
    if (token == scanEnd) return;
    const char first = sql[begin()];
    if (first == '\'' && hasBackslashes()) {
      extendTo(endOfEscapedString(begin()));
    } else if (first == '$') {
      const std::size_t tagEnd = endOfDollarTag(begin());
      if (tagEnd > 0) extendTo(endOfDollarQuote(begin(), tagEnd));
    } else if (token == scanComment && first == '/') {
      extendTo(endOfComment(begin()));
    }
  }

  // The token becomes what lies between its beginning and `newEnd`, as a quoted one.
  void extendTo(std::size_t newEnd) {
    token.setTokenSize(newEnd - begin());
    token.setScanCode(scanQuoted);
    ZuToken rest(zuCPUTF8);
    scanner.getToken(rest, newEnd, 0);
    scanner.unGetToken(rest);
  }

  bool hasBackslashes() const {
    if (!options.standardStrings) return true;
    const std::size_t at = begin();
    const bool prefixed = at > 0 && (sql[at - 1] == 'e' || sql[at - 1] == 'E');
    return prefixed && (at < 2 || !isNameByte(sql[at - 2]));
  }

  std::size_t endOfEscapedString(std::size_t at) const {
    for (++at; at < sql.size(); ++at) {
      if (sql[at] == '\\') {
        ++at;
      } else if (sql[at] == '\'') {
        if (at + 1 >= sql.size() || sql[at + 1] != '\'') return at + 1;
        ++at;
      }
    }
    return sql.size();
  }

  // The offset after "$tag$" at `at`; 0 if there is none, as in "$1".
  std::size_t endOfDollarTag(std::size_t at) const {
    std::size_t i = at + 1;
    if (i < sql.size() && sql[i] >= '0' && sql[i] <= '9') return 0;
    while (i < sql.size() && isNameByte(sql[i])) ++i;
    return i < sql.size() && sql[i] == '$' ? i + 1 : 0;
  }

  std::size_t endOfDollarQuote(std::size_t at, std::size_t tagEnd) const {
    const std::string_view tag = sql.substr(at, tagEnd - at);
    const std::size_t close = sql.find(tag, tagEnd);
    return close == std::string_view::npos ? sql.size() : close + tag.size();
  }

  std::size_t endOfComment(std::size_t at) const {
    unsigned depth = 0;
    while (at + 1 < sql.size()) {
      const std::string_view two = sql.substr(at, 2);
      if (two == "/*") {
        ++depth;
        at += 2;
      } else if (two == "*/") {
        at += 2;
        if (--depth == 0) return at;
      } else {
        ++at;
      }
    }
    return sql.size();
  }

  int copyUpTo(std::size_t offset) {
    const std::size_t from = std::min(copied, offset);
    copied = std::max(copied, offset);
    return out.sql.append(sql.substr(from, offset - from));
  }
  // Writes what comes before the token, and `words` in its place.
  int replaceToken(std::string_view words) {
    if (copyUpTo(begin()) || out.sql.append(words)) return 1;
    copied = end();
    return 0;
  }

  int step() {
    if (token != scanComment && sawSemicolon && !is(';')) out.isSingle = false;
    if (is('?')) return marker();
    if (is('{') && options.escapes) return escape();
    if (is(';')) sawSemicolon = true;
    return 0;
  }

  int marker() {
    if (end() < sql.size() && sql[end()] == '?') {
      if (replaceToken("?")) return 1;
      next();
      copied = end();
      return 0;
    }
    if (out.sent.append(out.parameters++)) return 1;
    char number[16] = "$";
    const unsigned long digits = convert(reinterpret_cast<unsigned char*>(number + 1), sizeof number - 1,
                                         static_cast<unsigned>(out.sent.size()));
    return replaceToken({number, digits + 1});
  }

  int escape() {
    struct Word {
      std::string_view escape;
      std::string_view server;
    };
    static constexpr Word kWords[] = {{"d", "DATE"},       {"t", "TIME"}, {"ts", "TIMESTAMP"},
                                      {"guid", "UUID"},    {"oj", ""},    {"interval", "INTERVAL"},
                                      {"escape", "ESCAPE"}};
    if (++depth > kDeepest || replaceToken("")) return fail(Issue::BadEscape);
    next();
    if (is('?') || isWord("call")) return call();
    if (isWord("fn")) {
      next();
      copied = begin();
      if (function()) return 1;
    } else {
      const auto* word =
          std::find_if(std::begin(kWords), std::end(kWords), [&](const Word& w) { return isWord(w.escape); });
      if (word == std::end(kWords) || replaceToken(word->server)) return fail(Issue::BadEscape);
      next();
    }
    return upToBrace();
  }

  bool isWord(std::string_view lower) const {
    const std::string_view word = text();
    return std::equal(lower.begin(), lower.end(), word.begin(), word.end(),
                      [](char a, char b) { return a == (b >= 'A' && b <= 'Z' ? b - 'A' + 'a' : b); });
  }

  // From the current token to the "}" of the escape, which is dropped.
  int upToBrace() {
    for (; token != scanEnd; next()) {
      if (is('}')) {
        --depth;
        return replaceToken("");
      }
      if (step()) return 1;
    }
    return fail(Issue::BadEscape);
  }

  // "name(arguments)": the current token is the name. Ends at the token after it.
  int function() {
    const FunctionForm* form = findFunction(text());
    if (!form) return 0;
    const std::size_t name = begin();
    next();
    if (!is('(')) return 0;
    if (copyUpTo(name) || out.sql.append(form->before)) return 1;
    copied = end();
    unsigned parens = 1;
    for (next(); token != scanEnd; next()) {
      if (is('(')) ++parens;
      if (is(')') && --parens == 0) {
        if (replaceToken(form->after)) return 1;
        next();
        return 0;
      }
      if (step()) return 1;
    }
    return fail(Issue::BadEscape);
  }

  // "call name(arguments)" or "?=call name(arguments)".
  int call() {
    if (is('?')) {
      if (out.outputs.append(out.parameters++) || replaceToken("")) return 1;
      next();
      if (!is('=') || replaceToken("")) return fail(Issue::BadEscape);
      next();
    }
    if (!isWord("call") || replaceToken(options.isProcedure ? "CALL" : "SELECT * FROM"))
      return fail(Issue::BadEscape);
    next();
    return procedure();
  }

  SQLSMALLINT direction() const {
    return options.direction ? options.direction(options.context, out.parameters) : SQL_PARAM_INPUT;
  }

  // "name(arguments)" or "name": without arguments the server wants the parens all the same.
  int procedure() {
    const std::size_t name = begin();
    bool hasArguments = false;
    unsigned parens = 0;
    for (; token != scanEnd; next()) {
      const bool ends = is('}');
      if (out.procedure.empty() && (ends || is('(')) &&
          out.procedure.append(sql.substr(name, begin() - name)))
        return 1;
      if (ends) {
        --depth;
        return replaceToken(hasArguments ? "" : "()");
      }
      hasArguments = hasArguments || is('(');
      if (parens == 1 && is('?') && direction() != SQL_PARAM_INPUT ? output() : step()) return 1;
      parens += is('(') ? 1 : 0;
      parens -= is(')') ? 1 : 0;
    }
    return fail(Issue::BadEscape);
  }

  int output() {
    if (out.outputs.append(out.parameters)) return 1;
    if (direction() != SQL_PARAM_OUTPUT) return marker();
    ++out.parameters;
    if (options.isProcedure) return replaceToken("NULL");
    if (replaceToken("")) return 1;
    next();
    if (is(',')) return replaceToken("");
    Text& text = out.sql;
    if (!is(')')) return fail(Issue::BadEscape);
    if (copyUpTo(begin())) return 1;
    while (text.view().ends_with(' ')) text.shorten(text.size() - 1);
    if (text.view().ends_with(',')) text.shorten(text.size() - 1);
    return 0;
  }

  std::string_view sql;
  const TranslateOptions& options;
  Translation& out;
  ZuScanner scanner;
  ZuToken token{zuCPUTF8};
  std::size_t copied = 0;  // of `sql`, to `out`
  unsigned depth = 0;      // of braces
  bool sawSemicolon = false;
};

}  // namespace

void Translation::clear() {
  sql.clear();
  procedure.clear();
  sent.clear();
  outputs.clear();
  parameters = 0;
  isSingle = true;
}

int translate(std::string_view sql, const TranslateOptions& options, Translation& out) {
  out.clear();
  return Translator(sql, options, out).run();
}

int appendLiteral(Text& out, std::string_view value) {
  const bool backslash = value.find('\\') != std::string_view::npos;
  if (out.append(backslash ? " E'" : "'")) return 1;
  for (const char c : value) {
    if ((c == '\'' || c == '\\') && out.append(c)) return 1;
    if (out.append(c)) return 1;
  }
  return out.append('\'');
}

}  // namespace pgwire
