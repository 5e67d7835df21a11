#include "types/numeric.h"

#include <algorithm>
#include <charconv>

#include "types/scalars.h"

namespace pgwire {

namespace {

__extension__ using Wide = unsigned __int128;
constexpr int kMostDigits = 38;  // every number of 38 digits fits 128 bits

// A decimal text taken apart: digits without a point, and how many of them come after the point.
struct Decimal {
  bool negative = false;
  Wide digits = 0;
  int count = 0;  // significant digits in `digits`
  int scale = 0;
  bool lostDigits = false;  // digits other than zeros that did not fit
};

void addDigit(Decimal& d, char c, bool afterPoint) {
  if (d.count < kMostDigits) {
    d.digits = d.digits * 10 + static_cast<unsigned>(c - '0');
    if (d.digits != 0) ++d.count;
    if (afterPoint) ++d.scale;
  } else {
    d.lostDigits = d.lostDigits || c != '0';
    if (!afterPoint) --d.scale;
  }
}

bool parse(std::string_view text, Decimal& d) {
  if (!text.empty() && (text[0] == '-' || text[0] == '+')) {
    d.negative = text[0] == '-';
    text.remove_prefix(1);
  }
  bool point = false;
  bool any = false;
  std::size_t i = 0;
  for (; i < text.size(); ++i) {
    if (text[i] == '.' && !point) {
      point = true;
    } else if (text[i] >= '0' && text[i] <= '9') {
      any = true;
      addDigit(d, text[i], point);
    } else {
      break;
    }
  }
  if (i < text.size() && any && (text[i] == 'e' || text[i] == 'E')) {
    int exponent = 0;
    if (i + 1 < text.size() && text[i + 1] == '+') ++i;
    const auto parsed = std::from_chars(text.data() + i + 1, text.data() + text.size(), exponent);
    if (parsed.ec != std::errc() || exponent < -10000 || exponent > 10000) return false;
    d.scale -= exponent;
    i = static_cast<std::size_t>(parsed.ptr - text.data());
  }
  return any && i == text.size();
}

}  // namespace

NumericOutcome numericFromText(std::string_view text, int precision, int scale, SQL_NUMERIC_STRUCT& out) {
  Decimal d;
  if (!parse(text, d)) return NumericOutcome::NotANumber;
  if (scale == NumericForm::kOwnScale) scale = std::max(0, d.scale);
  bool lost = d.lostDigits;
  for (; d.scale > scale && d.digits != 0; --d.scale) {
    lost = lost || d.digits % 10 != 0;
    d.digits /= 10;
    --d.count;
  }
  if (d.digits != 0) {
    if (d.count + (scale - d.scale) > std::min(precision, kMostDigits)) return NumericOutcome::OutOfRange;
    for (; d.scale < scale; ++d.scale) d.digits *= 10;
  }
  out = {};
  out.precision = static_cast<SQLCHAR>(precision);
  out.scale = static_cast<SQLSCHAR>(scale);
  out.sign = d.negative ? 0 : 1;
  for (SQLCHAR& byte : out.val) {
    byte = static_cast<SQLCHAR>(d.digits & 0xFF);
    d.digits >>= 8;
  }
  return lost ? NumericOutcome::Truncated : NumericOutcome::Exact;
}

int numericToText(const SQL_NUMERIC_STRUCT& number, Text& out) {
  Wide value = 0;
  for (int i = SQL_MAX_NUMERIC_LEN - 1; i >= 0; --i) value = value << 8 | number.val[i];
  char digits[48];  // from the end
  int n = 0;
  do {
    digits[sizeof digits - 1 - static_cast<unsigned>(n++)] =
        static_cast<char>('0' + static_cast<int>(value % 10));
    value /= 10;
  } while (value != 0);
  const std::string_view text(digits + sizeof digits - n, static_cast<std::size_t>(n));
  if (!number.sign && out.append('-')) return 1;
  const int scale = number.scale;
  if (scale <= 0) {
    if (out.append(text)) return 1;
    for (int i = scale; i < 0; ++i) {
      if (out.append('0')) return 1;
    }
    return 0;
  }
  const int whole = std::max(0, n - scale);
  if (out.append(whole > 0 ? text.substr(0, static_cast<std::size_t>(whole)) : "0") || out.append('.'))
    return 1;
  for (int i = n; i < scale; ++i) {
    if (out.append('0')) return 1;
  }
  return out.append(text.substr(static_cast<std::size_t>(whole)));
}

}  // namespace pgwire
