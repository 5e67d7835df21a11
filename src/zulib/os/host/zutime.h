// The local time, and time stamps as text.
//
// Thread safety: reentrant.

#ifndef ZULIB_OS_HOST_ZUTIME_H
#define ZULIB_OS_HOST_ZUTIME_H

#include "zulib/runtime/zuapi.h"

struct os_time {
  unsigned short day;    // of the month
  unsigned short month;  // 1 to 12
  unsigned short year;
  unsigned short hour;
  unsigned short minute;
  unsigned short second;
};

// The local time of now.
ZU_API void bosdate(os_time* out);

class ZU_API ZuTime {
 public:
  // All fields 0.
  ZuTime() = default;

  // Reads "MM:DD:YYYY:HH:MM:SS.cc". Returns 0; or 1 with the fields before a missing separator set, or with
  // all fields 0 if one is out of range. Kept: the month must be below 12, so stamps of December are refused.
  int initialize(const unsigned char* text);
  int initialize(const char* text) { return initialize(reinterpret_cast<const unsigned char*>(text)); }

  // Sets the fields to the time of now, the hundredths to 0.
  void captureCurrentTimeStamp();

  // Write the time of now, terminated, and return the length: "HH:MM:SS.cc", 11 characters, and
  // "MM:DD:YYYY:HH:MM:SS.cc", 22. The fraction is "00": the system's time has seconds.
  unsigned short getCurrentTimeStamp(unsigned char* out) const;
  unsigned short getCurrentDayTimeStamp(unsigned char* out) const;

  bool operator==(const ZuTime& other) const;
  // True only if each of the seven fields is less, or greater. Kept: this is no order of time. 1 January 2001
  // is not below 2 February 2000, nor above it.
  bool operator<(const ZuTime& other) const;
  bool operator>(const ZuTime& other) const;

  // True if this time is in a later hour, or on a later day, than the other; however little lies between.
  bool anHourElapsed(const ZuTime& other) const;
  bool aDayElapsed(const ZuTime& other) const;

 private:
  unsigned short day = 0;
  unsigned short month = 0;
  unsigned short year = 0;
  unsigned short hour = 0;
  unsigned short minute = 0;
  unsigned short second = 0;
  unsigned short hundredths = 0;
};

static_assert(sizeof(os_time) == 12 && sizeof(ZuTime) == 14);

#endif
