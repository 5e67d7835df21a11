#include "zulib/text/zuhex.h"

#include "zulib/runtime/zuhooks.h"

namespace {

// The value of a digit, -1 for any other character.
int digitValue(unsigned c) {
  if (c >= '0' && c <= '9') return static_cast<int>(c - '0');
  if (c >= 'A' && c <= 'F') return static_cast<int>(c - 'A' + 10);
  if (c >= 'a' && c <= 'f') return static_cast<int>(c - 'a' + 10);
  return -1;
}

// From the end down, so that `out` may lie on `bytes`: each byte is read before its place is written.
template <class Char>
void writeDigits(Char* out, const unsigned char* bytes, unsigned long n) {
  for (unsigned long i = n; i-- > 0;) {
    const unsigned char byte = bytes[i];
    out[2 * i + 1] = static_cast<Char>(HEXDIGIT[byte & 15]);
    out[2 * i] = static_cast<Char>(HEXDIGIT[byte >> 4]);
  }
}

// Hands each byte read to `store(byte, whole)`, where `whole` is false for an odd last digit.
template <class Char, class Store>
int readDigits(const Char* text, unsigned long n, bool skipZero, Store&& store) {
  int high = -1;
  for (unsigned long i = 0; i < n; ++i) {
    if (skipZero && text[i] == 0) continue;
    const int value = digitValue(text[i]);
    if (value < 0) {
      zuhooks::report(ZU_MSG_BAD_HEX_DIGIT);
      return 1;
    }
    if (high < 0) {
      high = value;
    } else {
      store(static_cast<unsigned char>(high << 4 | value), true);
      high = -1;
    }
  }
  if (high >= 0) store(static_cast<unsigned char>(high << 4), false);
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
  return readDigits(text, n, false, [&](unsigned char byte, bool) { *out++ = byte; });
}

int dehexifyHuge(unsigned char* out, const unsigned char* text, unsigned long n) {
  return dehexify(out, text, n);
}

int dehexify(unsigned char* out, const unsigned char* text, unsigned long n, unsigned char mark,
             unsigned long* count) {
  unsigned long written = 0;
  const int result = readDigits(text, n, false, [&](unsigned char byte, bool whole) {
    out[written++] = byte;
    if (whole && byte == mark) out[written++] = byte;
  });
  *count = written >> 2;
  return result;
}

int wideDehexify(unsigned char* out, const unsigned short* text, unsigned long n) {
  return readDigits(text, n, true, [&](unsigned char byte, bool) { *out++ = byte; });
}

bool isHexString(const unsigned char* text, unsigned long n) {
  for (unsigned long i = 0; i < n; ++i) {
    if (digitValue(text[i]) < 0) return false;
  }
  return true;
}
