#include "zulib/language/zuvalueparser.h"

#include <cstddef>
#include <cstdlib>

#include "zulib/errors/zuerror.h"
#include "zulib/runtime/zumessages.h"
#include "zulib/text/strcopy.h"

namespace {

// A word of the language, in both widths.
struct Word {
  const char* narrow;
  const char16_t* wide;
  unsigned long length;
};

constexpr Word kOdbc = {"ODBC", u"ODBC", 4};
constexpr Word kDsn = {"DSN", u"DSN", 3};
constexpr Word kDriver = {"DRIVER", u"DRIVER", 6};

bool isWord(const ZuSubString& text, const Word& word) {
  return text.getLength() == word.length &&
         text.isEqualCi(reinterpret_cast<const unsigned char*>(word.narrow), word.length);
}
bool isWord(const ZuSubStringW& text, const Word& word) {
  return text.getLength() == word.length &&
         text.isEqualCi(reinterpret_cast<const unsigned short*>(word.wide), word.length);
}

zuCPType codePageOf(const ZuSubString& view) { return view.getCodePage(); }
zuCPType codePageOf(const ZuSubStringW&) { return zuCPLocale; }

// An object that lies in a block with others. Who deletes it runs its destructor only.
template <class Object>
class InBlock : public Object {
 public:
  using Object::Object;
  explicit InBlock(const Object& other) : Object(other) {}

  static void* operator new(std::size_t, void* place) noexcept { return place; }
  static void operator delete(void*) noexcept {}
};

}  // namespace

// Attributes that were parsed. Each is three objects, which the dictionary deletes as it does others; their
// memory is that of the parser.
template <class Char>
struct ZuValueParserOf<Char>::Block {
  using Key = InBlock<View>;
  using Association = InBlock<typename ZuAttributesOf<Char>::Association>;
  struct Cell {
    alignas(Key) std::byte key[sizeof(Key)];
    alignas(Key) std::byte value[sizeof(Key)];
    alignas(Association) std::byte association[sizeof(Association)];
  };
  static constexpr unsigned kCells = 8;

  Block* older;
  Cell cells[kCells];
};

template <class Char>
ZuValueParserOf<Char>::ZuValueParserOf(const View* text, Char separator, const Char* contextName,
                                       unsigned allowDuplicates)
    : separator(separator),
      contextName(contextName),
      codePage(codePageOf(*text)),
      scanner(text),
      allowDuplicates(allowDuplicates) {
  attributes.setCaseInsensitive();
}

template <class Char>
ZuValueParserOf<Char>::~ZuValueParserOf() {
  attributes.deleteKeyAndData();
  while (Block* const block = newestBlock) {
    newestBlock = block->older;
    std::free(block);
  }
}

template <class Char>
void ZuValueParserOf<Char>::setQuotingChars(unsigned short first, unsigned short second,
                                            unsigned short third) {
  scanner.setQuotingChars(first, second, third);
}

template <class Char>
auto ZuValueParserOf<Char>::viewOf(const Char* text, unsigned long length) const -> View {
  if constexpr (sizeof(Char) == 1) return View(text, length, codePage);
  if constexpr (sizeof(Char) == 2) return View(text, length);
}

// Makes a string with a copy of the text. 0 or 1.
template <class Char>
int ZuValueParserOf<Char>::copyOf(String*& out, const Char* text, unsigned long length) const {
  out = new String;
  if (!out) return 1;
  if (out->initialize(viewOf(text, length)) == 0) return 0;
  delete out;
  out = nullptr;
  return 1;
}

// --- errors -------------------------------------------------------------------------------------------

template <class Char>
ZuError& ZuValueParserOf<Char>::addParseError() {
  if (contextName) return addError(ZU_MSG_ATTRIBUTES_UNREADABLE_IN) << token.getBegOfToken() << contextName;
  return addError(ZU_MSG_ATTRIBUTES_UNREADABLE) << token.getBegOfToken();
}

// A parse error with a further text, which names one or two words. 1.
template <class Char>
int ZuValueParserOf<Char>::failWith(unsigned short text, const View& first, const View* second) {
  // The record is not on the list if that keeps a single error and has another one.
  if (addParseError().isDummyError()) return 1;
  appendTextToLastError(text);
  ZuError* const error = ZuErrorKeeper::getLastError();
  if (!error) return 1;
  *error << first;
  if (second) *error << *second;
  return 1;
}

// --- parsing ------------------------------------------------------------------------------------------

template <class Char>
int ZuValueParserOf<Char>::initialize() {
  firstKeyword = FirstKeyword::None;
  do {
    scanner.getToken(token, searchNormal);
    if (!isCode(scanEnd) && !isCode(separator) && attributeParse()) return 1;
  } while (isCode(separator));
  if (isCode(scanEnd)) return usedFlags.initialize(attributes.getCount());
  raiseParseError();
  return 1;
}

