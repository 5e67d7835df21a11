// Statements of the scripted driver: preparing, parameters, execution, transactions.

#include <cstdio>

#include "tests/support/scripted_driver/driver.h"

using namespace scripted;

namespace {

// Where the row of parameters stands that an execution reads: the first.
template <class T>
T* parameterCell(const Stmt& stmt, T* cell) {
  const SQLLEN* offset = stmt.apd->contents.bindOffsetPtr;
  return cell && offset ? reinterpret_cast<T*>(reinterpret_cast<char*>(cell) + *offset) : cell;
}

std::string parameterText(const Stmt& stmt, const Record& record) {
  const SQLLEN* lengthPtr = parameterCell(stmt, record.octetLengthPtr);
  const SQLLEN length = lengthPtr ? *lengthPtr : SQL_NTS;
  if (length == SQL_NULL_DATA) return "NULL";
  const char* data = parameterCell(stmt, static_cast<char*>(record.data));
  const SQLSMALLINT cType = record.cType;
  switch (cType) {
    case SQL_C_LONG:
    case SQL_C_SLONG:
    case SQL_C_ULONG: return std::to_string(*reinterpret_cast<const SQLINTEGER*>(data));
    case SQL_C_SHORT:
    case SQL_C_SSHORT: return std::to_string(*reinterpret_cast<const SQLSMALLINT*>(data));
    case SQL_C_SBIGINT:
    case SQL_C_UBIGINT: return std::to_string(*reinterpret_cast<const SQLBIGINT*>(data));
    case SQL_C_DOUBLE: {
      char text[32];
      std::snprintf(text, sizeof text, "%g", *reinterpret_cast<const double*>(data));
      return text;
    }
    default: return length == SQL_NTS ? std::string(data) : std::string(data, length);
  }
}

bool isDataAtExecution(const Stmt& stmt, const Record& record) {
  const SQLLEN* lengthPtr = parameterCell(stmt, record.octetLengthPtr);
  return lengthPtr && (*lengthPtr == SQL_DATA_AT_EXEC || *lengthPtr <= SQL_LEN_DATA_AT_EXEC_OFFSET);
}

const ScriptAnswer* answerTo(const std::string& text) {
  const ScriptAnswer* best = nullptr;
  std::size_t length = 0;
  for (const auto& [beginning, candidate] : script->answers) {
    if (text.compare(0, beginning.size(), beginning) != 0 || (best && beginning.size() < length)) continue;
    best = &candidate;
    length = beginning.size();
  }
  return best;
}

void setResult(Stmt& stmt, const ScriptAnswer& answer) {
  stmt.rowCount = answer.rowCount;
  stmt.position = 0;
  stmt.taken.clear();
  stmt.result = answer.columns.empty() ? nullptr : std::make_unique<ScriptAnswer>(answer);
}

SQLRETURN finish(Stmt& stmt) {
  ScriptExecution execution{stmt.text, {}};
  for (const auto& [number, record] : stmt.apd->contents.records) {
    const auto supplied = stmt.supplied.find(number);
    execution.parameters.push_back(supplied != stmt.supplied.end() ? supplied->second
                                                                   : parameterText(stmt, record));
  }
  stmt.supplied.clear();
  script->executions.push_back(execution);

  static const ScriptAnswer oneRowTouched{{}, {}, 1, {}};
  const ScriptAnswer* told = answerTo(stmt.text);
  setResult(stmt, told ? *told : oneRowTouched);
  stmt.more = told ? told->more : std::vector<ScriptAnswer>();
  const bool nothingTouched = !stmt.result && stmt.rowCount == 0 && stateOf("HY000") == "HY000";
  return nothingTouched ? kNoData : kOk;
}

SQLRETURN execute(Stmt& stmt) {
  if (script->oneActiveStatement) {
    for (const auto& [key, kept] : handles) {
      const auto* other = kept->type == SQL_HANDLE_STMT ? static_cast<Stmt*>(kept.get()) : nullptr;
      if (other && other != &stmt && other->conn == stmt.conn && other->hasOpenRows())
        return stmt.post("HY000");
    }
  }
  stmt.close();
  for (const auto& [number, record] : stmt.apd->contents.records) {
    if (isDataAtExecution(stmt, record)) stmt.awaited.push_back(number);
  }
  return stmt.awaited.empty() ? finish(stmt) : kNeedData;
}

SQLRETURN executeText(const char* function, SQLHSTMT handle, const SQLCHAR* text, SQLINTEGER length) {
  return answer<Stmt>(handle, function, [&](Stmt& stmt) {
    stmt.text = textOf(text, length);
    stmt.prepared = false;
    return execute(stmt);
  });
}

// A catalog function is a statement by its own name.
SQLRETURN executeCatalog(const char* function, SQLHSTMT handle) {
  return executeText(function, handle, reinterpret_cast<const SQLCHAR*>(function), SQL_NTS);
}

SQLRETURN bind(const char* function, SQLHSTMT handle, SQLUSMALLINT number, const Record& record) {
  return answer<Stmt>(handle, function, [&](Stmt& stmt) {
    noteSetting(record.cType, record.sqlType);
    stmt.apd->contents.records[static_cast<SQLSMALLINT>(number)] = record;
    return kOk;
  });
}

SQLUSMALLINT behaviour(SQLUSMALLINT completion) {
  const SQLUSMALLINT type =
      completion == SQL_COMMIT ? SQL_CURSOR_COMMIT_BEHAVIOR : SQL_CURSOR_ROLLBACK_BEHAVIOR;
  return std::get<SQLUSMALLINT>(script->info.at(type));
}

void endTransaction(const Conn* conn, SQLUSMALLINT completion) {
  const SQLUSMALLINT effect = behaviour(completion);
  if (effect == SQL_CB_PRESERVE) return;
  for (auto& [key, kept] : handles) {
    auto* stmt = kept->type == SQL_HANDLE_STMT ? static_cast<Stmt*>(kept.get()) : nullptr;
    if (!stmt || (conn && stmt->conn != conn)) continue;
    stmt->close();
    if (effect == SQL_CB_DELETE) stmt->prepared = false;
  }
}

}  // namespace

