#include "grammarfile.h"

#include <algorithm>
#include <cctype>

GrammarFile::GrammarFile(std::istream& in) {
  for (std::string line; std::getline(in, line);) {
    if (line.empty() || line[0] == '#') continue;
    if (std::isspace(static_cast<unsigned char>(line[0])) && !productions.empty()) {
      productions.back() += line;
    } else {
      productions.push_back(line);
    }
  }
  for (const std::string& production : productions) addKeywords(production);
}

void GrammarFile::addKeywords(const std::string& production) {
  for (size_t at = 0; at < production.size();) {
    size_t end = at;
    while (end < production.size() && std::isupper(static_cast<unsigned char>(production[end]))) ++end;
    const bool isMarked = at > 0 && (production[at - 1] == '~' || production[at - 1] == '\\');
    const std::string word = production.substr(at, end - at);
    if (!word.empty() && !isMarked && std::find(keywords.begin(), keywords.end(), word) == keywords.end()) {
      keywords.push_back(word);
    }
    at = std::max(end, at + 1);
  }
}

std::string GrammarFile::nameOf(int production) const {
  const size_t index = static_cast<size_t>(production - kFirstProduction);
  if (production < kFirstProduction || index >= productions.size()) return "";
  return productions[index].substr(0, productions[index].find_first_of(" \t:"));
}

std::string GrammarFile::block(const std::vector<std::string>& texts, int firstNumber) {
  std::string packed;
  short number = static_cast<short>(firstNumber);
  for (const std::string& text : texts) {
    packed.append(text.c_str(), text.size() + 1);
    packed.append(reinterpret_cast<const char*>(&number), sizeof number);
    ++number;
  }
  return packed + '\0';
}
