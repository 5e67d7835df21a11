#include "zuodbc/sources/codepage.h"

#include <cstdlib>

#include "zulib/codepages/ucnvconv.h"
#include "zuodbc/sources/profilereader.h"

namespace dm {
namespace {

constexpr long kNotSet = -1;

// A number, or kNotSet also for a value that begins with "&".
long readNumber(ProfileReader& reader, const char* section, const char* key, const char* file) {
  char value[32] = "";
  reader.read(section, key, file, value, sizeof value);
  return *value == '\0' || *value == '&' ? kNotSet : std::strtol(value, nullptr, 10);
}

long sectionPage(ProfileReader& reader, const char* section, const char* file) {
  const long page = readNumber(reader, section, "IANAAppCodePage", file);
  if (page != kNotSet) return page;
  const long older = readNumber(reader, section, "AppCodePage", file);
  const long mapped = older == kNotSet ? ucnvNoNumber : ucnvUnilibToIANA(older);
  return mapped == ucnvNoNumber ? kNotSet : mapped;
}

}  // namespace

long codePageOf(std::string_view connectionString, const std::string& dataSource) {
  // The keywords and numbers are ASCII, whatever the code page is.
  const std::u16string wide(connectionString.begin(), connectionString.end());
  char16_t known = 0;
  char16_t* dsn = &known;  // a name is known, so none is looked for
  const long given = ucnvUnicodeIANAAppCodePage(wide.data(), wide.size(), &dsn);
  if (given != ucnvNoNumber) return given;
  ProfileReader reader;
  long page = kNotSet;
  if (!dataSource.empty()) page = sectionPage(reader, dataSource.c_str(), kDataSourceFile);
  if (page == kNotSet) page = sectionPage(reader, "ODBC", kDataSourceFile);
  if (page == kNotSet) page = sectionPage(reader, "ODBC", kDriverFile);
  return page == kNotSet ? UCNV_IANA_LATIN_1 : page;
}

}  // namespace dm
