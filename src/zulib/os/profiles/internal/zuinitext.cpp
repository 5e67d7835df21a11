#include "zulib/os/profiles/internal/zuinitext.h"

#include <algorithm>

#include "zulib/text/strcompare.h"
#include "zulib/text/strfind.h"
#include "zulib/text/zuchar.h"

namespace zuini {
namespace {

bool isBlank(unsigned char byte) { return byte == ' ' || byte == '\t'; }
bool endsKey(unsigned char byte) { return byte == '=' || isBlank(byte); }
bool isComment(unsigned char byte) { return byte == ';' || byte == '#'; }

// Finds a byte at the start of a character of the locale.
const unsigned char* findByte(const unsigned char* from, const unsigned char* end, unsigned char byte) {
  return strFind(from, static_cast<unsigned long>(end - from), &byte, 1, zuCPLocale);
}

// The line feed at or after `from`, or the end.
const unsigned char* lineEnd(const unsigned char* from, const unsigned char* end) {
  const void* found = std::memchr(from, '\n', static_cast<std::size_t>(end - from));
  return found ? static_cast<const unsigned char*>(found) : end;
}

const unsigned char* nextLine(const unsigned char* from, const unsigned char* end) {
  const unsigned char* feed = lineEnd(from, end);
  return feed == end ? end : feed + 1;
}

const unsigned char* skipBlanks(const unsigned char* p, const unsigned char* end) {
  while (p < end && isBlank(*p)) ++p;
  return p;
}

// ASCII that differs in more than case decides most comparisons at the first bytes; the locale decides the
// rest.
bool equalsCi(const unsigned char* a, const unsigned char* b, unsigned long n) {
  for (unsigned long i = 0; i < n; ++i) {
    const unsigned char differing = a[i] ^ b[i];
    if ((differing & ~0x20) != 0 && (a[i] | b[i]) < 0x80) return false;
  }
  return strEqualCi(a, n, b, n);
}

// Writes the keys of a section's lines to the caller's buffer.
class KeyList {
 public:
  explicit KeyList(std::span<unsigned char> out) : out(out), room(out.size() - 1) {}

  // One line, without its line feed.
  void addLine(const unsigned char* line, const unsigned char* end) {
    const unsigned char* first = skipBlanks(line, end);
    const unsigned char* last = end;
    if (last > first && last[-1] == '\r' && last - 1 == first) --last;  // nothing but a line end
    if (first == last || isComment(*first)) return;
    const unsigned char* equals = std::find(first, last, '=');
    const bool isEntry = equals != last;
    const unsigned char* keyEnd = equals;
    while (isEntry && keyEnd > first && isBlank(keyEnd[-1])) --keyEnd;
    for (; first < keyEnd; ++first) put(*first);
    if (isEntry) put(0);
  }

  unsigned long finish() {
    if (!any) return 0;
    if (length > 0 && out[length - 1] != 0) {
      if (length < room) {
        out[length++] = 0;
      } else {
        out[length - 1] = 0;
      }
    }
    out[length++] = 0;
    return length;
  }

 private:
  void put(unsigned char byte) {
    any = true;
    if (length < room) out[length++] = byte;
  }

