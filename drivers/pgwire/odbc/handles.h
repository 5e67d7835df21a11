// The handles of the driver and what they hold.
//
// Every handle has its diagnostics. A connection's lock serialises its statements and descriptors; an
// environment has a lock of its own. An application's calls come through `odbc/entry.h`.
//
// Ownership: SQLAllocHandle makes a handle and SQLFreeHandle deletes it; a connection deletes the statements
// and descriptors that are left at SQLDisconnect.

#ifndef PGWIRE_ODBC_HANDLES_H
#define PGWIRE_ODBC_HANDLES_H

#include <sql.h>
#include <sqlext.h>

#include <cstdint>
#include <mutex>

#include "base/array.h"
#include "base/errors.h"
#include "login/settings.h"
#include "odbc/descriptor.h"
#include "sql/translate.h"
#include "types/codepage.h"
#include "types/field.h"
#include "types/longvalue.h"
#include "wire/replies.h"
#include "wire/session.h"

namespace pgwire {

struct Environment : Handle {
  static constexpr SQLSMALLINT kType = SQL_HANDLE_ENV;
  Environment() : Handle(kType) {}
  std::mutex& lock() { return mutex; }

  std::mutex mutex;
  SQLINTEGER odbcVersion = SQL_OV_ODBC2;
  Array<struct Connection*> connections;
};

struct Statement;

struct Connection : Handle {
  static constexpr SQLSMALLINT kType = SQL_HANDLE_DBC;
  explicit Connection(Environment& env) : Handle(kType), env(env) {}
  std::mutex& lock() { return mutex; }

  // Starts a transaction if one has to be open for the next statement.
  [[nodiscard]] int beginIfNeeded();
  [[nodiscard]] int endTransaction(bool commit);
  [[nodiscard]] int setIsolation(SQLULEN level);
  void removeStatement(Statement* stmt);

  Environment& env;
  std::mutex mutex;
  Settings settings;
  Session session;
  CodePage codePage;
  bool connected = false;
  Array<Statement*> statements;
  Array<Descriptor*> descriptors;  // those that the application allocated
  unsigned nextName = 0;           // of prepared statements and cursors

  bool autocommit = true;
  SQLULEN isolation = SQL_TXN_READ_COMMITTED;
  SQLULEN accessMode = SQL_MODE_READ_WRITE;
  SQLULEN loginTimeout = 0;
  bool hasLoginTimeout = false;
  SQLULEN connectionTimeout = 0;
  SQLULEN packetSize = 0;
  SQLULEN metadataId = SQL_FALSE;
  SQLULEN quietMode = 0;
  bool isBrowsing = false;  // between two calls of SQLBrowseConnect
  Text browsed;             // the attributes of those calls

  // What new statements begin with: attributes that ODBC 2 sets on a connection.
  SQLULEN queryTimeout = 0, maxRows = 0, noscan = SQL_NOSCAN_OFF, maxLength = 0;
};

// How far a statement is.
enum class Stage {
  Allocated,
  Prepared,
  NeedData,  // between SQLExecute and the end of the data at execution
  Executed,  // without rows
  Cursor,    // rows are open
};

// Which parameter is being sent.
struct ParameterCursor {
  SQLULEN set = 0;         // of the parameter array
  unsigned number = 0;     // from 0
  bool announced = false;  // SQLParamData has told the application that its value is wanted
  bool putCalled = false;
  bool isNull = false;
};

struct Statement : Handle {
  static constexpr SQLSMALLINT kType = SQL_HANDLE_STMT;
  explicit Statement(Connection& conn);
  ~Statement() override;
  std::mutex& lock() { return conn.mutex; }

  Connection& conn;
  Descriptor ownRows, ownParams, columns, parameters;  // ARD, APD, IRD, IPD
  Descriptor* rows;                                    // the ARD in use
  Descriptor* params;                                  // the APD in use

  Stage stage = Stage::Allocated;
  Translation text;
  // Of a call: the application's own text, whether the server was asked what it calls, and the directions of
  // the parameters that `text` was translated for.
  Text source;
  bool isResolved = false;
  bool isProcedure = false;
  Array<SQLSMALLINT> directions;
  char serverName[24] = "";   // of the prepared statement on the server; empty while there is none
  bool isPrepared = false;    // by SQLPrepare, and not by SQLExecDirect
  bool knowsColumns = false;  // `columns` are those of the prepared statement

  Replies replies;
  bool resultPending = false;  // the first message of the next result is next in `replies`
  SQLLEN rowCount = -1;
  SQLULEN rowNumber = 0;
  bool onRow = false;
  bool atEnd = false;  // of the rows
  Array<Field> fields;

  LongValue pieces;            // of SQLGetData
  SQLUSMALLINT getColumn = 0;  // the column of `pieces`, 0 for none
  SQLSMALLINT getType = 0;
  bool getFinished = false;
  LongValue bound;  // for bound columns

  ParameterCursor put;
  std::unique_ptr<class ParameterStream> putStream;
  Text cursorName;

  SQLULEN queryTimeout = 0, maxRows = 0, noscan = SQL_NOSCAN_OFF, maxLength = 0;
  SQLULEN retrieveData = SQL_RD_ON, useBookmarks = SQL_UB_OFF, metadataId = SQL_FALSE;
  SQLULEN keysetSize = 0, simulateCursor = SQL_SC_NON_UNIQUE, rowsetSize = 1;
};

}  // namespace pgwire

#endif
