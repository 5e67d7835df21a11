// The rules of a profile's text: where its sections and entries are, and what a write makes of it.
//
// Everything here looks at text in memory, by length: a zero byte is a byte like others. Nothing is allocated
// and nothing is changed; positions point into the text.
//
//   [name]          a section, at the start of a line; what follows on the line is passed over
//   ; or #          a comment, if it is the first byte of a line after blanks and tabs
//   key = value     an entry: the key ends at "=", blank or tab; the value begins after any run of these
//
// Sections and keys match without regard to case, as the C locale sees it.

#ifndef ZULIB_OS_PROFILES_INTERNAL_ZUINITEXT_H
#define ZULIB_OS_PROFILES_INTERNAL_ZUINITEXT_H

#include <cstring>
#include <span>

namespace zuini {

using Bytes = std::span<const unsigned char>;

inline Bytes bytesOf(const unsigned char* terminated) {
  return {terminated, std::strlen(reinterpret_cast<const char*>(terminated))};
}
inline Bytes between(const unsigned char* from, const unsigned char* to) {
  return {from, static_cast<std::size_t>(to - from)};
}
inline const unsigned char* endOf(Bytes text) { return text.data() + text.size(); }

struct Section {
  const unsigned char* start;  // its "["
  const unsigned char* close;  // its "]"
};

struct Entry {
  const unsigned char* line;  // the start of its line
  const unsigned char* value;
  const unsigned char* valueEnd;  // at the line feed, or the text's end
};

// Finds the first section of that name; false if there is none. A "[" extends to the next "]", also in a
// later line, and the search goes on from there.
bool findSection(Bytes text, Bytes name, Section* found);

// The next "[" after the section's header, or the text's end. A "[" inside a value or a comment counts too:
// it ends the list of keys, and what a removal takes away.
const unsigned char* sectionEnd(Bytes text, const Section& section);

// Finds the first entry of that key in the lines after the one of `from`, up to a line that begins with "[".
bool findEntry(Bytes text, const unsigned char* from, Bytes key, Entry* found);

// Writes the keys of a section, each with a terminator, and one more terminator after the last. Returns the
// bytes written, all terminators counted, or 0 with `out` untouched if there is no key. Keys come without the
// blanks around them; a line without "=" is taken whole and gets no terminator, so it runs into the next key.
// What does not fit is cut. From a size of 2 on the list always ends in two zeros.
unsigned long listKeys(Bytes text, const Section& section, std::span<unsigned char> out);

// The text after a write, as pieces of the old text and of what the caller gave. A null key removes the
// section, a null value the entry.
//
// A new section goes to the end, a new entry to the top of its section, whose header is then written anew as
// the caller spells it. A changed entry stays where it is.
class Edit {
 public:
  enum class Kind { AddSection, AddEntry, ChangeEntry, RemoveEntry, RemoveSection, Nothing };

  Edit(Bytes text, Bytes section, const unsigned char* key, const unsigned char* value);

  Kind getKind() const { return kind; }
  std::span<const Bytes> getPieces() const { return {pieces, count}; }
  unsigned long getLength() const;
  bool isSameAs(Bytes text) const;

 private:
  void add(Bytes piece) {
    if (!piece.empty()) pieces[count++] = piece;
  }
  void add(const char* literal);
  void addHeader(Bytes section);
  void addLine(const unsigned char* key, const unsigned char* value);

  static constexpr unsigned long kMostPieces = 10;
  Bytes pieces[kMostPieces];
  unsigned long count = 0;
  Kind kind = Kind::Nothing;
};

// False if the texts, once written, would not be found again or would change what is read of other lines:
//   - a section name, after which the first "]" of the header is not the one that closes it;
//   - a key that is empty, begins like a comment or a header, or holds what ends a key;
//   - a line feed in any of them;
//   - a "[" in key or value without a "]" after it, which would swallow the next header.
// Key and value may be null.
bool isWritable(Bytes section, const unsigned char* key, const unsigned char* value);

}  // namespace zuini

#endif
