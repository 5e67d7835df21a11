#include "zulib/os/catalogs/boscatalog.h"

#include <strings.h>

#include <atomic>
#include <cctype>
#include <charconv>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <unicode/ustring.h>

#include "zulib/codepages/zutextconvert.h"
#include "zulib/os/catalogs/internal/installdir.h"
#include "zulib/os/internal/tracing.h"
#include "zulib/text/strcopy.h"

unsigned char InstallDirLocation[bosInstallDirSize];
const nl_catd bosNoCatalog = reinterpret_cast<nl_catd>(-1);     // NOLINT: what catopen answers on failure
nl_catd CatFD = reinterpret_cast<nl_catd>(-1);                  // NOLINT
CursorLibraryRecord thisDLL = {reinterpret_cast<nl_catd>(-1)};  // NOLINT

namespace {

constexpr int messageSet = 1;
constexpr unsigned long longestText = 4096;  // of LoadStringW, in bytes with its terminator
constexpr unsigned long sqlstateSize = 6;
constexpr unsigned long localeNameSize = 128;
constexpr const char* fallbackLocale = "en_US";
constexpr const char* cursorCatalog = "odbc.m";

const char* chars(const unsigned char* text) { return reinterpret_cast<const char*>(text); }
const unsigned char* bytes(const char* text) { return reinterpret_cast<const unsigned char*>(text); }

bool traces() { return zuos::traced(zuos::kTraceCatalogs); }

// Under CritOpen, since the directory may be set anew meanwhile.
nl_catd openAt(const char* locale, size_t length, const char* file, const char* ending) {
  char path[bosInstallDirSize + 2 * localeNameSize + 256];
  int written = std::snprintf(path, sizeof path, "%s/locale/%.*s/LC_MESSAGES/%s%s", chars(InstallDirLocation),
                              static_cast<int>(length), locale, file, ending);
  bool fits = written > 0 && written < static_cast<int>(sizeof path);
  return fits ? catopen(path, 0) : bosNoCatalog;
}

// What a variable says when it is set and says something else than `current`.
const char* wish(const char* variable, const char* current) {
  const char* value = secure_getenv(variable);
  return value && *value && std::strcmp(value, current) != 0 ? value : nullptr;
}

// The locale whose texts are wanted. A name with a slash could lead out of the directory.
void resolveLocale(char (&name)[localeNameSize]) {
  const char* current = std::setlocale(LC_MESSAGES, nullptr);
  if (!current) current = "C";
  if (traces()) std::printf("OpenStrings: Default LC_MESSAGES=%s\n", current);
  const char* resolved = current;
  if (std::strcmp(current, "C") == 0) {
    resolved = wish("LC_MESSAGES", current);
    if (!resolved) resolved = wish("LANG", current);
  }
  if (traces()) std::printf("OpenStrings: Using LC_MESSAGES=%s\n", current);
  bool usable = resolved && *resolved && !std::strchr(resolved, '/') && std::strlen(resolved) < sizeof name;
  std::strcpy(name, usable ? resolved : fallbackLocale);
}

// The caller holds CritOpen.
nl_catd openCatalog(const char* instance, const char* fileName) {
  if (traces()) std::printf("OpenStrings: HINST=%s\n", instance ? instance : "");
  char locale[localeNameSize];
  resolveLocale(locale);
  const char* file = fileName ? fileName : instance ? instance : "";
  const char* ending = fileName ? "" : ".mo";
  nl_catd catalog = openAt(locale, std::strlen(locale), file, ending);
  size_t plain = std::strcspn(locale, ".@");
  if (catalog == bosNoCatalog && locale[plain]) catalog = openAt(locale, plain, file, ending);
  if (catalog == bosNoCatalog) catalog = openAt(fallbackLocale, std::strlen(fallbackLocale), file, ending);
  return catalog;
}

// CatFD is changed under CritOpen and read under CritCatalog.
nl_catd processCatalog() { return std::atomic_ref(CatFD).load(std::memory_order_acquire); }
void setProcessCatalog(nl_catd catalog) { std::atomic_ref(CatFD).store(catalog, std::memory_order_release); }

// The caller holds CritCatalog.
unsigned long loadText(nl_catd catalog, unsigned id, unsigned char* out, unsigned long size) {
  char number[16];
  *std::to_chars(number, number + sizeof number - 1, id).ptr = 0;
  const char* text = number;
  if (catalog != bosNoCatalog) {
    text = catgets(catalog, messageSet, static_cast<int>(id), number);
    if (traces()) {
      std::printf("LoadStringFromOpenFile: idResource=%s\n", number);
      std::printf("LoadStringFromOpenFile: Lookup returns: %s\n", text);
    }
  }
  if (size == 0) size = std::strlen(text) + 1;
  return static_cast<unsigned long>(strCopy(out, size, bytes(text)) - out);
}

// Catalogs are UTF-8. One of another make may not be: what is no UTF-8 throughout is taken as Latin-1.
bool widen(const unsigned char* text, unsigned short (&wide)[longestText]) {
  UErrorCode status = U_ZERO_ERROR;
  u_strFromUTF8(reinterpret_cast<UChar*>(wide), static_cast<int32_t>(longestText), nullptr, chars(text), -1,
                &status);
  if (U_SUCCESS(status)) return true;
  return zuGetUTF16StrFromANSIStr(text, wide, longestText) >= 0;
}

}  // namespace

