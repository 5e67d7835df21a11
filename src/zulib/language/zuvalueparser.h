// ZuValueParser and ZuValueParserW: read an attribute string, the form of an ODBC connection string, into
// attributes in order of arrival, and remember which of them the caller asked for.
//
//   ZuSubString text(bytes, length);
//   ZuValueParser parser(&text, ';', nullptr, 0);
//   if (parser.initialize()) return 1;
//   const ZuSubString* server = parser.getAttributeValue(key);   // null if it is not there
//   while (const ZuSubString* key = parser.getUnusedAttribute()) ...   // what nobody asked for
//
// The language, with the separator that the caller gives:
//
//   attribute-string   attributes with separators between them; empty attributes are allowed
//   attribute          keyword "=" value, or the single word ODBC
//   keyword            one or more words; the text between the first and the last belongs to it
//   value              up to the next separator outside quotes, without the white space around it; may
//                      be empty
//
// In a braced value, which setBracedValues allows, quotes and separators between the braces are characters as
// others are, and "}}" is a "}". Without it a brace is nothing special.
//
// Keywords are found in any case. A value keeps its quotes. Of DSN and DRIVER the one that the string names
// first counts, and the other is dropped. A keyword for the second time is an error, unless duplicates are
// allowed or it is DRIVER; the first value stays.
//
// Parsed keys and values are views into the text, which must outlive the parser; those of addAttribute are
// strings. Operations return 0, or 1 with an error recorded; attributes parsed before a failure stay. Keys
// and values are valid until they are removed or replaced.
//
// Thread safety: none; one thread at a time.

#ifndef ZULIB_LANGUAGE_ZUVALUEPARSER_H
#define ZULIB_LANGUAGE_ZUVALUEPARSER_H

#include <bitset>

#include "zulib/collections/zudictionary.h"
#include "zulib/language/zuscanner.h"

class ZuError;

template <class Char>
struct ZuAttributesOf;
template <>
struct ZuAttributesOf<unsigned char> {
  using Scanner = ZuScanner;
  using Dictionary = ZuSeqDictionary;
  using Association = ZuSubPtrKey;
};
template <>
struct ZuAttributesOf<unsigned short> {
  using Scanner = ZuScannerW;
  using Dictionary = ZuSeqDictionaryW;
  using Association = ZuSubPtrKeyW;
};

template <class Char>
class ZU_API ZuValueParserOf : public ZuObject {
 public:
  using View = typename ZuTextNames<Char>::View;
  using String = typename ZuTextNames<Char>::String;
  using Token = typename ZuScannerOf<Char>::Token;

  // `separator` is a one-character operator of the scanner. `contextName` names the text in errors and may be
  // null; it is not copied. With `allowDuplicates` not 0 a repeated keyword is no error. Nothing is parsed
  // yet.
  ZuValueParserOf(const View* text, Char separator, const Char* contextName, unsigned allowDuplicates);
  ZuValueParserOf(const ZuValueParserOf&) = delete;
  ZuValueParserOf& operator=(const ZuValueParserOf&) = delete;
  ~ZuValueParserOf() override;

  // As in the scanner; before `initialize`.
  void setQuotingChars(unsigned short first, unsigned short second, unsigned short third);
  int setValidChars(const Char* text) { return scanner.setValidChars(text); }
  void resetValidChars() { scanner.resetValidChars(); }
  // A value that begins with "{" reaches to its "}" at least, as ODBC writes values with special characters;
  // one that is not closed is an error. Like quotes, the braces stay in the value.
  void setBracedValues() { bracedValues = true; }

  // Parses the whole text. Call it once. A text that does not follow the language is error 2704 with the
  // offset of the token, or 2705 with the offset and the context name.
  [[nodiscard]] int initialize();

  // The value of a keyword, which counts as used from then on; null if it is not there.
  const View* getAttributeValue(const View* key);
  const View* getAttributeValue(const Char* key);
  const View* getAttributeValue(const Char* key, unsigned long length);
  // The value under one of two keywords that mean the same; null if neither is there. 1 with `value`
  // untouched and text 2707 in the error if both are.
  [[nodiscard]] int getAttributeValue(const Char* key1, const Char* key2, const View*& value);

  // Whether the keyword is there; it does not count as used by that.
  bool isAttributeValue(const View* key) const { return indexOf(*key) < attributes.getCount(); }
  bool isAttributeValue(const Char* key) const;

