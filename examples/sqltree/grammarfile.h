// A grammar in a text file. A production begins at the left margin and goes on in the lines that are
// indented; lines that begin with "#" are comments. Words in capitals are keywords, unless "~" or "\" is
// before them.
//
// Productions are numbered from 1000 in the order of the file, keywords from 100.

#ifndef EXAMPLES_SQLTREE_GRAMMARFILE_H
#define EXAMPLES_SQLTREE_GRAMMARFILE_H

#include <istream>
#include <string>
#include <vector>

class GrammarFile {
 public:
  static constexpr int kFirstProduction = 1000;
  static constexpr int kFirstKeyword = 100;

  explicit GrammarFile(std::istream& in);

  const std::vector<std::string>& getProductions() const { return productions; }
  const std::vector<std::string>& getKeywords() const { return keywords; }

  // The name of a production, or "" if there is none of this number.
  std::string nameOf(int production) const;

  // The blocks that a parser is made of: terminated texts with their numbers.
  std::string grammarBlock() const { return block(productions, kFirstProduction); }
  std::string keywordBlock() const { return block(keywords, kFirstKeyword); }

 private:
  static std::string block(const std::vector<std::string>& texts, int firstNumber);
  void addKeywords(const std::string& production);

  std::vector<std::string> productions;
  std::vector<std::string> keywords;
};

#endif