int bosSetInstallDir(const unsigned char* path) {
  unsigned char directory[bosInstallDirSize] = "";
  // Not under the lock: reading a profile file may record an error, whose text takes that lock.
  if (!path) {
    zuos::findInstallDir(directory, sizeof directory);
  } else if (strLen(path) < sizeof directory) {
    strCopy(directory, path, strLen(path));
  }
  unsigned long length = strLen(directory);
  while (length > 1 && std::isspace(directory[length - 1])) --length;
  if (length && directory[length - 1] == '/') --length;
  ZuCriticalSectionHolder lock(CritOpen);
  strCopy(InstallDirLocation, directory, length);
  return 0;
}

int bosLoadResourceDLL(const char* instance, int, void*, unsigned long* count) {
  ZuCriticalSectionHolder lock(CritOpen);
  if (!InstallDirLocation[0]) return 1;
  if (count) ++*count;
  if (processCatalog() == bosNoCatalog) setProcessCatalog(openCatalog(instance, nullptr));
  return 0;
}

int bosFreeResourceDLL(const char*, unsigned long* count) {
  nl_catd unused = bosNoCatalog;
  {
    ZuCriticalSectionHolder lock(CritOpen);
    if (count && *count) --*count;
    if (!count || *count == 0) {
      unused = processCatalog();
      setProcessCatalog(bosNoCatalog);
    }
  }
  // Nobody finds it any more, but a look-up that did may still be at work.
  ZuCriticalSectionHolder lock(CritCatalog);
  CloseStrings(unused);
  return 0;
}

nl_catd OpenStrings(const char* instance, const char* fileName) {
  ZuCriticalSectionHolder lock(CritOpen);
  return openCatalog(instance, fileName);
}

void CloseStrings(nl_catd catalog) {
  if (catalog != bosNoCatalog) catclose(catalog);
}

unsigned long LoadString(const char*, unsigned id, unsigned char* out, unsigned long size) {
  ZuCriticalSectionHolder lock(CritCatalog);
  return loadText(processCatalog(), id, out, size);
}

unsigned long LoadStringFromOpenFile(nl_catd catalog, unsigned id, unsigned char* out, unsigned long size) {
  ZuCriticalSectionHolder lock(CritCatalog);
  return loadText(catalog, id, out, size);
}

unsigned long LoadStringW(const char* instance, unsigned id, unsigned short* out, unsigned long size) {
  unsigned char text[longestText];
  if (LoadString(instance, id, text, sizeof text) == 0) return 0;
  unsigned short wide[longestText];
  if (!widen(text, wide)) strCopy(wide, bytes("Failed!"));
  if (size == 0) size = strLen(wide) + 1;
  return static_cast<unsigned long>(strCopy(out, size, wide) - out);
}

void cursorLibInit() {
  bosSetInstallDir(nullptr);
  thisDLL.catalog = OpenStrings(nullptr, cursorCatalog);
}

bool IsSqlState(const char* state, unsigned id) {
  unsigned char known[sqlstateSize];
  LoadStringFromOpenFile(thisDLL.catalog, id + 1, known, sizeof known);
  return strcasecmp(state, chars(known)) == 0;
}
