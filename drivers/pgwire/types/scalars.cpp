#include "types/scalars.h"

#include <zulib/convert/scalar/zuconvert.h>

#include <charconv>
#include <cmath>
#include <ctime>
#include <limits>

#include "base/errors.h"
#include "types/datetime.h"
#include "types/interval.h"
#include "types/numeric.h"

namespace pgwire {

namespace {

template <class T>
void store(void* out, const T& value) {
  std::memcpy(out, &value, sizeof value);
}
template <class T>
T load(const void* in) {
  T value;
  std::memcpy(&value, in, sizeof value);
  return value;
}

Outcome failed(Issue issue) {
  postError(issue);
  return Outcome::Failed;
}
Outcome warned(Issue issue) {
  postWarning(issue);
  return Outcome::Warned;
}

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
  while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
  if (text.size() > 1 && text.front() == '+') text.remove_prefix(1);
  return text;
}

bool parseDouble(std::string_view text, double& out) {
  const auto end = text.data() + text.size();
  const auto parsed = std::from_chars(text.data(), end, out);
  if (parsed.ptr != end) return false;
  if (parsed.ec == std::errc::result_out_of_range) out = text[0] == '-' ? -HUGE_VAL : HUGE_VAL;
  return parsed.ec != std::errc::invalid_argument;
}

// The number at the head of a decimal text; `exact` is false if a fraction other than zeros follows.
template <class Wide>
Outcome parseWhole(std::string_view text, Wide& out, bool& exact) {
  exact = true;
  const auto end = text.data() + text.size();
  const auto parsed = std::from_chars(text.data(), end, out);
  if (parsed.ec == std::errc() && parsed.ptr == end) return Outcome::Done;
  double number = 0;
  if (!parseDouble(text, number)) return failed(Issue::NotConvertible);
  const std::string_view rest(parsed.ptr, static_cast<std::size_t>(end - parsed.ptr));
  if (parsed.ec == std::errc() && rest.starts_with('.') && rest.find_first_of("eE") == rest.npos) {
    exact = rest.find_first_not_of('0', 1) == rest.npos;
    return Outcome::Done;
  }
  const double whole = std::trunc(number);
  exact = whole == number;
  // The limits of 64-bit types are not doubles; the next power of two is.
  constexpr double kEnd = std::is_signed_v<Wide> ? 0x1p63 : 0x1p64;
  constexpr double kBegin = std::is_signed_v<Wide> ? -0x1p63 : 0;
  if (!(whole >= kBegin && whole < kEnd)) return failed(Issue::OutOfRange);
  out = static_cast<Wide>(whole);
  return Outcome::Done;
}

template <class T>
Outcome toInteger(std::string_view text, void* out) {
  using Wide = std::conditional_t<std::is_signed_v<T>, long long, unsigned long long>;
  Wide number = 0;
  bool exact = true;
  if (parseWhole(text, number, exact) == Outcome::Failed) return Outcome::Failed;
  if (number < std::numeric_limits<T>::min() || number > std::numeric_limits<T>::max())
    return failed(Issue::OutOfRange);
  store(out, static_cast<T>(number));
  return exact ? Outcome::Done : warned(Issue::FractionTruncated);
}

Outcome toBit(std::string_view text, void* out) {
  double number = 0;
  if (!parseDouble(text, number)) return failed(Issue::NotConvertible);
  if (!(number >= 0 && number < 2)) return failed(Issue::OutOfRange);
  store(out, static_cast<unsigned char>(number >= 1 ? 1 : 0));
  return number == 0 || number == 1 ? Outcome::Done : warned(Issue::FractionTruncated);
}

template <class T>
Outcome toFloat(std::string_view text, void* out) {
  double number = 0;
  if (!parseDouble(text, number)) return failed(Issue::NotConvertible);
  if (std::isfinite(number) && std::fabs(number) > static_cast<double>(std::numeric_limits<T>::max()))
    return failed(Issue::OutOfRange);
  store(out, static_cast<T>(number));
  return Outcome::Done;
}

Outcome toNumeric(std::string_view text, const NumericForm& form, void* out) {
  SQL_NUMERIC_STRUCT number;
  switch (numericFromText(text, form.precision, form.scale, number)) {
    case NumericOutcome::Exact: break;
    case NumericOutcome::Truncated: store(out, number); return warned(Issue::FractionTruncated);
    case NumericOutcome::OutOfRange: return failed(Issue::OutOfRange);
    case NumericOutcome::NotANumber: return failed(Issue::NotConvertible);
  }
  store(out, number);
  return Outcome::Done;
}

bool hexByte(std::string_view text, std::size_t at, unsigned char& out) {
  const auto parsed = std::from_chars(text.data() + at, text.data() + at + 2, out, 16);
  return parsed.ec == std::errc() && parsed.ptr == text.data() + at + 2;
}

Outcome toGuid(std::string_view text, void* out) {
  constexpr std::size_t kLength = 36;
  unsigned char bytes[16];
  unsigned count = 0;
  if (text.size() != kLength) return failed(Issue::NotConvertible);
  for (std::size_t at = 0; at < kLength && count < sizeof bytes;) {
    if (at == 8 || at == 13 || at == 18 || at == 23) {
      if (text[at++] != '-') return failed(Issue::NotConvertible);
    } else {
      if (!hexByte(text, at, bytes[count++])) return failed(Issue::NotConvertible);
      at += 2;
    }
  }
  SQLGUID guid;
  std::memcpy(&guid, bytes, sizeof bytes);
  guid.Data1 = __builtin_bswap32(guid.Data1);
  guid.Data2 = __builtin_bswap16(guid.Data2);
  guid.Data3 = __builtin_bswap16(guid.Data3);
  store(out, guid);
  return Outcome::Done;
}

void addToday(SQL_TIMESTAMP_STRUCT& value) {
  const std::time_t now = std::time(nullptr);
  std::tm today = {};
  localtime_r(&now, &today);
  value.year = static_cast<SQLSMALLINT>(today.tm_year + 1900);
  value.month = static_cast<SQLUSMALLINT>(today.tm_mon + 1);
  value.day = static_cast<SQLUSMALLINT>(today.tm_mday);
}

Outcome toDateTime(std::string_view text, SQLSMALLINT cType, void* out) {
  DateTime parsed;
  if (!parseDateTime(text, parsed)) return failed(Issue::BadDateTime);
  SQL_TIMESTAMP_STRUCT& value = parsed.value;
  bool exact = true;
  if (cType == SQL_C_TYPE_DATE) {
    if (!parsed.hasDate) return failed(Issue::NotConvertible);
    store(out, SQL_DATE_STRUCT{value.year, value.month, value.day});
    exact = value.hour == 0 && value.minute == 0 && value.second == 0 && value.fraction == 0;
  } else if (cType == SQL_C_TYPE_TIME) {
    if (!parsed.hasTime) return failed(Issue::NotConvertible);
    store(out, SQL_TIME_STRUCT{value.hour, value.minute, value.second});
    exact = value.fraction == 0;
  } else {
    if (!parsed.hasDate) addToday(value);
    store(out, value);
  }
  return exact ? Outcome::Done : warned(Issue::FractionTruncated);
}

Outcome toInterval(std::string_view text, SQLSMALLINT cType, void* out) {
  SQL_INTERVAL_STRUCT interval;
  const IntervalOutcome outcome = intervalFromText(text, cType, interval);
  if (outcome == IntervalOutcome::NotAnInterval) return failed(Issue::NotConvertible);
  if (outcome == IntervalOutcome::Overflow) return failed(Issue::IntervalOverflow);
  store(out, interval);
  return outcome == IntervalOutcome::Truncated ? warned(Issue::FractionTruncated) : Outcome::Done;
}

SQLSMALLINT withSign(SQLSMALLINT cType) {
  switch (cType) {
    case SQL_C_TINYINT: return SQL_C_STINYINT;
    case SQL_C_SHORT: return SQL_C_SSHORT;
    case SQL_C_LONG: return SQL_C_SLONG;
    case SQL_C_DATE: return SQL_C_TYPE_DATE;
    case SQL_C_TIME: return SQL_C_TYPE_TIME;
    case SQL_C_TIMESTAMP: return SQL_C_TYPE_TIMESTAMP;
    default: return cType;
  }
}

// Whether the standard has a conversion between the two at all.
bool canConvert(Kind kind, SQLSMALLINT cType) {
  const bool toTime = cType == SQL_C_TYPE_DATE || cType == SQL_C_TYPE_TIME || cType == SQL_C_TYPE_TIMESTAMP;
  switch (kind) {
    case Kind::Text: return true;
    case Kind::Date: return cType == SQL_C_TYPE_DATE || cType == SQL_C_TYPE_TIMESTAMP;
    case Kind::Time: return cType == SQL_C_TYPE_TIME || cType == SQL_C_TYPE_TIMESTAMP;
    case Kind::Timestamp: return toTime;
    case Kind::Uuid: return cType == SQL_C_GUID;
    case Kind::Interval: return isIntervalType(cType);
    case Kind::Bytes: return false;
    default: break;
  }
  // A number is an interval of a single field.
  if (isIntervalType(cType))
    return (kind == Kind::Integer || kind == Kind::Decimal) && cType <= SQL_INTERVAL_SECOND;
  return !toTime && cType != SQL_C_GUID;
}

int appendNumber(Text& out, long long number) {
  unsigned char digits[33];
  const unsigned long n = convert(digits, number);
  return out.append({reinterpret_cast<const char*>(digits), n});
}

int appendUnsigned(Text& out, unsigned long long number) {
  unsigned char digits[33];
  const unsigned long n = convert(digits, number);
  return out.append({reinterpret_cast<const char*>(digits), n});
}

template <class T>
int appendFloat(Text& out, T number) {
  if (std::isnan(number)) return out.append("NaN");
  if (std::isinf(number)) return out.append(number < 0 ? "-Infinity" : "Infinity");
  char digits[64];
  const auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
  return out.append({digits, static_cast<std::size_t>(end - digits)});
}

int appendGuid(Text& out, SQLGUID guid) {
  constexpr char kDigits[] = "0123456789abcdef";
  guid.Data1 = __builtin_bswap32(guid.Data1);
  guid.Data2 = __builtin_bswap16(guid.Data2);
  guid.Data3 = __builtin_bswap16(guid.Data3);
  unsigned char bytes[sizeof guid];
  std::memcpy(bytes, &guid, sizeof guid);
  for (unsigned i = 0; i < sizeof bytes; ++i) {
    if ((i == 4 || i == 6 || i == 8 || i == 10) && out.append('-')) return 1;
    if (out.append(kDigits[bytes[i] >> 4]) || out.append(kDigits[bytes[i] & 15])) return 1;
  }
  return 0;
}

int appendTimestamp(Text& out, const SQL_TIMESTAMP_STRUCT& t) {
  return appendDate(out, t.year, t.month, t.day) || out.append(' ') ||
         appendTime(out, t.hour, t.minute, t.second, t.fraction);
}

}  // namespace

