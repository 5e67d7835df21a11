#include "zuodbc/call/tracenames.h"

#include <sql.h>
#include <sqlext.h>

#include <span>

namespace dm {
namespace {

struct NamedNumber {
  long long number;
  const char* name;
};
#define NAMED(constant) \
  { constant, #constant }

constexpr NamedNumber kCodes[] = {
    NAMED(SQL_SUCCESS),         NAMED(SQL_SUCCESS_WITH_INFO), NAMED(SQL_ERROR),   NAMED(SQL_INVALID_HANDLE),
    NAMED(SQL_STILL_EXECUTING), NAMED(SQL_NEED_DATA),         NAMED(SQL_NO_DATA),
};

constexpr NamedNumber kStmtAttributes[] = {
    NAMED(SQL_ATTR_CURSOR_SENSITIVITY),
    NAMED(SQL_ATTR_CURSOR_SCROLLABLE),
    NAMED(SQL_ATTR_QUERY_TIMEOUT),
    NAMED(SQL_ATTR_MAX_ROWS),
    NAMED(SQL_ATTR_NOSCAN),
    NAMED(SQL_ATTR_MAX_LENGTH),
    NAMED(SQL_ATTR_ASYNC_ENABLE),
    NAMED(SQL_ATTR_ROW_BIND_TYPE),
    NAMED(SQL_ATTR_CURSOR_TYPE),
    NAMED(SQL_ATTR_CONCURRENCY),
    NAMED(SQL_ATTR_KEYSET_SIZE),
    NAMED(SQL_ROWSET_SIZE),
    NAMED(SQL_ATTR_SIMULATE_CURSOR),
    NAMED(SQL_ATTR_RETRIEVE_DATA),
    NAMED(SQL_ATTR_USE_BOOKMARKS),
    NAMED(SQL_GET_BOOKMARK),
    NAMED(SQL_ATTR_ROW_NUMBER),
    NAMED(SQL_ATTR_ENABLE_AUTO_IPD),
    NAMED(SQL_ATTR_FETCH_BOOKMARK_PTR),
    NAMED(SQL_ATTR_PARAM_BIND_OFFSET_PTR),
    NAMED(SQL_ATTR_PARAM_BIND_TYPE),
    NAMED(SQL_ATTR_PARAM_OPERATION_PTR),
    NAMED(SQL_ATTR_PARAM_STATUS_PTR),
    NAMED(SQL_ATTR_PARAMS_PROCESSED_PTR),
    NAMED(SQL_ATTR_PARAMSET_SIZE),
    NAMED(SQL_ATTR_ROW_BIND_OFFSET_PTR),
    NAMED(SQL_ATTR_ROW_OPERATION_PTR),
    NAMED(SQL_ATTR_ROW_STATUS_PTR),
    NAMED(SQL_ATTR_ROWS_FETCHED_PTR),
    NAMED(SQL_ATTR_ROW_ARRAY_SIZE),
    NAMED(SQL_ATTR_APP_ROW_DESC),
    NAMED(SQL_ATTR_APP_PARAM_DESC),
    NAMED(SQL_ATTR_IMP_ROW_DESC),
    NAMED(SQL_ATTR_IMP_PARAM_DESC),
    NAMED(SQL_ATTR_METADATA_ID),
};

constexpr NamedNumber kConnectAttributes[] = {
    NAMED(SQL_ATTR_ACCESS_MODE),        NAMED(SQL_ATTR_AUTOCOMMIT),
    NAMED(SQL_ATTR_LOGIN_TIMEOUT),      NAMED(SQL_ATTR_TRACE),
    NAMED(SQL_ATTR_TRACEFILE),          NAMED(SQL_ATTR_TRANSLATE_LIB),
    NAMED(SQL_ATTR_TRANSLATE_OPTION),   NAMED(SQL_ATTR_TXN_ISOLATION),
    NAMED(SQL_ATTR_CURRENT_CATALOG),    NAMED(SQL_ATTR_ODBC_CURSORS),
    NAMED(SQL_ATTR_QUIET_MODE),         NAMED(SQL_ATTR_PACKET_SIZE),
    NAMED(SQL_ATTR_CONNECTION_TIMEOUT), NAMED(SQL_ATTR_CONNECTION_DEAD),
    NAMED(SQL_ATTR_METADATA_ID),
};

constexpr NamedNumber kEnvAttributes[] = {
    NAMED(SQL_ATTR_ODBC_VERSION),
    NAMED(SQL_ATTR_CONNECTION_POOLING),
    NAMED(SQL_ATTR_CP_MATCH),
    NAMED(SQL_ATTR_OUTPUT_NTS),
};

constexpr NamedNumber kDescFields[] = {
    NAMED(SQL_DESC_CONCISE_TYPE),
    NAMED(SQL_DESC_ARRAY_SIZE),
    NAMED(SQL_DESC_ARRAY_STATUS_PTR),
    NAMED(SQL_DESC_BIND_OFFSET_PTR),
    NAMED(SQL_DESC_BIND_TYPE),
    NAMED(SQL_DESC_ROWS_PROCESSED_PTR),
    NAMED(SQL_DESC_COUNT),
    NAMED(SQL_DESC_TYPE),
    NAMED(SQL_DESC_LENGTH),
    NAMED(SQL_DESC_OCTET_LENGTH_PTR),
    NAMED(SQL_DESC_PRECISION),
    NAMED(SQL_DESC_SCALE),
    NAMED(SQL_DESC_NULLABLE),
    NAMED(SQL_DESC_INDICATOR_PTR),
    NAMED(SQL_DESC_DATA_PTR),
    NAMED(SQL_DESC_NAME),
    NAMED(SQL_DESC_UNNAMED),
    NAMED(SQL_DESC_OCTET_LENGTH),
    NAMED(SQL_DESC_ALLOC_TYPE),
    NAMED(SQL_DESC_PARAMETER_TYPE),
    NAMED(SQL_DESC_LABEL),
};

// SQL types; those of C have the same numbers, or numbers of their own.
constexpr NamedNumber kTypes[] = {
    NAMED(SQL_CHAR),         NAMED(SQL_NUMERIC),   NAMED(SQL_DECIMAL),        NAMED(SQL_INTEGER),
    NAMED(SQL_SMALLINT),     NAMED(SQL_FLOAT),     NAMED(SQL_REAL),           NAMED(SQL_DOUBLE),
    NAMED(SQL_DATETIME),     NAMED(SQL_INTERVAL),  NAMED(SQL_TIMESTAMP),      NAMED(SQL_VARCHAR),
    NAMED(SQL_TYPE_DATE),    NAMED(SQL_TYPE_TIME), NAMED(SQL_TYPE_TIMESTAMP), NAMED(SQL_LONGVARCHAR),
    NAMED(SQL_BINARY),       NAMED(SQL_VARBINARY), NAMED(SQL_LONGVARBINARY),  NAMED(SQL_BIGINT),
    NAMED(SQL_TINYINT),      NAMED(SQL_BIT),       NAMED(SQL_WCHAR),          NAMED(SQL_WVARCHAR),
    NAMED(SQL_WLONGVARCHAR), NAMED(SQL_GUID),      NAMED(SQL_C_SLONG),        NAMED(SQL_C_ULONG),
    NAMED(SQL_C_SSHORT),     NAMED(SQL_C_USHORT),  NAMED(SQL_C_STINYINT),     NAMED(SQL_C_UTINYINT),
    NAMED(SQL_C_SBIGINT),    NAMED(SQL_C_UBIGINT), NAMED(SQL_C_DEFAULT),
};

constexpr NamedNumber kCTypes[] = {
    NAMED(SQL_C_CHAR),      NAMED(SQL_C_NUMERIC),   NAMED(SQL_C_LONG),      NAMED(SQL_C_SHORT),
    NAMED(SQL_C_FLOAT),     NAMED(SQL_C_DOUBLE),    NAMED(SQL_C_DATE),      NAMED(SQL_C_TIME),
    NAMED(SQL_C_TIMESTAMP), NAMED(SQL_C_TYPE_DATE), NAMED(SQL_C_TYPE_TIME), NAMED(SQL_C_TYPE_TIMESTAMP),
    NAMED(SQL_C_BINARY),    NAMED(SQL_C_BIT),       NAMED(SQL_C_TINYINT),   NAMED(SQL_C_WCHAR),
    NAMED(SQL_C_GUID),      NAMED(SQL_C_SLONG),     NAMED(SQL_C_ULONG),     NAMED(SQL_C_SSHORT),
    NAMED(SQL_C_USHORT),    NAMED(SQL_C_STINYINT),  NAMED(SQL_C_UTINYINT),  NAMED(SQL_C_SBIGINT),
    NAMED(SQL_C_UBIGINT),   NAMED(SQL_C_DEFAULT),
};

constexpr NamedNumber kHandleTypes[] = {
    NAMED(SQL_HANDLE_ENV),
    NAMED(SQL_HANDLE_DBC),
    NAMED(SQL_HANDLE_STMT),
    NAMED(SQL_HANDLE_DESC),
};
constexpr NamedNumber kDirections[] = {
    NAMED(SQL_FETCH_NEXT),     NAMED(SQL_FETCH_FIRST),    NAMED(SQL_FETCH_LAST),     NAMED(SQL_FETCH_PRIOR),
    NAMED(SQL_FETCH_ABSOLUTE), NAMED(SQL_FETCH_RELATIVE), NAMED(SQL_FETCH_BOOKMARK),
};
constexpr NamedNumber kFreeOptions[] = {
    NAMED(SQL_CLOSE),
    NAMED(SQL_DROP),
    NAMED(SQL_UNBIND),
    NAMED(SQL_RESET_PARAMS),
};
constexpr NamedNumber kParameterTypes[] = {
    NAMED(SQL_PARAM_INPUT),
    NAMED(SQL_PARAM_OUTPUT),
    NAMED(SQL_PARAM_INPUT_OUTPUT),
};
constexpr NamedNumber kCompletions[] = {NAMED(SQL_COMMIT), NAMED(SQL_ROLLBACK)};
constexpr NamedNumber kPositions[] = {
    NAMED(SQL_POSITION), NAMED(SQL_REFRESH), NAMED(SQL_UPDATE), NAMED(SQL_DELETE), NAMED(SQL_ADD),
};
constexpr NamedNumber kLocks[] = {
    NAMED(SQL_LOCK_NO_CHANGE),
    NAMED(SQL_LOCK_EXCLUSIVE),
    NAMED(SQL_LOCK_UNLOCK),
};

// Where an argument of a function is one of a set of numbers. Arguments count from 0.
struct ArgumentNames {
  std::string_view function;  // its narrow name
  int argument;
  std::span<const NamedNumber> names;
};

constexpr ArgumentNames kArguments[] = {
    {"SQLAllocHandle", 0, kHandleTypes},
    {"SQLFreeHandle", 0, kHandleTypes},
    {"SQLEndTran", 0, kHandleTypes},
    {"SQLEndTran", 2, kCompletions},
    {"SQLTransact", 2, kCompletions},
    {"SQLGetDiagRec", 0, kHandleTypes},
    {"SQLGetDiagField", 0, kHandleTypes},
    {"SQLCancelHandle", 0, kHandleTypes},
    {"SQLFetchScroll", 1, kDirections},
    {"SQLExtendedFetch", 1, kDirections},
    {"SQLFreeStmt", 1, kFreeOptions},
    {"SQLSetPos", 2, kPositions},
    {"SQLSetPos", 3, kLocks},
    {"SQLBindCol", 2, kCTypes},
    {"SQLGetData", 2, kCTypes},
    {"SQLBindParameter", 2, kParameterTypes},
    {"SQLBindParameter", 3, kCTypes},
    {"SQLBindParameter", 4, kTypes},
    {"SQLGetTypeInfo", 1, kTypes},
    {"SQLGetStmtAttr", 1, kStmtAttributes},
    {"SQLSetStmtAttr", 1, kStmtAttributes},
    {"SQLGetStmtOption", 1, kStmtAttributes},
    {"SQLSetStmtOption", 1, kStmtAttributes},
    {"SQLGetConnectAttr", 1, kConnectAttributes},
    {"SQLSetConnectAttr", 1, kConnectAttributes},
    {"SQLGetConnectOption", 1, kConnectAttributes},
    {"SQLSetConnectOption", 1, kConnectAttributes},
    {"SQLGetEnvAttr", 1, kEnvAttributes},
    {"SQLSetEnvAttr", 1, kEnvAttributes},
    {"SQLGetDescField", 2, kDescFields},
    {"SQLSetDescField", 2, kDescFields},
};

// The values of attributes: no number is one of two kinds of handle with different meanings.
struct NamedValue {
  long long attribute;
  NamedNumber value;
};
#define VALUE(attribute, constant)     \
  {                                    \
    attribute, { constant, #constant } \
  }

constexpr NamedValue kAttributeValues[] = {
    VALUE(SQL_ATTR_CURSOR_TYPE, SQL_CURSOR_FORWARD_ONLY),
    VALUE(SQL_ATTR_CURSOR_TYPE, SQL_CURSOR_KEYSET_DRIVEN),
    VALUE(SQL_ATTR_CURSOR_TYPE, SQL_CURSOR_DYNAMIC),
    VALUE(SQL_ATTR_CURSOR_TYPE, SQL_CURSOR_STATIC),
    VALUE(SQL_ATTR_CONCURRENCY, SQL_CONCUR_READ_ONLY),
    VALUE(SQL_ATTR_CONCURRENCY, SQL_CONCUR_LOCK),
    VALUE(SQL_ATTR_CONCURRENCY, SQL_CONCUR_ROWVER),
    VALUE(SQL_ATTR_CONCURRENCY, SQL_CONCUR_VALUES),
    VALUE(SQL_ATTR_CURSOR_SCROLLABLE, SQL_NONSCROLLABLE),
    VALUE(SQL_ATTR_CURSOR_SCROLLABLE, SQL_SCROLLABLE),
    VALUE(SQL_ATTR_CURSOR_SENSITIVITY, SQL_UNSPECIFIED),
    VALUE(SQL_ATTR_CURSOR_SENSITIVITY, SQL_INSENSITIVE),
    VALUE(SQL_ATTR_CURSOR_SENSITIVITY, SQL_SENSITIVE),
    VALUE(SQL_ATTR_USE_BOOKMARKS, SQL_UB_OFF),
    VALUE(SQL_ATTR_USE_BOOKMARKS, SQL_UB_ON),
    VALUE(SQL_ATTR_USE_BOOKMARKS, SQL_UB_VARIABLE),
    VALUE(SQL_ATTR_ASYNC_ENABLE, SQL_ASYNC_ENABLE_OFF),
    VALUE(SQL_ATTR_ASYNC_ENABLE, SQL_ASYNC_ENABLE_ON),
    VALUE(SQL_ATTR_NOSCAN, SQL_NOSCAN_OFF),
    VALUE(SQL_ATTR_NOSCAN, SQL_NOSCAN_ON),
    VALUE(SQL_ATTR_RETRIEVE_DATA, SQL_RD_OFF),
    VALUE(SQL_ATTR_RETRIEVE_DATA, SQL_RD_ON),
    VALUE(SQL_ATTR_METADATA_ID, SQL_FALSE),
    VALUE(SQL_ATTR_METADATA_ID, SQL_TRUE),
    VALUE(SQL_ATTR_AUTOCOMMIT, SQL_AUTOCOMMIT_OFF),
    VALUE(SQL_ATTR_AUTOCOMMIT, SQL_AUTOCOMMIT_ON),
    VALUE(SQL_ATTR_ACCESS_MODE, SQL_MODE_READ_WRITE),
    VALUE(SQL_ATTR_ACCESS_MODE, SQL_MODE_READ_ONLY),
    VALUE(SQL_ATTR_TRACE, SQL_OPT_TRACE_OFF),
    VALUE(SQL_ATTR_TRACE, SQL_OPT_TRACE_ON),
    VALUE(SQL_ATTR_TXN_ISOLATION, SQL_TXN_READ_UNCOMMITTED),
    VALUE(SQL_ATTR_TXN_ISOLATION, SQL_TXN_READ_COMMITTED),
    VALUE(SQL_ATTR_TXN_ISOLATION, SQL_TXN_REPEATABLE_READ),
    VALUE(SQL_ATTR_TXN_ISOLATION, SQL_TXN_SERIALIZABLE),
    VALUE(SQL_ATTR_ODBC_CURSORS, SQL_CUR_USE_IF_NEEDED),
    VALUE(SQL_ATTR_ODBC_CURSORS, SQL_CUR_USE_ODBC),
    VALUE(SQL_ATTR_ODBC_CURSORS, SQL_CUR_USE_DRIVER),
    VALUE(SQL_ATTR_CONNECTION_DEAD, SQL_CD_FALSE),
    VALUE(SQL_ATTR_CONNECTION_DEAD, SQL_CD_TRUE),
    VALUE(SQL_ATTR_ODBC_VERSION, SQL_OV_ODBC2),
    VALUE(SQL_ATTR_ODBC_VERSION, SQL_OV_ODBC3),
    VALUE(SQL_ATTR_ODBC_VERSION, SQL_OV_ODBC3_80),
    VALUE(SQL_ATTR_CONNECTION_POOLING, SQL_CP_OFF),
    VALUE(SQL_ATTR_CONNECTION_POOLING, SQL_CP_ONE_PER_DRIVER),
    VALUE(SQL_ATTR_CONNECTION_POOLING, SQL_CP_ONE_PER_HENV),
    VALUE(SQL_ATTR_CP_MATCH, SQL_CP_STRICT_MATCH),
    VALUE(SQL_ATTR_CP_MATCH, SQL_CP_RELAXED_MATCH),
};
#undef VALUE
#undef NAMED

const char* nameIn(std::span<const NamedNumber> table, long long number) {
  for (const NamedNumber& row : table) {
    if (row.number == number) return row.name;
  }
  return nullptr;
}

bool isFunction(std::string_view function, std::string_view narrow) {
  if (!function.starts_with(narrow)) return false;
  function.remove_prefix(narrow.size());
  return function.empty() || function == "W";
}

bool isOfDescriptors(std::string_view function) { return function.find("DescField") != function.npos; }

}  // namespace

const char* nameOfCode(SQLRETURN code) { return nameIn(kCodes, code); }

const char* nameOfArgument(std::string_view function, int argument, long long number) {
  for (const ArgumentNames& row : kArguments) {
    if (row.argument == argument && isFunction(function, row.function)) return nameIn(row.names, number);
  }
  return nullptr;
}

int selectorOf(std::string_view function) {
  if (isOfDescriptors(function)) return 2;
  const bool hasOne = function.find("Attr") != function.npos || function.find("Option") != function.npos;
  return hasOne && function.find("Col") == function.npos ? 1 : -1;
}

const char* nameOfValue(std::string_view function, long long selector, long long value) {
  if (isOfDescriptors(function)) {
    switch (selector) {
      case SQL_DESC_TYPE:
      case SQL_DESC_CONCISE_TYPE: return nameIn(kTypes, value);
      case SQL_DESC_PARAMETER_TYPE: return nameIn(kParameterTypes, value);
      default: return nullptr;
    }
  }
  for (const NamedValue& row : kAttributeValues) {
    if (row.attribute == selector && row.value.number == value) return row.value.name;
  }
  return nullptr;
}

bool isText(std::string_view function, long long selector) {
  if (isOfDescriptors(function)) return selector == SQL_DESC_NAME;
  return selector == SQL_ATTR_CURRENT_CATALOG || selector == SQL_ATTR_TRACEFILE ||
         selector == SQL_ATTR_TRANSLATE_LIB;
}

}  // namespace dm