template <class Char>
int ZuValueParserOf<Char>::attributeParse() {
  if (keywordParse()) return 1;
  if (isWord(keyword, kOdbc)) return 0;
  if (!isCode('=')) {
    if (token.getLength() == 0 || token[0] != '=') {
      raiseParseError();
      return 1;
    }
    // An operator of two characters, as "=*": the value begins with the second one.
    const unsigned long rest = scanner.getStrLen() - token.getBegOfToken() - 1;
    const Char* const value = token.asPascalStr(1);
    scanner.setScanString(value, rest);
    if constexpr (sizeof(Char) == 1) scanner.setCodePage(codePage);
  }
  if (getValueToken()) return 1;
  if (firstKeyword == FirstKeyword::None) {
    if (isWord(keyword, kDsn)) firstKeyword = FirstKeyword::Dsn;
    if (isWord(keyword, kDriver)) firstKeyword = FirstKeyword::Driver;
  }
  return valueParse();
}

template <class Char>
int ZuValueParserOf<Char>::getValueToken() {
  if (bracedValues) {
    scanner.getToken(token, searchNormal);
    if (isCode('{')) return getBracedToken();
    scanner.unGetToken(token);
  }
  scanner.getDelimitedToken(token, separator);
  return 0;
}

// The value that begins with the brace that was read, and what follows the closing one up to the separator.
template <class Char>
int ZuValueParserOf<Char>::getBracedToken() {
  const unsigned long begin = token.getBegOfToken();
  const View rest = viewOf(token.asPascalStr(), scanner.getStrLen() - begin);
  unsigned long close = rest.findChar('}', 1);
  while (close + 1 < rest.getLength() && rest[close + 1] == '}') close = rest.findChar('}', close + 2);
  if (close == rest.getLength()) {
    raiseParseError();
    return 1;
  }
  Token after;
  scanner.getToken(after, begin + close + 1, 0);
  scanner.unGetToken(after);
  scanner.getDelimitedToken(after, separator);
  const unsigned long end = after.getLength() ? after.getBegOfToken() + after.getLength() : begin + close + 1;
  scanner.getToken(token, begin, end - begin);
  return 0;
}

// One or more words; the token after the last one stays current.
template <class Char>
int ZuValueParserOf<Char>::keywordParse() {
  if (!isCode(scanWord)) {
    raiseParseError();
    return 1;
  }
  const Char* const first = token.asPascalStr();
  const Char* end = first;
  for (; isCode(scanWord); scanner.getToken(token, searchNormal)) end = token.asPascalStr(token.getLength());
  keyword = viewOf(first, static_cast<unsigned long>(end - first));
  isRepeated = isAttributeValue(&keyword);
  if (isRepeated && !allowDuplicates && !isWord(keyword, kDriver))
    return failWith(ZU_TEXT_KEYWORD_TWICE, token, nullptr);
  return 0;
}

// Stores the token as the value, unless the keyword has one or is the second of DSN and DRIVER.
template <class Char>
int ZuValueParserOf<Char>::valueParse() {
  const bool isDropped = (firstKeyword == FirstKeyword::Driver && isWord(keyword, kDsn)) ||
                         (firstKeyword == FirstKeyword::Dsn && isWord(keyword, kDriver));
  if (!isDropped && !isRepeated && addParsed(token)) return 1;
  scanner.getToken(token, searchNormal);
  return 0;
}

// Adds the keyword with a copy of the view of its value.
template <class Char>
int ZuValueParserOf<Char>::addParsed(const View& value) {
  if (freeCells == 0) {
    auto* const block = static_cast<Block*>(ramAlloc(sizeof(Block)));
    if (!block) return 1;
    block->older = newestBlock;
    newestBlock = block;
    freeCells = Block::kCells;
  }
  auto& cell = newestBlock->cells[freeCells - 1];
  auto* const key = new (cell.key) typename Block::Key(keyword);
  auto* const data = new (cell.value) typename Block::Key(value);
  if (attributes.add(new (cell.association) typename Block::Association(key, data))) return 1;
  --freeCells;
  keywordTags.set(tagOf(keyword));
  return 0;
}

// --- attributes ---------------------------------------------------------------------------------------

// Keywords that are equal have the same tag, from their lengths and their first and last letters but for the
// case. Characters beyond ASCII may fold to anything: kAnyTag.
template <class Char>
unsigned ZuValueParserOf<Char>::tagOf(const View& key) {
  constexpr unsigned kAsciiEnd = 0x80;
  constexpr unsigned kCase = 0x20;
  const unsigned long length = key.getLength();
  if (length == 0) return 0;
  const unsigned first = key[0];
  const unsigned last = key[length - 1];
  if (first >= kAsciiEnd || last >= kAsciiEnd) return kAnyTag;
  return static_cast<unsigned>((first | kCase) * 59 + (last | kCase) * 7 + length) % kAnyTag;
}

// The count if the keyword is not there.
template <class Char>
unsigned long ZuValueParserOf<Char>::indexOf(const View& key) const {
  const unsigned tag = tagOf(key);
  const bool mayBeThere = tag == kAnyTag || keywordTags[tag] || keywordTags[kAnyTag];
  return mayBeThere ? attributes.getIndexForKey(&key) : attributes.getCount();
}

