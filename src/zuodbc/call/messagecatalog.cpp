#include "zuodbc/call/messagecatalog.h"

#include <dlfcn.h>
#include <limits.h>
#include <nl_types.h>
#include <sys/stat.h>

#include <cctype>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "zuodbc/sources/profilereader.h"

namespace dm {
namespace {

constexpr int kMessageSet = 1;
constexpr unsigned short kOutOfMemory = 136;
constexpr const char* kFallbackLocale = "en_US";
constexpr const char* kNoLocale = "C";

using Path = char[PATH_MAX];

const nl_catd kNoCatalog = reinterpret_cast<nl_catd>(-1);  // NOLINT: what catopen returns on failure

// The value of a variable, unless it is unset, empty or "C". Null in a set-user-ID program.
const char* localeFrom(const char* variable) {
  const char* value = secure_getenv(variable);
  return value && *value && std::strcmp(value, kNoLocale) != 0 ? value : nullptr;
}

// The program's own choice, else the user's. A value with a slash could lead out of the directory.
const char* wantedLocale() {
  const char* locale = std::setlocale(LC_MESSAGES, nullptr);
  if (locale && std::strcmp(locale, kNoLocale) == 0) locale = localeFrom("LC_MESSAGES");
  if (!locale) locale = localeFrom("LANG");
  return locale && *locale && !std::strchr(locale, '/') ? locale : kFallbackLocale;
}

// The key "InstallDir" of section "ODBC", without white space and one slash at its end.
bool installDirOf(const char* file, Path& directory) {
  if (ProfileReader().read("ODBC", "InstallDir", file, directory, sizeof directory) == 0) return false;
  size_t length = std::strlen(directory);
  while (length && std::isspace(static_cast<unsigned char>(directory[length - 1]))) --length;
  if (length && directory[length - 1] == '/') --length;
  directory[length] = 0;
  return length != 0;
}

// The file that this code was loaded from. Of a program the loader knows the name only as it was typed.
bool ownFile(Path& path) {
  Dl_info info{};
  const bool known = dladdr(reinterpret_cast<const void*>(&readMessage), &info) && info.dli_fname;
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
    const int length = std::snprintf(directory, sizeof directory, "%s/share/zulib", own);
    struct stat facts;
    if (length > 0 && length < PATH_MAX && stat(directory, &facts) == 0 && S_ISDIR(facts.st_mode))
      return true;
  }
  return false;
}

nl_catd openFor(const Path& directory, const char* locale, size_t length) {
  Path path;
  const int written = std::snprintf(path, sizeof path, "%s/locale/%.*s/LC_MESSAGES/odbc.m", directory,
                                    static_cast<int>(length), locale);
  return written > 0 && written < PATH_MAX ? catopen(path, 0) : kNoCatalog;
}

// de_DE.UTF-8, then de_DE, then the fallback.
nl_catd openCatalog() {
  Path directory;
  if (!installDirOf(kDataSourceFile, directory) && !installDirOf(kDriverFile, directory) &&
      !besideLibrary(directory)) {
    return kNoCatalog;
  }
  const char* locale = wantedLocale();
  const size_t length = std::strlen(locale);
  const size_t plain = std::strcspn(locale, ".@");
  nl_catd catalog = openFor(directory, locale, length);
  if (catalog == kNoCatalog && plain < length) catalog = openFor(directory, locale, plain);
  if (catalog == kNoCatalog) catalog = openFor(directory, kFallbackLocale, std::strlen(kFallbackLocale));
  return catalog;
}

struct Catalog {
  std::mutex lock;
  nl_catd descriptor = kNoCatalog;

  // The caller holds the lock.
  nl_catd open() {
    if (descriptor == kNoCatalog) descriptor = openCatalog();
    return descriptor;
  }
};

Catalog& messages() {
  static Catalog catalog;
  return catalog;
}

}  // namespace

void openMessages() noexcept {
  Catalog& catalog = messages();
  const std::lock_guard guard(catalog.lock);
  catalog.open();
}

void readMessage(unsigned short number, char* text, size_t size, char (&sqlstate)[6]) noexcept {
  Catalog& catalog = messages();
  const std::lock_guard guard(catalog.lock);
  const bool isMemory = number == kOutOfMemory;
  const nl_catd descriptor = isMemory ? catalog.descriptor : catalog.open();
  char numeral[8];
  std::snprintf(numeral, sizeof numeral, "%u", static_cast<unsigned>(number));
  const char* message = isMemory ? "Memory allocation error" : numeral;
  const char* state = isMemory ? "HY001" : "HY000";
  if (descriptor != kNoCatalog) {
    message = catgets(descriptor, kMessageSet, number, message);
    const char* found = catgets(descriptor, kMessageSet, number + 1, state);
    if (std::strlen(found) == sizeof sqlstate - 1) state = found;
  }
  std::snprintf(text, size, "%s", message);
  std::snprintf(sqlstate, sizeof sqlstate, "%s", state);
}

}  // namespace dm
