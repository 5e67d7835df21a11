#include "zulib/os/catalogs/boscatalog.h"

#include <strings.h>
#include <unicode/ustring.h>
#include <unicode/utf8.h>

#include <atomic>
#include <cctype>
#include <charconv>
#include <climits>
#include <clocale>
#include <cstdio>
#include <cstring>

#include "zulib/codepages/zutextconvert.h"
#include "zulib/os/internal/tracing.h"
#include "zulib/os/profiles/zuini.h"
#include "zulib/runtime/zucatalogfile.h"
#include "zulib/runtime/zuhooks.h"
#include "zulib/text/strcopy.h"

using zuos::bytes;
using zuos::chars;

unsigned char InstallDirLocation[bosInstallDirSize];
const nl_catd bosNoCatalog = reinterpret_cast<nl_catd>(-1);     // NOLINT: what catopen returns on failure
nl_catd CatFD = reinterpret_cast<nl_catd>(-1);                  // NOLINT
CursorLibraryRecord thisDLL = {reinterpret_cast<nl_catd>(-1)};  // NOLINT

namespace {

constexpr int kMessageSet = 1;
constexpr unsigned long kLongestText = 4096;  // of LoadStringW, in bytes with its terminator
constexpr unsigned long kSqlstateSize = 6;
constexpr unsigned long kNumberSize = 16;  // of a message number in decimal
constexpr const char* kCursorCatalog = "odbc.m";

static_assert(zuResourceTextSize == zuhooks::kTextSize);

bool traces() { return zuos::traced(zuos::kTraceCatalogs); }

// The caller holds CritOpen, since the directory may be set anew meanwhile.
nl_catd openCatalog(const char* instance, const char* fileName) {
  if (traces()) {
    const char* const current = std::setlocale(LC_MESSAGES, nullptr);
    std::printf("OpenStrings: HINST=%s\n", instance ? instance : "");
    std::printf("OpenStrings: Default LC_MESSAGES=%s\n", current ? current : "C");
    std::printf("OpenStrings: Using LC_MESSAGES=%s\n", current ? current : "C");
  }
  char file[PATH_MAX];
  const int length = std::snprintf(file, sizeof file, "%s%s",
                                   fileName   ? fileName
                                   : instance ? instance
                                              : "",
                                   fileName ? "" : ".mo");
  if (length >= PATH_MAX) return bosNoCatalog;
  return zucatalogfile::open(chars(InstallDirLocation), zucatalogfile::messageLocale(), file);
}

// A catalog that is opened and taken away under CritOpen, and read and closed under CritCatalog.
class SharedCatalog {
 public:
  constexpr explicit SharedCatalog(nl_catd& cell) : cell(cell) {}

  nl_catd get() const { return std::atomic_ref(cell).load(std::memory_order_acquire); }
  bool isOpen() const { return get() != bosNoCatalog; }
  // The caller holds CritOpen.
  void open(const char* instance) {
    if (!isOpen()) std::atomic_ref(cell).store(openCatalog(instance, nullptr), std::memory_order_release);
  }
  nl_catd take() { return std::atomic_ref(cell).exchange(bosNoCatalog); }

 private:
  nl_catd& cell;
};

nl_catd ownCatalogCell = reinterpret_cast<nl_catd>(-1);  // NOLINT
constinit SharedCatalog driversCatalog(CatFD);
constinit SharedCatalog ownCatalog(ownCatalogCell);

// Closes a catalog that no new look-up finds any more, when the running ones have ended.
void closeTaken(nl_catd taken) {
  const ZuCriticalSectionHolder lock(CritCatalog);
  CloseStrings(taken);
}

void openOwnCatalog() {
  if (ownCatalog.isOpen()) return;
  const ZuCriticalSectionHolder lock(CritOpen);
  if (InstallDirLocation[0]) ownCatalog.open(BZUHINST);
}

// A message number in decimal.
class NumberText {
 public:
  explicit NumberText(unsigned id) { *std::to_chars(text, text + sizeof text - 1, id).ptr = 0; }
  operator const char*() const { return text; }

