#include "zulib/convert/scalar/zuconvert.h"

#include <cstdint>
#include <limits>

#include "zulib/errors/zuerror.h"
#include "zulib/runtime/zumessages.h"
#include "zulib/text/zuchar.h"

namespace {

// --- integers to text --------------------------------------------------------------------------------------

constexpr std::uint64_t kPowers[] = {1ULL,
                                     10ULL,
                                     100ULL,
                                     1000ULL,
                                     10000ULL,
                                     100000ULL,
                                     1000000ULL,
                                     10000000ULL,
                                     100000000ULL,
                                     1000000000ULL,
                                     10000000000ULL,
                                     100000000000ULL,
                                     1000000000000ULL,
                                     10000000000000ULL,
                                     100000000000000ULL,
                                     1000000000000000ULL,
                                     10000000000000000ULL,
                                     100000000000000000ULL,
                                     1000000000000000000ULL,
                                     10000000000000000000ULL};
constexpr std::uint32_t kStretch = 1000000000;  // 9 digits, the most that 32-bit arithmetic holds
constexpr unsigned kStretchDigits = 9;

// log10(2) is about 1233/4096; the table corrects the estimate by at most one.
unsigned countDigits(std::uint64_t value) {
  const auto bits = static_cast<unsigned>(64 - __builtin_clzll(value | 1));
  const unsigned estimate = bits * 1233 >> 12;
  return estimate + (estimate < 20 && value >= kPowers[estimate] ? 1 : 0) + (value == 0 ? 1 : 0);
}

struct DigitPairs {
  constexpr DigitPairs() : text() {
    for (int i = 0; i < 100; ++i) {
      text[2 * i] = static_cast<char>('0' + i / 10);
      text[2 * i + 1] = static_cast<char>('0' + i % 10);
    }
  }
  char text[200];
};
constexpr DigitPairs kPairs;

// Writes the last `digits` digits of `value` so that they end before `end`.
template <class Char>
void writeDigits(Char* end, std::uint32_t value, unsigned digits) {
  for (; digits >= 2; digits -= 2) {
    const char* const pair = kPairs.text + 2 * (value % 100);
    value /= 100;
    *--end = static_cast<Char>(pair[1]);
    *--end = static_cast<Char>(pair[0]);
  }
  if (digits) *--end = static_cast<Char>('0' + value % 10);
}

template <class Char>
unsigned long write(Char* text, unsigned long max, std::uint64_t value) {
  const unsigned digits = countDigits(value);
  if (max < digits) return 0;
  Char* end = text + digits;
  unsigned left = digits;
  while (value > std::numeric_limits<std::uint32_t>::max()) {
    writeDigits(end, static_cast<std::uint32_t>(value % kStretch), kStretchDigits);
    value /= kStretch;
    end -= kStretchDigits;
    left -= kStretchDigits;
  }
  writeDigits(end, static_cast<std::uint32_t>(value), left);
  return digits;
}

// The magnitude of a negative number, also of the least one.
std::uint64_t magnitude(long long value) { return 0 - static_cast<std::uint64_t>(value); }

template <class Char>
unsigned long writeSigned(Char* text, unsigned long max, long long value) {
  if (value >= 0) return write(text, max, static_cast<std::uint64_t>(value));
  if (max < 2) return 0;
  *text = '-';
  const unsigned long digits = write(text + 1, max - 1, magnitude(value));
  return digits ? digits + 1 : 0;
}

constexpr unsigned long kUnboundedRoom = 32;

template <class Char>
unsigned long terminate(Char* text, unsigned long length) {
  text[length] = 0;
  return length * sizeof(Char);
}

// --- text to integers --------------------------------------------------------------------------------------

// Reads characters up to a terminator or, when Counted, up to a number of them.
template <class Char, bool Counted>
class Reader {
 public:
  explicit Reader(const Char* text, unsigned long length = 0) : text(text), at(text), end(text + length) {}

  bool atEnd() const { return Counted ? at == end : *at == 0; }