  // The attributes that nobody asked for: how many, and the next one's keyword, null past the last.
  unsigned getUnusedCount() const;
  const View* getUnusedAttribute();
  // All attributes are unused again, those added since too.
  [[nodiscard]] int resetUnused();
  // Makes room for the used marks of `n` attributes and keeps the marks there are.
  [[nodiscard]] int resizeUnused(unsigned long n) { return usedFlags.resize(n); }

  unsigned long getAttributeCount() const { return attributes.getCount(); }
  // The keyword at a position below the count.
  const View* getAttributeKey(unsigned long index) const { return attributes.getSubKeyAtIndex(index); }

  // Adds an attribute, or replaces the value of the one under `keyword`, else of the one under `alternate`,
  // whose keyword stays. A value with an apostrophe, a double quote or the separator is put in apostrophes;
  // with braced values also one that begins with "{".
  // The new attribute has no used mark until resetUnused or resizeUnused. `alternate` may be null.
  [[nodiscard]] int addAttribute(const Char* keyword, unsigned long keywordLength, const Char* value,
                                 unsigned long valueLength, const Char* alternate,
                                 unsigned long alternateLength);
  [[nodiscard]] int addAttribute(const Char* keyword, const Char* value, const Char* alternate);

  // Removes an attribute, if it is there. Used marks are not moved: call resetUnused.
  void removeAttribute(const Char* key);
  void removeAttribute(unsigned long index) { attributes.deleteKeyAndDataAtIndex(index); }

  // Writes the attributes back, in their order, with separators between them.
  [[nodiscard]] int buildString(String* result);

  // Records the error of the current token.
  void raiseParseError() { static_cast<void>(addParseError()); }

 private:
  // Which of DSN and DRIVER has come first.
  enum class FirstKeyword { None = 1, Dsn = 2, Driver = 3 };

  ZuError& addParseError();
  [[nodiscard]] int failWith(unsigned short text, const View& first, const View* second);
  [[nodiscard]] int attributeParse();
  [[nodiscard]] int keywordParse();
  [[nodiscard]] int getValueToken();
  [[nodiscard]] int getBracedToken();
  [[nodiscard]] int valueParse();
  [[nodiscard]] int addParsed(const View& value);
  static unsigned tagOf(const View& key);
  unsigned long indexOf(const View& key) const;
  static constexpr unsigned kAnyTag = 255;
  bool isUsed(unsigned long index) const { return index < markCount() && usedFlags.isSet(index); }
  // The marks reach to the end of a byte: `resize` leaves the number of bits as it is within one.
  unsigned long markCount() const { return (usedFlags.getBitCount() + 7) / 8 * 8; }
  bool isCode(unsigned c) const { return token.getTokenType() == static_cast<ScanCode>(c); }
  View viewOf(const Char* text, unsigned long length) const;
  int copyOf(String*& out, const Char* text, unsigned long length) const;

  Char separator;
  const Char* contextName;
  zuCPType codePage;  // of the text; UTF-16 has none
  typename ZuAttributesOf<Char>::Scanner scanner;
  typename ZuAttributesOf<Char>::Dictionary attributes;
  Token token;                   // the current one
  View keyword;                  // being parsed
  bool isRepeated = false;       // it is in `attributes` already
  struct Block;                  // what has been parsed: many attributes in one allocation
  Block* newestBlock = nullptr;  // owned, with the older ones
  unsigned freeCells = 0;        // of the newest block
  std::bitset<256> keywordTags;  // of the keywords in `attributes`
  ZuBitArray usedFlags;          // one bit for each attribute
  unsigned long unusedIndex = 0;
  unsigned allowDuplicates;
  bool bracedValues = false;
  FirstKeyword firstKeyword = FirstKeyword::None;
};

extern template class ZuValueParserOf<unsigned char>;
extern template class ZuValueParserOf<unsigned short>;

class ZU_API ZuValueParser : public ZuValueParserOf<unsigned char> {
 public:
  using ZuValueParserOf::ZuValueParserOf;
  ~ZuValueParser() override;
};

class ZU_API ZuValueParserW : public ZuValueParserOf<unsigned short> {
 public:
  using ZuValueParserOf::ZuValueParserOf;
  ~ZuValueParserW() override;
};

#endif