 private:
  char text[kNumberSize];
};

// The text, or null if the catalog is not open or lacks it. The caller holds CritCatalog as long as the text
// is used.
const char* lookUp(nl_catd catalog, unsigned id) {
  if (catalog == bosNoCatalog) return nullptr;
  const NumberText number(id);
  const char* const text = catgets(catalog, kMessageSet, static_cast<int>(id), number);
  if (traces()) {
    std::printf("LoadStringFromOpenFile: idResource=%s\n", static_cast<const char*>(number));
    std::printf("LoadStringFromOpenFile: Lookup returns: %s\n", text);
  }
  return text == number ? nullptr : text;
}

// The length of the first `n` bytes of a longer text without a UTF-8 character that they end within.
size_t wholeCharacters(const char* text, size_t n) {
  const auto isTrail = [](char byte) { return U8_IS_TRAIL(static_cast<unsigned char>(byte)); };
  size_t start = n;
  if (!isTrail(text[n])) return n;
  while (start > 0 && n - start < U8_MAX_LENGTH - 1 && isTrail(text[start - 1])) --start;
  return start > 0 && U8_IS_LEAD(static_cast<unsigned char>(text[start - 1])) ? start - 1 : n;
}

unsigned long copyText(const char* text, unsigned long size, unsigned char* out) {
  size_t length = std::strlen(text);
  if (size != 0 && length >= size) length = wholeCharacters(text, size - 1);
  std::memcpy(out, text, length);
  out[length] = 0;
  return length;
}

// The library's own text, else the drivers', else the number.
unsigned long copyResourceText(unsigned id, unsigned long size, unsigned char* out) {
  openOwnCatalog();
  const ZuCriticalSectionHolder lock(CritCatalog);
  const char* text = lookUp(ownCatalog.get(), id);
  if (!text) text = lookUp(driversCatalog.get(), id);
  return copyText(text ? text : NumberText(id), size, out);
}

// In UTF-16: what is not UTF-8 throughout is read as Latin-1, since a catalog of another make may be that.
unsigned long widen(const unsigned char* text, unsigned short* out, unsigned long size) {
  unsigned short wide[kLongestText];
  UErrorCode status = U_ZERO_ERROR;
  u_strFromUTF8(reinterpret_cast<UChar*>(wide), static_cast<int32_t>(kLongestText), nullptr, chars(text), -1,
                &status);
  const bool converts = U_SUCCESS(status) || zuGetUTF16StrFromANSIStr(text, wide, kLongestText) >= 0;
  if (!converts) strCopy(wide, bytes("Failed!"));
  if (size == 0) size = strLen(wide) + 1;
  auto length = static_cast<unsigned long>(strCopy(out, size, wide) - out);
  if (length > 0 && wide[length] != 0 && U16_IS_LEAD(out[length - 1])) out[--length] = 0;
  return length;
}

// The installation directory that the profile files name, or else the one beside the library; an empty text
// if neither gives one that fits. Keeps the records of the profile reads.
void findInstallDir(unsigned char (&out)[bosInstallDirSize]) {
  const auto* const section = bytes("ODBC");
  const auto* const key = bytes("InstallDir");
  const auto* const none = bytes("");
  zuGetProfileString(section, key, none, out, sizeof out - 1, bytes(".odbc.ini"));
  if (!out[0]) zuGetPrivateProfileString(section, key, none, out, sizeof out - 1, bytes(".odbcinst.ini"));
  char found[PATH_MAX];
  if (!out[0] && zucatalogfile::findBesideLibrary(found) && std::strlen(found) < sizeof out) {
    strCopy(out, bytes(found), std::strlen(found));
  }
}

}  // namespace

int bosSetInstallDir(const unsigned char* path) {
  unsigned char directory[bosInstallDirSize] = "";
  // Not under the lock: reading a profile file may record an error, whose text takes that lock.
  if (!path) {
    findInstallDir(directory);
  } else if (strLen(path) < sizeof directory) {
    strCopy(directory, path, strLen(path));
  }
  unsigned long length = strLen(directory);
  while (length > 1 && std::isspace(directory[length - 1])) --length;
  if (length && directory[length - 1] == '/') --length;
  nl_catd old = bosNoCatalog;
  {
    const ZuCriticalSectionHolder lock(CritOpen);
    strCopy(InstallDirLocation, directory, length);
    old = ownCatalog.take();
  }
  closeTaken(old);
  return 0;
}

int bosLoadResourceDLL(const char* instance, int, void*, unsigned long* count) {
  const ZuCriticalSectionHolder lock(CritOpen);
  if (!InstallDirLocation[0]) return 1;
  if (count) ++*count;
  driversCatalog.open(instance);
  return 0;
}

int bosFreeResourceDLL(const char*, unsigned long* count) {
  nl_catd unused = bosNoCatalog;
  {
    const ZuCriticalSectionHolder lock(CritOpen);
    if (count && *count) --*count;
    if (!count || *count == 0) unused = driversCatalog.take();
  }
  closeTaken(unused);
  return 0;
}

nl_catd OpenStrings(const char* instance, const char* fileName) {
  const ZuCriticalSectionHolder lock(CritOpen);
  return openCatalog(instance, fileName);
}

void CloseStrings(nl_catd catalog) {
  if (catalog != bosNoCatalog) catclose(catalog);
}

unsigned long LoadString(const char*, unsigned id, unsigned char* out, unsigned long size) {
  const ZuCriticalSectionHolder lock(CritCatalog);
  const char* const text = lookUp(driversCatalog.get(), id);
  return copyText(text ? text : NumberText(id), size, out);
}

unsigned long LoadStringFromOpenFile(nl_catd catalog, unsigned id, unsigned char* out, unsigned long size) {
  const ZuCriticalSectionHolder lock(CritCatalog);
  const char* const text = lookUp(catalog, id);
  return copyText(text ? text : NumberText(id), size, out);
}

unsigned long LoadStringW(const char* instance, unsigned id, unsigned short* out, unsigned long size) {
  unsigned char text[kLongestText];
  LoadString(instance, id, text, sizeof text);
  return widen(text, out, size);
}

unsigned long winGetString(unsigned char* out, unsigned short id) {
  return copyResourceText(id, zuResourceTextSize, out);
}

unsigned long winGetString(unsigned short* out, unsigned short id) {
  unsigned char text[kLongestText];
  copyResourceText(id, sizeof text, text);
  return widen(text, out, zuResourceTextSize);
}

void cursorLibInit() {
  bosSetInstallDir(nullptr);
  thisDLL.catalog = OpenStrings(nullptr, kCursorCatalog);
}

bool IsSqlState(const char* state, unsigned id) {
  unsigned char known[kSqlstateSize];
  LoadStringFromOpenFile(thisDLL.catalog, id + 1, known, sizeof known);
  return strcasecmp(state, chars(known)) == 0;
}

ResourceTexts::ResourceTexts() { zuhooks::setTexts(winGetString, winGetString); }

ResourceTexts::~ResourceTexts() {
  bosFreeResourceDLL(nullptr, nullptr);
  closeTaken(ownCatalog.take());
}
