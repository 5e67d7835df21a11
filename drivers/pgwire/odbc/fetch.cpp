// Rows into an application's variables.

#include <algorithm>

#include "odbc/entry.h"
#include "odbc/execute.h"
#include "odbc/text.h"
#include "types/binary.h"

namespace pgwire {

namespace {

constexpr uint32_t kLongestScalar = 512;  // more digits than any fixed-size type takes

// Where a value goes.
struct Target {
  SQLSMALLINT cType = SQL_C_CHAR;
  char* data = nullptr;
  SQLLEN size = 0;
  SQLLEN* length = nullptr;
  SQLLEN* indicator = nullptr;
  NumericForm form;
};

bool isLongType(SQLSMALLINT cType) {
  return cType == SQL_C_CHAR || cType == SQL_C_WCHAR || cType == SQL_C_BINARY;
}

void storeLength(SQLLEN* at, SQLLEN length) {
  if (at) std::memcpy(at, &length, sizeof length);
}

// A value that is there: the indicator says so, and the length says how long it is.
void storeLengths(const Target& target, SQLLEN length) {
  if (target.indicator && target.indicator != target.length) storeLength(target.indicator, 0);
  storeLength(target.length, length);
}

Outcome storeNull(const Target& target) {
  SQLLEN* cell = target.indicator ? target.indicator : target.length;
  if (!cell) {
    postError(Issue::IndicatorNeeded);
    return Outcome::Failed;
  }
  storeLength(cell, SQL_NULL_DATA);
  return Outcome::Done;
}

Outcome storeScalar(const Field& field, Kind kind, const Target& target) {
  char buffer[kLongestScalar];
  std::string_view text;
  if (field.length > kLongestScalar) {
    postError(sizeOfCType(target.cType) ? Issue::NotConvertible : Issue::NoSuchConversion);
    return Outcome::Failed;
  }
  if (field.head(buffer, kLongestScalar, text)) return Outcome::Failed;
  char unused[sizeof(SQL_NUMERIC_STRUCT)];
  char* out = target.data ? target.data : unused;
  const Outcome outcome = field.binary && kind != Kind::Bytes
                              ? scalarFromBinary(reinterpret_cast<const unsigned char*>(text.data()),
                                                 field.length, kind, target.cType, target.form, out)
                              : scalarFromText(text, kind, target.cType, target.form, out);
  if (outcome != Outcome::Failed) storeLengths(target, sizeOfCType(target.cType));
  return outcome;
}

Outcome storeLong(Statement& stmt, const Field& field, Kind kind, const Target& target) {
  SQLLEN length = 0;
  if (!stmt.bound.copyShort(field, kind, target.cType, stmt.conn.codePage, target.data, target.size,
                            &length)) {
    if (stmt.bound.start(field, kind, target.cType, stmt.conn.codePage)) return Outcome::Failed;
    const Outcome outcome = stmt.bound.read(target.data, target.size, &length);
    stmt.bound.close();
    if (outcome != Outcome::Failed) storeLengths(target, length);
    return outcome;
  }
  storeLengths(target, length);
  return Outcome::Done;
}

SQLSMALLINT resolveType(SQLSMALLINT cType, const DescriptorRecord& column) {
  return cType == SQL_C_DEFAULT ? defaultCType(column.conciseType) : cType;
}

NumericForm formOf(const DescriptorRecord& record) {
  NumericForm form;
  if (record.scaleIsSet) {
    form.scale = record.scale;
    if (record.precision > 0) form.precision = record.precision;
  }
  return form;
}

// The variables that a column is bound to, for a row of the row set.
Target targetOf(const Descriptor& ard, const DescriptorRecord& record, const DescriptorRecord& column,
                SQLULEN row) {
  Target target;
  target.cType = resolveType(record.conciseType, column);
  target.size = record.octetLength;
  target.form = formOf(record);
  const SQLLEN fixed = sizeOfCType(target.cType);
  const SQLLEN offset = ard.bindOffset ? *ard.bindOffset : 0;
  const bool byColumn = ard.bindType == SQL_BIND_BY_COLUMN;
  const SQLLEN dataStep = byColumn ? (fixed ? fixed : record.octetLength) : static_cast<SQLLEN>(ard.bindType);
  const SQLLEN cellStep = byColumn ? static_cast<SQLLEN>(sizeof(SQLLEN)) : static_cast<SQLLEN>(ard.bindType);
  const auto at = [&](void* base, SQLLEN step) {
    return base ? static_cast<char*>(base) + offset + step * static_cast<SQLLEN>(row) : nullptr;
  };
  target.data = at(record.data, dataStep);
  target.length = reinterpret_cast<SQLLEN*>(at(record.octetLengthPtr, cellStep));
  target.indicator = reinterpret_cast<SQLLEN*>(at(record.indicator, cellStep));
  return target;
}

Outcome storeValue(Statement& stmt, std::size_t number, const Target& target) {
  const Field& field = stmt.fields[number - 1];
  if (field.isNull) return storeNull(target);
  const Kind kind = stmt.columns.records[number - 1].facts.type->kind;
  return isLongType(target.cType) ? storeLong(stmt, field, kind, target) : storeScalar(field, kind, target);
}

// The bound columns of the current row; the row's status.
SQLUSMALLINT storeRow(Statement& stmt, SQLULEN row) {
  SQLUSMALLINT status = SQL_ROW_SUCCESS;
  if (stmt.retrieveData == SQL_RD_OFF) return status;
  Descriptor& ard = *stmt.rows;
  const std::size_t count = std::min(ard.records.size(), stmt.columns.records.size());
  for (std::size_t number = 1; number <= count; ++number) {
    const DescriptorRecord& record = ard.records[number - 1];
    if (!record.data && !record.octetLengthPtr) continue;
    stmt.errors.setPlace(static_cast<long>(row) + 1, static_cast<long>(number));
    const Target target = targetOf(ard, record, stmt.columns.records[number - 1], row);
    switch (storeValue(stmt, number, target)) {
      case Outcome::Done: break;
      case Outcome::Warned:
        if (status == SQL_ROW_SUCCESS) status = SQL_ROW_SUCCESS_WITH_INFO;
        break;
      case Outcome::Failed: status = SQL_ROW_ERROR; break;
    }
  }
  stmt.errors.setPlace(0, 0);
  return status;
}

SQLRETURN fetchRowset(Statement& stmt, SQLULEN size, SQLUSMALLINT* statuses, SQLULEN* fetched) {
  if (stmt.stage != Stage::Cursor) return codeOf(fail(Issue::NoCursor));
  SQLULEN count = 0;
  SQLULEN bad = 0;
  SQLRETURN code = SQL_SUCCESS;
  for (; count < size; ++count) {
    code = fetchRow(stmt);
    if (code != SQL_SUCCESS) break;
    const SQLUSMALLINT status = storeRow(stmt, count);
    bad += status == SQL_ROW_ERROR ? 1 : 0;
    if (statuses) statuses[count] = status;
  }
  if (fetched) *fetched = count;
  for (SQLULEN row = count; statuses && row < size; ++row) statuses[row] = SQL_ROW_NOROW;
  if (code == SQL_ERROR) return code;
  if (count == 0) return SQL_NO_DATA;
  // The last row of the set stays current at its end.
  stmt.onRow = true;
  if (bad == count) return SQL_ERROR;
  return static_cast<SQLRETURN>(bad > 0 ? SQL_SUCCESS_WITH_INFO : SQL_SUCCESS);
}

SQLRETURN getPiece(Statement& stmt, SQLUSMALLINT number, const Target& target) {
  const Field& field = stmt.fields[number - 1];
  const Kind kind = stmt.columns.records[number - 1].facts.type->kind;
  SQLLEN length = 0;
  if (!stmt.pieces.isOpen()) {
    if (stmt.pieces.copyShort(field, kind, target.cType, stmt.conn.codePage, target.data, target.size,
                              &length)) {
      stmt.getFinished = true;
      storeLengths(target, length);
      return SQL_SUCCESS;
    }
    if (stmt.pieces.start(field, kind, target.cType, stmt.conn.codePage)) return SQL_ERROR;
  }
  const Outcome outcome = stmt.pieces.read(target.data, target.size, &length);
  if (outcome == Outcome::Failed) return SQL_ERROR;
  storeLengths(target, length);
  stmt.getFinished = outcome == Outcome::Done;
  return outcome == Outcome::Done ? SQL_SUCCESS : SQL_SUCCESS_WITH_INFO;
}

SQLRETURN getData(Statement& stmt, SQLUSMALLINT number, Target target) {
  if (stmt.stage != Stage::Cursor || !stmt.onRow) return codeOf(fail(Issue::NoCursor));
  if (number < 1 || number > stmt.fields.size()) return codeOf(fail(Issue::BadColumn));
  if (target.size < 0 && isLongType(target.cType)) return codeOf(fail(Issue::BadLength));
  const DescriptorRecord& column = stmt.columns.records[number - 1];
  if (target.cType == SQL_ARD_TYPE) {
    const DescriptorRecord* record = stmt.rows->record(number);
    target.cType = record ? record->conciseType : static_cast<SQLSMALLINT>(SQL_C_DEFAULT);
  }
  if (const DescriptorRecord* record = stmt.rows->record(number)) target.form = formOf(*record);
  target.cType = resolveType(target.cType, column);
  if (!isCType(target.cType)) return codeOf(fail(Issue::BadBufferType));
  stmt.errors.setPlace(static_cast<long>(stmt.rowNumber), number);
  if (stmt.getColumn != number || stmt.getType != target.cType) {
    stmt.pieces.close();
    stmt.getColumn = number;
    stmt.getType = target.cType;
    stmt.getFinished = false;
  }
  if (stmt.getFinished) return SQL_NO_DATA;
  if (stmt.fields[number - 1].isNull || !isLongType(target.cType)) {
    const Outcome outcome = storeValue(stmt, number, target);
    stmt.getFinished = outcome != Outcome::Failed;
    return codeOf(outcome == Outcome::Failed);
  }
  return getPiece(stmt, number, target);
}

}  // namespace

Outcome storeOutput(Statement& stmt, std::size_t column, unsigned parameter) {
  const Target target = targetOf(*stmt.params, stmt.params->records[parameter],
                                 stmt.parameters.records[parameter], stmt.put.set);
  return target.data || target.length ? storeValue(stmt, column, target) : Outcome::Done;
}

}  // namespace pgwire