  // Nearly every text is nothing but digits: this reads one of at most 18, which is below any limit of 64
  // bits, with one test for each of them. False for any other text, with nothing taken.
  bool readPlain(std::uint64_t* out) const {
    constexpr long kMostDigits = 18;
    const Char* p = at;
    std::uint64_t value = 0;
    // A terminator is no digit.
    for (; !Counted || p != end; ++p) {
      const unsigned digit = *p - static_cast<unsigned>('0');
      if (digit > 9) break;
      value = value * 10 + digit;
    }
    const bool plain = (Counted ? p == end : *p == 0) && p != at && p - at <= kMostDigits;
    if (plain) *out = value;
    return plain;
  }
  unsigned current() const { return *at; }
  void advance() { ++at; }
  bool isWhiteSpace() const {
    if (*at > ' ' && *at < 0x7F) return false;  // no locale has white space here
    if constexpr (sizeof(Char) == 1) {
      return zuIsWhiteSpace(at, zuCPLocale);
    } else {
      // No white space lies beyond the first plane, and the second half of a pair may be past the end.
      return (*at & 0xF800u) != 0xD800u && zuIsWhiteSpace(at);
    }
  }
  void skipWhiteSpace() {
    while (!atEnd() && isWhiteSpace()) advance();
  }
  bool take(char wanted) {
    if (atEnd() || current() != static_cast<unsigned>(wanted)) return false;
    advance();
    return true;
  }

  // Records `message` with the text appended. 1.
  [[gnu::cold, gnu::noinline]] int fail(ZuMessage message) const {
    constexpr unsigned long kShown = 64;  // characters of a counted text, with a terminator
    ZuError& error = addError(message);
    if constexpr (Counted) {
      Char shown[kShown];
      unsigned long n = 0;
      for (const Char* p = text; p < end && n < kShown - 1; ++p) shown[n++] = *p;
      shown[n] = 0;
      error.appendText(shown);
    } else {
      error.appendText(text);
    }
    return 1;
  }

 private:
  const Char* const text;
  const Char* at;
  const Char* const end;  // if Counted
};

// Digits and white space up to the end of the text. `limit` is the highest value; `isNumber` tells whether a
// number without digits is one, the number 0.
template <class Char, bool Counted>
int readDigits(Reader<Char, Counted>& reader, std::uint64_t limit, bool isNumber, std::uint64_t* out) {
  const std::uint64_t lastTenth = limit / 10;
  const auto lastDigit = static_cast<unsigned>(limit % 10);
  std::uint64_t value = 0;
  for (; !reader.atEnd(); reader.advance()) {
    const unsigned digit = reader.current() - '0';
    if (digit > 9) break;
    if (value >= lastTenth && (value > lastTenth || digit > lastDigit))
      return reader.fail(ZU_MSG_NUMBER_OUT_OF_RANGE);
    value = value * 10 + digit;
    isNumber = true;
  }
  reader.skipWhiteSpace();
  if (!isNumber || !reader.atEnd()) return reader.fail(ZU_MSG_NOT_A_NUMBER);
  *out = value;
  return 0;
}

template <class Char, bool Counted>
int readUnsigned(Reader<Char, Counted>& reader, std::uint64_t limit, bool emptyIsZero, std::uint64_t* out) {
  if constexpr (sizeof(Char) == 1) {
    while (!reader.atEnd() && (reader.current() == '+' || reader.isWhiteSpace())) reader.advance();
  } else {
    reader.take('+');
    reader.skipWhiteSpace();
  }
  return readDigits(reader, limit, emptyIsZero, out);
}

template <class Char, bool Counted>
int readSigned(Reader<Char, Counted>& reader, std::uint64_t wholeLimit, std::uint64_t highest,
               bool emptyIsZero, long long* out) {
  reader.skipWhiteSpace();
  const bool negative = reader.take('-');
  std::uint64_t value = 0;
  if (readUnsigned(reader, wholeLimit, emptyIsZero, &value)) return 1;
  if (value > highest + (negative ? 1 : 0)) return reader.fail(ZU_MSG_NUMBER_OUT_OF_RANGE);
  *out = static_cast<long long>(negative ? 0 - value : value);
  return 0;
}

constexpr std::uint64_t kMax64 = std::numeric_limits<std::uint64_t>::max();
constexpr std::uint64_t kMax32 = std::numeric_limits<std::uint32_t>::max();

// Reads an unsigned number of at most `highest` out of text whose numbers may go up to `limit`.
template <class Char, bool Counted, class Out>
int toUnsigned(Reader<Char, Counted> reader, std::uint64_t limit, std::uint64_t highest, bool emptyIsZero,
               Out* out) {
  std::uint64_t value = 0;
  if (!reader.readPlain(&value) && readUnsigned(reader, limit, emptyIsZero, &value)) return 1;
  if (value > highest) return reader.fail(ZU_MSG_NUMBER_OUT_OF_RANGE);
  if (out) *out = static_cast<Out>(value);
  return 0;
}

template <class Char, bool Counted, class Out>
int toSigned(Reader<Char, Counted> reader, std::uint64_t limit, std::uint64_t highest, bool emptyIsZero,
             Out* out) {
  std::uint64_t plain = 0;
  if (reader.readPlain(&plain) && plain <= highest) {
    *out = static_cast<Out>(plain);
    return 0;
  }
  long long value = 0;
  if (readSigned(reader, limit, highest, emptyIsZero, &value)) return 1;
  *out = static_cast<Out>(value);
  return 0;
}

template <class Char>
Reader<Char, false> whole(const Char* text) {
  return Reader<Char, false>(text);
}

template <class Char>
Reader<Char, true> counted(const Char* text, unsigned long length) {
  return Reader<Char, true>(text, length);
}

}  // namespace

