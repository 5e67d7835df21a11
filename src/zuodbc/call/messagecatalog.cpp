#include "zuodbc/call/messagecatalog.h"

#include <limits.h>
#include <nl_types.h>

#include <cctype>
#include <cstdio>
#include <cstring>
#include <mutex>

#include "zulib/runtime/zucatalogfile.h"
#include "zuodbc/sources/profilereader.h"

namespace dm {
namespace {

constexpr int kMessageSet = 1;
constexpr unsigned short kOutOfMemory = 136;
constexpr const char* kCatalogFile = "odbc.m";

using Path = char[PATH_MAX];

// The key "InstallDir" of section "ODBC", without white space and one slash at its end.
bool installDirOf(const char* file, Path& directory) {
  if (ProfileReader().read("ODBC", "InstallDir", file, directory, sizeof directory) == 0) return false;
  size_t length = std::strlen(directory);
  while (length && std::isspace(static_cast<unsigned char>(directory[length - 1]))) --length;
  if (length && directory[length - 1] == '/') --length;
  directory[length] = 0;
  return length != 0;
}

nl_catd openCatalog() {
  Path directory;
  const bool found = installDirOf(kDataSourceFile, directory) || installDirOf(kDriverFile, directory) ||
                     zucatalogfile::findBesideLibrary(directory);
  return found ? zucatalogfile::open(directory, zucatalogfile::messageLocale(), kCatalogFile)
               : zucatalogfile::none();
}

struct Catalog {
  std::mutex lock;
  nl_catd descriptor = zucatalogfile::none();

  // The caller holds the lock.
  nl_catd open() {
    if (descriptor == zucatalogfile::none()) descriptor = openCatalog();
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
  if (descriptor != zucatalogfile::none()) {
    message = catgets(descriptor, kMessageSet, number, message);
    const char* found = catgets(descriptor, kMessageSet, number + 1, state);
    if (std::strlen(found) == sizeof sqlstate - 1) state = found;
  }
  std::snprintf(text, size, "%s", message);
  std::snprintf(sqlstate, sizeof sqlstate, "%s", state);
}

}  // namespace dm
