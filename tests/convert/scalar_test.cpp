// Numbers to text and back, against the standard library and the fuzz target of numbers.

#define LLVMFuzzerTestOneInput readNumbers
#include "fuzz/number_fuzz.cpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <random>
#include <string>

#include "zulib/convert/scalar/zuconvert.h"
#include "zulib/errors/zuerror.h"
#include "zulib/runtime/zumessages.h"

namespace {

class Scalar : public testing::Test {
 protected:
  Scalar() { ZuErrorKeeper::setErrorList(&errors); }
  ~Scalar() override { ZuErrorKeeper::giveUpErrorList(); }

  // Numbers of every length, most of them near a power of ten, of two, or an edge of a type.
  std::uint64_t number() {
    const std::uint64_t any = random();
    switch (random() % 4) {
      case 0: return any >> random() % 64;
      case 1: return (std::uint64_t{1} << random() % 64) + random() % 3 - 1;
      case 2: {
        std::uint64_t power = 1;
        for (auto n = random() % 20; n; --n) power *= 10;
        return power + random() % 3 - 1;
      }
      default: return random() % 1000;
    }
  }

  std::mt19937_64 random{11};
  ZuErrorList errors;
};

const unsigned char* bytes(const std::string& s) { return reinterpret_cast<const unsigned char*>(s.c_str()); }

std::basic_string<unsigned short> wide(const std::string& s) { return {s.begin(), s.end()}; }

template <class Char>
std::string narrow(const Char* text, unsigned long n) {
  return {text, text + n};
}

template <class Number>
void checkToText(Number value, unsigned long room) {
  const std::string expected = std::to_string(value);
  SCOPED_TRACE(expected + " in " + std::to_string(room));
  unsigned char text[40];
  unsigned short textW[40];
  std::fill_n(text, sizeof text, '#');
  std::fill_n(textW, sizeof text, '#');
  const bool fits = room >= expected.size();
  EXPECT_EQ(convert(text, room, value), fits ? expected.size() : 0);
  EXPECT_EQ(convert(textW, room, value), fits ? expected.size() : 0);
  std::string inside = fits ? expected : "";
  if (!fits && value < 0 && room > 1) inside = "-";
  EXPECT_EQ(narrow(text, sizeof text), inside + std::string(sizeof text - inside.size(), '#'));
  EXPECT_EQ(narrow(textW, sizeof text), inside + std::string(sizeof text - inside.size(), '#'));
}

TEST_F(Scalar, NumbersBecomeTextWhereTheyFit) {
  for (int i = 0; i < 20000; ++i) {
    const std::uint64_t n = number();
    const unsigned long room = random() % 22;
    checkToText(static_cast<unsigned long long>(n), room);
    checkToText(static_cast<long long>(n), room);
    checkToText(static_cast<unsigned long>(static_cast<std::uint32_t>(n)), room);
    checkToText(static_cast<long>(static_cast<std::int32_t>(n)), room);
    unsigned char text[40];
    unsigned short textW[40];
    const auto value = static_cast<long long>(n);
    EXPECT_EQ(convert(text, value), std::to_string(value).size());
    EXPECT_EQ(reinterpret_cast<const char*>(text), std::to_string(value));
    EXPECT_EQ(convert(textW, value), 2 * std::to_string(value).size());
    EXPECT_EQ(textW, wide(std::to_string(value)));
  }
}

TEST_F(Scalar, AFieldHoldsTheNumberAtItsEndOrStars) {
  const struct {
    unsigned short width;
    long long value;
    unsigned short left;
    const char* text;
    unsigned long digits;
  } cases[] = {
      {5, 42, 0, "   42", 2},
      {5, 42, 1, "42   ", 2},
      {3, 1000, 0, "***", 0},
      {4, 0, 0, "    ", 0},
      {4, 0, 1, "    ", 0},
      {5, -42, 0, "  -42", 2},
      {5, -42, 1, "-42  ", 2},
      {12, 1234567890, 0, "  1234567890", 10},
      {12, 1234567890, 1, "1234567890  ", 10},
      {12, 12345678901, 0, "  **********", 0},
      {3, 105, 0, "105", 3},
      {0, 7, 0, "", 0},
      {0, -7, 1, "", 0},
      {1, -7, 1, "-", 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.value);
    unsigned char text[16] = "###############";
    EXPECT_EQ(convert(text, c.width, c.value, c.left), c.digits);
    EXPECT_STREQ(reinterpret_cast<const char*>(text), c.text);
    EXPECT_EQ(text[c.width + 1], '#');
  }
}

// The value of `text` by a target of `Out`, or the number of the error.
template <class Out, class... Args>
std::string read(ZuErrorList& errors, Args... args) {
  Out out = 77;
  if (convert(args..., &out) == 0) return std::to_string(out);
  EXPECT_EQ(out, Out{77}) << "a failure leaves the target alone";
  const unsigned short number = errors.getLastError()->getErrorNumber();
  errors.clearErrors();
  return number == ZU_MSG_NUMBER_OUT_OF_RANGE ? "range" : number == ZU_MSG_NOT_A_NUMBER ? "none" : "?";
}

// Numbers with signs, blanks and other characters put in, beside the plain reader of the fuzz target.
TEST_F(Scalar, TextOfAnyKindBecomesEveryTypeAsThePlainReaderSays) {
  for (int i = 0; i < 6000; ++i) {
    std::string text = (random() % 2 ? "-" : "") + std::to_string(number());
    if (random() % 50 == 0) text += std::to_string(number());
    for (auto n = random() % 4; n > 1; --n)
      text.insert(random() % (text.size() + 1), 1, " +-0x\t"[random() % 6]);
    readNumbers(reinterpret_cast<const uint8_t*>(text.data()), text.size());
  }
  for (int i = 0; i < 65536; ++i) {
    const auto value = static_cast<short>(i);
    EXPECT_EQ(read<short>(errors, bytes(std::to_string(value))), std::to_string(value));
  }
}

TEST_F(Scalar, SignsAndBlanksStandWhereTheyMay) {
  const struct {
    const char* text;
    const char* terminated;  // 8-bit, unsigned
    const char* counted;     // 8-bit with a length, unsigned
    const char* units;       // UTF-16, unsigned
    const char* asSigned;    // 8-bit, terminated
  } cases[] = {
      {"  12  ", "12", "12", "12", "12"},      {"12a", "none", "none", "none", "none"},
      {"+", "none", "0", "none", "none"},      {"", "none", "0", "none", "none"},
      {"+ 12", "12", "12", "12", "12"},        {" +12", "12", "12", "none", "12"},
      {"++ +5", "5", "5", "none", "5"},        {" - 5", "none", "none", "none", "-5"},
      {"-+5", "none", "none", "none", "-5"},   {"--5", "none", "none", "none", "none"},
      {"1 2", "none", "none", "none", "none"},
  };
  for (const auto& c : cases) {
    const std::string text = c.text;
    SCOPED_TRACE(text);
    EXPECT_EQ(read<unsigned long>(errors, bytes(text)), c.terminated);
    EXPECT_EQ(read<unsigned long long>(errors, bytes(text), static_cast<unsigned short>(text.size())),
              c.counted);
    EXPECT_EQ(read<unsigned long>(errors, wide(text).c_str()), c.units);
    EXPECT_EQ(read<long>(errors, bytes(text)), c.asSigned);
  }
  EXPECT_EQ(convert(bytes("1"), static_cast<unsigned long*>(nullptr)), 0);
  // A counted text ends where it says, and its record shows it.
  EXPECT_EQ(read<long>(errors, bytes("12345"), static_cast<unsigned short>(2)), "12");
  long value;
  EXPECT_EQ(convert(bytes("1x345"), static_cast<unsigned short>(2), &value), 1);
  const std::string shown = reinterpret_cast<const char*>(errors.getLastError()->getErrorText());
  EXPECT_EQ(shown.substr(shown.size() - 2), "1x");
}

}  // namespace
