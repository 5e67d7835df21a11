#include "types/longvalue.h"

#include <algorithm>

#include "base/errors.h"

namespace pgwire {

namespace {

constexpr unsigned long kMeasureBlock = 16384;
constexpr uint64_t kHighBits = 0x8080808080808080;

bool isAscii(const unsigned char* p, std::size_t n) {
  for (; n >= sizeof(uint64_t); p += sizeof(uint64_t), n -= sizeof(uint64_t)) {
    uint64_t word = 0;
    std::memcpy(&word, p, sizeof word);
    if (word & kHighBits) return false;
  }
  return std::all_of(p, p + n, [](unsigned char c) { return c < 0x80; });
}

// UTF-16 units and characters of UTF-8 text.
void countText(const unsigned char* p, std::size_t n, unsigned long& units, unsigned long& characters) {
  for (; n > 0; ++p, --n) {
    if ((*p & 0xC0) == 0x80) continue;
    ++characters;
    units += *p >= 0xF0 ? 2 : 1;
  }
}

}  // namespace

// Truth values, which the server writes as "t" and "f", and numbers in binary form become text here.
Field LongValue::textForm(const Field& field, Kind kind) {
  const bool isNumber = field.binary && kind != Kind::Bytes;
  if (kind != Kind::Bool && !isNumber) return field;
  char buffer[kNumberText];
  std::string_view bytes;
  // The value is as long as its type: a row was checked when it came.
  if (field.head(buffer, kNumberText, bytes)) bytes = {};
  const auto* data = reinterpret_cast<const unsigned char*>(bytes.data());
  smallMessage.length = 1;
  if (isNumber) {
    smallMessage.length = bytes.empty() ? 0 : binaryToText(data, field.length, kind, small);
  } else {
    small[0] = bytes == "t" ? '1' : '0';
  }
  smallMessage.data = reinterpret_cast<const unsigned char*>(small);
  return {&smallMessage, 0, smallMessage.length, false, false};
}

bool LongValue::copyShort(const Field& value, Kind kind, SQLSMALLINT cType, const CodePage& page,
                          void* buffer, SQLLEN size, SQLLEN* length) {
  const bool isBytes = kind == Kind::Bytes;
  if (!buffer || (isBytes && (!value.binary || cType != SQL_C_BINARY))) return false;
  const Field field = textForm(value, kind);
  const unsigned char* data = field.inMemory();
  if (!data) return false;
  const std::size_t n = field.length;
  if (cType == SQL_C_WCHAR) {
    if (static_cast<std::size_t>(size) / sizeof(SQLWCHAR) <= n || !isAscii(data, n)) return false;
    auto* out = static_cast<unsigned char*>(buffer);
    for (std::size_t i = 0; i < n; ++i) {
      out[2 * i] = data[i];
      out[2 * i + 1] = 0;
    }
    out[2 * n] = out[2 * n + 1] = 0;
    *length = static_cast<SQLLEN>(n * sizeof(SQLWCHAR));
    return true;
  }
  const bool isText = cType == SQL_C_CHAR;
  if (static_cast<std::size_t>(size) < n + (isText ? 1 : 0)) return false;
  const bool samePage = !isText || page.number() == UCNV_IANA_UTF_8;
  if (!samePage && !(page.isAsciiSuperset() && isAscii(data, n))) return false;
  std::memcpy(buffer, data, n);
  if (isText) static_cast<char*>(buffer)[n] = 0;
  *length = static_cast<SQLLEN>(n);
  return true;
}

// The bytes of the whole value in the application's form; kZuUnknownLength if they are not known.
unsigned long LongValue::measure(const Field& field, SQLSMALLINT cType, const CodePage& page) const {
  if (cType == SQL_C_BINARY || (cType == SQL_C_CHAR && page.number() == UCNV_IANA_UTF_8)) return field.length;
  const unsigned char* data = field.inMemory();
  if (!data) return kZuUnknownLength;
  unsigned long units = 0;
  unsigned long count = 0;
  countText(data, field.length, units, count);
  if (cType == SQL_C_WCHAR) return units * sizeof(SQLWCHAR);
  if (page.isAsciiSuperset() && count == field.length) return count;
  return page.fixedWidth() ? count * page.fixedWidth() : kZuUnknownLength;
}

// A converter whose reset failed early has not taken the new source and sink.
int LongValue::dropUnowned(const ZuDataConverter& used, ZuDataSource* source, int failed) {
  if (failed && used.getSource() != source) delete source;
  if (failed && used.getSink() != sink) delete sink;
  return failed;
}

int LongValue::startCharacters(ZuDataSource* source, SQLSMALLINT cType, const CodePage& page) {
  const long sinkPage = cType == SQL_C_WCHAR ? static_cast<long>(UCNV_IANA_UTF_16LE) : page.number();
  if (characters)
    return dropUnowned(*characters, source, characters->reset(source, sink, UCNV_IANA_UTF_8, sinkPage, 1));
  characters.reset(new ZuCharConverter(source, sink, UCNV_IANA_UTF_8, sinkPage, 1, ZuReportAsWarning));
  if (!characters) {
    delete source;
    delete sink;
    return 1;
  }
  return characters->init();
}

// In a page whose characters differ in size the converter would drop one that a buffer's end cuts; a value
// that was converted whole is cut between characters.
int LongValue::measureByConverting() {
  converted.reset(new ZuTmpFileSink(kMeasureBlock));
  auto* replay = new ZuTmpFileSource(kMeasureBlock);
  ZuDataSource* replaced = nullptr;
  const int failed =
      !converted || !replay || characters->calculateSinkBytes(converted.get(), replay, &replaced);
  if (failed && characters->getSource() != replay) delete replay;
  if (replaced && replaced != replay) delete replaced;
  return failed;
}

int LongValue::start(const Field& value, Kind kind, SQLSMALLINT cType, const CodePage& page) {
  close();
  const Field field = textForm(value, kind);
  const bool isBinary = kind == Kind::Bytes || cType == SQL_C_BINARY;
  const bool isHex = kind == Kind::Bytes && !value.binary;
  auto* source = isHex ? new HexFieldSource(field) : new FieldSource(field);
  sink = new ZuMemorySink;
  if (!source || !sink) {
    delete source;
    delete sink;
    return 1;
  }
  finished = false;
  if (!isBinary) {
    if (startCharacters(source, cType, page)) {
      characters.reset();
      return 1;
    }
    converter = characters.get();
    const bool variableWidth =
        cType == SQL_C_CHAR && page.number() != UCNV_IANA_UTF_8 && page.fixedWidth() == 0;
    if (!variableWidth) {
      converter->setSinkBytes(measure(field, cType, page));
    } else if (measureByConverting()) {
      characters.reset();
      return 1;
    }
    return 0;
  }
  if (!binary) binary.reset(new ZuBinaryConverter);
  if (!binary) {
    delete source;
    delete sink;
    return 1;
  }
  const BinaryType type = cType == SQL_C_CHAR    ? kZuBinaryHex
                          : cType == SQL_C_WCHAR ? kZuBinaryWideHex
                                                 : kZuBinaryPlain;
  if (dropUnowned(*binary, source, binary->reset(source, sink, type, type == kZuBinaryPlain ? 0 : 1))) {
    binary.reset();
    return 1;
  }
  converter = binary.get();
  const unsigned long bytes = isHex ? HexFieldSource::withoutPrefix(field).length / 2 : field.length;
  converter->calculateSinkBytes(bytes, kZuUnknownLength);
  return 0;
}

Outcome LongValue::read(void* buffer, SQLLEN size, SQLLEN* length) {
  const unsigned long left = converter->getSinkBytes();
  *length = left == kZuUnknownLength ? SQL_NO_TOTAL : static_cast<SQLLEN>(left);
  static_cast<void>(sink->reset());
  sink->setBuffer(buffer, buffer && size > 0 ? static_cast<unsigned long>(size) : 0);
  if (converter->resetSink() || converter->convert()) return Outcome::Failed;
  finished = sink->isTruncated() == 0;
  if (finished) {
    *length = static_cast<SQLLEN>(sink->getWritten());
    return Outcome::Done;
  }
  postWarning(Issue::StringTruncated);
  return Outcome::Warned;
}

}  // namespace pgwire