extern "C" {

SQLRETURN SQL_API SQLPrepare(SQLHSTMT handle, SQLCHAR* sql, SQLINTEGER length) {
  return answer<Stmt>(handle, "SQLPrepare", [&](Stmt& stmt) {
    stmt.close();
    stmt.text = textOf(sql, length);
    stmt.prepared = true;
    return kOk;
  });
}

SQLRETURN SQL_API SQLExecute(SQLHSTMT handle) {
  return answer<Stmt>(handle, "SQLExecute",
                      [](Stmt& stmt) { return stmt.prepared ? execute(stmt) : stmt.post("HY010"); });
}

SQLRETURN SQL_API SQLExecDirect(SQLHSTMT handle, SQLCHAR* sql, SQLINTEGER length) {
  return executeText("SQLExecDirect", handle, sql, length);
}
SQLRETURN SQL_API SQLTables(SQLHSTMT handle, SQLCHAR*, SQLSMALLINT, SQLCHAR*, SQLSMALLINT, SQLCHAR*,
                            SQLSMALLINT, SQLCHAR*, SQLSMALLINT) {
  return executeCatalog("SQLTables", handle);
}
SQLRETURN SQL_API SQLColumns(SQLHSTMT handle, SQLCHAR*, SQLSMALLINT, SQLCHAR*, SQLSMALLINT, SQLCHAR*,
                             SQLSMALLINT, SQLCHAR*, SQLSMALLINT) {
  return executeCatalog("SQLColumns", handle);
}
SQLRETURN SQL_API SQLGetTypeInfo(SQLHSTMT handle, SQLSMALLINT type) {
  return answer<Stmt>(handle, "SQLGetTypeInfo", [&](Stmt& stmt) {
    noteSetting(0, type);
    stmt.text = "SQLGetTypeInfo";
    stmt.prepared = false;
    return execute(stmt);
  });
}

SQLRETURN SQL_API SQLBindParameter(SQLHSTMT handle, SQLUSMALLINT number, SQLSMALLINT, SQLSMALLINT cType,
                                   SQLSMALLINT sqlType, SQLULEN, SQLSMALLINT, SQLPOINTER data, SQLLEN length,
                                   SQLLEN* lengthPtr) {
  return bind("SQLBindParameter", handle, number, {cType, sqlType, data, length, lengthPtr, lengthPtr});
}
SQLRETURN SQL_API SQLSetParam(SQLHSTMT handle, SQLUSMALLINT number, SQLSMALLINT cType, SQLSMALLINT sqlType,
                              SQLULEN, SQLSMALLINT, SQLPOINTER data, SQLLEN* lengthPtr) {
  return bind("SQLSetParam", handle, number, {cType, sqlType, data, 0, lengthPtr, lengthPtr});
}
SQLRETURN SQL_API SQLParamOptions(SQLHSTMT handle, SQLULEN rows, SQLULEN*) {
  return answer<Stmt>(handle, "SQLParamOptions", [&](Stmt& stmt) {
    noteSetting(SQL_ATTR_PARAMSET_SIZE, rows);
    stmt.apd->contents.arraySize = rows;
    return kOk;
  });
}
SQLRETURN SQL_API SQLNumParams(SQLHSTMT handle, SQLSMALLINT* count) {
  return answer<Stmt>(handle, "SQLNumParams", [&](Stmt& stmt) {
    *count = static_cast<SQLSMALLINT>(std::count(stmt.text.begin(), stmt.text.end(), '?'));
    return kOk;
  });
}

SQLRETURN SQL_API SQLParamData(SQLHSTMT handle, SQLPOINTER* value) {
  return answer<Stmt>(handle, "SQLParamData", [&](Stmt& stmt) {
    if (!stmt.awaited.empty() && stmt.supplied.contains(stmt.awaited.front())) {
      stmt.awaited.erase(stmt.awaited.begin());
    } else if (stmt.awaited.empty()) {
      return stmt.post("HY010");
    }
    if (stmt.awaited.empty()) return finish(stmt);
    *value = stmt.apd->contents.records[stmt.awaited.front()].data;
    stmt.supplied[stmt.awaited.front()];
    return kNeedData;
  });
}

SQLRETURN SQL_API SQLPutData(SQLHSTMT handle, SQLPOINTER data, SQLLEN length) {
  return answer<Stmt>(handle, "SQLPutData", [&](Stmt& stmt) {
    if (stmt.awaited.empty() || !stmt.supplied.contains(stmt.awaited.front())) return stmt.post("HY010");
    std::string& value = stmt.supplied[stmt.awaited.front()];
    const auto* bytes = static_cast<const char*>(data);
    value += length == SQL_NULL_DATA ? "NULL"
             : length == SQL_NTS     ? std::string(bytes)
                                     : std::string(bytes, length);
    return kOk;
  });
}

SQLRETURN SQL_API SQLRowCount(SQLHSTMT handle, SQLLEN* count) {
  return answer<Stmt>(handle, "SQLRowCount", [&](Stmt& stmt) {
    *count = stmt.rowCount;
    return kOk;
  });
}

SQLRETURN SQL_API SQLMoreResults(SQLHSTMT handle) {
  return answer<Stmt>(handle, "SQLMoreResults", [](Stmt& stmt) {
    if (stmt.more.empty()) {
      stmt.close();
      return kNoData;
    }
    setResult(stmt, stmt.more.front());
    stmt.more.erase(stmt.more.begin());
    return kOk;
  });
}

SQLRETURN SQL_API SQLNativeSql(SQLHDBC handle, SQLCHAR* sql, SQLINTEGER length, SQLCHAR* out, SQLINTEGER size,
                               SQLINTEGER* outLength) {
  return answer<Conn>(handle, "SQLNativeSql",
                      [&](Conn& conn) { return copyText(conn, textOf(sql, length), out, size, outLength); });
}

SQLRETURN SQL_API SQLSetCursorName(SQLHSTMT handle, SQLCHAR* name, SQLSMALLINT length) {
  return answer<Stmt>(handle, "SQLSetCursorName", [&](Stmt& stmt) {
    stmt.cursorName = textOf(name, length);
    return kOk;
  });
}
SQLRETURN SQL_API SQLGetCursorName(SQLHSTMT handle, SQLCHAR* name, SQLSMALLINT size, SQLSMALLINT* length) {
  return answer<Stmt>(handle, "SQLGetCursorName",
                      [&](Stmt& stmt) { return copyText(stmt, stmt.cursorName, name, size, length); });
}

SQLRETURN SQL_API SQLCancel(SQLHSTMT handle) {
  return answer<Stmt>(handle, "SQLCancel", [](Stmt& stmt) {
    if (!stmt.pending.empty()) stmt.cancelled = true;
    stmt.awaited.clear();
    stmt.supplied.clear();
    script->changed.notify_all();
    return kOk;
  });
}

SQLRETURN SQL_API SQLCloseCursor(SQLHSTMT handle) {
  return answer<Stmt>(handle, "SQLCloseCursor", [](Stmt& stmt) {
    if (!stmt.result) return stmt.post("24000");
    stmt.close();
    return kOk;
  });
}

SQLRETURN SQL_API SQLFreeStmt(SQLHSTMT handle, SQLUSMALLINT option) {
  return answer<Stmt>(handle, "SQLFreeStmt", [&](Stmt& stmt) {
    switch (option) {
      case SQL_CLOSE: stmt.close(); return kOk;
      case SQL_UNBIND: stmt.ard->contents.records.clear(); return kOk;
      case SQL_RESET_PARAMS: stmt.apd->contents.records.clear(); return kOk;
      case SQL_DROP: drop(&stmt); return kOk;
      default: return stmt.post("HY092");
    }
  });
}

SQLRETURN SQL_API SQLEndTran(SQLSMALLINT type, SQLHANDLE handle, SQLSMALLINT completion) {
  if (type == SQL_HANDLE_DBC) {
    return answer<Conn>(handle, "SQLEndTran", [&](Conn& conn) {
      endTransaction(&conn, static_cast<SQLUSMALLINT>(completion));
      return kOk;
    });
  }
  return answer<Env>(handle, "SQLEndTran", [&](Env&) {
    endTransaction(nullptr, static_cast<SQLUSMALLINT>(completion));
    return kOk;
  });
}

SQLRETURN SQL_API SQLTransact(SQLHENV env, SQLHDBC handle, SQLUSMALLINT completion) {
  if (handle) {
    return answer<Conn>(handle, "SQLTransact", [&](Conn& conn) {
      endTransaction(&conn, completion);
      return kOk;
    });
  }
  return answer<Env>(env, "SQLTransact", [&](Env&) {
    endTransaction(nullptr, completion);
    return kOk;
  });
}

}  // extern "C"
