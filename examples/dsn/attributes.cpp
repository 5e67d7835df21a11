#include "attributes.h"

#include <zulib/os/profiles/zuini.h>

#include <vector>

namespace {

constexpr unsigned long kProfileRoom = 65536;  // for the keys of a section, and for a value

const unsigned char* bytes(const std::string& s) { return reinterpret_cast<const unsigned char*>(s.c_str()); }
const unsigned char* bytes(const char* s) { return reinterpret_cast<const unsigned char*>(s); }

std::string plain(const ZuSubString& view) {
  return {reinterpret_cast<const char*>(view.asPascalStr()), view.getLength()};
}

// The text of a value without its quotes.
std::string unquoted(const std::string& value) {
  const char quote = value.empty() ? '\0' : value.front();
  if (value.size() < 2 || (quote != '\'' && quote != '"') || value.back() != quote) return value;
  std::string out;
  for (size_t i = 1; i + 1 < value.size(); ++i) {
    out += value[i];
    if (value[i] == quote && value[i + 1] == quote) ++i;
  }
  return out;
}

// A value of the profile; with a null key the keys of the section, each terminated, and an empty one.
std::string readProfile(const std::string& profile, const std::string& section, const char* key) {
  std::vector<unsigned char> room(kProfileRoom + 1);
  const unsigned long length = zuGetPrivateProfileString(bytes(section), bytes(key), bytes(""), room.data(),
                                                         kProfileRoom, bytes(profile));
  return {reinterpret_cast<char*>(room.data()), length};
}

}  // namespace

Attributes::Attributes(const std::string& connectionString, bool keepFirst)
    : text(connectionString),
      view(bytes(text), text.size()),
      parser(&view, ';', bytes("the connection string"), keepFirst) {}

int Attributes::parse() {
  if (parser.initialize()) return 1;
  fromString = parser.getAttributeCount();
  return 0;
}

int Attributes::mergeProfile(const std::string& profile, bool* isFound) {
  *isFound = true;
  std::string source;
  if (getValue("DSN", "DSN", &source)) return 1;
  if (source.empty()) return 0;
  const std::string keys = readProfile(profile, source, nullptr);
  *isFound = !keys.empty();
  for (const char* key = keys.c_str(); *key; key += std::char_traits<char>::length(key) + 1) {
    if (parser.isAttributeValue(bytes(key))) continue;
    if (parser.addAttribute(bytes(key), bytes(readProfile(profile, source, key)), nullptr)) return 1;
  }
  return 0;
}

int Attributes::getValue(const char* word, const char* synonym, std::string* value) {
  value->clear();
  const ZuSubString* found = nullptr;
  if (std::string(word) == synonym) {
    found = parser.getAttributeValue(bytes(word));
  } else if (parser.getAttributeValue(bytes(word), bytes(synonym), found)) {
    return 1;
  }
  if (found) *value = unquoted(plain(*found));
  return 0;
}

void Attributes::visitAll(const Visit& visit) {
  for (unsigned long i = 0; i < parser.getAttributeCount(); ++i) {
    const ZuSubString* word = parser.getAttributeKey(i);
    visit(plain(*word), unquoted(plain(*parser.getAttributeValue(word))), i >= fromString);
  }
}

int Attributes::build(std::string* out) {
  ZuString built;
  if (parser.buildString(&built)) return 1;
  *out = plain(built);
  return 0;
}
