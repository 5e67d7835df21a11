// Attribute strings: single texts in both widths, random strings against the attributes they were made from,
// and failures of memory.

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>
#include <vector>

#include "tests/support/fault_allocator.h"
#include "zulib/errors/zuerror.h"
#include "zulib/language/zuvalueparser.h"
#include "zulib/runtime/zumessages.h"

namespace {

std::basic_string<unsigned char> narrow(const std::string& s) { return {s.begin(), s.end()}; }
std::basic_string<unsigned short> wide(const std::string& s) { return {s.begin(), s.end()}; }

template <class View>
std::string plain(const View* view) {
  return view ? std::string(view->asPascalStr(), view->asPascalStr() + view->getLength()) : "(null)";
}

class Attributes : public testing::Test {
 protected:
  Attributes() { ZuErrorKeeper::setErrorList(&errors); }
  ~Attributes() override { ZuErrorKeeper::giveUpErrorList(); }

  // "key=value|key=value", or the number and the first parameter of the error.
  template <class Parser, class Text>
  std::string parse(const Text& text, unsigned duplicates, bool isBraced) {
    const typename Parser::View view(text.data(), text.size());
    Parser parser(&view, ';', nullptr, duplicates);
    if (isBraced) parser.setBracedValues();
    if (parser.initialize()) {
      const std::string message = reinterpret_cast<const char*>(errors.getLastError()->getErrorText());
      const auto digits = message.find_first_of("0123456789");
      const auto number = std::to_string(errors.getLastError()->getErrorNumber());
      errors.clearErrors();
      return number + "@" + message.substr(digits, message.find_first_not_of("0123456789", digits) - digits);
    }
    std::string found;
    for (unsigned long i = 0; i < parser.getAttributeCount(); ++i) {
      const auto* const key = parser.getAttributeKey(i);
      found += (i ? "|" : "") + plain(key) + "=" + plain(parser.getAttributeValue(key));
    }
    EXPECT_EQ(parser.getUnusedCount(), 0u);
    return found;
  }

