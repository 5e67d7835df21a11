#include "tests/convert/pieces.h"

#include <gtest/gtest.h>

#include <cstring>

#include "zulib/codepages/internal/ucnvtables.h"

Converter openPage(long page) {
  UErrorCode status = U_ZERO_ERROR;
  return Converter(ucnv_open(ucnvIANAidToICUname(page), &status));
}

const std::vector<long>& openPages() {
  static const std::vector<long> all = [] {
    std::vector<long> open;
    for (const UcnvNameRow& row : IANAtoICUTable) {
      if (row.name && openPage(row.id)) open.push_back(row.id);
    }
    return open;
  }();
  return all;
}

static void noteCut(const void* context, UConverterToUnicodeArgs* args, const char* bytes, int32_t length,
                    UConverterCallbackReason reason, UErrorCode* status) {
  if (*status == U_TRUNCATED_CHAR_FOUND) *static_cast<bool*>(const_cast<void*>(context)) = true;
  UCNV_TO_U_CALLBACK_SUBSTITUTE(nullptr, args, bytes, length, reason, status);
}

std::u16string decode(long page, const std::string& bytes, bool flush, bool* isCut) {
  if (page == UCNV_IANA_UTF_16LE || page == UCNV_IANA_UTF_16BE) {
    std::u16string units;
    for (size_t i = 0; i + 1 < bytes.size(); i += 2) {
      const auto first = static_cast<unsigned char>(bytes[i]);
      const auto second = static_cast<unsigned char>(bytes[i + 1]);
      units += static_cast<char16_t>(page == UCNV_IANA_UTF_16BE ? first << 8 | second : second << 8 | first);
    }
    return units;
  }
  const Converter converter = openPage(page);
  std::u16string units(bytes.size() * 4 + 40, 0);
  const char* in = bytes.data();
  char16_t* out = units.data();
  UErrorCode status = U_ZERO_ERROR;
  bool unused = false;
  ucnv_setToUCallBack(converter.get(), noteCut, isCut ? isCut : &unused, nullptr, nullptr, &status);
  ucnv_toUnicode(converter.get(), &out, out + units.size(), &in, in + bytes.size(), nullptr, flush, &status);
  EXPECT_TRUE(U_SUCCESS(status)) << u_errorName(status);
  units.resize(static_cast<size_t>(out - units.data()));
  return units;
}

std::string encode(long page, const std::u16string& units, bool flush) {
  std::string bytes;
  if (page == UCNV_IANA_UTF_16LE || page == UCNV_IANA_UTF_16BE) {
    for (const char16_t unit : units) {
      const char both[] = {static_cast<char>(unit), static_cast<char>(unit >> 8)};
      bytes += both[page == UCNV_IANA_UTF_16BE];
      bytes += both[page == UCNV_IANA_UTF_16LE];
    }
    return bytes;
  }
  const Converter converter = openPage(page);
  bytes.resize(units.size() * 12 + 100);
  const char16_t* in = units.data();
  char* out = bytes.data();
  UErrorCode status = U_ZERO_ERROR;
  ucnv_fromUnicode(converter.get(), &out, out + bytes.size(), &in, in + units.size(), nullptr, flush,
                   &status);
  EXPECT_TRUE(U_SUCCESS(status)) << u_errorName(status);
  bytes.resize(static_cast<size_t>(out - bytes.data()));
  return bytes;
}

std::string randomText(std::mt19937& random, long page, unsigned length, bool broken) {
  static constexpr char16_t kSome[] = {u'a',   u'Z',  u'\n',  u'ä',  u'€',   u'Ж',  u'あ',
                                       u'漢',  u'한', 0x304,  0x301, 0x309A, u'か', 0xFFFD,
                                       0xFEFF, 0x378, 0xE000, u'~',  u'+',   u'\\', 0xCA};
  static constexpr char32_t kPairs[] = {0x1F600, 0x20000, 0x10FFFF, 0x10000, 0x2A6D6};
  std::u16string units;
  while (units.size() < length) {
    switch (random() % 8) {
      case 0: {
        const char32_t c = kPairs[random() % std::size(kPairs)];
        units += {U16_LEAD(c), U16_TRAIL(c)};
        break;
      }
      case 1: units += static_cast<char16_t>(random()); break;
      case 2: units += static_cast<char16_t>(0x4E00 + random() % 0x1000); break;
      case 3: units += static_cast<char16_t>(0xA0 + random() % 0x400); break;
      case 4: units.append(random() % 6, static_cast<char16_t>(u'a' + random() % 26)); break;
      default: units += kSome[random() % std::size(kSome)];
    }
  }
  std::string bytes = encode(page, units);
  for (auto n = broken ? random() % 4 : 0; n && !bytes.empty(); --n) {
    const size_t at = random() % bytes.size();
    switch (random() % 3) {
      case 0: bytes[at] = static_cast<char>(random()); break;
      case 1: bytes.erase(at, 1 + random() % 3); break;
      default: bytes.insert(at, 1 + random() % 2, static_cast<char>(random()));
    }
  }
  if (broken && random() % 3 == 0) bytes.resize(random() % (bytes.size() + 1));
  return bytes;
}

int PieceSource::reset() {
  position = 0;
  return fault && fault->fails();
}

int PieceSource::getData(const void** data, unsigned long* size, int* more) {
  if (fault && fault->fails()) return 1;
  const size_t left = value.size() - position;
  const size_t n = std::min<size_t>(left, random() % 4 ? random() % (mostBytes + 1) : mostBytes);
  region = std::make_unique<char[]>(n);
  std::memcpy(region.get(), value.data() + position, n);
  position += n;
  *data = region.get();
  *size = n;
  *more = position < value.size();
  return 0;
}

int PieceSource::getData(void* buffer, unsigned long max, unsigned long* got, int* more) {
  if (fault && fault->fails()) return 1;
  *got = std::min<unsigned long>(max, value.size() - position);
  if (*got) std::memcpy(buffer, value.data() + position, *got);
  position += *got;
  *more = position < value.size();
  return 0;
}

void PieceSink::setBuffer(unsigned long newSize) {
  size = newSize;
  buffer = std::make_unique<unsigned char[]>(size);
  std::memset(buffer.get(), '#', size);
}

int PieceSink::writeData(const void* bytes, unsigned long n, int more) {
  if (fault && fault->fails()) return 1;
  piece.assign(static_cast<const char*>(bytes), n);
  joined += piece;
  lastMore = more;
  return 0;
}

int PieceSink::getData(void** out, unsigned long* outSize, int* more) {
  if (fault && fault->fails()) return 1;
  if (kind == Extendable) setBuffer(1 + random() % mostBytes);
  *out = buffer.get();
  *outSize = size;
  *more = kind == Extendable;
  return 0;
}

int PieceSink::dataWritten(unsigned long n, int more) {
  EXPECT_LE(n, size);
  return writeData(buffer.get(), n, more);
}