SQLLEN sizeOfCType(SQLSMALLINT cType) {
  switch (withSign(cType)) {
    case SQL_C_BIT:
    case SQL_C_STINYINT:
    case SQL_C_UTINYINT: return 1;
    case SQL_C_SSHORT:
    case SQL_C_USHORT: return sizeof(SQLSMALLINT);
    case SQL_C_SLONG:
    case SQL_C_ULONG: return sizeof(SQLINTEGER);
    case SQL_C_SBIGINT:
    case SQL_C_UBIGINT: return sizeof(SQLBIGINT);
    case SQL_C_FLOAT: return sizeof(SQLREAL);
    case SQL_C_DOUBLE: return sizeof(SQLDOUBLE);
    case SQL_C_NUMERIC: return sizeof(SQL_NUMERIC_STRUCT);
    case SQL_C_TYPE_DATE: return sizeof(SQL_DATE_STRUCT);
    case SQL_C_TYPE_TIME: return sizeof(SQL_TIME_STRUCT);
    case SQL_C_TYPE_TIMESTAMP: return sizeof(SQL_TIMESTAMP_STRUCT);
    case SQL_C_GUID: return sizeof(SQLGUID);
    default: return isIntervalType(cType) ? sizeof(SQL_INTERVAL_STRUCT) : 0;
  }
}

