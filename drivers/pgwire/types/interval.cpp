#include "types/interval.h"

#include <charconv>
#include <cstdio>
#include <iterator>

#include "base/errors.h"

namespace pgwire {

namespace {

constexpr int64_t kMonths = 12;
constexpr int64_t kSecond = 1000000;  // in microseconds
constexpr int64_t kMinute = 60 * kSecond;
constexpr int64_t kHour = 60 * kMinute;
constexpr int64_t kDay = 24 * kHour;
constexpr unsigned kFractionDigits = 6;
constexpr SQLUINTEGER kFractionEnd = 1000000;
constexpr int64_t kMostLeading = 999999999;  // of nine digits, more than the server's longest interval has
constexpr int64_t kMostNumber = 1000000000;

// The units from the largest to the smallest: an interval type has some of them that follow each other.
enum Unit { Year, Month, Day, Hour, Minute, Second, kUnits };
constexpr std::string_view kWords[] = {"year", "mon", "day", "hour", "min", "sec"};
constexpr int64_t kSizes[] = {kMonths, 1, kDay, kHour, kMinute, kSecond};

struct Fields {
  Unit first, last;
};
// By SQL_IS_YEAR, SQL_IS_MONTH..., which are the last two digits of a type's number.
constexpr Fields kFields[] = {{Year, Year},     {Month, Month},   {Day, Day},     {Hour, Hour},
                              {Minute, Minute}, {Second, Second}, {Year, Month},  {Day, Hour},
                              {Day, Minute},    {Day, Second},    {Hour, Minute}, {Hour, Second},
                              {Minute, Second}};
static_assert(std::size(kFields) == SQL_IS_MINUTE_TO_SECOND);

struct Amount {
  int64_t months = 0;
  int64_t micros = 0;
  void add(Unit unit, int64_t n) { (unit <= Month ? months : micros) += n * kSizes[unit]; }
};

class Parser {
 public:
  Parser(std::string_view text, Unit leading) : text(text), leading(leading) {}

  bool run(Amount& out) {
    unsigned parts = 0;
    for (skip(); !text.empty(); skip(), ++parts) {
      if (!part(out)) return false;
    }
    return parts > 0;
  }

 private:
  void skip() {
    while (!text.empty() && text[0] == ' ') text.remove_prefix(1);
  }
  bool take(char c) {
    if (text.empty() || text[0] != c) return false;
    text.remove_prefix(1);
    return true;
  }
  bool number(int64_t& out) {
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), out);
    if (parsed.ec != std::errc() || out < 0 || out > kMostNumber) return false;
    text.remove_prefix(static_cast<std::size_t>(parsed.ptr - text.data()));
    return true;
  }
  // Microseconds after a point, if there is one.
  int64_t fraction() {
    int64_t micros = 0;
    if (!take('.')) return 0;
    for (unsigned digits = 0; !text.empty() && text[0] >= '0' && text[0] <= '9'; text.remove_prefix(1)) {
      if (digits++ < kFractionDigits) micros = micros * 10 + (text[0] - '0');
      if (digits < kFractionDigits && (text.size() < 2 || text[1] < '0' || text[1] > '9')) {
        for (; digits < kFractionDigits; ++digits) micros *= 10;
      }
    }
    return micros;
  }

  // A number, with the unit in a word, in the signs around it, or by its place.
  bool part(Amount& out) {
    int64_t sign = 1;
    int64_t n = 0;
    if (take('-')) {
      sign = -1;
    } else {
      static_cast<void>(take('+'));
    }
    if (!number(n)) return false;
    if (take('-')) return yearsAndMonths(out, sign, n);
    if (take(':')) return time(out, sign, n);
    const int64_t micros = fraction();
    skip();
    Unit unit = leading;
    if (!text.empty() && text[0] >= 'a' && text[0] <= 'z') {
      if (!word(unit)) return false;
    } else if (!text.empty()) {
      unit = Day;  // "3 4:05:06"
    }
    if (micros && unit != Second) return false;
    out.add(unit, sign * n);
    out.micros += sign * micros;
    return true;
  }