using namespace pgwire;

extern "C" {

SQLRETURN SQL_API SQLBindCol(SQLHSTMT handle, SQLUSMALLINT number, SQLSMALLINT cType, SQLPOINTER data,
                             SQLLEN size, SQLLEN* length) {
  return enter<Statement>(handle, [&](Statement& stmt) {
    if (number == 0) return codeOf(fail(Issue::NotSupported));
    if (!isCType(cType)) return codeOf(fail(Issue::BadBufferType));
    if (size < 0) return codeOf(fail(Issue::BadLength));
    DescriptorRecord* record = stmt.rows->makeRecord(number);
    if (!record) return codeOf(1);
    *record = DescriptorRecord{};
    record->setType(cType);
    record->data = data;
    record->octetLength = size;
    record->octetLengthPtr = record->indicator = data ? length : nullptr;
    if (!data) stmt.rows->trim();
    return codeOf(0);
  });
}

SQLRETURN SQL_API SQLFetch(SQLHSTMT handle) {
  return enter<Statement>(handle, [](Statement& stmt) {
    return fetchRowset(stmt, std::max<SQLULEN>(stmt.rows->arraySize, 1), stmt.columns.arrayStatus,
                       stmt.columns.rowsProcessed);
  });
}

SQLRETURN SQL_API SQLFetchScroll(SQLHSTMT handle, SQLSMALLINT orientation, SQLLEN) {
  return enter<Statement>(handle, [&](Statement& stmt) {
    if (orientation != SQL_FETCH_NEXT) return codeOf(fail(Issue::ForwardOnly));
    return fetchRowset(stmt, std::max<SQLULEN>(stmt.rows->arraySize, 1), stmt.columns.arrayStatus,
                       stmt.columns.rowsProcessed);
  });
}

SQLRETURN SQL_API SQLExtendedFetch(SQLHSTMT handle, SQLUSMALLINT orientation, SQLLEN, SQLULEN* fetched,
                                   SQLUSMALLINT* statuses) {
  return enter<Statement>(handle, [&](Statement& stmt) {
    if (orientation != SQL_FETCH_NEXT) return codeOf(fail(Issue::ForwardOnly));
    return fetchRowset(stmt, std::max<SQLULEN>(stmt.rowsetSize, 1), statuses, fetched);
  });
}

SQLRETURN SQL_API SQLGetData(SQLHSTMT handle, SQLUSMALLINT number, SQLSMALLINT cType, SQLPOINTER data,
                             SQLLEN size, SQLLEN* length) {
  return enter<Statement>(handle, [&](Statement& stmt) {
    Target target;
    target.cType = cType;
    target.data = static_cast<char*>(data);
    target.size = size;
    target.length = target.indicator = length;
    return getData(stmt, number, target);
  });
}

SQLRETURN SQL_API SQLMoreResults(SQLHSTMT handle) {
  return enter<Statement>(handle, [](Statement& stmt) { return nextResult(stmt); });
}

SQLRETURN SQL_API SQLRowCount(SQLHSTMT handle, SQLLEN* count) {
  return enter<Statement>(handle, [&](Statement& stmt) {
    if (stmt.stage != Stage::Executed && stmt.stage != Stage::Cursor) return codeOf(fail(Issue::NoStatement));
    return codeOf(giveNumber(stmt.rowCount, count));
  });
}

SQLRETURN SQL_API SQLCloseCursor(SQLHSTMT handle) {
  return enter<Statement>(handle, [](Statement& stmt) {
    if (stmt.stage != Stage::Cursor) return codeOf(fail(Issue::NoCursor));
    closeResult(stmt);
    return codeOf(0);
  });
}

}  // extern "C"