bool isCType(SQLSMALLINT cType) {
  return sizeOfCType(cType) > 0 || cType == SQL_C_CHAR || cType == SQL_C_WCHAR || cType == SQL_C_BINARY ||
         cType == SQL_C_DEFAULT;
}

Outcome scalarFromText(std::string_view text, Kind kind, SQLSMALLINT cType, const NumericForm& form,
                       void* out) {
  cType = withSign(cType);
  if (sizeOfCType(cType) == 0 || !canConvert(kind, cType)) return failed(Issue::NoSuchConversion);
  if (kind == Kind::Bool) text = text == "t" ? "1" : "0";
  text = trimmed(text);
  switch (cType) {
    case SQL_C_BIT: return toBit(text, out);
    case SQL_C_STINYINT: return toInteger<signed char>(text, out);
    case SQL_C_UTINYINT: return toInteger<unsigned char>(text, out);
    case SQL_C_SSHORT: return toInteger<SQLSMALLINT>(text, out);
    case SQL_C_USHORT: return toInteger<SQLUSMALLINT>(text, out);
    case SQL_C_SLONG: return toInteger<SQLINTEGER>(text, out);
    case SQL_C_ULONG: return toInteger<SQLUINTEGER>(text, out);
    case SQL_C_SBIGINT: return toInteger<SQLBIGINT>(text, out);
    case SQL_C_UBIGINT: return toInteger<SQLUBIGINT>(text, out);
    case SQL_C_FLOAT: return toFloat<SQLREAL>(text, out);
    case SQL_C_DOUBLE: return toFloat<SQLDOUBLE>(text, out);
    case SQL_C_NUMERIC: return toNumeric(text, form, out);
    case SQL_C_GUID: return toGuid(text, out);
    default: return isIntervalType(cType) ? toInterval(text, cType, out) : toDateTime(text, cType, out);
  }
}