unsigned long convert(unsigned char* text, unsigned long max, unsigned long value) {
  return write(text, max, value);
}
unsigned long convert(unsigned char* text, unsigned long max, long value) {
  return writeSigned(text, max, value);
}
unsigned long convert(unsigned char* text, unsigned long max, unsigned long long value) {
  return write(text, max, value);
}
unsigned long convert(unsigned char* text, unsigned long max, long long value) {
  return writeSigned(text, max, value);
}
unsigned long convert(unsigned short* text, unsigned long max, unsigned long value) {
  return write(text, max, value);
}
unsigned long convert(unsigned short* text, unsigned long max, long value) {
  return writeSigned(text, max, value);
}
unsigned long convert(unsigned short* text, unsigned long max, unsigned long long value) {
  return write(text, max, value);
}
unsigned long convert(unsigned short* text, unsigned long max, long long value) {
  return writeSigned(text, max, value);
}

unsigned long convert(unsigned short* text, unsigned long value) {
  return terminate(text, write(text, kUnboundedRoom, value));
}
unsigned long convert(unsigned short* text, long value) {
  return terminate(text, writeSigned(text, kUnboundedRoom, value));
}
unsigned long convert(unsigned char* text, unsigned long long value) {
  return terminate(text, write(text, kUnboundedRoom, value));
}
unsigned long convert(unsigned char* text, long long value) {
  return terminate(text, writeSigned(text, kUnboundedRoom, value));
}
unsigned long convert(unsigned short* text, unsigned long long value) {
  return terminate(text, write(text, kUnboundedRoom, value));
}
unsigned long convert(unsigned short* text, long long value) {
  return terminate(text, writeSigned(text, kUnboundedRoom, value));
}

unsigned long convert(unsigned char* text, unsigned short width, unsigned long long value,
                      unsigned short leftJustified) {
  constexpr unsigned short kMostDigits = 10;
  for (unsigned short i = 0; i < width; ++i) text[i] = ' ';
  text[width] = 0;
  if (width == 0) return 0;
  if (width > kMostDigits) {
    if (!leftJustified) text += width - kMostDigits;
    width = kMostDigits;
  }
  unsigned long digits = 0;
  std::uint64_t left = value;
  for (unsigned short i = 0; i < width; ++i) {
    const std::uint64_t divisor = kPowers[width - 1 - i];
    const std::uint64_t digit = left / divisor;
    if (digit > 9) {
      for (; i < width; ++i) *text++ = '*';
      return 0;
    }
    left -= digit * divisor;
    if (digit == 0 && digits == 0) {
      if (!leftJustified) ++text;  // the blank is there already
      continue;
    }
    *text++ = static_cast<unsigned char>('0' + digit);
    ++digits;
  }
  return digits;
}

