#include "tools/zusql/sqltext.h"

#include <algorithm>
#include <cctype>

namespace zusql {

namespace {

bool isBlank(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }
bool isWordCharacter(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' || c == '$' || c == '#' ||
         static_cast<unsigned char>(c) >= 0x80;
}

char upper(char c) { return static_cast<char>(std::toupper(static_cast<unsigned char>(c))); }

// The end of a text that begins at `from` and ends with `mark`. A doubled quote is one more pair of quotes.
std::size_t endOf(std::string_view sql, std::size_t from, std::string_view mark, bool& isOpen) {
  const std::size_t end = sql.find(mark, from);
  isOpen = end == std::string_view::npos;
  return isOpen ? sql.size() : end + mark.size();
}

// "$tag$" at `from`, or empty: "$1" is a parameter.
std::string_view dollarTag(std::string_view sql, std::size_t from) {
  std::size_t end = from + 1;
  while (end < sql.size() && (std::isalpha(static_cast<unsigned char>(sql[end])) || sql[end] == '_')) ++end;
  return end < sql.size() && sql[end] == '$' ? sql.substr(from, end + 1 - from) : std::string_view();
}

SqlToken tokenAt(std::string_view sql, std::size_t from, std::size_t& end) {
  SqlToken token;
  const char c = sql[from];
  const std::string_view two = sql.substr(from, 2);
  const std::string_view tag = c == '$' ? dollarTag(sql, from) : std::string_view();
  if (c == '\'' || c == '"' || c == '`') {
    token.kind = TokenKind::Quoted;
    end = endOf(sql, from + 1, sql.substr(from, 1), token.isOpen);
  } else if (!tag.empty()) {
    token.kind = TokenKind::Quoted;
    end = endOf(sql, from + tag.size(), tag, token.isOpen);
  } else if (two == "/*") {
    token.kind = TokenKind::Comment;
    end = endOf(sql, from + 2, "*/", token.isOpen);
  } else if (two == "--") {
    token.kind = TokenKind::Comment;
    bool isLast = false;
    end = endOf(sql, from, "\n", isLast);
  } else if (isWordCharacter(c)) {
    token.kind = TokenKind::Word;
    end = from;
    while (end < sql.size() && isWordCharacter(sql[end])) ++end;
  } else {
    token.kind = TokenKind::Symbol;
    end = from + 1;
  }
  token.text = sql.substr(from, end - from);
  return token;
}

// As nextToken, without comments.
SqlToken nextWord(std::string_view sql, std::size_t& position) {
  for (;;) {
    const SqlToken token = nextToken(sql, position);
    if (token.kind != TokenKind::Comment) return token;
  }
}

bool isSymbol(const SqlToken& token, char c) { return token.kind == TokenKind::Symbol && token.text[0] == c; }

bool isName(const SqlToken& token) {
  return token.kind == TokenKind::Word || token.kind == TokenKind::Quoted;
}

// A table's name with its qualifiers. `position` stays before what follows it.
std::string tableName(std::string_view sql, std::size_t& position) {
  std::size_t at = position;
  SqlToken token = nextWord(sql, at);
  if (!isName(token)) return {};
  std::string name(token.text);
  position = at;
  while (isSymbol(nextWord(sql, at), '.')) {
    token = nextWord(sql, at);
    if (!isName(token)) break;
    name += "." + std::string(token.text);
    position = at;
  }
  return name;
}

}  // namespace

SqlToken nextToken(std::string_view sql, std::size_t& position) {
  while (position < sql.size() && isBlank(sql[position])) ++position;
  if (position >= sql.size()) return {};
  std::size_t end = position;
  const SqlToken token = tokenAt(sql, position, end);
  position = end;
  return token;
}

bool isKeyword(const SqlToken& token, std::string_view keyword) {
  return token.kind == TokenKind::Word && std::ranges::equal(token.text, keyword, {}, upper);
}

std::vector<std::string> StatementSplitter::add(std::string_view line) {
  std::vector<std::string> statements;
  text.append(line).append("\n");
  std::size_t begin = 0;
  std::size_t position = scanned;
  for (SqlToken token = nextToken(text, position); token.kind != TokenKind::End;
       token = nextToken(text, position)) {
    scanned = position - token.text.size();
    if (!isSymbol(token, ';')) continue;
    std::string statement = text.substr(begin, position - 1 - begin);
    begin = scanned = position;
    std::size_t start = 0;
    if (nextWord(statement, start).kind != TokenKind::End) statements.push_back(std::move(statement));
  }
  text.erase(0, begin);
  scanned -= begin;
  if (isEmpty() && openQuote() == 0) (void)rest();
  return statements;
}

std::string StatementSplitter::rest() {
  std::string last;
  if (!isEmpty()) last = std::move(text);
  text.clear();
  scanned = 0;
  return last;
}

bool StatementSplitter::isEmpty() const {
  std::size_t position = 0;
  return nextWord(text, position).kind == TokenKind::End;
}

char StatementSplitter::openQuote() const {
  std::size_t position = 0;
  for (SqlToken token = nextToken(text, position); token.kind != TokenKind::End;
       token = nextToken(text, position)) {
    if (token.isOpen) return token.kind == TokenKind::Comment ? '*' : token.text[0];
  }
  return 0;
}

SelectShape shapeOf(std::string_view sql) {
  SelectShape shape;
  std::size_t position = 0;
  if (!isKeyword(nextWord(sql, position), "SELECT")) {
    shape.reason = "the statement is not a plain SELECT";
    return shape;
  }
  struct Stop {
    std::string_view keyword;
    const char* reason;
  };
  constexpr Stop kStops[] = {{"DISTINCT", "it is a SELECT DISTINCT"},
                             {"GROUP", "its rows are grouped"},
                             {"HAVING", "its rows are grouped"},
                             {"UNION", "it is a union"},
                             {"INTERSECT", "it is an intersection"},
                             {"EXCEPT", "it is a difference"},
                             {"JOIN", "it joins tables"}};
  int depth = 0;
  bool isInFrom = false;
  for (SqlToken token = nextWord(sql, position); token.kind != TokenKind::End;
       token = nextWord(sql, position)) {
    if (isSymbol(token, '(')) ++depth;
    if (isSymbol(token, ')')) --depth;
    if (depth > 0) continue;
    for (const Stop& stop : kStops) {
      if (isKeyword(token, stop.keyword)) shape.reason = stop.reason;
    }
    if (isKeyword(token, "WHERE") || isKeyword(token, "ORDER")) isInFrom = false;
    if (isInFrom && isSymbol(token, ',')) shape.reason = "it joins tables";
    if (isKeyword(token, "FROM") && shape.table.empty()) {
      isInFrom = true;
      shape.table = tableName(sql, position);
    }
  }
  if (shape.reason.empty() && shape.table.empty()) shape.reason = "it does not read from a table";
  return shape;
}

bool changesCatalog(std::string_view sql) {
  std::size_t position = 0;
  const SqlToken verb = nextWord(sql, position);
  return isKeyword(verb, "CREATE") || isKeyword(verb, "DROP") || isKeyword(verb, "ALTER");
}

std::string onOneLine(std::string_view sql) {
  std::string line;
  std::size_t position = 0;
  std::size_t end = 0;
  for (SqlToken token = nextWord(sql, position); token.kind != TokenKind::End;
       token = nextWord(sql, position)) {
    if (token.text.find('\n') != std::string_view::npos) return {};
    const std::size_t begin = position - token.text.size();
    if (!line.empty() && begin > end) line += ' ';
    line += token.text;
    end = position;
  }
  return line;
}

bool mayHoldPassword(std::string_view text) {
  std::string folded(text);
  std::ranges::transform(folded, folded.begin(), upper);
  return folded.find("PASSW") != std::string::npos || folded.find("PWD") != std::string::npos ||
         folded.find("IDENTIFIED") != std::string::npos;
}

}  // namespace zusql
