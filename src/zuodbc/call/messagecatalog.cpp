#include "zuodbc/call/messagecatalog.h"

#include <dlfcn.h>
#include <limits.h>
#include <nl_types.h>
#include <odbcinst.h>
#include <sys/stat.h>

#include <cctype>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>

namespace dm {
namespace {

constexpr int messageSet = 1;
constexpr const char* fallbackLocale = "en_US";
constexpr const char* noLocale = "C";

using Path = char[PATH_MAX];

const nl_catd noCatalog = reinterpret_cast<nl_catd>(-1);  // NOLINT: what catopen answers on failure

// What a variable says when it is set and says more than "no locale".
const char* wish(const char* variable) {
  const char* value = std::getenv(variable);
  return value && *value && std::strcmp(value, noLocale) != 0 ? value : nullptr;
}

// The program's own choice, else the user's. A value with a slash could lead out of the directory.
const char* wantedLocale() {
  const char* locale = std::setlocale(LC_MESSAGES, nullptr);
  if (locale && std::strcmp(locale, noLocale) == 0) locale = wish("LC_MESSAGES");
  if (!locale) locale = wish("LANG");
  return locale && *locale && !std::strchr(locale, '/') ? locale : fallbackLocale;
}

// The key "InstallDir" of section "ODBC", without white space and one slash at its end.
bool installDirOf(const char* file, Path& directory) {
  if (SQLGetPrivateProfileString("ODBC", "InstallDir", "", directory, sizeof directory, file) <= 0)
    return false;
  size_t length = std::strlen(directory);
  while (length && std::isspace(static_cast<unsigned char>(directory[length - 1]))) --length;
  if (length && directory[length - 1] == '/') --length;
  directory[length] = 0;
  return length != 0;
}

// The file that this code was loaded from. Of a program the loader knows the name only as it was typed.
bool ownFile(Path& path) {
  Dl_info info{};
  bool known = dladdr(reinterpret_cast<const void*>(&readMessage), &info) && info.dli_fname;
  if (known && std::strchr(info.dli_fname, '/') && realpath(info.dli_fname, path)) return true;
  return realpath("/proc/self/exe", path);
}

// ../share/zulib, or ../../share/zulib as seen from lib/x86_64-linux-gnu.
bool besideLibrary(Path& directory) {
  Path own;
  if (!ownFile(own)) return false;
  for (int level = 0; level < 3; ++level) {
    char* slash = std::strrchr(own, '/');
    if (!slash) return false;
    *slash = 0;
    if (level == 0) continue;  // the library's own directory
    int length = std::snprintf(directory, sizeof directory, "%s/share/zulib", own);
    struct stat facts;
    if (length > 0 && length < PATH_MAX && stat(directory, &facts) == 0 && S_ISDIR(facts.st_mode))
      return true;
  }
  return false;
}

nl_catd openFor(const Path& directory, const char* locale, size_t length) {
  Path path;
  int written = std::snprintf(path, sizeof path, "%s/locale/%.*s/LC_MESSAGES/odbc.m", directory,
                              static_cast<int>(length), locale);
  return written > 0 && written < PATH_MAX ? catopen(path, 0) : noCatalog;
}

// de_DE.UTF-8, then de_DE, then the fallback.
nl_catd openCatalog() {
  Path directory;
  if (!installDirOf("odbc.ini", directory) && !installDirOf("odbcinst.ini", directory) &&
      !besideLibrary(directory)) {
    return noCatalog;
  }
  const char* locale = wantedLocale();
  size_t length = std::strlen(locale);
  size_t plain = std::strcspn(locale, ".@");
  nl_catd catalog = openFor(directory, locale, length);
  if (catalog == noCatalog && plain < length) catalog = openFor(directory, locale, plain);
  if (catalog == noCatalog) catalog = openFor(directory, fallbackLocale, std::strlen(fallbackLocale));
  return catalog;
}

}  // namespace

void readMessage(unsigned short number, char* text, size_t size, char (&sqlstate)[6]) noexcept {
  static std::mutex lock;
  static nl_catd catalog = noCatalog;
  static bool sought = false;
  char numeral[8];
  std::snprintf(numeral, sizeof numeral, "%u", static_cast<unsigned>(number));
  std::lock_guard guard(lock);
  if (!sought) catalog = openCatalog();
  sought = true;
  const char* words = catalog == noCatalog ? numeral : catgets(catalog, messageSet, number, numeral);
  const char* state = catalog == noCatalog ? "" : catgets(catalog, messageSet, number + 1, "");
  std::snprintf(text, size, "%s", words);
  std::snprintf(sqlstate, sizeof sqlstate, "%s", std::strlen(state) == 5 ? state : "HY000");
}

}  // namespace dm
