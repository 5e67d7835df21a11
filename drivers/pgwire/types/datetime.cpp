#include "types/datetime.h"

#include <cstdio>

namespace pgwire {

namespace {

constexpr unsigned kFractionDigits = 9;

bool takeNumber(std::string_view& text, unsigned least, unsigned most, unsigned& out) {
  unsigned digits = 0;
  out = 0;
  while (digits < most && digits < text.size() && text[digits] >= '0' && text[digits] <= '9') {
    out = out * 10 + static_cast<unsigned>(text[digits++] - '0');
  }
  text.remove_prefix(digits);
  return digits >= least;
}

bool take(std::string_view& text, char c) {
  if (text.empty() || text[0] != c) return false;
  text.remove_prefix(1);
  return true;
}

bool takeDate(std::string_view& text, SQL_TIMESTAMP_STRUCT& out) {
  unsigned year = 0;
  unsigned month = 0;
  unsigned day = 0;
  if (!takeNumber(text, 4, 4, year) || !take(text, '-') || !takeNumber(text, 1, 2, month) ||
      !take(text, '-') || !takeNumber(text, 1, 2, day)) {
    return false;
  }
  out.year = static_cast<SQLSMALLINT>(year);
  out.month = static_cast<SQLUSMALLINT>(month);
  out.day = static_cast<SQLUSMALLINT>(day);
  return month >= 1 && month <= 12 && day >= 1 && day <= 31;
}

bool takeTime(std::string_view& text, SQL_TIMESTAMP_STRUCT& out) {
  unsigned hour = 0;
  unsigned minute = 0;
  unsigned second = 0;
  unsigned fraction = 0;
  if (!takeNumber(text, 1, 2, hour) || !take(text, ':') || !takeNumber(text, 2, 2, minute)) return false;
  if (take(text, ':') && !takeNumber(text, 2, 2, second)) return false;
  if (take(text, '.')) {
    const std::size_t before = text.size();
    if (!takeNumber(text, 1, kFractionDigits, fraction)) return false;
    for (std::size_t digits = before - text.size(); digits < kFractionDigits; ++digits) fraction *= 10;
  }
  out.hour = static_cast<SQLUSMALLINT>(hour);
  out.minute = static_cast<SQLUSMALLINT>(minute);
  out.second = static_cast<SQLUSMALLINT>(second);
  out.fraction = fraction;
  return hour <= 24 && minute <= 59 && second <= 61;
}

// "+02", "-03:30" or "+01:02:03".
bool takeZone(std::string_view& text) {
  unsigned part = 0;
  if (!take(text, '+') && !take(text, '-')) return true;
  if (!takeNumber(text, 2, 2, part)) return false;
  while (take(text, ':')) {
    if (!takeNumber(text, 2, 2, part)) return false;
  }
  return true;
}

void trim(std::string_view& text) {
  while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
  while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
}

int appendFormatted(Text& out, const char* buffer, int length) {
  return out.append({buffer, static_cast<std::size_t>(length)});
}

}  // namespace

bool parseDateTime(std::string_view text, DateTime& out) {
  out = {};
  trim(text);
  if (text.size() > 4 && text[4] == '-') {
    out.hasDate = true;
    if (!takeDate(text, out.value)) return false;
    if (text.empty()) return true;
    if (!take(text, ' ') && !take(text, 'T')) return false;
  }
  out.hasTime = true;
  return takeTime(text, out.value) && takeZone(text) && text.empty();
}

int appendDate(Text& out, SQLSMALLINT year, unsigned month, unsigned day) {
  char buffer[32];
  return appendFormatted(out, buffer,
                         std::snprintf(buffer, sizeof buffer, "%04d-%02u-%02u", year, month, day));
}

int appendTime(Text& out, unsigned hour, unsigned minute, unsigned second, SQLUINTEGER fraction) {
  char buffer[48];
  if (appendFormatted(out, buffer,
                      std::snprintf(buffer, sizeof buffer, "%02u:%02u:%02u", hour, minute, second)))
    return 1;
  if (fraction == 0) return 0;
  // The server keeps microseconds.
  return appendFormatted(out, buffer,
                         std::snprintf(buffer, sizeof buffer, ".%06u", fraction / 1000 % 1000000));
}

}  // namespace pgwire
