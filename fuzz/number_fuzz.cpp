// Text of any kind as a number of every type and form, beside a plain reader.

#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>

#include "zulib/convert/scalar/zuconvert.h"
#include "zulib/errors/zuerror.h"
#include "zulib/runtime/zumessages.h"

namespace {

using Wide = std::basic_string<unsigned short>;

void demand(bool holds) {
  if (!holds) std::abort();
}

// In UTF-16 the four separators of ASCII are white space too.
bool isBlank(char c, bool wide) {
  return c == ' ' || (c >= '\t' && c <= '\r') || (wide && c >= 0x1C && c <= 0x1F);
}

// What a text is: a number with its sign, too large, or none.
struct Meaning {
  enum Kind { Number, TooLarge, None } kind = None;
  bool negative = false;
  std::uint64_t value = 0;
};

// Reads the magnitude from `at` on, by the lead of 8-bit text or of UTF-16.
Meaning magnitude(const std::string& text, size_t at, std::uint64_t limit, bool wide, bool emptyIsZero) {
  Meaning meaning;
  if (wide && at < text.size() && text[at] == '+') ++at;
  while (at < text.size() && (isBlank(text[at], wide) || (!wide && text[at] == '+'))) ++at;
  bool digits = emptyIsZero;
  for (; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at) {
    const auto digit = static_cast<std::uint64_t>(text[at] - '0');
    if (meaning.value > (limit - digit) / 10) return {Meaning::TooLarge};
    meaning.value = meaning.value * 10 + digit;
    digits = true;
  }
  while (at < text.size() && isBlank(text[at], wide)) ++at;
  if (!digits || at != text.size()) return {};
  meaning.kind = Meaning::Number;
  return meaning;
}

Meaning meaningOf(const std::string& text, std::uint64_t limit, bool isSigned, bool wide, bool emptyIsZero) {
  size_t at = 0;
  if (!isSigned) return magnitude(text, at, limit, wide, emptyIsZero);
  while (at < text.size() && isBlank(text[at], wide)) ++at;
  const bool negative = at < text.size() && text[at] == '-';
  Meaning meaning = magnitude(text, at + negative, limit, wide, emptyIsZero);
  meaning.negative = negative;
  return meaning;
}

// `least` and `most` are the range of the target, `limit` that of the reader below it.
template <class Out, class Call>
void check(const Meaning& meaning, std::int64_t least, std::uint64_t most, Call&& call) {
  ZuErrorList errors;
  ZuErrorKeeper::setErrorList(&errors);
  Out out = 77;
  const int result = call(&out);
  ZuErrorKeeper::giveUpErrorList();
  const std::uint64_t highest = meaning.negative ? 0 - static_cast<std::uint64_t>(least) : most;
  const bool fits = meaning.kind == Meaning::Number && meaning.value <= highest;
  demand((result == 0) == fits);
  if (fits) {
    demand(out == static_cast<Out>(meaning.negative ? 0 - meaning.value : meaning.value));
    return;
  }
  demand(out == Out{77});
  const unsigned number = errors.getLastError()->getErrorNumber();
  demand(number == (meaning.kind == Meaning::None ? ZU_MSG_NOT_A_NUMBER : ZU_MSG_NUMBER_OUT_OF_RANGE));
}

constexpr std::uint64_t k32 = std::numeric_limits<std::uint32_t>::max();
constexpr std::uint64_t k64 = std::numeric_limits<std::uint64_t>::max();

template <class Out>
void checkTerminated(const std::string& text, std::int64_t least, std::uint64_t most) {
  const auto bytes = reinterpret_cast<const unsigned char*>(text.c_str());
  check<Out>(meaningOf(text, k64, least < 0, false, false), least, most,
             [&](Out* out) { return convert(bytes, out); });
}

template <class Out>
void checkCounted(const std::string& text, std::uint64_t limit, std::int64_t least, std::uint64_t most) {
  const auto bytes = reinterpret_cast<const unsigned char*>(text.data());
  check<Out>(meaningOf(text, limit, least < 0, false, true), least, most,
             [&](Out* out) { return convert(bytes, static_cast<unsigned short>(text.size()), out); });
}

template <class Out>
void checkWide(const std::string& text, std::int64_t least, std::uint64_t most) {
  const Wide wide(text.begin(), text.end());
  const Meaning meaning = meaningOf(text, k32, least < 0, true, false);
  check<Out>(meaning, least, most, [&](Out* out) { return convert(wide.c_str(), out); });
  check<Out>(meaning, least, most,
             [&](Out* out) { return convert(wide.data(), static_cast<unsigned long>(wide.size()), out); });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // What the locale takes for white space beyond ASCII is its own matter, and a 0 ends a text.
  std::string text;
  for (size_t i = 0; i < size && i < 60; ++i) {
    if (data[i] > 0 && data[i] < 0x80) text += static_cast<char>(data[i]);
  }
  constexpr std::int64_t kLeast64 = std::numeric_limits<std::int64_t>::min();
  constexpr std::uint64_t kMost64 = std::numeric_limits<std::int64_t>::max();
  checkTerminated<unsigned long long>(text, 0, k64);
  checkTerminated<long long>(text, kLeast64, kMost64);
  checkTerminated<unsigned long>(text, 0, k32);
  checkTerminated<long>(text, -2147483648LL, 2147483647);
  checkTerminated<unsigned short>(text, 0, 65535);
  checkTerminated<short>(text, -32768, 32767);
  checkTerminated<unsigned char>(text, 0, 255);
  checkTerminated<char>(text, -128, 127);
  checkCounted<unsigned long long>(text, k64, 0, k64);
  checkCounted<long long>(text, k64, kLeast64, kMost64);
  checkCounted<unsigned long>(text, k32, 0, k32);
  checkCounted<long>(text, k32, -2147483648LL, 2147483647);
  checkCounted<unsigned short>(text, k32, 0, 65535);
  checkWide<unsigned long>(text, 0, k32);
  checkWide<long>(text, -2147483648LL, 2147483647);
  checkWide<unsigned short>(text, 0, 65535);
  return 0;
}