  ZuErrorList errors;
};

TEST_F(Attributes, OfEveryForm) {
  const struct {
    const char* text;
    const char* found;
    unsigned duplicates = 0;
    bool isBraced = false;
  } cases[] = {
      {"", ""},
      {";;;", ""},
      {"DSN=a", "DSN=a"},
      {" DSN = a b ;UID=u;", "DSN=a b|UID=u"},
      {"Data  Source = x y ;", "Data  Source=x y"},
      {"A=;B=", "A=|B="},
      {"A='x;y';B=\"p;q\"", "A='x;y'|B=\"p;q\""},
      {"A='it''s;';B=1", "A='it''s;'|B=1"},
      {"PWD=*a;B==x", "PWD=*a|B==x"},
      {"A=>b;C=<d", "A=>b|C=<d"},
      {"ODBC;DSN=x", "DSN=x"},
      {"DSN=a;DRIVER=b", "DSN=a"},
      {"DRIVER=b;DSN=a;UID=u", "DRIVER=b|UID=u"},
      {"UID=u;dsn=a;driver=b", "UID=u|dsn=a"},
      {"Driver=1;DRIVER=2", "Driver=1"},
      {"A=1;A=2", "A=1", 1},
      {"A=1;B=3;a=2", "2704@9"},
      {"ODBC=x", "2704@4"},
      {"=x", "2704@0"},
      {"1A=x", "2704@0"},
      {"A", "2704@1"},
      {"A;B=1", "2704@1"},
      {"A=1;B C D", "2704@9"},
      {"A={x;B=y}", "A={x|B=y}"},
      {"A= {x;'y}}} ;B={};C={a} b ;D={;}", "A={x;'y}}}|B={}|C={a} b|D={;}", 0, true},
      {"A=x{y;B='{';C={x}}", "2704@14", 0, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(parse<ZuValueParser>(narrow(c.text), c.duplicates, c.isBraced), c.found);
    EXPECT_EQ(parse<ZuValueParserW>(wide(c.text), c.duplicates, c.isBraced), c.found);
  }
}

TEST_F(Attributes, ErrorsNameTheContextAndTheWords) {
  const auto text = narrow("PWD=x;Password=y;UID=1;UID=2");
  const ZuSubString view(text.data(), text.size());
  const auto context = narrow("the DSN");
  ZuValueParser parser(&view, ';', context.c_str(), 0);
  EXPECT_EQ(parser.initialize(), 1);
  EXPECT_EQ(errors.getLastError()->getErrorNumber(), ZU_MSG_ATTRIBUTES_UNREADABLE_IN);
  std::string message = reinterpret_cast<const char*>(errors.getLastError()->getErrorText());
  EXPECT_NE(message.find("the DSN"), std::string::npos) << message;
  EXPECT_NE(message.find("second time, before ="), std::string::npos) << message;
  errors.clearErrors();

  const ZuSubString* value = &view;
  EXPECT_EQ(parser.getAttributeValue(narrow("pwd").c_str(), narrow("password").c_str(), value), 1);
  EXPECT_EQ(value, &view);
  message = reinterpret_cast<const char*>(errors.getLastError()->getErrorText());
  EXPECT_NE(message.find("pwd and password"), std::string::npos) << message;
  EXPECT_EQ(parser.getAttributeValue(narrow("x").c_str(), narrow("uid").c_str(), value), 0);
  EXPECT_EQ(plain(value), "1");
  EXPECT_EQ(parser.getAttributeValue(narrow("x").c_str(), narrow("y").c_str(), value), 0);
  EXPECT_EQ(value, nullptr);

  // A list that keeps its first error gets no text of ours appended to it.
  const std::string before = reinterpret_cast<const char*>(errors.getLastError()->getErrorText());
  EXPECT_EQ(parser.getAttributeValue(narrow("pwd").c_str(), narrow("password").c_str(), value), 1);
  EXPECT_EQ(reinterpret_cast<const char*>(errors.getLastError()->getErrorText()), before);
}

TEST_F(Attributes, RandomStringsComeBack) {
  std::mt19937 random(5);
  const std::vector<std::string> words = {"DSN", "UID", "Pwd", "Data Source", "Host_1", "a", "B"};
  const std::vector<std::string> values = {"",  "x",   "a b", "it's",  "p;q",     "*y",
                                           "=", "{z}", "1.5", "(a;b)", "\xC3\xA4"};
  for (int round = 0; round < 2000; ++round) {
    const ZuSubString none(nullptr, 0, zuCPUTF8);
    ZuValueParser made(&none, ';', nullptr, 0);
    ASSERT_EQ(made.initialize(), 0);
    std::vector<std::pair<std::string, std::string>> model;
    for (auto n = random() % 8; n; --n) {
      const std::string& word = words[random() % words.size()];
      const std::string& value = values[random() % values.size()];
      const std::string alternate = random() % 4 ? "" : words[random() % words.size()];
      const auto find = [&](const std::string& key) {
        return std::find_if(model.begin(), model.end(), [&](const auto& m) { return m.first == key; });
      };
      auto at = find(word);
      if (at == model.end() && !alternate.empty()) at = find(alternate);
      std::string stored = value;
      if (stored.find_first_of("'\";") != std::string::npos) {
        for (std::size_t i = 0; (i = stored.find('\'', i)) != std::string::npos; i += 2)
          stored.insert(i, "'");
        stored = "'" + stored + "'";
      }
      if (at == model.end()) {
        model.emplace_back(word, stored);
      } else {
        at->second = stored;
      }
      ASSERT_EQ(made.addAttribute(narrow(word).c_str(), narrow(value).c_str(),
                                  alternate.empty() ? nullptr : narrow(alternate).c_str()),
                0);
      if (random() % 8 == 0) {
        const std::string& gone = words[random() % words.size()];
        made.removeAttribute(narrow(gone).c_str());
        if (const auto was = find(gone); was != model.end()) model.erase(was);
      }
    }
    std::string expected;
    for (const auto& [key, value] : model) expected += (expected.empty() ? "" : ";") + key + "=" + value;
    ZuString text;
    ASSERT_EQ(made.buildString(&text), 0);
    ASSERT_EQ(plain(&text), expected);

    ZuValueParser read(&text, ';', nullptr, 0);
    if (random() % 2) read.setBracedValues();
    ASSERT_EQ(read.initialize(), 0) << expected;
    ASSERT_EQ(read.getAttributeCount(), model.size()) << expected;
    // Ask for some of them; the others are reported in their order.
    std::vector<std::string> unused;
    for (const auto& [key, value] : model) {
      EXPECT_TRUE(read.isAttributeValue(narrow(key).c_str()));
      if (random() % 2) {
        EXPECT_EQ(plain(read.getAttributeValue(narrow(key).c_str())), value);
      } else {
        unused.push_back(key);
      }
    }
    EXPECT_EQ(read.getUnusedCount(), unused.size());
    for (const std::string& key : unused) EXPECT_EQ(plain(read.getUnusedAttribute()), key);
    EXPECT_EQ(read.getUnusedAttribute(), nullptr);
    // One more attribute, which has its mark after resizeUnused.
    ASSERT_EQ(read.addAttribute(narrow("New").c_str(), narrow("1").c_str(), nullptr), 0);
    ASSERT_EQ(read.resizeUnused(model.size() + 1), 0);
    EXPECT_EQ(read.getUnusedCount(), unused.size() + 1);
    EXPECT_EQ(plain(read.getAttributeValue(narrow("new").c_str())), "1");
    EXPECT_EQ(read.getUnusedCount(), unused.size());
    read.removeAttribute(narrow("NEW").c_str());
    ZuString again;
    ASSERT_EQ(read.buildString(&again), 0);
    EXPECT_EQ(plain(&again), expected);
  }
}

TEST_F(Attributes, FailuresOfMemoryLeaveTheParserUsable) {
  const auto text = narrow("DSN=a;UID=u;PWD='x'");
  const auto key = narrow("New");
  const auto value = narrow("it's");
  sweepAllocations([&] {
    const ZuSubString view(text.data(), text.size());
    ZuValueParser parser(&view, ';', nullptr, 0);
    ZuString built;
    const bool failed = parser.initialize() || parser.addAttribute(key.c_str(), value.c_str(), nullptr) ||
                        parser.resetUnused() || parser.buildString(&built);
    EXPECT_EQ(failed, errors.isOutOfMemory());
    errors.clearErrors();
    if (parser.isAttributeValue(narrow("dsn").c_str())) {
      EXPECT_EQ(plain(parser.getAttributeValue(narrow("dsn").c_str())), "a");
    }
    return !failed;
  });
}

}  // namespace