  std::span<unsigned char> out;
  unsigned long room;  // for all but the last terminator
  unsigned long length = 0;
  bool any = false;
};

bool holds(Bytes text, unsigned char byte) { return std::find(text.begin(), text.end(), byte) != text.end(); }

// Whether the bytes before a "]" leave it a character of its own: none is a "]", and the last does not take
// the next byte with it, as the first byte of a double-byte character does.
bool closesItself(Bytes section) {
  if (section.empty()) return true;
  if (findByte(section.data(), endOf(section), ']')) return false;
  const unsigned char pair[] = {section.back(), ']'};
  const bool isLastAlone = zuCharLast(section.data(), section.size(), zuCPLocale) == section.size() - 1;
  return !isLastAlone || !zuIsLeadByte(pair);
}

// Whether every "[" has a "]" after it before the end of the text.
bool closesBrackets(Bytes text) {
  const unsigned char* const end = endOf(text);
  for (const unsigned char* at = text.data(); (at = findByte(at, end, '[')) != nullptr;) {
    at = findByte(at, end, ']');
    if (!at) return false;
  }
  return true;
}

bool isKey(Bytes key) {
  return !key.empty() && !isComment(key.front()) && key.front() != '[' &&
         std::none_of(key.begin(), key.end(), endsKey);
}

}  // namespace

bool findSection(Bytes text, Bytes name, Section* found) {
  const unsigned char* const end = endOf(text);
  for (const unsigned char* at = text.data();;) {
    const unsigned char* open = findByte(at, end, '[');
    if (!open) return false;
    const unsigned char* close = findByte(open, end, ']');
    if (!close) return false;
    const bool isHeader = open == text.data() || open[-1] == '\n';
    if (isHeader && between(open + 1, close).size() == name.size() &&
        equalsCi(open + 1, name.data(), name.size())) {
      *found = {open, close};
      return true;
    }
    at = close;
  }
}

const unsigned char* sectionEnd(Bytes text, const Section& section) {
  const unsigned char* next = findByte(section.close, endOf(text), '[');
  return next ? next : endOf(text);
}

bool findEntry(Bytes text, const unsigned char* from, Bytes key, Entry* found) {
  const unsigned char* const end = endOf(text);
  // No file has a key that holds what ends a key, or a line.
  if (std::any_of(key.begin(), key.end(), endsKey) || holds(key, '\n')) return false;
  for (const unsigned char* at = from;;) {
    const unsigned char* line = lineEnd(at, end);
    while (line < end && *line == '\n') ++line;
    const unsigned char* first = skipBlanks(line, end);
    if (first == end || *first == '[') return false;
    // A key needs something after it that ends it.
    const bool fits = key.size() < static_cast<std::size_t>(end - first);
    if (fits && endsKey(first[key.size()]) && !isComment(*first) && equalsCi(first, key.data(), key.size())) {
      const unsigned char* value = first + key.size();
      while (value < end && endsKey(*value)) ++value;
      *found = {line, value, lineEnd(value, end)};
      return true;
    }
    at = first;
  }
}

unsigned long listKeys(Bytes text, const Section& section, std::span<unsigned char> out) {
  if (out.empty()) return 0;
  const unsigned char* const end = sectionEnd(text, section);
  KeyList keys(out);
  for (const unsigned char* line = nextLine(section.close, end); line < end;) {
    const unsigned char* feed = lineEnd(line, end);
    keys.addLine(line, feed);
    line = feed == end ? end : feed + 1;
  }
  return keys.finish();
}

void Edit::add(const char* literal) { add(bytesOf(reinterpret_cast<const unsigned char*>(literal))); }

void Edit::addHeader(Bytes section) {
  add("[");
  add(section);
  add("]\n");
}

void Edit::addLine(const unsigned char* key, const unsigned char* value) {
  add(bytesOf(key));
  add("=");
  add(bytesOf(value));
  add("\n");
}

Edit::Edit(Bytes text, Bytes section, const unsigned char* key, const unsigned char* value) {
  const unsigned char* const begin = text.data();
  const unsigned char* const end = endOf(text);
  Section place;
  Entry entry;
  if (!findSection(text, section, &place)) {
    add(text);
    if (!key || !value) return;
    kind = Kind::AddSection;
    // After a last line without a line feed the header would be part of that line.
    if (!text.empty() && text.back() != '\n') add("\n");
    addHeader(section);
    addLine(key, value);
  } else if (!key) {
    kind = Kind::RemoveSection;
    add(between(begin, place.start));
    add(between(sectionEnd(text, place), end));
  } else if (findEntry(text, place.start, bytesOf(key), &entry)) {
    kind = value ? Kind::ChangeEntry : Kind::RemoveEntry;
    add(between(begin, entry.line));
    if (value) addLine(key, value);
    add(between(nextLine(entry.valueEnd, end), end));
  } else {
    kind = value ? Kind::AddEntry : Kind::Nothing;
    add(between(begin, place.start));
    addHeader(section);
    if (value) addLine(key, value);
    add(between(nextLine(place.close, end), end));
  }
}

unsigned long Edit::getLength() const {
  unsigned long length = 0;
  for (const Bytes& piece : getPieces()) length += piece.size();
  return length;
}

bool Edit::isSameAs(Bytes text) const {
  if (getLength() != text.size()) return false;
  const unsigned char* at = text.data();
  for (const Bytes& piece : getPieces()) {
    if (std::memcmp(at, piece.data(), piece.size()) != 0) return false;
    at += piece.size();
  }
  return true;
}

bool isWritable(Bytes section, const unsigned char* key, const unsigned char* value) {
  const Bytes keyText = key ? bytesOf(key) : Bytes();
  const Bytes valueText = value ? bytesOf(value) : Bytes();
  if (holds(section, '\n') || holds(keyText, '\n') || holds(valueText, '\n')) return false;
  return closesItself(section) && (!key || isKey(keyText)) && closesBrackets(keyText) &&
         closesBrackets(valueText);
}

}  // namespace zuini
