// The two profiles: read whole at load, searched by a parser that needs nothing else of the library.

#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "zulib/codepages/internal/ucnvdigits.h"
#include "zulib/codepages/ucnvconv.h"

char* MORVA_UCNV_INI_Buf;
unsigned long MORVA_UCNV_INI_BufSize;
char* MORVA_UCNV_INST_Buf;
unsigned long MORVA_UCNV_INST_BufSize;

namespace {

// Bytes of the longest name that is compared and of the longest value, terminator included.
constexpr unsigned long kNameSize = 168;
constexpr unsigned long kValueSize = 256;
constexpr unsigned long kPathSize = 1024;

using Text = std::string_view;

Text from(Text text, unsigned long at) { return text.substr(std::min(at, text.size())); }
Text fromFirstNotOf(Text text, const char* set) { return from(text, text.find_first_not_of(set)); }
Text upTo(Text text, char byte) { return text.substr(0, text.find(byte)); }

bool equalName(Text text, Text name) {
  return text.size() == name.size() && text.size() < kNameSize &&
         strncasecmp(text.data(), name.data(), text.size()) == 0;
}

bool isComment(Text line) { return line[0] == ';' || line[0] == '#'; }

// What lies between the header of a section and the next "[". False when there is no such section.
bool findSection(Text text, Text name, Text& section) {
  unsigned long at = 0;
  for (;;) {
    const unsigned long open = text.find('[', at);
    if (open == Text::npos) return false;
    const unsigned long close = text.find(']', open);
    if (close == Text::npos) return false;
    const bool startsLine = open == at || text[open - 1] == '\n';
    if (startsLine && close - open + 1 < kNameSize &&
        equalName(text.substr(open + 1, close - open - 1), name)) {
      section = upTo(from(text, close + 1), '[');
      return true;
    }
    at = close;
  }
}

// Goes from an entry, or the header, to the next one: its line's start is `rest`, and `key` what
// comes before its "=". False when there is none.
bool nextEntry(Text& rest, Text& key) {
  for (;;) {
    rest = fromFirstNotOf(from(rest, rest.find('\n')), "\n");
    rest = fromFirstNotOf(rest, " \t");
    if (rest.empty()) return false;
    if (isComment(rest)) continue;
    const unsigned long equals = rest.find('=');
    if (equals == Text::npos) return false;
    key = rest.substr(0, equals);
    return true;
  }
}

bool findValue(Text section, Text key, Text& value) {
  Text found;
  while (nextEntry(section, found)) {
    if (!equalName(found, key)) continue;
    value = upTo(fromFirstNotOf(from(section, found.size()), " \t="), '\n').substr(0, kValueSize - 1);
    return true;
  }
  return false;
}

// Writes text and a terminator, cut to the room there is. Answers the length.
unsigned long deliver(Text text, char* out, unsigned long outSize) {
  if (!out || outSize == 0) return 0;
  const unsigned long n = std::min<unsigned long>(text.size(), outSize - 1);
  std::memcpy(out, text.data(), n);
  out[n] = 0;
  return n;
}

// The keys of a section, terminated each. Answers the length with the terminator of the list, 0 when there is
// no key.
unsigned long listKeys(Text section, char* out, unsigned long outSize) {
  unsigned long length = 0;
  Text key;
  while (nextEntry(section, key)) {
    // A line without "=" is no entry; its text runs into the next line.
    if (key.find('\n') != Text::npos) continue;
    const unsigned long room = outSize - 1 - length;
    const unsigned long n = std::min<unsigned long>(key.size(), room);
    std::memcpy(out + length, key.data(), n);
    length += n;
    if (n == room) break;
    out[length++] = 0;
  }
  if (length == 0) return 0;
  out[length++] = 0;
  return length;
}

unsigned long profileString(const char* buffer, unsigned long size, const char* section, const char* key,
                            const char* defaultValue, char* out, unsigned long outSize) {
  if (buffer) return ucnvNWGetProfileString(buffer, size, section, key, defaultValue, out, outSize);
  return deliver(defaultValue ? defaultValue : "", out, outSize);
}

constexpr char kNotSet[] = "&";
constexpr unsigned long kNumberSize = 100;

long numberOf(const char* value, long defaultValue) {
  if (value[0] == kNotSet[0]) return defaultValue;
  const Text digits = fromFirstNotOf(value, " ");
  const char* cursor = digits.data();
  bool any = false;
  return ucnvTakeNumber(cursor, digits.data() + digits.size(), any);
}

// --- at load ---

// The value of the first variable that is set, or `fileName` in "HOME". False when there is no path.
bool findPath(const char* first, const char* second, const char* fileName, char (&path)[kPathSize]) {
  const char* value = secure_getenv(first);
  if (!value) value = secure_getenv(second);
  const char* home = value ? "" : secure_getenv("HOME");
  if (!home) return false;
  const Text head = value ? value : home;
  const Text tail = value ? "" : fileName;
  if (head.size() + 1 + tail.size() >= kPathSize) return false;
  char* end = std::copy(head.begin(), head.end(), path);
  if (!value) *end++ = '/';
  *std::copy(tail.begin(), tail.end(), end) = 0;
  return true;
}

// Reads an open file whole. Without memory, or for what is no file, the text stays null.
void readWhole(int file, char*& text, unsigned long& size) {
  struct stat facts;
  if (fstat(file, &facts) != 0 || S_ISDIR(facts.st_mode)) return;
  const auto fileSize = static_cast<unsigned long>(facts.st_size);
  text = static_cast<char*>(std::malloc(fileSize + 1));
  if (!text) return;
  size = 0;
  while (size < fileSize) {
    const ssize_t got = read(file, text + size, fileSize - size);
    if (got <= 0) break;
    size += static_cast<unsigned long>(got);
  }
  text[size++] = 0;
}

void drop(char*& text, unsigned long& size) {
  std::free(text);
  text = nullptr;
  size = 0;
}

// False when the file cannot be opened.
bool load(const char* path, char*& text, unsigned long& size) {
  // A pipe without a writer must not hold up the load of the library.
  const int file = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (file < 0) return false;
  readWhole(file, text, size);
  close(file);
  return true;
}

}  // namespace