int scalarToText(const void* in, SQLSMALLINT cType, Text& out) {
  switch (withSign(cType)) {
    case SQL_C_BIT: return appendNumber(out, load<unsigned char>(in) ? 1 : 0);
    case SQL_C_STINYINT: return appendNumber(out, load<signed char>(in));
    case SQL_C_UTINYINT: return appendNumber(out, load<unsigned char>(in));
    case SQL_C_SSHORT: return appendNumber(out, load<SQLSMALLINT>(in));
    case SQL_C_USHORT: return appendNumber(out, load<SQLUSMALLINT>(in));
    case SQL_C_SLONG: return appendNumber(out, load<SQLINTEGER>(in));
    case SQL_C_ULONG: return appendNumber(out, load<SQLUINTEGER>(in));
    case SQL_C_SBIGINT: return appendNumber(out, load<SQLBIGINT>(in));
    case SQL_C_UBIGINT: return appendUnsigned(out, load<SQLUBIGINT>(in));
    case SQL_C_FLOAT: return appendFloat(out, load<SQLREAL>(in));
    case SQL_C_DOUBLE: return appendFloat(out, load<SQLDOUBLE>(in));
    case SQL_C_NUMERIC: return numericToText(load<SQL_NUMERIC_STRUCT>(in), out);
    case SQL_C_GUID: return appendGuid(out, load<SQLGUID>(in));
    case SQL_C_TYPE_DATE: {
      const auto d = load<SQL_DATE_STRUCT>(in);
      return appendDate(out, d.year, d.month, d.day);
    }
    case SQL_C_TYPE_TIME: {
      const auto t = load<SQL_TIME_STRUCT>(in);
      return appendTime(out, t.hour, t.minute, t.second, 0);
    }
    case SQL_C_TYPE_TIMESTAMP: return appendTimestamp(out, load<SQL_TIMESTAMP_STRUCT>(in));
    default:
      return isIntervalType(cType) ? intervalToText(load<SQL_INTERVAL_STRUCT>(in), out)
                                   : fail(Issue::NoSuchConversion);
  }
}

}  // namespace pgwire
