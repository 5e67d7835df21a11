#include "zuodbc/sources/connectionstring.h"

#include "gtest/gtest.h"

namespace dm {
namespace {

struct GoodString {
  const char* text;
  std::vector<std::pair<std::string, std::string>> expected;
};

TEST(ConnectionStrings, AttributesInTheirOrder) {
  const GoodString table[] = {
      {"", {}},
      {" ; ;; ", {}},
      {"DSN=a", {{"DSN", "a"}}},
      {"DSN=a;UID=b;", {{"DSN", "a"}, {"UID", "b"}}},
      {" DSN = a b ;\tUID=\n", {{"DSN", "a b"}, {"UID", ""}}},
      {"PWD={a;b}}c=d };X=1", {{"PWD", "a;b}c=d "}, {"X", "1"}}},
      {"PWD={};X=1", {{"PWD", ""}, {"X", "1"}}},
      {"PWD={}}};X=1", {{"PWD", "}"}, {"X", "1"}}},
      {"A=x=y;B={z}  ", {{"A", "x=y"}, {"B", "z"}}},
      {"A=b{c;D=e", {{"A", "b{c"}, {"D", "e"}}},
  };
  for (const GoodString& row : table) {
    ConnectionString parsed;
    std::string why;
    ASSERT_TRUE(parsed.parse(row.text, why)) << row.text << ": " << why;
    std::vector<std::pair<std::string, std::string>> found;
    for (const auto& attribute : parsed.all()) found.emplace_back(attribute.keyword, attribute.value);
    EXPECT_EQ(row.expected, found) << row.text;
  }
}

TEST(ConnectionStrings, MalformedOnesSayWhatAndWhere) {
  using namespace std::string_view_literals;
  const std::pair<std::string_view, const char*> table[] = {
      {"DSN"sv, "no '=' after the keyword at byte 1"},
      {"DSN=a;UID;PWD=geheim"sv, "no '=' after the keyword at byte 7"},
      {"=a"sv, "no keyword before the '=' at byte 1"},
      {"PWD={geheim"sv, "opened at byte 5"},
      {"PWD={geheim}};A=b"sv, "opened at byte 5"},
      {"PWD={geheim}x;A=b"sv, "follows the closing brace at byte 13"},
      {"DSN=a\0;UID=b"sv, "zero byte at byte 6"},
  };
  for (const auto& [text, expected] : table) {
    ConnectionString parsed;
    std::string why;
    EXPECT_FALSE(parsed.parse(text, why)) << text;
    EXPECT_NE(std::string::npos, why.find(expected)) << why;
    EXPECT_EQ(std::string::npos, why.find("geheim")) << "a secret must not show up in a diagnostic";
  }
}

TEST(ConnectionStrings, FirstOfSeveralCountsWhateverItsCase) {
  ConnectionString parsed;
  std::string why;
  ASSERT_TRUE(parsed.parse("uid=first;UID=second", why));
  ASSERT_NE(nullptr, parsed.find("Uid"));
  EXPECT_EQ("first", *parsed.find("Uid"));
  EXPECT_EQ(nullptr, parsed.find("UI"));
}

TEST(ConnectionStrings, QuotedValuesComeBack) {
  for (const char* value : {"plain", "", " lead", "a;b", "}", "{", "a}}b;{", "=", "trail "}) {
    ConnectionString parsed;
    std::string why;
    ASSERT_TRUE(parsed.parse("A=" + quoteValue(value) + ";B=1", why)) << value << ": " << why;
    EXPECT_EQ(value, *parsed.find("A"));
    EXPECT_EQ("1", *parsed.find("B"));
  }
}

}  // namespace
}  // namespace dm
