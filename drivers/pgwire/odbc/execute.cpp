#include "odbc/execute.h"

#include <charconv>
#include <cstdio>

#include "odbc/call.h"
#include "odbc/columns.h"
#include "odbc/entry.h"
#include "odbc/parameters.h"
#include "types/binary.h"

namespace pgwire {

namespace {

void resetResult(Statement& stmt) {
  stmt.rowCount = -1;
  stmt.rowNumber = 0;
  stmt.onRow = stmt.atEnd = false;
  stmt.getColumn = 0;
  stmt.pieces.close();
}

// After a result's last message: takes ReadyForQuery if it follows, which frees the wire.
int takeReady(Statement& stmt) {
  while (!stmt.replies.isDone()) {
    const Message* message = stmt.replies.peek();
    if (!message) return 1;
    if (message->type != 'Z') return 0;
    stmt.replies.next();
  }
  return 0;
}

// An error of the server ends all that was sent with the statement.
SQLRETURN takeError(Statement& stmt, const Message& message) {
  stmt.conn.session.reportError(message);
  stmt.replies.discard();
  stmt.onRow = false;
  stmt.atEnd = true;
  return SQL_ERROR;
}

// The server wants data for COPY, which ODBC has no way to give.
int refuseCopy(Statement& stmt) {
  Request& out = stmt.conn.session.request();
  out.clear();
  return out.begin('f') || out.text("COPY from the client is not available over ODBC") || out.end() ||
         stmt.conn.session.send();
}

int openPrepared(Statement& stmt) {
  if (stmt.serverName[0]) return 0;
  char name[sizeof stmt.serverName];
  std::snprintf(name, sizeof name, "zu%u", ++stmt.conn.nextName);
  Session& session = stmt.conn.session;
  if (session.claim()) return 1;
  Request& out = session.request();
  if (out.begin('P') || out.text(name) || out.text(stmt.text.sql.view()) || out.int16(0) || out.end() ||
      out.begin('D') || out.bytes("S", 1) || out.text(name) || out.end() || out.simple('S') ||
      stmt.replies.start(1)) {
    return 1;
  }
  int failed = 0;
  while (!stmt.replies.isDone()) {
    const Message* message = stmt.replies.next();
    if (!message) return 1;
    switch (message->type) {
      case 'E': failed = session.reportError(*message); break;
      case 't': failed = failed || takeParameters(stmt, *message); break;
      case 'T': failed = failed || takeColumns(stmt, *message, true); break;
      case 'n': stmt.columns.clearRecords(); break;
      default: break;
    }
  }
  if (failed || describeOutputs(stmt)) return 1;
  std::memcpy(stmt.serverName, name, sizeof name);
  stmt.knowsColumns = true;
  return 0;
}

int sendSimple(Statement& stmt, std::string_view sql) {
  Session& session = stmt.conn.session;
  if (session.claim()) return 1;
  Request& out = session.request();
  return out.begin('Q') || out.text(sql) || out.end() || stmt.replies.start(1);
}

// The columns are known before the server has done any work: what comes next tells whether it succeeds.
SQLRETURN openRows(Statement& stmt) {
  const Message* message = stmt.replies.peek();
  if (!message) return SQL_ERROR;
  if (message->type == 'E') return takeError(stmt, *stmt.replies.next());
  stmt.stage = Stage::Cursor;
  return codeOf(stmt.fields.resize(stmt.columns.records.size()));
}

SQLRETURN takeCount(Statement& stmt, const Message& message) {
  const SQLLEN count = message.type == 'C' ? commandCount(message) : -1;
  stmt.rowCount = count;
  stmt.stage = Stage::Executed;
  stmt.columns.clearRecords();
  return codeOf(takeReady(stmt));
}

int readField(MessageReader& reader, const Message& message, Field& field) {
  uint32_t length = 0;
  if (reader.int32(&length)) return 1;
  field.message = &message;
  field.isNull = length == 0xFFFFFFFF;
  field.offset = reader.position();
  field.length = field.isNull ? 0 : length;
  return reader.skip(field.length);
}

int takeRow(Statement& stmt, const Message& message) {
  MessageReader reader(message);
  uint16_t count = 0;
  if (reader.int16(&count) || count != stmt.fields.size()) return stmt.conn.session.reportNonsense();
  for (std::size_t i = 0; i < count; ++i) {
    Field& field = stmt.fields[i];
    const DescriptorRecord& column = stmt.columns.records[i];
    if (readField(reader, message, field)) return stmt.conn.session.reportNonsense();
    field.binary = column.binary;
    const uint32_t size = column.binary && !field.isNull ? binarySize(static_cast<Oid>(column.oid)) : 0;
    if (size > 0 && field.length != size) return stmt.conn.session.reportNonsense();
  }
  return 0;
}

}  // namespace

// "SELECT 5", "INSERT 0 3", "CREATE TABLE": the number at the end, or -1.
SQLLEN commandCount(const Message& message) {
  MessageReader reader(message);
  Text tag;
  if (reader.text(tag)) return -1;
  const std::size_t blank = tag.view().rfind(' ');
  SQLLEN count = -1;
  if (blank != std::string_view::npos) {
    const char* end = tag.data() + tag.size();
    if (std::from_chars(tag.data() + blank + 1, end, count).ptr != end) count = -1;
  }
  return count;
}

int prepareText(Statement& stmt, std::string_view sql) {
  forgetText(stmt);
  TranslateOptions options;
  options.escapes = stmt.noscan == SQL_NOSCAN_OFF;
  options.standardStrings = stmt.conn.session.standardStrings;
  if (translate(sql, options, stmt.text)) {
    stmt.text.clear();
    return 1;
  }
  stmt.isResolved = false;
  return stmt.text.procedure.empty() ? 0 : stmt.source.assign(sql);
}

int describePrepared(Statement& stmt) {
  // Several commands cannot be prepared; they run as they are, and what they return is known then.
  if (!stmt.text.isSingle && stmt.text.parameters == 0) return 0;
  return stmt.conn.beginIfNeeded() || resolveCall(stmt) || openPrepared(stmt);
}

SQLRETURN firstResult(Statement& stmt) {
  for (;;) {
    if (stmt.replies.isDone()) return SQL_NO_DATA;
    const Message* message = stmt.replies.peek();
    if (!message) return SQL_ERROR;
    switch (message->type) {
      case 'T':
        if (takeColumns(stmt, *stmt.replies.next(), false)) return SQL_ERROR;
        return openRows(stmt);
      case 'D': return openRows(stmt);  // of a prepared statement, whose columns are known
      case 'C':
        if (stmt.knowsColumns && !stmt.columns.records.empty()) return openRows(stmt);
        return takeCount(stmt, *stmt.replies.next());
      case 'I': return takeCount(stmt, *stmt.replies.next());
      case 'E': return takeError(stmt, *stmt.replies.next());
      case 'G':
        stmt.replies.next();
        if (refuseCopy(stmt)) return SQL_ERROR;
        break;
      default: stmt.replies.next(); break;
    }
  }
}

SQLRETURN execute(Statement& stmt) {
  closeResult(stmt);
  resetResult(stmt);
  Session& session = stmt.conn.session;
  session.startQueryTimer(static_cast<uint32_t>(stmt.queryTimeout));
  const bool simple = stmt.text.parameters == 0 && (!stmt.isPrepared || !stmt.text.isSingle);
  SQLRETURN code = SQL_ERROR;
  if (!simple) {
    code = executeWithParameters(stmt);
  } else if (!stmt.conn.beginIfNeeded() && !resolveCall(stmt) && !sendSimple(stmt, stmt.text.sql.view())) {
    stmt.knowsColumns = false;
    code = firstResult(stmt);
    if (code == SQL_NO_DATA) code = SQL_SUCCESS;  // nothing but an empty text
  }
  session.startQueryTimer(0);
  if (code == SQL_ERROR) stmt.stage = stmt.isPrepared ? Stage::Prepared : Stage::Allocated;
  return code;
}

int executeOwn(Statement& stmt, std::string_view sql) {
  forgetText(stmt);
  resetResult(stmt);
  if (stmt.conn.beginIfNeeded() || sendSimple(stmt, sql)) return 1;
  return firstResult(stmt) == SQL_SUCCESS ? 0 : 1;
}

SQLRETURN nextResult(Statement& stmt) {
  if (stmt.stage != Stage::Cursor && stmt.stage != Stage::Executed) return SQL_NO_DATA;
  // The rest of the rows of this result.
  while (stmt.stage == Stage::Cursor && !stmt.atEnd) {
    const SQLRETURN code = fetchRow(stmt);
    if (code == SQL_ERROR) return SQL_ERROR;
  }
  resetResult(stmt);
  SQLRETURN code = firstResult(stmt);
  if (code == SQL_NO_DATA && stmt.putStream) {
    stmt.conn.session.startQueryTimer(static_cast<uint32_t>(stmt.queryTimeout));
    code = stmt.putStream->executeNext();
    stmt.conn.session.startQueryTimer(0);
  }
  if (code == SQL_NO_DATA) closeResult(stmt);
  return code;
}

SQLRETURN fetchRow(Statement& stmt) {
  stmt.onRow = false;
  stmt.getColumn = 0;
  if (stmt.atEnd) return SQL_NO_DATA;
  for (;;) {
    if (stmt.replies.isDone()) {
      stmt.atEnd = true;
      return SQL_NO_DATA;
    }
    const Message* message = stmt.replies.next();
    if (!message) {
      stmt.atEnd = true;
      return SQL_ERROR;
    }
    switch (message->type) {
      case 'D':
        if (stmt.maxRows > 0 && stmt.rowNumber >= stmt.maxRows) break;
        if (takeRow(stmt, *message)) return SQL_ERROR;
        stmt.onRow = true;
        ++stmt.rowNumber;
        return SQL_SUCCESS;
      case 'C':
        stmt.rowCount = commandCount(*message);
        stmt.atEnd = true;
        return takeReady(stmt) ? SQL_ERROR : SQL_NO_DATA;
      case 'E': return takeError(stmt, *message);
      default: break;
    }
  }
}

void closeResult(Statement& stmt) {
  stmt.replies.discard();
  stmt.onRow = false;
  stmt.atEnd = true;
  stmt.pieces.close();
  stmt.putStream.reset();
  if (stmt.stage != Stage::Allocated) stmt.stage = stmt.isPrepared ? Stage::Prepared : Stage::Allocated;
}

void releaseServerStatement(Statement& stmt) {
  if (!stmt.serverName[0]) return;
  char name[sizeof stmt.serverName];
  std::memcpy(name, stmt.serverName, sizeof name);
  stmt.serverName[0] = 0;
  Session& session = stmt.conn.session;
  if (!session.isAlive() || session.claim()) return;
  Request& out = session.request();
  if (out.begin('C') || out.bytes("S", 1) || out.text(name) || out.end() || out.simple('S') ||
      stmt.replies.start(1)) {
    return;
  }
  stmt.replies.discard();
}

void forgetText(Statement& stmt) {
  closeResult(stmt);
  releaseServerStatement(stmt);
  stmt.stage = Stage::Allocated;
  stmt.isPrepared = stmt.knowsColumns = false;
  stmt.text.clear();
  stmt.columns.clearRecords();
  stmt.rowCount = -1;
}

}  // namespace pgwire
