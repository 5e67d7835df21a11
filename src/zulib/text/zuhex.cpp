#include "zulib/text/zuhex.h"

#include <cstring>

#include "zulib/runtime/zuhooks.h"

namespace {

constexpr unsigned char kNoDigit = 0x80;

// The value of each character as a digit, kNoDigit for one that is none.
struct DigitValues {
  constexpr DigitValues() : of() {
    for (unsigned char& value : of) value = kNoDigit;
    for (unsigned char i = 0; i < 16; ++i) {
      of[static_cast<unsigned char>(HEXDIGIT[i])] = i;
      of[static_cast<unsigned char>(HEXDIGIT[i] | 0x20)] = i;
    }
  }
  unsigned char of[256];
};
constexpr DigitValues kDigits;

// The two digits of each byte.
template <class Char>
struct DigitPairs {
  constexpr DigitPairs() : of() {
    for (unsigned i = 0; i < 256; ++i) {
      of[i][0] = static_cast<Char>(HEXDIGIT[i >> 4]);
      of[i][1] = static_cast<Char>(HEXDIGIT[i & 15]);
    }
  }
  Char of[256][2];
};
template <class Char>
constexpr DigitPairs<Char> kPairs;

unsigned digitAt(const unsigned char* text, unsigned long i) { return kDigits.of[text[i]]; }

// 16-bit text is read and written at any address: a buffer of a driver need not be aligned.
unsigned short unitAt(const unsigned short* text, unsigned long i) {
  unsigned short unit;
  std::memcpy(&unit, reinterpret_cast<const char*>(text) + i * sizeof unit, sizeof unit);
  return unit;
}

unsigned digitAt(const unsigned short* text, unsigned long i) {
  const unsigned short unit = unitAt(text, i);
  return unit < 256 ? kDigits.of[unit] : kNoDigit;
}

bool isZero(const unsigned char*, unsigned long) { return false; }  // in 8-bit text no digit
bool isZero(const unsigned short* text, unsigned long i) { return unitAt(text, i) == 0; }

// From the end down, so that `out` may lie on `bytes`: each byte is read before its place is written.
template <class Char>
void writeDigits(Char* out, const unsigned char* bytes, unsigned long n) {
  constexpr unsigned long kPair = 2 * sizeof(Char);
  const auto to = reinterpret_cast<unsigned char*>(out);
  for (unsigned long i = n; i-- > 0;) std::memcpy(to + i * kPair, kPairs<Char>.of[bytes[i]], kPair);
}

// Hands each byte read to `store(byte, whole)`, where `whole` is false for an odd last digit. Inlined, so
// that what `store` captures is in registers (row "dehexify 16 KB" of the benchmark).
template <class Char, class Store>
[[gnu::always_inline]] inline int readDigits(const Char* text, unsigned long n, Store&& store) {
  unsigned long i = 0;
#pragma GCC unroll 4
  for (; n - i >= 2; i += 2) {
    const unsigned high = digitAt(text, i);
    const unsigned low = digitAt(text, i + 1);
    if (((high | low) & kNoDigit) != 0) break;
    store(static_cast<unsigned char>(high << 4 | low), true);
  }
  // The odd last digit, or from the first character that is no digit on.
  unsigned high = kNoDigit;
  for (; i < n; ++i) {
    if (isZero(text, i)) continue;
    const unsigned value = digitAt(text, i);
    if (value == kNoDigit) {
      zuhooks::report(ZU_MSG_BAD_HEX_DIGIT);
      return 1;
    }
    if (high == kNoDigit) {
      high = value;
    } else {
      store(static_cast<unsigned char>(high << 4 | value), true);
      high = kNoDigit;
    }
  }
  if (high != kNoDigit) store(static_cast<unsigned char>(high << 4), false);
  return 0;
}

}  // namespace

unsigned long hexify(unsigned char* out, unsigned long value, unsigned short minDigits) {
  unsigned long digits = 1;
  while (digits < 2 * sizeof value && value >> (4 * digits)) ++digits;
  const unsigned long length = digits < minDigits ? minDigits : digits;
  out[length] = 0;
  for (unsigned long i = length; i-- > 0; value >>= 4)
    out[i] = static_cast<unsigned char>(HEXDIGIT[value & 15]);
  return length;
}

unsigned long hexify(unsigned char* out, const unsigned char* bytes, unsigned long n) {
  writeDigits(out, bytes, n);
  return 2 * n;
}

unsigned long hexifyHuge(unsigned char* out, const unsigned char* bytes, unsigned long n) {
  return hexify(out, bytes, n);
}

unsigned long wideHexify(unsigned short* out, const unsigned char* bytes, unsigned long n) {
  writeDigits(out, bytes, n);
  return 4 * n;
}

int dehexify(unsigned char* out, const unsigned char* text, unsigned long n) {
  return readDigits(text, n, [&](unsigned char byte, bool) { *out++ = byte; });
}

int dehexifyHuge(unsigned char* out, const unsigned char* text, unsigned long n) {
  return dehexify(out, text, n);
}

int dehexify(unsigned char* out, const unsigned char* text, unsigned long n, unsigned char mark,
             unsigned long* count) {
  unsigned long written = 0;
  const int result = readDigits(text, n, [&](unsigned char byte, bool whole) {
    out[written++] = byte;
    if (whole && byte == mark) out[written++] = byte;
  });
  *count = written >> 2;
  return result;
}

int wideDehexify(unsigned char* out, const unsigned short* text, unsigned long n) {
  return readDigits(text, n, [&](unsigned char byte, bool) { *out++ = byte; });
}

bool isHexString(const unsigned char* text, unsigned long n) {
  for (unsigned long i = 0; i < n; ++i) {
    if (digitAt(text, i) == kNoDigit) return false;
  }
  return true;
}
