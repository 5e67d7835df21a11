#include "drivermanager/internal/messagecatalog.h"

#include <dlfcn.h>
#include <limits.h>
#include <nl_types.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>

namespace dm {
namespace {

constexpr int messageSet = 1;
constexpr const char* fallbackLocale = "en_US";

const nl_catd noCatalog = reinterpret_cast<nl_catd>(-1);  // NOLINT: what catopen answers on failure

bool isPlain(const char* locale) {
  return !locale || !*locale || std::strcmp(locale, "C") == 0 || std::strcmp(locale, "POSIX") == 0;
}

// The program's own choice, else the user's. A value with a slash could lead out of the directory.
const char* wantedLocale() {
  const char* locale = std::setlocale(LC_MESSAGES, nullptr);
  for (const char* variable : {"LC_MESSAGES", "LANG"}) {
    if (isPlain(locale)) locale = std::getenv(variable);
  }
  return isPlain(locale) || std::strchr(locale, '/') ? fallbackLocale : locale;
}

nl_catd openFor(const char* locale, size_t length) {
  Dl_info info{};
  if (!dladdr(reinterpret_cast<const void*>(&readMessage), &info) || !info.dli_fname) return noCatalog;
  const char* slash = std::strrchr(info.dli_fname, '/');
  int directory = slash ? static_cast<int>(slash - info.dli_fname) : 1;
  char path[PATH_MAX];
  int written = std::snprintf(path, sizeof path, "%.*s/../share/zulib/locale/%.*s/LC_MESSAGES/odbc.m",
                              directory, slash ? info.dli_fname : ".", static_cast<int>(length), locale);
  if (written < 0 || written >= static_cast<int>(sizeof path)) return noCatalog;
  return catopen(path, 0);
}

// de_DE.UTF-8, then de_DE, then the fallback.
nl_catd openCatalog() {
  const char* locale = wantedLocale();
  nl_catd catalog = openFor(locale, std::strlen(locale));
  if (catalog == noCatalog) catalog = openFor(locale, std::strcspn(locale, ".@"));
  if (catalog == noCatalog) catalog = openFor(fallbackLocale, std::strlen(fallbackLocale));
  return catalog;
}

}  // namespace

void readMessage(unsigned short number, char* text, size_t size, char (&sqlstate)[6]) noexcept {
  static std::mutex lock;
  static nl_catd catalog = noCatalog;
  char numeral[8];
  std::snprintf(numeral, sizeof numeral, "%u", static_cast<unsigned>(number));
  std::lock_guard guard(lock);
  if (catalog == noCatalog) catalog = openCatalog();
  const char* words = catalog == noCatalog ? numeral : catgets(catalog, messageSet, number, numeral);
  const char* state = catalog == noCatalog ? "" : catgets(catalog, messageSet, number + 1, "");
  std::snprintf(text, size, "%s", words);
  std::snprintf(sqlstate, sizeof sqlstate, "%s", std::strlen(state) == 5 ? state : "HY000");
}

}  // namespace dm
