#include "zuodbc/call/textfields.h"

#include <algorithm>
#include <iterator>

namespace dm {

bool isTextField(int field) noexcept {
  switch (field) {
    case SQL_COLUMN_NAME:
    case SQL_DESC_NAME:
    case SQL_DESC_TYPE_NAME:
    case SQL_DESC_TABLE_NAME:
    case SQL_DESC_SCHEMA_NAME:
    case SQL_DESC_CATALOG_NAME:
    case SQL_DESC_LABEL:
    case SQL_DESC_BASE_COLUMN_NAME:
    case SQL_DESC_BASE_TABLE_NAME:
    case SQL_DESC_LITERAL_PREFIX:
    case SQL_DESC_LITERAL_SUFFIX:
    case SQL_DESC_LOCAL_TYPE_NAME: return true;
    default: return false;
  }
}

bool isTextDiagnostic(int field) noexcept {
  switch (field) {
    case SQL_DIAG_SQLSTATE:
    case SQL_DIAG_MESSAGE_TEXT:
    case SQL_DIAG_DYNAMIC_FUNCTION:
    case SQL_DIAG_CLASS_ORIGIN:
    case SQL_DIAG_SUBCLASS_ORIGIN:
    case SQL_DIAG_CONNECTION_NAME:
    case SQL_DIAG_SERVER_NAME: return true;
    default: return false;
  }
}

bool isTextInfo(SQLUSMALLINT type) noexcept {
  static constexpr SQLUSMALLINT kTexts[] = {SQL_ACCESSIBLE_PROCEDURES,
                                            SQL_ACCESSIBLE_TABLES,
                                            SQL_CATALOG_NAME,
                                            SQL_CATALOG_NAME_SEPARATOR,
                                            SQL_CATALOG_TERM,
                                            SQL_COLLATION_SEQ,
                                            SQL_COLUMN_ALIAS,
                                            SQL_DATABASE_NAME,
                                            SQL_DATA_SOURCE_NAME,
                                            SQL_DATA_SOURCE_READ_ONLY,
                                            SQL_DBMS_NAME,
                                            SQL_DBMS_VER,
                                            SQL_DESCRIBE_PARAMETER,
                                            SQL_DM_VER,
                                            SQL_DRIVER_NAME,
                                            SQL_DRIVER_ODBC_VER,
                                            SQL_DRIVER_VER,
                                            SQL_EXPRESSIONS_IN_ORDERBY,
                                            SQL_IDENTIFIER_QUOTE_CHAR,
                                            SQL_INTEGRITY,
                                            SQL_KEYWORDS,
                                            SQL_LIKE_ESCAPE_CLAUSE,
                                            SQL_MAX_ROW_SIZE_INCLUDES_LONG,
                                            SQL_MULTIPLE_ACTIVE_TXN,
                                            SQL_MULT_RESULT_SETS,
                                            SQL_NEED_LONG_DATA_LEN,
                                            SQL_ODBC_VER,
                                            SQL_ORDER_BY_COLUMNS_IN_SELECT,
                                            SQL_OUTER_JOINS,
                                            SQL_PROCEDURES,
                                            SQL_PROCEDURE_TERM,
                                            SQL_ROW_UPDATES,
                                            SQL_SCHEMA_TERM,
                                            SQL_SEARCH_PATTERN_ESCAPE,
                                            SQL_SERVER_NAME,
                                            SQL_SPECIAL_CHARACTERS,
                                            SQL_TABLE_TERM,
                                            SQL_USER_NAME,
                                            SQL_XOPEN_CLI_YEAR};
  return std::find(std::begin(kTexts), std::end(kTexts), type) != std::end(kTexts);
}

}  // namespace dm