template <class Char>
auto ZuValueParserOf<Char>::getAttributeValue(const View* key) -> const View* {
  const unsigned long index = indexOf(*key);
  if (index == attributes.getCount()) return nullptr;
  if (index < markCount()) usedFlags.set(index);
  return static_cast<const View*>(attributes.getPtrDataAtIndex(index));
}

template <class Char>
auto ZuValueParserOf<Char>::getAttributeValue(const Char* key, unsigned long length) -> const View* {
  const View view = viewOf(key, length);
  return getAttributeValue(&view);
}

template <class Char>
auto ZuValueParserOf<Char>::getAttributeValue(const Char* key) -> const View* {
  return getAttributeValue(key, strLen(key));
}

template <class Char>
int ZuValueParserOf<Char>::getAttributeValue(const Char* key1, const Char* key2, const View*& value) {
  const View* const first = getAttributeValue(key1);
  const View* const second = getAttributeValue(key2);
  if (first && second) {
    const View word2 = viewOf(key2, strLen(key2));
    return failWith(ZU_TEXT_KEYWORDS_EXCLUDE, viewOf(key1, strLen(key1)), &word2);
  }
  value = first ? first : second;
  return 0;
}

template <class Char>
bool ZuValueParserOf<Char>::isAttributeValue(const Char* key) const {
  const View view = viewOf(key, strLen(key));
  return isAttributeValue(&view);
}

template <class Char>
unsigned ZuValueParserOf<Char>::getUnusedCount() const {
  unsigned unused = 0;
  for (unsigned long i = 0; i < attributes.getCount(); ++i) {
    if (!isUsed(i)) ++unused;
  }
  return unused;
}

template <class Char>
auto ZuValueParserOf<Char>::getUnusedAttribute() -> const View* {
  for (unsigned long i = unusedIndex; i < attributes.getCount(); ++i) {
    if (isUsed(i)) continue;
    unusedIndex = i + 1;
    return getAttributeKey(i);
  }
  return nullptr;
}

template <class Char>
int ZuValueParserOf<Char>::resetUnused() {
  unusedIndex = 0;
  return usedFlags.initialize(attributes.getCount());
}

template <class Char>
int ZuValueParserOf<Char>::addAttribute(const Char* newKeyword, unsigned long keywordLength,
                                        const Char* value, unsigned long valueLength, const Char* alternate,
                                        unsigned long alternateLength) {
  View found = viewOf(newKeyword, keywordLength);
  unsigned long index = indexOf(found);
  if (index == attributes.getCount() && alternateLength) {
    found = viewOf(alternate, alternateLength);
    index = indexOf(found);
  }
  const bool isNew = index == attributes.getCount();
  String* key = nullptr;
  if (isNew && copyOf(key, newKeyword, keywordLength)) return 1;
  String* data = nullptr;
  bool failed = copyOf(data, value, valueLength) != 0;
  const bool isQuoted =
      !failed && (data->isCharInStr('\'') || data->isCharInStr('"') || data->isCharInStr(separator) ||
                  (bracedValues && valueLength && *value == '{'));
  if (isQuoted) failed = data->addQuotes('\'') != 0;
  if (!failed && isNew) failed = attributes.addAssoc(key, data) != 0;
  if (failed) {
    delete key;
    delete data;
    return 1;
  }
  if (isNew) {
    keywordTags.set(tagOf(*key));
  } else {
    delete attributes.getPtrDataAtIndex(index);
    attributes.changeData(&found, data);
  }
  return 0;
}

template <class Char>
int ZuValueParserOf<Char>::addAttribute(const Char* newKeyword, const Char* value, const Char* alternate) {
  return addAttribute(newKeyword, strLen(newKeyword), value, strLen(value), alternate,
                      alternate ? strLen(alternate) : 0);
}

template <class Char>
void ZuValueParserOf<Char>::removeAttribute(const Char* key) {
  const View view = viewOf(key, strLen(key));
  const unsigned long index = indexOf(view);
  if (index < attributes.getCount()) removeAttribute(index);
}

template <class Char>
int ZuValueParserOf<Char>::buildString(String* result) {
  result->clear();
  for (unsigned long i = 0; i < attributes.getCount(); ++i) {
    const View& key = *getAttributeKey(i);
    const View& value = *static_cast<const View*>(attributes.getPtrDataAtIndex(i));
    if (result->assureSpace(key.getLength() + value.getLength() + 2)) return 1;
    if (i > 0 && result->concat(separator)) return 1;
    if (result->concat(key) || result->concat(static_cast<Char>('=')) || result->concat(value)) return 1;
  }
  return 0;
}

template class ZuValueParserOf<unsigned char>;
template class ZuValueParserOf<unsigned short>;

ZuValueParser::~ZuValueParser() = default;
ZuValueParserW::~ZuValueParserW() = default;
