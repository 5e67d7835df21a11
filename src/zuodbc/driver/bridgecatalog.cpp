// Type codes in the results of catalog functions.

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstring>
#include <iterator>

#include "zuodbc/driver/bridge.h"

namespace dm {
namespace {

// The number of the column DATA_TYPE; 0 if the function's result has none.
SQLUSMALLINT typeColumnOf(Api api) {
  switch (api) {
    case Api::GetTypeInfo: return 2;
    case Api::SpecialColumns: return 3;
    case Api::Columns: return 5;
    case Api::ProcedureColumns: return 6;
    default: return 0;
  }
}

// Bindings are made before it is known which function will leave the result.
bool canHoldTypes(SQLUSMALLINT column) { return column == 2 || column == 3 || column == 5 || column == 6; }

template <class Number>
void translateNumber(const DMConn& conn, void* data) {
  Number number;
  std::memcpy(&number, data, sizeof number);
  if (!(number >= SQL_DATE && number <= SQL_TYPE_TIMESTAMP)) return;
  const auto code = static_cast<SQLSMALLINT>(number);
  if (static_cast<Number>(code) != number) return;
  number = static_cast<Number>(typeForApplication(conn, code));
  std::memcpy(data, &number, sizeof number);
}

template <>
void translateNumber<SQL_NUMERIC_STRUCT>(const DMConn& conn, void* data) {
  SQL_NUMERIC_STRUCT number;
  std::memcpy(&number, data, sizeof number);
  const bool isByte = number.sign == 1 && number.scale == 0 &&
                      std::all_of(number.val + 1, std::end(number.val), [](SQLCHAR byte) { return !byte; });
  if (isByte) translateNumber<SQLCHAR>(conn, static_cast<char*>(data) + offsetof(SQL_NUMERIC_STRUCT, val));
}

template <class Unit>
void translateText(const DMConn& conn, void* data, SQLLEN size, SQLLEN* lengthPtr) {
  constexpr SQLLEN kMaxDigits = 2;
  Unit text[kMaxDigits + 1] = {};
  const SQLLEN room = std::min<SQLLEN>(size / SQLLEN(sizeof(Unit)), kMaxDigits + 1);
  if (room <= 0) return;
  std::memcpy(text, data, static_cast<size_t>(room) * sizeof(Unit));
  SQLSMALLINT code = 0;
  SQLLEN length = 0;
  for (; length < room && text[length] >= '0' && text[length] <= '9'; ++length)
    code = static_cast<SQLSMALLINT>(10 * code + (text[length] - '0'));
  const SQLSMALLINT other = typeForApplication(conn, code);
  if (length == room || text[length] != 0 || other == code) return;
  length = other < 10 ? 1 : 2;
  if (length >= room) return;
  const Unit last = static_cast<Unit>('0' + other % 10);
  text[0] = length == 1 ? last : static_cast<Unit>('0' + other / 10);
  text[1] = length == 1 ? Unit{0} : last;
  text[length] = 0;
  std::memcpy(data, text, static_cast<size_t>(length + 1) * sizeof(Unit));
  if (lengthPtr) *lengthPtr = length * SQLLEN(sizeof(Unit));
}

struct FixedType {
  SQLSMALLINT cType;
  SQLLEN size;
  void (*translate)(const DMConn& conn, void* data);
};

template <class Number>
constexpr FixedType fixed(SQLSMALLINT cType) {
  return {cType, sizeof(Number), translateNumber<Number>};
}

// DATA_TYPE is a SMALLINT, which is its default type.
constexpr FixedType kFixedTypes[] = {
    fixed<SQLSMALLINT>(SQL_C_DEFAULT),
    fixed<SQLSMALLINT>(SQL_C_SHORT),
    fixed<SQLSMALLINT>(SQL_C_SSHORT),
    fixed<SQLUSMALLINT>(SQL_C_USHORT),
    fixed<SQLINTEGER>(SQL_C_LONG),
    fixed<SQLINTEGER>(SQL_C_SLONG),
    fixed<SQLUINTEGER>(SQL_C_ULONG),
    fixed<SQLSCHAR>(SQL_C_TINYINT),
    fixed<SQLSCHAR>(SQL_C_STINYINT),
    fixed<SQLCHAR>(SQL_C_UTINYINT),
    fixed<SQLBIGINT>(SQL_C_SBIGINT),
    fixed<SQLUBIGINT>(SQL_C_UBIGINT),
    fixed<SQLREAL>(SQL_C_FLOAT),
    fixed<SQLDOUBLE>(SQL_C_DOUBLE),
    fixed<SQL_NUMERIC_STRUCT>(SQL_C_NUMERIC),
};

const FixedType* fixedType(SQLSMALLINT cType) {
  const auto* found = std::find_if(std::begin(kFixedTypes), std::end(kFixedTypes),
                                   [=](const FixedType& type) { return type.cType == cType; });
  return found == std::end(kFixedTypes) ? nullptr : found;
}

// Translates a value that the driver has written.
void translateValue(const DMConn& conn, SQLSMALLINT cType, void* data, SQLLEN size, SQLLEN* lengthPtr) {
  if (!data || (lengthPtr && *lengthPtr == SQL_NULL_DATA)) return;
  if (cType == SQL_C_CHAR) return translateText<SQLCHAR>(conn, data, size, lengthPtr);
  if (cType == SQL_C_WCHAR) return translateText<SQLWCHAR>(conn, data, size, lengthPtr);
  if (cType == SQL_C_BINARY && size >= SQLLEN(sizeof(SQLSMALLINT)))
    return translateNumber<SQLSMALLINT>(conn, data);
  if (const FixedType* type = fixedType(cType)) type->translate(conn, data);
}

bool isGood(SQLUSMALLINT status) {
  return status != SQL_ROW_ERROR && status != SQL_ROW_NOROW && status != SQL_ROW_DELETED;
}

// The next piece of the code that is being read as text, in units of `Unit`.
template <class Unit>
SQLRETURN giveText(DMStmt& stmt, void* value, SQLLEN size, SQLLEN* lengthPtr) {
  CatalogTypes& types = stmt.state->catalogTypes;
  const size_t left = types.textLength - types.textGiven;
  const size_t room = static_cast<size_t>(size) / sizeof(Unit);
  const size_t taken = std::min(left, room > 0 ? room - 1 : 0);
  Unit piece[sizeof types.text + 1] = {};
  std::copy_n(types.text + types.textGiven, taken, piece);
  if (room > 0) std::memcpy(value, piece, (taken + 1) * sizeof(Unit));
  if (lengthPtr) *lengthPtr = static_cast<SQLLEN>(left * sizeof(Unit));
  types.textGiven += taken;
  if (taken == left) return SQL_SUCCESS;
  postForDriver(stmt, "01004");
  return SQL_SUCCESS_WITH_INFO;
}

// A code as text can be longer than the driver's, so the driver is asked for the number.
SQLRETURN getText(DMStmt& stmt, const DMDriverFunctions& driver, SQLUSMALLINT column, SQLSMALLINT cType,
                  SQLPOINTER value, SQLLEN size, SQLLEN* lengthPtr) {
  CatalogTypes& types = stmt.state->catalogTypes;
  SQLRETURN rc = SQL_SUCCESS;
  if (!types.isReading) {
    rc = ask(driver.SQLGetData, stmt.driverHandle, column, SQLSMALLINT(SQL_C_SHORT), SQLPOINTER(&types.code),
             SQLLEN(sizeof types.code), &types.codeLength);
    if (!SQL_SUCCEEDED(rc)) return rc;
    if (types.codeLength == SQL_NULL_DATA) {
      if (!lengthPtr) return refuse(stmt, "22002");
      *lengthPtr = SQL_NULL_DATA;
      return rc;
    }
    const auto written =
        std::to_chars(types.text, std::end(types.text), typeForApplication(*stmt.conn, types.code));
    types.textLength = static_cast<size_t>(written.ptr - types.text);
    types.textGiven = 0;
    types.isReading = true;
  } else if (types.textGiven == types.textLength) {
    return SQL_NO_DATA;
  }
  return ownOutcome(rc, cType == SQL_C_CHAR ? giveText<SQLCHAR>(stmt, value, size, lengthPtr)
                                            : giveText<SQLWCHAR>(stmt, value, size, lengthPtr));
}

}  // namespace

void noteCatalogResult(DMStmt& stmt, Api api) noexcept {
  CatalogTypes& types = stmt.state->catalogTypes;
  types.column = versionsDiffer(*stmt.conn) ? typeColumnOf(api) : SQLUSMALLINT(0);
  types.rows = 0;
  types.isReading = false;
}

void reserveBinding(DMStmt& stmt, SQLUSMALLINT column) {
  constexpr size_t kColumns = 4;
  if (canHoldTypes(column) && versionsDiffer(*stmt.conn)) stmt.state->catalogTypes.bound.reserve(kColumns);
}

void noteBinding(DMStmt& stmt, const HeldBinding& binding) noexcept {
  if (!canHoldTypes(binding.column) || !versionsDiffer(*stmt.conn)) return;
  auto& bound = stmt.state->catalogTypes.bound;
  const auto found = std::find_if(bound.begin(), bound.end(),
                                  [&](const HeldBinding& one) { return one.column == binding.column; });
  if (found != bound.end()) {
    *found = binding;
  } else {
    bound.push_back(binding);
  }
}

void forgetBindings(DMStmt& stmt) noexcept { stmt.state->catalogTypes.bound.clear(); }

void translateFetched(DMStmt& stmt, SQLRETURN rc, SQLULEN rows, const SQLUSMALLINT* statuses) noexcept {
  CatalogTypes& types = stmt.state->catalogTypes;
  types.isReading = false;
  if (types.column == 0 || !SQL_SUCCEEDED(rc)) return;
  if (rows > 0) types.rows = rows;
  const auto found = std::find_if(types.bound.begin(), types.bound.end(),
                                  [&](const HeldBinding& one) { return one.column == types.column; });
  if (found == types.bound.end() || !found->data) return;
  const FixedType* fixed = fixedType(found->cType);
  const SQLULEN bindType = stmt.ard->bindType;
  const SQLULEN dataStep = bindType ? bindType : static_cast<SQLULEN>(fixed ? fixed->size : found->length);
  const SQLULEN lengthStep = bindType ? bindType : sizeof(SQLLEN);
  const bool hasOffset = stmt.ard->bindOffsetPtr && isVersion3Driver(*stmt.conn);
  const SQLLEN offset = hasOffset ? *stmt.ard->bindOffsetPtr : 0;
  for (SQLULEN row = 0; row < rows; ++row) {
    if (statuses && !isGood(statuses[row])) continue;
    char* data = static_cast<char*>(found->data) + offset + row * dataStep;
    char* cell =
        found->lengthPtr ? reinterpret_cast<char*>(found->lengthPtr) + offset + row * lengthStep : nullptr;
    translateValue(*stmt.conn, found->cType, data, found->length, reinterpret_cast<SQLLEN*>(cell));
  }
}

SQLRETURN driverGetData(DMStmt& stmt, const DMDriverFunctions& driver, SQLUSMALLINT column, SQLSMALLINT cType,
                        SQLPOINTER value, SQLLEN size, SQLLEN* lengthPtr) {
  CatalogTypes& types = stmt.state->catalogTypes;
  const bool isType = types.column != 0 && column == types.column;
  if (isType && (cType == SQL_C_CHAR || cType == SQL_C_WCHAR))
    return getText(stmt, driver, column, cType, value, size, lengthPtr);
  types.isReading = false;
  const SQLRETURN rc = ask(driver.SQLGetData, stmt.driverHandle, column, typeForDriver(*stmt.conn, cType),
                           value, size, lengthPtr);
  if (isType && SQL_SUCCEEDED(rc)) translateValue(*stmt.conn, cType, value, size, lengthPtr);
  return rc;
}

}  // namespace dm
