#include "types/binary.h"

#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <string_view>

namespace pgwire {

namespace {

template <class T, class Bits>
T take(const unsigned char* data) {
  Bits bits;
  std::memcpy(&bits, data, sizeof bits);
  if constexpr (sizeof bits == sizeof(uint64_t)) {
    bits = __builtin_bswap64(bits);
  } else if constexpr (sizeof bits == sizeof(uint32_t)) {
    bits = __builtin_bswap32(bits);
  } else {
    bits = __builtin_bswap16(bits);
  }
  T value;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

long long wholeOf(const unsigned char* data, uint32_t length) {
  switch (length) {
    case sizeof(int16_t): return take<int16_t, uint16_t>(data);
    case sizeof(int32_t): return take<int32_t, uint32_t>(data);
    default: return take<int64_t, uint64_t>(data);
  }
}

double floatOf(const unsigned char* data, uint32_t length) {
  return length == sizeof(float) ? take<float, uint32_t>(data) : take<double, uint64_t>(data);
}

// Whether a text "d.ddde+nn" is the number also with a little more and a little less. If not it lies exactly
// between two numbers, and only the rule for such cases makes it the number.
template <class T>
bool isInside(std::string_view text, T number) {
  constexpr std::string_view kMore = "0000000000000000000001";
  constexpr std::string_view kLess = "9999999999999999999999";
  const std::size_t digits = text.find('e');
  const auto reads = [&](std::string_view added, bool decrement) {
    char wide[2 * kNumberText + 2];
    std::memcpy(wide, text.data(), digits);
    std::size_t n = digits;
    for (std::size_t i = digits; decrement && i-- > 0;) {
      if (wide[i] < '0' || wide[i] > '9') continue;
      decrement = wide[i] == '0';
      wide[i] = static_cast<char>(decrement ? '9' : wide[i] - 1);
    }
    if (text.find('.') == text.npos) wide[n++] = '.';
    std::memcpy(wide + n, added.data(), added.size());
    n += added.size();
    std::memcpy(wide + n, text.data() + digits, text.size() - digits);
    T again = 0;
    std::from_chars(wide, wide + n + text.size() - digits, again);
    return again == number;
  };
  return reads(kMore, false) && reads(kLess, true);
}

// The shortest digits that are nearer to the number than to any other, with an exponent where the server
// writes one: below 10^-4, and from as many digits on as the type keeps for sure.
template <class T>
uint32_t printFloat(T number, char (&out)[kNumberText]) {
  constexpr int kDigits = std::numeric_limits<T>::digits10;
  const auto fixed = [&](std::string_view text) {
    std::memcpy(out, text.data(), text.size());
    return static_cast<uint32_t>(text.size());
  };
  if (std::isnan(number)) return fixed("NaN");
  if (std::isinf(number)) return fixed(number < 0 ? "-Infinity" : "Infinity");
  constexpr auto kForm = std::chars_format::scientific;
  char* end = std::to_chars(out, out + kNumberText, number, kForm).ptr;
  const auto view = [&] { return std::string_view(out, static_cast<std::size_t>(end - out)); };
  // Below this the middle of two numbers has more digits than either.
  const bool canBeBetween = std::fabs(number) >= std::ldexp(1.0, std::numeric_limits<T>::digits - 1);
  for (int after = 0;
       canBeBetween && after < std::numeric_limits<T>::max_digits10 && !isInside(view(), number); ++after) {
    end = std::to_chars(out, out + kNumberText, number, kForm, after).ptr;
  }
  int exponent = 0;
  const char* at = view().data() + view().find('e') + 1;
  std::from_chars(*at == '+' ? at + 1 : at, end, exponent);
  if (exponent >= -4 && exponent < kDigits)
    end = std::to_chars(out, out + kNumberText, number, std::chars_format::fixed).ptr;
  return static_cast<uint32_t>(end - out);
}

}  // namespace

bool hasBinaryForm(Oid oid) { return oid == Oid::Bytea || binarySize(oid) > 0; }

uint32_t binarySize(Oid oid) {
  switch (oid) {
    case Oid::Int2: return sizeof(int16_t);
    case Oid::Int4:
    case Oid::Float4: return sizeof(int32_t);
    case Oid::Int8:
    case Oid::Float8: return sizeof(int64_t);
    default: return 0;
  }
}

uint32_t binaryToText(const unsigned char* data, uint32_t length, Kind kind, char (&out)[kNumberText]) {
  if (kind == Kind::Integer)
    return static_cast<uint32_t>(std::to_chars(out, out + kNumberText, wholeOf(data, length)).ptr - out);
  return length == sizeof(float) ? printFloat(take<float, uint32_t>(data), out)
                                 : printFloat(take<double, uint64_t>(data), out);
}

Outcome scalarFromBinary(const unsigned char* data, uint32_t length, Kind kind, SQLSMALLINT cType,
                         const NumericForm& form, void* out) {
  const auto store = [&](const auto& value) {
    std::memcpy(out, &value, sizeof value);
    return Outcome::Done;
  };
  if (kind == Kind::Float && cType == SQL_C_DOUBLE) return store(floatOf(data, length));
  if (kind == Kind::Integer) {
    const long long number = wholeOf(data, length);
    const bool isLong = cType == SQL_C_SLONG || cType == SQL_C_LONG;
    if (isLong && length <= sizeof(int32_t)) return store(static_cast<SQLINTEGER>(number));
    if (cType == SQL_C_SBIGINT) return store(static_cast<SQLBIGINT>(number));
  }
  char text[kNumberText];
  return scalarFromText({text, binaryToText(data, length, kind, text)}, kind, cType, form, out);
}

}  // namespace pgwire
