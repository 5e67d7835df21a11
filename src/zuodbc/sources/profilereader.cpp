#include "zuodbc/sources/profilereader.h"

namespace dm {
namespace {

std::mutex readerLock;

}  // namespace

ProfileReader::ProfileReader(UWORD mode) : guard(readerLock) {
  SQLGetConfigMode(&before);
  if (mode != before) SQLSetConfigMode(mode);
}

ProfileReader::~ProfileReader() { SQLSetConfigMode(before); }

int ProfileReader::read(const char* section, const char* entry, const char* file, char* out,
                        int size) noexcept {
  const int length = SQLGetPrivateProfileString(section, entry, "", out, size, file);
  return length < 0 ? 0 : length;
}

}  // namespace dm
