#include "zulib/os/host/zutime.h"

#include <stdlib.h>
#include <time.h>

#include <cstdio>
#include <tuple>

namespace {

constexpr unsigned long kStampSize = 23;  // of the longer stamp, with its terminator

// Reads a number and the separator after it; returns false if the separator is not there. With a separator of
// 0 only the number is read.
bool readField(const char*& text, char separator, long* value, unsigned short* field) {
  char* end = nullptr;
  *value = strtol(text, &end, 10);
  text = end;
  *field = static_cast<unsigned short>(*value);
  if (!separator) return true;
  return *text++ == separator;
}

bool isBelow(long value, long limit) { return value >= 0 && value < limit; }

}  // namespace

void bosdate(os_time* out) {
  const time_t now = time(nullptr);
  struct tm local = {};
  localtime_r(&now, &local);
  out->day = static_cast<unsigned short>(local.tm_mday);
  out->month = static_cast<unsigned short>(local.tm_mon + 1);
  out->year = static_cast<unsigned short>(local.tm_year + 1900);
  out->hour = static_cast<unsigned short>(local.tm_hour);
  out->minute = static_cast<unsigned short>(local.tm_min);
  out->second = static_cast<unsigned short>(local.tm_sec);
}

int ZuTime::initialize(const unsigned char* stamp) {
  *this = ZuTime();
  const char* text = reinterpret_cast<const char*>(stamp);
  const struct {
    unsigned short* field;
    char separator;
    long limit;
  } layout[] = {{&month, ':', 12},  {&day, ':', 32},    {&year, ':', 2101},   {&hour, ':', 24},
                {&minute, ':', 60}, {&second, '.', 60}, {&hundredths, 0, 100}};
  bool inRange = true;
  for (const auto& part : layout) {
    long value = 0;
    if (!readField(text, part.separator, &value, part.field)) return 1;
    inRange = inRange && isBelow(value, part.limit);
  }
  if (inRange) return 0;
  *this = ZuTime();
  return 1;
}

void ZuTime::captureCurrentTimeStamp() {
  os_time now;
  bosdate(&now);
  day = now.day;
  month = now.month;
  year = now.year;
  hour = now.hour;
  minute = now.minute;
  second = now.second;
  hundredths = 0;
}

unsigned short ZuTime::getCurrentTimeStamp(unsigned char* out) const {
  os_time now;
  bosdate(&now);
  char text[kStampSize];
  const int length = std::snprintf(text, sizeof text, "%02d:%02d:%02d.00", now.hour % 100, now.minute % 100,
                                   now.second % 100);
  for (int i = 0; i <= length; ++i) out[i] = static_cast<unsigned char>(text[i]);
  return static_cast<unsigned short>(length);
}

unsigned short ZuTime::getCurrentDayTimeStamp(unsigned char* out) const {
  os_time now;
  bosdate(&now);
  char text[kStampSize];
  const int length =
      std::snprintf(text, sizeof text, "%02d:%02d:%04d:%02d:%02d:%02d.00", now.month % 100, now.day % 100,
                    now.year % 10000, now.hour % 100, now.minute % 100, now.second % 100);
  for (int i = 0; i <= length; ++i) out[i] = static_cast<unsigned char>(text[i]);
  return static_cast<unsigned short>(length);
}

bool ZuTime::operator==(const ZuTime& other) const {
  return month == other.month && day == other.day && year == other.year && hour == other.hour &&
         minute == other.minute && second == other.second && hundredths == other.hundredths;
}

bool ZuTime::operator<(const ZuTime& other) const {
  return month < other.month && day < other.day && year < other.year && hour < other.hour &&
         minute < other.minute && second < other.second && hundredths < other.hundredths;
}

bool ZuTime::operator>(const ZuTime& other) const { return other < *this; }

bool ZuTime::anHourElapsed(const ZuTime& other) const {
  return std::tie(year, month, day, hour) > std::tie(other.year, other.month, other.day, other.hour);
}

bool ZuTime::aDayElapsed(const ZuTime& other) const {
  return std::tie(year, month, day) > std::tie(other.year, other.month, other.day);
}
