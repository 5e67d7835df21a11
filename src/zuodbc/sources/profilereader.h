// Access to odbc.ini and odbcinst.ini through the system's own reader.
//
// That reader keeps its mode, which of the user's and the system's files it reads, for the whole process. A
// ProfileReader therefore holds a lock for as long as it exists: no other thread reads in its mode.
//
// Thread use: one thread; two readers of one thread wait for each other for ever.

#ifndef ZUODBC_SOURCES_PROFILEREADER_H
#define ZUODBC_SOURCES_PROFILEREADER_H

#include <odbcinst.h>

#include <mutex>

namespace dm {

inline constexpr const char* kDataSourceFile = "odbc.ini";
inline constexpr const char* kDriverFile = "odbcinst.ini";

class ProfileReader {
 public:
  // `mode`: ODBC_BOTH_DSN, ODBC_USER_DSN or ODBC_SYSTEM_DSN.
  explicit ProfileReader(UWORD mode = ODBC_BOTH_DSN);
  ProfileReader(const ProfileReader&) = delete;
  ProfileReader& operator=(const ProfileReader&) = delete;
  ~ProfileReader();

  // Reads a value into `out`, zero-ended and cut to `size`; with a null section or entry the names of the
  // sections or entries, each zero-ended. Returns the length, 0 if there is nothing.
  int read(const char* section, const char* entry, const char* file, char* out, int size) noexcept;

 private:
  std::lock_guard<std::mutex> guard;
  UWORD before = ODBC_BOTH_DSN;
};

}  // namespace dm

#endif