IniInitialize::IniInitialize() {
  drop(MORVA_UCNV_INI_Buf, MORVA_UCNV_INI_BufSize);
  drop(MORVA_UCNV_INST_Buf, MORVA_UCNV_INST_BufSize);
  char path[kPathSize];
  if (!findPath("ODBCINI", "ODBC_INI", ".odbc.ini", path)) return;
  if (!load(path, MORVA_UCNV_INI_Buf, MORVA_UCNV_INI_BufSize)) return;
  if (!findPath("ODBCINSTINI", "ODBCINST_INI", ".odbcinst.ini", path)) return;
  load(path, MORVA_UCNV_INST_Buf, MORVA_UCNV_INST_BufSize);
}

IniInitialize::~IniInitialize() {
  drop(MORVA_UCNV_INI_Buf, MORVA_UCNV_INI_BufSize);
  drop(MORVA_UCNV_INST_Buf, MORVA_UCNV_INST_BufSize);
}

unsigned long ucnvNWGetProfileString(const char* buffer, unsigned long bufferSize, const char* section,
                                     const char* key, const char* defaultValue, char* out,
                                     unsigned long outSize) {
  const Text text(buffer, bufferSize > 0 ? strnlen(buffer, bufferSize) : 0);
  Text entries;
  Text value;
  if (section && out && outSize > 0 && findSection(text, section, entries)) {
    if (key && findValue(entries, key, value)) return deliver(value, out, outSize);
    const unsigned long listed = key ? 0 : listKeys(entries, out, outSize);
    if (listed > 0) return listed;
  }
  return deliver(defaultValue ? defaultValue : "", out, outSize);
}

unsigned long ucnvGetProfileString(const char* section, const char* key, const char* defaultValue, char* out,
                                   unsigned long outSize) {
  return profileString(MORVA_UCNV_INI_Buf, MORVA_UCNV_INI_BufSize, section, key, defaultValue, out, outSize);
}

unsigned long ucnvGetProfileStringInst(const char* section, const char* key, const char* defaultValue,
                                       char* out, unsigned long outSize) {
  return profileString(MORVA_UCNV_INST_Buf, MORVA_UCNV_INST_BufSize, section, key, defaultValue, out,
                       outSize);
}

long ucnvGetProfileInt(const char* section, const char* key, long defaultValue) {
  char value[kNumberSize];
  ucnvGetProfileString(section, key, kNotSet, value, sizeof value);
  return numberOf(value, defaultValue);
}

long ucnvGetProfileIntInst(const char* section, const char* key, long defaultValue) {
  char value[kNumberSize];
  ucnvGetProfileStringInst(section, key, kNotSet, value, sizeof value);
  return numberOf(value, defaultValue);
}

long ucnvGetAppCodePageFromDSN(const char* dsn) {
  constexpr long kUnset = -666666;
  constexpr long kNone = -1;
  struct {
    long (*read)(const char*, const char*, long);
    const char* section;
  } const places[] = {{ucnvGetProfileInt, dsn}, {ucnvGetProfileInt, "ODBC"}, {ucnvGetProfileIntInst, "ODBC"}};
  for (const auto& place : places) {
    if (!place.section) continue;
    const long iana = place.read(place.section, "IANAAppCodePage", kUnset);
    if (iana != kUnset && iana != kNone) return iana;
    const long old = place.read(place.section, "AppCodePage", kUnset);
    const long mapped = old == kUnset || old == kNone ? ucnvNoNumber : ucnvUnilibToIANA(old);
    if (mapped != ucnvNoNumber) return mapped;
  }
  return UCNV_IANA_LATIN_1;
}
