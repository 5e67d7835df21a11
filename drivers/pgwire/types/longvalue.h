// A value that an application reads as characters or as bytes, in one piece or in many.
//
//   LongValue value;
//   if (value.start(field, kind, SQL_C_CHAR, page)) return SQL_ERROR;
//   Outcome outcome = value.read(buffer, size, &length);   // and again until it is not Warned
//
// Short ASCII values are copied; everything else goes through the converters, which keep what a piece has no
// room for.
//
// Thread safety: none; one thread at a time.

#ifndef PGWIRE_TYPES_LONGVALUE_H
#define PGWIRE_TYPES_LONGVALUE_H

#include <sql.h>
#include <sqlext.h>
#include <zulib/convert/converters/zubinaryconverter.h>
#include <zulib/convert/converters/zucharconverter.h>
#include <zulib/convert/sources/zumemory.h>
#include <zulib/convert/sources/zutmpfilevalue.h>

#include <memory>

#include "types/binary.h"
#include "types/codepage.h"
#include "types/field.h"
#include "types/scalars.h"

namespace pgwire {

class LongValue {
 public:
  LongValue() = default;
  LongValue(const LongValue&) = delete;
  LongValue& operator=(const LongValue&) = delete;

  // `cType` is SQL_C_CHAR, SQL_C_WCHAR or SQL_C_BINARY. 0, or 1 after a record.
  [[nodiscard]] int start(const Field& field, Kind kind, SQLSMALLINT cType, const CodePage& page);

  // Puts the next piece into `size` bytes at `buffer`, terminated if it is text. `*length` takes the bytes
  // that were left before this piece, or SQL_NO_TOTAL. Warned, with the record of truncation, if some are
  // left after it.
  Outcome read(void* buffer, SQLLEN size, SQLLEN* length);

  bool isOpen() const { return converter != nullptr; }
  void close() { converter = nullptr; }

  // The whole of a short value, if it can simply be copied: true.
  bool copyShort(const Field& value, Kind kind, SQLSMALLINT cType, const CodePage& page, void* buffer,
                 SQLLEN size, SQLLEN* length);

 private:
  Field textForm(const Field& field, Kind kind);
  unsigned long measure(const Field& field, SQLSMALLINT cType, const CodePage& page) const;
  int dropUnowned(const ZuDataConverter& used, ZuDataSource* source, int failed);
  int measureByConverting();
  int startCharacters(ZuDataSource* source, SQLSMALLINT cType, const CodePage& page);

  std::unique_ptr<ZuCharConverter> characters;  // made when it is first needed, then used again
  std::unique_ptr<ZuBinaryConverter> binary;
  std::unique_ptr<ZuTmpFileSink> converted;  // a value that had to be converted whole
  ZuMemorySink* sink = nullptr;              // of the converter in use
  ZuDataConverter* converter = nullptr;      // the one in use, while there is a value
  char small[kNumberText];                   // the text of a number or a truth value...
  Message smallMessage;                      // ...as a message
  bool finished = false;
};

}  // namespace pgwire

#endif
