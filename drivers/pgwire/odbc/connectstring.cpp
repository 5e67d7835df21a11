#include "odbc/connectstring.h"

#include <zulib/convert/scalar/zuconvert.h>
#include <zulib/language/zuvalueparser.h>
#include <zulib/os/profiles/zuini.h>

#include "base/errors.h"

namespace pgwire {

namespace {

const unsigned char* bytes(const char* s) { return reinterpret_cast<const unsigned char*>(s); }

// The keywords of texts: up to three names for one setting.
struct TextKeyword {
  const char* names[3];
  Text Settings::*setting;
};
constexpr TextKeyword kTexts[] = {
    {{"DSN", nullptr, nullptr}, &Settings::dataSource},
    {{"Driver", nullptr, nullptr}, &Settings::driver},
    {{"Server", "Servername", "Host"}, &Settings::server},
    {{"Port", nullptr, nullptr}, &Settings::port},
    {{"Database", "DB", nullptr}, &Settings::database},
    {{"UID", "Username", "User"}, &Settings::user},
    {{"PWD", "Password", nullptr}, &Settings::password},
    {{"ApplicationName", "APP", nullptr}, &Settings::applicationName},
    {{"Options", nullptr, nullptr}, &Settings::options},
    {{"KerberosServiceName", "KrbSrvName", nullptr}, &Settings::kerberosName},
    {{"GSSLibrary", nullptr, nullptr}, &Settings::gssLibrary},
};

// Settings that are numbers; a switch is 0 or 1.
struct NumberKeyword {
  const char* name;
  void (*set)(Settings&, unsigned long);
};
constexpr NumberKeyword kNumbers[] = {
    {"LoginTimeout", [](Settings& s, unsigned long n) { s.loginWait = static_cast<uint32_t>(n); }},
    {"TextSize",
     [](Settings& s, unsigned long n) { s.textSize = n > 0 ? static_cast<long>(n) : s.textSize; }},
    {"LogStream", [](Settings& s, unsigned long n) { s.logStream = n != 0; }},
    {"ReadOnly", [](Settings& s, unsigned long n) { s.readOnly = n != 0; }},
};

// Known to others: the library reads the code page itself, the driver manager the rest.
constexpr const char* kForeign[] = {"IANAAppCodePage", "IACP",     "AppCodePage", "ACP",
                                    "Description",     "SAVEFILE", "FILEDSN"};

// A value without the braces or quotes around it.
std::string_view bare(const ZuSubString& value) {
  const std::string_view text(reinterpret_cast<const char*>(value.asPascalStr()), value.getLength());
  if (text.size() < 2) return text;
  const char first = text.front();
  const char last = text.back();
  const bool quoted = (first == '{' && last == '}') || (first == last && (first == '\'' || first == '"'));
  return quoted ? text.substr(1, text.size() - 2) : text;
}

// Takes a value without its braces or quotes; inside of them the closing one is doubled.
int assignBare(Text& to, const ZuSubString& value) {
  const std::string_view inside = bare(value);
  if (to.assign(inside)) return 1;
  if (inside.size() == value.getLength()) return 0;
  const char closing = inside.data()[inside.size()];
  std::size_t n = 0;
  for (std::size_t i = 0; i < to.size(); ++i) {
    if (to[i] == closing && i + 1 < to.size() && to[i + 1] == closing) ++i;
    to[n++] = to[i];
  }
  to.shorten(n);
  return 0;
}

int setNumber(Settings& settings, const NumberKeyword& keyword, std::string_view value) {
  Text text;
  unsigned long number = 0;
  if (text.assign(value) || !text.terminated()) return 1;
  if (convert(bytes(text.data()), &number)) {
    ZuErrorKeeper::clearLastError();
    return fail(Issue::BadKeyword, keyword.name);
  }
  keyword.set(settings, number);
  return 0;
}

int warnOfUnused(ZuValueParser& parser) {
  while (const ZuSubString* keyword = parser.getUnusedAttribute())
    postWarning(Issue::UnusedKeyword) << *keyword;
  return 0;
}

}  // namespace

int readConnectString(std::string_view text, Settings& settings) {
  const ZuSubString view = viewOf(text);
  ZuValueParser parser(&view, ';', nullptr, 1);
  parser.setQuotingChars('\'', '"', 0xFFFF);
  parser.setBracedValues();
  if (parser.initialize()) return 1;
  for (const TextKeyword& keyword : kTexts) {
    for (const char* name : keyword.names) {
      const ZuSubString* value = name ? parser.getAttributeValue(bytes(name)) : nullptr;
      if (value && assignBare(settings.*keyword.setting, *value)) return 1;
    }
  }
  for (const NumberKeyword& keyword : kNumbers) {
    const ZuSubString* value = parser.getAttributeValue(bytes(keyword.name));
    if (value && setNumber(settings, keyword, bare(*value))) return 1;
  }
  for (const char* name : kForeign) static_cast<void>(parser.getAttributeValue(bytes(name)));
  return warnOfUnused(parser);
}

int readDataSource(std::string_view name, Settings& settings) {
  constexpr unsigned long kLongest = 1024;
  static const unsigned char kFile[] = "odbc.ini";
  Text section;
  if (section.assign(name) || !section.terminated()) return 1;
  unsigned char value[kLongest + 1];
  const auto read = [&](const char* key) {
    const unsigned long n =
        zuGetPrivateProfileString(bytes(section.data()), bytes(key), bytes(""), value, kLongest, kFile);
    return std::string_view(reinterpret_cast<const char*>(value), n);
  };
  for (const TextKeyword& keyword : kTexts) {
    Text& setting = settings.*keyword.setting;
    for (const char* key : keyword.names) {
      if (key && setting.empty() && setting.assign(read(key))) return 1;
    }
  }
  for (const NumberKeyword& keyword : kNumbers) {
    const std::string_view found = read(keyword.name);
    if (!found.empty() && setNumber(settings, keyword, found)) return 1;
  }
  return 0;
}

int completeSettings(Settings& settings) {
  if (settings.user.empty()) return fail(Issue::NoServer, "UID");
  if (settings.server.empty() && settings.server.assign("localhost")) return 1;
  if (settings.port.empty() && settings.port.assign("5432")) return 1;
  if (settings.database.empty() && settings.database.assign(settings.user.view())) return 1;
  if (settings.applicationName.empty() && settings.applicationName.assign("zupgwire")) return 1;
  if (settings.kerberosName.empty() && settings.kerberosName.assign("postgres")) return 1;
  return settings.server.terminated() && settings.database.terminated() ? 0 : 1;
}

}  // namespace pgwire
