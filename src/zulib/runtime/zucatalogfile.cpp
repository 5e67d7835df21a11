#include "zulib/runtime/zucatalogfile.h"

#include <dlfcn.h>
#include <sys/stat.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr const char* kFallbackLocale = "en_US";
constexpr const char* kNoLocale = "C";

// The file that this code was loaded from. The loader may know the name of a program only as it was typed.
bool ownFile(char (&path)[PATH_MAX]) {
  Dl_info info{};
  const bool known = dladdr(reinterpret_cast<const void*>(&ownFile), &info) && info.dli_fname;
  if (known && std::strchr(info.dli_fname, '/') && realpath(info.dli_fname, path)) return true;
  return realpath("/proc/self/exe", path);
}

bool isDirectory(const char* path) {
  struct stat facts;
  return stat(path, &facts) == 0 && S_ISDIR(facts.st_mode);
}

// The value of a variable, unless it is unset, empty or "C".
const char* localeFrom(const char* variable) {
  const char* const value = secure_getenv(variable);
  return value && *value && std::strcmp(value, kNoLocale) != 0 ? value : nullptr;
}

nl_catd openFor(const char* installDir, const char* locale, size_t length, const char* file) {
  char path[PATH_MAX];
  const int written = std::snprintf(path, sizeof path, "%s/locale/%.*s/LC_MESSAGES/%s", installDir,
                                    static_cast<int>(length), locale, file);
  return written > 0 && written < PATH_MAX ? catopen(path, 0) : zucatalogfile::none();
}

}  // namespace

namespace zucatalogfile {

bool findBesideLibrary(char (&directory)[PATH_MAX]) {
  char path[PATH_MAX];
  if (!ownFile(path)) return false;
  for (int level = 0; level < 3; ++level) {
    char* const slash = std::strrchr(path, '/');
    if (!slash) return false;
    *slash = 0;
    if (level == 0) continue;  // the library's own directory
    const int length = std::snprintf(directory, sizeof directory, "%s/share/zulib", path);
    if (length > 0 && length < PATH_MAX && isDirectory(directory)) return true;
  }
  return false;
}

const char* messageLocale() {
  const char* locale = std::setlocale(LC_MESSAGES, nullptr);
  if (!locale || std::strcmp(locale, kNoLocale) == 0) locale = localeFrom("LC_MESSAGES");
  if (!locale) locale = localeFrom("LANG");
  return locale && *locale && !std::strchr(locale, '/') ? locale : kFallbackLocale;
}

nl_catd open(const char* installDir, const char* locale, const char* file) {
  const size_t length = std::strlen(locale);
  const size_t plain = std::strcspn(locale, ".@");
  nl_catd catalog = openFor(installDir, locale, length, file);
  if (catalog == none() && plain < length) catalog = openFor(installDir, locale, plain, file);
  if (catalog == none()) {
    catalog = openFor(installDir, kFallbackLocale, std::strlen(kFallbackLocale), file);
  }
  return catalog;
}

}  // namespace zucatalogfile
