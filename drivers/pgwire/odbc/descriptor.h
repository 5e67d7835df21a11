// Descriptors: what is bound, and what a result's columns and a statement's parameters are.

#ifndef PGWIRE_ODBC_DESCRIPTOR_H
#define PGWIRE_ODBC_DESCRIPTOR_H

#include <sql.h>
#include <sqlext.h>
#include <zulib/runtime/zuobject.h>

#include <cstdint>
#include <mutex>

#include "base/array.h"
#include "base/errors.h"
#include "types/types.h"

namespace pgwire {

// What every handle has.
struct Handle {
  explicit Handle(SQLSMALLINT type) : type(type) {}
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  virtual ~Handle() = default;

  const SQLSMALLINT type;
  DiagnosticList errors;
  SQLRETURN lastReturn = SQL_SUCCESS;
  SQLSMALLINT errorsTaken = 0;  // by SQLError
};

struct Connection;
struct Statement;

enum class Role { Application, RowDescription, ParameterDescription };

struct DescriptorRecord {
  static constexpr std::size_t kNameSize = 128;

  SQLSMALLINT conciseType = SQL_C_DEFAULT;
  SQLSMALLINT verbose = SQL_C_DEFAULT;
  SQLSMALLINT subcode = 0;
  SQLPOINTER data = nullptr;
  SQLLEN* indicator = nullptr;
  SQLLEN* octetLengthPtr = nullptr;
  SQLULEN length = 0;
  SQLLEN octetLength = 0;
  SQLSMALLINT precision = 0;
  SQLSMALLINT scale = 0;
  bool scaleIsSet = false;  // SQL_DESC_SCALE or SQL_DESC_PRECISION was set, for a numeric
  SQLINTEGER intervalPrecision = 2;
  SQLINTEGER numPrecRadix = 0;
  SQLSMALLINT parameterType = SQL_PARAM_INPUT;
  SQLSMALLINT nullable = SQL_NULLABLE_UNKNOWN;
  bool isBound = false;  // of a parameter: SQLBindParameter was called

  // Of the server.
  uint32_t oid = 0;
  uint32_t table = 0;
  uint16_t tableColumn = 0;
  int32_t modifier = -1;
  bool binary = false;  // of a prepared result: the column is asked for in binary form
  ColumnFacts facts;
  char name[kNameSize] = "";

  void setType(SQLSMALLINT concise);
};

// Whether there is such a direction of a parameter.
inline bool isDirection(SQLSMALLINT type) {
  return type == SQL_PARAM_INPUT || type == SQL_PARAM_INPUT_OUTPUT || type == SQL_PARAM_OUTPUT;
}

// The table and its column that a column of a result comes from.
struct ColumnOrigin {
  char schema[DescriptorRecord::kNameSize];
  char table[DescriptorRecord::kNameSize];
  char column[DescriptorRecord::kNameSize];
};

struct Descriptor : Handle {
  static constexpr SQLSMALLINT kType = SQL_HANDLE_DESC;
  Descriptor(Connection& conn, Role role, Statement* owner)
      : Handle(kType), conn(conn), role(role), owner(owner) {}
  std::mutex& lock();

  // The record of a column or parameter, from 1; null if there is none.
  DescriptorRecord* record(std::size_t number) {
    return number >= 1 && number <= records.size() ? &records[number - 1] : nullptr;
  }
  // Makes it if need be; null if there is no memory.
  DescriptorRecord* makeRecord(std::size_t number);
  void clearRecords() {
    records.clear();
    origins.clear();
  }
  // Drops the records at the end that nothing is bound to.
  void trim();

  Connection& conn;
  const Role role;
  Statement* const owner;  // null if the application allocated it

  SQLULEN arraySize = 1;
  SQLUSMALLINT* arrayStatus = nullptr;
  SQLLEN* bindOffset = nullptr;
  SQLULEN bindType = SQL_BIND_BY_COLUMN;
  SQLULEN* rowsProcessed = nullptr;
  Array<DescriptorRecord> records;
  Array<ColumnOrigin> origins;  // of a result's columns; empty until an application asks (odbc/origins.h)
};

}  // namespace pgwire

#endif
