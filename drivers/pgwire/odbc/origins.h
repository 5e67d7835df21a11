// Which table and column of it a column of a result comes from: the server tells numbers, and its catalog the
// names, which are asked for when an application first wants one of them.

#ifndef PGWIRE_ODBC_ORIGINS_H
#define PGWIRE_ODBC_ORIGINS_H

#include "odbc/handles.h"

namespace pgwire {

// The text of SQL_DESC_BASE_TABLE_NAME, SQL_DESC_TABLE_NAME, SQL_DESC_BASE_COLUMN_NAME, SQL_DESC_SCHEMA_NAME
// or SQL_DESC_CATALOG_NAME of a column, from 1: empty for an expression, and where the server cannot be
// asked. Null for another field. 1 in `*failed` after a record.
const char* originField(Statement& stmt, std::size_t number, SQLUSMALLINT field, int* failed);

}  // namespace pgwire

#endif