  bool yearsAndMonths(Amount& out, int64_t sign, int64_t years) {
    int64_t months = 0;
    if (!number(months)) return false;
    out.add(Year, sign * years);
    out.add(Month, sign * months);
    return true;
  }

  // "hours:minutes", with ":seconds"; minutes and seconds alone for a type that begins with minutes.
  bool time(Amount& out, int64_t sign, int64_t first) {
    int64_t second = 0;
    int64_t third = 0;
    if (!number(second)) return false;
    Unit unit = Hour;
    if (take(':')) {
      if (!number(third)) return false;
    } else if (leading == Minute) {
      unit = Minute;
    }
    out.add(unit, sign * first);
    out.add(static_cast<Unit>(unit + 1), sign * second);
    out.add(Second, sign * third);
    out.micros += sign * fraction();
    return true;
  }

  bool word(Unit& unit) {
    for (int i = 0; i < kUnits; ++i) {
      if (!text.starts_with(kWords[i])) continue;
      unit = static_cast<Unit>(i);
      while (!text.empty() && text[0] >= 'a' && text[0] <= 'z') text.remove_prefix(1);
      return true;
    }
    return false;
  }

  std::string_view text;
  Unit leading;
};

SQLUINTEGER& fieldOf(SQL_INTERVAL_STRUCT& interval, int unit) {
  switch (unit) {
    case Year: return interval.intval.year_month.year;
    case Month: return interval.intval.year_month.month;
    case Day: return interval.intval.day_second.day;
    case Hour: return interval.intval.day_second.hour;
    case Minute: return interval.intval.day_second.minute;
    default: return interval.intval.day_second.second;
  }
}

}  // namespace

IntervalOutcome intervalFromText(std::string_view text, SQLSMALLINT cType, SQL_INTERVAL_STRUCT& out) {
  const Fields fields = kFields[cType - SQL_INTERVAL_YEAR];
  Amount amount;
  if (!Parser(text, fields.first).run(amount)) return IntervalOutcome::NotAnInterval;
  const bool isMonths = fields.last <= Month;
  if (!isMonths && amount.months) return IntervalOutcome::Overflow;
  int64_t rest = isMonths ? amount.months : amount.micros;
  out = {};
  out.interval_type = static_cast<SQLINTERVAL>(cType - SQL_INTERVAL_YEAR + SQL_IS_YEAR);
  out.interval_sign = rest < 0 ? SQL_TRUE : SQL_FALSE;
  rest = rest < 0 ? -rest : rest;
  for (int unit = fields.first; unit <= fields.last; ++unit) {
    const int64_t value = rest / kSizes[unit];
    if (value > kMostLeading) return IntervalOutcome::Overflow;
    fieldOf(out, unit) = static_cast<SQLUINTEGER>(value);
    rest -= value * kSizes[unit];
  }
  if (fields.last == Second) {
    out.intval.day_second.fraction = static_cast<SQLUINTEGER>(rest);
    rest = 0;
  }
  return rest || (isMonths && amount.micros) ? IntervalOutcome::Truncated : IntervalOutcome::Exact;
}

int intervalToText(SQL_INTERVAL_STRUCT interval, Text& out) {
  const int type = interval.interval_type - SQL_IS_YEAR;
  if (type < 0 || type >= static_cast<int>(std::size(kFields))) return fail(Issue::BadDateTime);
  const char* sign = interval.interval_sign == SQL_TRUE ? "-" : "";
  for (int unit = kFields[type].first; unit <= kFields[type].last; ++unit) {
    char buffer[48];
    int n = std::snprintf(buffer, sizeof buffer, "%s%u", sign, fieldOf(interval, unit));
    if (out.append({buffer, static_cast<std::size_t>(n)})) return 1;
    n = std::snprintf(buffer, sizeof buffer, ".%06u", interval.intval.day_second.fraction % kFractionEnd);
    if (unit == Second && out.append({buffer, static_cast<std::size_t>(n)})) return 1;
    if (out.append(' ') || out.append(kWords[unit]) || out.append(' ')) return 1;
  }
  return 0;
}

}  // namespace pgwire
