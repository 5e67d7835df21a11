// The catalogs and the lists of numbers against each other: no language lacks a text, and every text is
// compiled as it is written.

#include <gtest/gtest.h>
#include <regex.h>

#include <map>
#include <set>
#include <vector>

#include "tests/os/support.h"
#include "zulib/os/catalogs/boscatalog.h"

namespace {

using namespace ostest;

const std::string kSources = ZULIB_SOURCE_DIR;
using Texts = std::map<unsigned, std::string>;

// All places of a text that match the extended regular expression, each with its groups; "" for a group that
// took no part. With REG_NEWLINE among the flags "^" and "$" are those of lines.
std::vector<std::vector<std::string>> matches(const std::string& text, const char* pattern, int flags = 0) {
  constexpr size_t kGroups = 6;
  regex_t compiled;
  EXPECT_EQ(regcomp(&compiled, pattern, REG_EXTENDED | flags), 0) << pattern;
  std::vector<std::vector<std::string>> found;
  regmatch_t at[kGroups];
  const char* from = text.c_str();
  while (regexec(&compiled, from, kGroups, at, from == text.c_str() ? 0 : REG_NOTBOL) == 0) {
    auto& match = found.emplace_back();
    for (const regmatch_t& group : at) {
      match.emplace_back(group.rm_so < 0 ? "" : std::string(from + group.rm_so, from + group.rm_eo));
    }
    from += at[0].rm_eo;
  }
  regfree(&compiled);
  return found;
}

// The messages of a catalog's source, with the quotes off.
Texts readTexts(const std::string& locale, const std::string& name) {
  Texts texts;
  const std::string source = readFile(kSources + "/catalog/" + locale + "/" + name + ".msg");
  for (const auto& m : matches(source, "^([0-9]+) (.*)$", REG_NEWLINE)) {
    const bool quoted = m[2].size() > 1 && m[2].front() == '"';
    const bool isNew =
        texts.emplace(std::stoul(m[1]), quoted ? m[2].substr(1, m[2].size() - 2) : m[2]).second;
    EXPECT_TRUE(isNew) << locale << "/" << name << " has " << m[1] << " twice";
  }
  return texts;
}

// The names of an enumeration in a header, with their numbers.
std::map<std::string, unsigned> readNames(const std::string& header) {
  std::map<std::string, unsigned> names;
  for (const auto& m : matches(readFile(kSources + "/src/" + header), "^  (\\w+) = ([0-9]+),", REG_NEWLINE)) {
    names.emplace(m[1], std::stoul(m[2]));
  }
  return names;
}

std::set<unsigned> numbersOf(const Texts& texts) {
  std::set<unsigned> numbers;
  for (const auto& [number, text] : texts) numbers.insert(number);
  return numbers;
}

// The places of the parameters, in the order of their numbers.
std::multiset<std::string> placesOf(const std::string& text) {
  std::multiset<std::string> places;
  for (const auto& m : matches(text, "%[sd]x?[0-9]+")) places.insert(m[0]);
  return places;
}

TEST(CatalogNumbers, EveryLanguageHasEveryText) {
  const Texts english = readTexts("en_US", "zulib");
  std::set<unsigned> named;
  for (const auto& [name, number] : readNames("zulib/runtime/zumessages.h")) named.insert(number);
  EXPECT_GT(named.size(), 50u);
  EXPECT_EQ(numbersOf(english), named);
  EXPECT_EQ(numbersOf(readTexts("de_DE", "zulib")), named);
  for (const auto& [number, text] : readTexts("de_DE", "zulib")) {
    SCOPED_TRACE(number);
    EXPECT_EQ(placesOf(text), placesOf(english.at(number)));
    EXPECT_EQ(text.front() == ' ', english.at(number).front() == ' ');
    EXPECT_EQ(text.back() == ' ', english.at(number).back() == ' ');
  }
}

TEST(CatalogNumbers, EveryMessageOfTheCursorLibraryHasATextAndAState) {
  const Texts english = readTexts("en_US", "odbc");
  std::set<unsigned> wanted;
  for (const auto& [name, number] : readNames("zulib/cursor/internal/messages.h")) {
    wanted.insert({number, number + 1});
  }
  EXPECT_GT(wanted.size(), 60u);
  EXPECT_EQ(numbersOf(english), wanted);
  EXPECT_EQ(numbersOf(readTexts("de_DE", "odbc")), wanted);
  for (const auto& [name, number] : readNames("zulib/cursor/internal/messages.h")) {
    EXPECT_EQ(matches(english.at(number + 1), "^[0-9A-Z]{5}$").size(), 1u) << name;
    EXPECT_EQ(readTexts("de_DE", "odbc").at(number + 1), english.at(number + 1)) << name;
  }
}

TEST(CatalogNumbers, TextsAreCompiledAsTheyAreWritten) {
  for (const char* locale : {"en_US", "de_DE"}) {
    setenv("LC_MESSAGES", locale, 1);
    for (const char* file : {"zulib.mo", "odbc.m"}) {
      SCOPED_TRACE(std::string(locale) + "/" + file);
      const nl_catd catalog = OpenStrings(nullptr, file);
      ASSERT_NE(catalog, bosNoCatalog);
      for (const auto& [number, expected] : readTexts(locale, fs::path(file).stem())) {
        unsigned char out[1024];
        LoadStringFromOpenFile(catalog, number, out, sizeof out);
        EXPECT_EQ(text(out), expected) << number;
      }
      CloseStrings(catalog);
    }
    unsetenv("LC_MESSAGES");
  }
}

}  // namespace
