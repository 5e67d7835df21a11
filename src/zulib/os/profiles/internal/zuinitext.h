// The rules of a profile's text: where its sections and entries stand, and what a write makes of it.
//
// Everything here looks at text in memory, by length: a zero byte is a byte like others. Nothing is allocated
// and nothing is changed; positions point into the text and stand as long as it does.
//
//   [name]          a section, at the start of a line; what follows on the line is passed over
//   ; or #          a comment, when it is the first byte of a line that is no blank or tab
//   key = value     an entry: the key ends at "=", blank or tab, and any run of these stands before the value
//
// Sections and keys match without regard to case, as the C locale sees it.

#ifndef ZULIB_OS_INTERNAL_ZUINITEXT_H
#define ZULIB_OS_INTERNAL_ZUINITEXT_H

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

// The first section of that name; false when there is none. A "[" takes the next "]" with it wherever that
// stands, in a later line too, and the search goes on from there: that is meant.
bool findSection(Bytes text, Bytes name, Section* found);

// The next "[" behind the section's header, or the text's end. That the "[" may stand inside a value or a
// comment is meant: it ends the list of keys, and what a removal takes away.
const unsigned char* sectionEnd(Bytes text, const Section& section);

// The first entry of that key in the lines behind the one of `from`, up to a line that begins with "[".
bool findEntry(Bytes text, const unsigned char* from, Bytes key, Entry* found);

// The keys of a section, each with a terminator, and one more behind the last; answers the bytes written, all
// terminators counted, or 0 with `out` untouched when there is no key. Keys stand without the blanks around
// them; a line without "=" is taken whole and gets no terminator, so that it runs into the next key, which is
// meant. What does not fit is cut. From a size of 2 on the list always ends in two zeros.
unsigned long listKeys(Bytes text, const Section& section, std::span<unsigned char> out);

// The text after a write, as pieces of the old text and of what the caller gave. A null key removes the
// section, a null value the entry.
//
// A new section goes to the end, a new entry to the top of its section, whose header is then written anew as
// the caller spells it. A changed entry stays in its place.
class Edit {
 public:
  // What the write is about.
  enum Kind { addSection, addEntry, changeEntry, removeEntry, removeSection, nothing };

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

  static constexpr unsigned long mostPieces = 10;
  Bytes pieces[mostPieces];
  unsigned long count = 0;
  Kind kind = nothing;
};

// False for texts that would break the lines of the file: a line feed in any of them, a "]" in the section.
// Key and value may be null.
bool isWritable(Bytes section, const unsigned char* key, const unsigned char* value);

}  // namespace zuini

#endif
