// SQL text as the shell needs to understand it: where statements end, and whether a select reads from one
// table.
//
// Quoted texts ('...', "...", `...`, and $tag$...$tag$) and comments (-- to the end of the line, and /* */)
// are skipped as one piece.

#ifndef TOOLS_ZUSQL_SQLTEXT_H
#define TOOLS_ZUSQL_SQLTEXT_H

#include <string>
#include <string_view>
#include <vector>

namespace zusql {

// Cuts a text that arrives in lines into statements. Each ends with a `;`.
//
// Usage:
//   StatementSplitter splitter;
//   while (readLine(line))
//     for (const std::string& sql : splitter.add(line)) run(sql);
//   run(splitter.rest());
class StatementSplitter {
 public:
  // Takes a line, without its line feed, and returns the statements that it ends, without the `;`.
  std::vector<std::string> add(std::string_view line);

  // What has come since the last `;`, which is then dropped.
  std::string rest();

  // True if nothing but blanks and comments has come since the last `;`.
  bool isEmpty() const;

  // Whether the text ends inside of a quote or a comment: the character that ends it, or 0.
  char openQuote() const;

  const std::string& pending() const { return text; }

 private:
  std::string text;
  std::size_t scanned = 0;  // start of the last token, which the next line may continue
};

enum class TokenKind { Word, Quoted, Comment, Symbol, End };

struct SqlToken {
  TokenKind kind = TokenKind::End;
  std::string_view text;
  bool isOpen = false;  // a quote or comment without its end
};

// The token at or after `position`, which moves past it. Blanks are skipped.
SqlToken nextToken(std::string_view sql, std::size_t& position);

// True if a word token is `keyword`, which is in capital letters.
bool isKeyword(const SqlToken& token, std::string_view keyword);

struct SelectShape {
  std::string table;   // as written after FROM, with its qualifiers and quotes
  std::string reason;  // why rows of the result are no rows of one table; empty if they are
};
SelectShape shapeOf(std::string_view sql);

// True if the statement may have changed what tables and columns there are.
bool changesCatalog(std::string_view sql);

// The statement on one line, without comments; empty if a quoted text in it has line feeds.
std::string onOneLine(std::string_view sql);

// True if the text may hold a password in the clear, so that it must not be kept.
bool mayHoldPassword(std::string_view text);

}  // namespace zusql

#endif
