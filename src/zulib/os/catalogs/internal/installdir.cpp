#include "zulib/os/catalogs/internal/installdir.h"

#include <dlfcn.h>
#include <sys/stat.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "zulib/os/internal/tracing.h"
#include "zulib/os/profiles/zuini.h"
#include "zulib/text/strcopy.h"

namespace {

// The file that this code was loaded from: the shared library, or the program that it is linked into. The
// loader may know the name of a program only as it was typed.
bool ownFile(char (&path)[PATH_MAX]) {
  Dl_info info{};
  const bool known = dladdr(reinterpret_cast<const void*>(&zuos::findInstallDir), &info) && info.dli_fname;
  if (known && std::strchr(info.dli_fname, '/') && realpath(info.dli_fname, path)) return true;
  return realpath("/proc/self/exe", path);
}

bool isDirectory(const char* path) {
  struct stat facts;
  return stat(path, &facts) == 0 && S_ISDIR(facts.st_mode);
}

// PREFIX/lib/libzulib.so, and PREFIX/lib/x86_64-linux-gnu/libzulib.so as Debian has it, belong to
// PREFIX/share/zulib.
bool besideLibrary(char (&found)[PATH_MAX]) {
  char path[PATH_MAX];
  if (!ownFile(path)) return false;
  for (int level = 0; level < 3; ++level) {
    char* const slash = std::strrchr(path, '/');
    if (!slash) return false;
    *slash = 0;
    if (level == 0) continue;  // the library's own directory
    const int length = std::snprintf(found, sizeof found, "%s/share/zulib", path);
    if (length > 0 && length < PATH_MAX && isDirectory(found)) return true;
  }
  return false;
}

}  // namespace

namespace zuos {

void findInstallDir(unsigned char* out, unsigned long size) {
  const auto* const section = bytes("ODBC");
  const auto* const key = bytes("InstallDir");
  const auto* const none = bytes("");
  out[0] = 0;
  zuGetProfileString(section, key, none, out, size - 1, bytes(".odbc.ini"));
  if (!out[0]) zuGetPrivateProfileString(section, key, none, out, size - 1, bytes(".odbcinst.ini"));
  if (out[0]) return;
  char found[PATH_MAX];
  if (besideLibrary(found) && std::strlen(found) < size) strCopy(out, bytes(found), std::strlen(found));
}

}  // namespace zuos