unsigned long convert(unsigned char* text, unsigned short width, long long value,
                      unsigned short leftJustified) {
  if (value >= 0) return convert(text, width, static_cast<unsigned long long>(value), leftJustified);
  text[0] = width ? ' ' : 0;
  if (width == 0) return 0;
  const unsigned long digits = convert(text + 1, static_cast<unsigned short>(width - 1),
                                       static_cast<unsigned long long>(magnitude(value)), leftJustified);
  text[leftJustified ? 0 : width - digits - 1] = '-';
  return digits;
}

int convert(const unsigned char* text, unsigned long long* out) {
  return toUnsigned(whole(text), kMax64, kMax64, false, out);
}
int convert(const unsigned char* text, long long* out) {
  return toSigned(whole(text), kMax64, std::numeric_limits<std::int64_t>::max(), false, out);
}
int convert(const unsigned char* text, unsigned long* out) {
  return toUnsigned(whole(text), kMax64, kMax32, false, out);
}
int convert(const unsigned char* text, long* out) {
  return toSigned(whole(text), kMax64, std::numeric_limits<std::int32_t>::max(), false, out);
}
int convert(const unsigned char* text, unsigned short* out) {
  return toUnsigned(whole(text), kMax64, std::numeric_limits<std::uint16_t>::max(), false, out);
}
int convert(const unsigned char* text, short* out) {
  return toSigned(whole(text), kMax64, std::numeric_limits<std::int16_t>::max(), false, out);
}
int convert(const unsigned char* text, unsigned char* out) {
  return toUnsigned(whole(text), kMax64, std::numeric_limits<std::uint8_t>::max(), false, out);
}
int convert(const unsigned char* text, char* out) {
  return toSigned(whole(text), kMax64, std::numeric_limits<std::int8_t>::max(), false, out);
}

int convert(const unsigned char* text, unsigned short length, unsigned long long* out) {
  return toUnsigned(counted(text, length), kMax64, kMax64, true, out);
}
int convert(const unsigned char* text, unsigned short length, long long* out) {
  return toSigned(counted(text, length), kMax64, std::numeric_limits<std::int64_t>::max(), true, out);
}
int convert(const unsigned char* text, unsigned short length, unsigned long* out) {
  return toUnsigned(counted(text, length), kMax32, kMax32, true, out);
}
int convert(const unsigned char* text, unsigned short length, long* out) {
  return toSigned(counted(text, length), kMax32, std::numeric_limits<std::int32_t>::max(), true, out);
}
int convert(const unsigned char* text, unsigned short length, unsigned short* out) {
  return toUnsigned(counted(text, length), kMax32, std::numeric_limits<std::uint16_t>::max(), true, out);
}

int convert(const unsigned short* text, unsigned long* out) {
  return toUnsigned(whole(text), kMax32, kMax32, false, out);
}
int convert(const unsigned short* text, long* out) {
  return toSigned(whole(text), kMax32, std::numeric_limits<std::int32_t>::max(), false, out);
}
int convert(const unsigned short* text, unsigned short* out) {
  return toUnsigned(whole(text), kMax32, std::numeric_limits<std::uint16_t>::max(), false, out);
}
int convert(const unsigned short* text, unsigned long length, unsigned long* out) {
  return toUnsigned(counted(text, length), kMax32, kMax32, false, out);
}
int convert(const unsigned short* text, unsigned long length, long* out) {
  return toSigned(counted(text, length), kMax32, std::numeric_limits<std::int32_t>::max(), false, out);
}
int convert(const unsigned short* text, unsigned long length, unsigned short* out) {
  return toUnsigned(counted(text, length), kMax32, std::numeric_limits<std::uint16_t>::max(), false, out);
}
