// Profile files as the tests put them.

#ifndef ZULIB_TESTS_OS_ZUINI_SUPPORT_H
#define ZULIB_TESTS_OS_ZUINI_SUPPORT_H

#include <fcntl.h>
#include <sys/stat.h>

#include <memory>
#include <string>

#include "tests/os/support.h"
#include "zulib/os/profiles/zuini.h"

namespace ostest {

// Null stays null.
inline const unsigned char* bytesOrNull(const char* s) { return reinterpret_cast<const unsigned char*>(s); }

// A value of any length, in a block that ends where the call may write last.
template <class Call>
std::string resultOf(unsigned long size, Call call) {
  std::unique_ptr<unsigned char[]> out(new unsigned char[size + 1]);
  const unsigned long length = call(out.get(), size);
  return {reinterpret_cast<const char*>(out.get()), length};
}

inline std::string valueOf(ZuIniFileCache& cache, const char* section, const char* key,
                           const std::string& otherwise = "?", unsigned long size = 300) {
  return resultOf(size, [&](unsigned char* out, unsigned long n) {
    return cache.bosGetProfileString(bytesOrNull(section), bytesOrNull(key), bytes(otherwise), out, n);
  });
}

// Gives a file a date in the past, so that it counts as unchanged from the first reading on.
inline void setAge(const std::string& path, long seconds) {
  const timespec then = {time(nullptr) - seconds, 0};
  const timespec times[2] = {then, then};
  utimensat(AT_FDCWD, path.c_str(), times, 0);
}

}  // namespace ostest

#endif
