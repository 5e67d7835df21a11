#include "fuzz/odbccalls/wilddriver.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>

#include "zuodbc/driver/driverloading.h"

namespace odbccalls {
namespace {

thread_local ByteSource* source = nullptr;
std::mutex lock;  // held during each call
std::unique_ptr<dm::LoadedDriver> loaded;
bool isOld = false;  // of version 2.5 by its own word, with functions of version 3
std::string sqlText;

uint8_t byte() { return source ? source->byte() : 0; }

// Mostly small; sometimes what no length should be.
SQLLEN anyNumber() {
  constexpr SQLLEN kOdd[] = {-1,      -2,      -3,        -4,        -5,    -100,       INT16_MAX, INT16_MIN,
                             INT_MAX, INT_MIN, LLONG_MAX, LLONG_MIN, 65536, UINT16_MAX, 1024,      4096};
  const uint8_t b = byte();
  return b < 200 ? b % 20 : kOdd[b % std::size(kOdd)];
}

struct Binding {
  SQLSMALLINT cType = SQL_C_DEFAULT;
  char* data = nullptr;
  SQLLEN length = 0;
  SQLLEN* lengthPtr = nullptr;
  SQLLEN* indicatorPtr = nullptr;
};

struct Handle {
  explicit Handle(SQLSMALLINT type, Handle* parent) : type(type), parent(parent) {}
  virtual ~Handle() = default;
  SQLSMALLINT type;
  Handle* parent;
  unsigned diagnostics = 0;
};

struct Desc : Handle {
  explicit Desc(Handle* parent) : Handle(SQL_HANDLE_DESC, parent) {}
  std::map<SQLUSMALLINT, Binding> bindings;
  SQLULEN arraySize = 1;
  SQLULEN bindType = 0;
  SQLLEN* offsetPtr = nullptr;
  SQLUSMALLINT* statusPtr = nullptr;
  SQLULEN* processedPtr = nullptr;
};

struct Stmt : Handle {
  explicit Stmt(Handle* parent) : Handle(SQL_HANDLE_STMT, parent) {}
  Desc ownArd{this}, ownApd{this}, ird{this}, ipd{this};
  Desc* ard = &ownArd;
  Desc* apd = &ownApd;
  SQLULEN rowset = 1;  // SQL_ROWSET_SIZE
  SQLLEN* bookmarkPtr = nullptr;
  unsigned rowsLeft = 0;
  unsigned resultsLeft = 0;
};

std::map<void*, std::unique_ptr<Handle>> handles;
std::set<void*> freed;

Handle* find(SQLHANDLE handle, SQLSMALLINT type) {
  const auto found = handles.find(handle);
  if (found != handles.end()) return found->second->type == type ? found->second.get() : nullptr;
  for (auto& [key, kept] : handles) {
    auto* stmt = kept->type == SQL_HANDLE_STMT ? static_cast<Stmt*>(kept.get()) : nullptr;
    if (!stmt || type != SQL_HANDLE_DESC) continue;
    for (Desc* own : {&stmt->ownArd, &stmt->ownApd, &stmt->ird, &stmt->ipd})
      if (own == handle) return own;
  }
  if (freed.contains(handle)) {
    std::fputs("a handle of the driver was used after it was freed\n", stderr);
    std::abort();
  }
  return nullptr;
}

void forget(Handle* handle) {
  if (auto* stmt = dynamic_cast<Stmt*>(handle)) {
    for (Desc* own : {&stmt->ownArd, &stmt->ownApd, &stmt->ird, &stmt->ipd}) freed.insert(own);
  }
  for (auto& [key, kept] : handles) {
    auto* stmt = dynamic_cast<Stmt*>(kept.get());
    if (stmt && stmt->ard == handle) stmt->ard = &stmt->ownArd;
    if (stmt && stmt->apd == handle) stmt->apd = &stmt->ownApd;
  }
  freed.insert(handle);
  handles.erase(handle);
}

void forgetChildren(Handle* parent) {
  for (bool again = true; again;) {
    again = false;
    for (auto& [key, kept] : handles) {
      if (kept->parent != parent) continue;
      forget(kept.get());
      again = true;
      break;
    }
  }
}

bool worked(SQLRETURN rc) { return rc == SQL_SUCCESS || rc == SQL_SUCCESS_WITH_INFO; }

// What the call comes to.
SQLRETURN outcome(Handle& handle) {
  constexpr SQLRETURN kOdd[] = {77, -1001, -1002, -1003, -3, INT16_MIN, INT16_MAX, 101, 3};
  const uint8_t b = byte();
  handle.diagnostics = 0;
  if (b < 196) return SQL_SUCCESS;
  handle.diagnostics = byte() % 4;
  if (b < 212) return SQL_SUCCESS_WITH_INFO;
  if (b < 234) return SQL_ERROR;
  if (b < 238) return SQL_NO_DATA;
  if (b < 243) return SQL_STILL_EXECUTING;
  if (b < 247) return SQL_NEED_DATA;
  if (b < 248) return SQL_INVALID_HANDLE;
  if (b < 254) return kOdd[byte() % std::size(kOdd)];
  if (b == 254) throw std::runtime_error("from the driver");
  throw 42;
}

// The outcome and the handle of most calls.
template <class Object, class Work>
SQLRETURN onHandle(SQLHANDLE handle, SQLSMALLINT type, Work&& work) {
  const std::lock_guard guard(lock);
  Handle* found = find(handle, type);
  if (!found) return SQL_INVALID_HANDLE;
  const SQLRETURN rc = outcome(*found);
  return work(static_cast<Object&>(*found), rc);
}
template <class Work>
SQLRETURN onStmt(SQLHSTMT handle, Work&& work) {
  return onHandle<Stmt>(handle, SQL_HANDLE_STMT, work);
}
template <class Work>
SQLRETURN onConn(SQLHDBC handle, Work&& work) {
  return onHandle<Handle>(handle, SQL_HANDLE_DBC, work);
}
template <class Work>
SQLRETURN onDesc(SQLHDESC handle, Work&& work) {
  return onHandle<Desc>(handle, SQL_HANDLE_DESC, work);
}

// Reads an input as far as it is said to go.
void readBytes(const void* data, SQLLEN length) {
  const auto* p = static_cast<const char*>(data);
  if (!p) return;
  if (length == SQL_NTS) length = static_cast<SQLLEN>(std::strlen(p));
  unsigned sum = 0;
  for (SQLLEN i = 0; i < length; ++i) sum += static_cast<unsigned char>(p[i]);
  asm volatile("" : : "r"(sum));  // read, whatever the compiler thinks of it
}

void readSql(const SQLCHAR* sql, SQLINTEGER length) {
  const auto* text = reinterpret_cast<const char*>(sql);
  if (!text) return;
  sqlText = length == SQL_NTS ? std::string(text) : std::string(text, static_cast<size_t>(length));
}

template <class Length>
void putText(SQLPOINTER out, SQLLEN size, Length* lengthPtr) {
  const SQLLEN length = anyNumber();
  if (out && size > 0) {
    auto* text = static_cast<char*>(out);
    const bool ends = byte() != 1;
    const SQLLEN written = std::min<SQLLEN>(size - (ends ? 1 : 0), length < 0 ? 3 : length);
    std::memset(text, 'a' + byte() % 26, static_cast<size_t>(written));
    if (ends) text[written] = '\0';
  }
  if (lengthPtr) *lengthPtr = static_cast<Length>(length);
}

template <class Number>
void put(Number* cell) {
  if (cell) *cell = static_cast<Number>(anyNumber());
}

size_t sizeOf(SQLSMALLINT cType) {
  switch (cType) {
    case SQL_C_LONG:
    case SQL_C_SLONG:
    case SQL_C_ULONG:
    case SQL_C_FLOAT: return 4;
    case SQL_C_SHORT:
    case SQL_C_SSHORT:
    case SQL_C_USHORT: return 2;
    case SQL_C_BIT:
    case SQL_C_TINYINT:
    case SQL_C_STINYINT:
    case SQL_C_UTINYINT: return 1;
    case SQL_C_SBIGINT:
    case SQL_C_UBIGINT:
    case SQL_C_DOUBLE: return 8;
    case SQL_C_DATE:
    case SQL_C_TYPE_DATE: return sizeof(SQL_DATE_STRUCT);
    case SQL_C_TIME:
    case SQL_C_TYPE_TIME: return sizeof(SQL_TIME_STRUCT);
    case SQL_C_TIMESTAMP:
    case SQL_C_TYPE_TIMESTAMP: return sizeof(SQL_TIMESTAMP_STRUCT);
    case SQL_C_NUMERIC: return sizeof(SQL_NUMERIC_STRUCT);
    case SQL_C_GUID: return sizeof(SQLGUID);
    default: return 0;
  }
}

void writeValue(SQLSMALLINT cType, char* data, SQLLEN length) {
  const size_t fixed = sizeOf(cType);
  if (!data) return;
  if (fixed != 0) {
    std::memset(data, byte(), fixed);
  } else if (length > 0) {
    std::memset(data, 'a', static_cast<size_t>(length));
    if (byte() != 1) data[length - 1] = '\0';
  }
}

// The address of element `row` of what is bound.
template <class T>
T* element(const Desc& desc, T* base, size_t row, size_t size) {
  if (!base) return nullptr;
  const size_t stride = desc.bindType ? desc.bindType : size;
  const SQLLEN offset = desc.offsetPtr ? *desc.offsetPtr : 0;
  return reinterpret_cast<T*>(const_cast<char*>(reinterpret_cast<const char*>(base)) + row * stride + offset);
}

void writeRow(Stmt& stmt, size_t row) {
  const Desc& ard = *stmt.ard;
  for (const auto& [column, bound] : ard.bindings) {
    const size_t fixed = sizeOf(bound.cType);
    const size_t size = fixed ? fixed : static_cast<size_t>(std::max<SQLLEN>(bound.length, 0));
    writeValue(bound.cType, element(ard, bound.data, row, size), bound.length);
    put(element(ard, bound.lengthPtr, row, sizeof(SQLLEN)));
    if (bound.indicatorPtr != bound.lengthPtr) put(element(ard, bound.indicatorPtr, row, sizeof(SQLLEN)));
  }
}

SQLRETURN fetch(Stmt& stmt, SQLRETURN rc, SQLULEN rows, SQLULEN* countPtr, SQLUSMALLINT* statusPtr) {
  if (stmt.rowsLeft == 0) return SQL_NO_DATA;
  const SQLULEN written = std::min<SQLULEN>(rows, stmt.rowsLeft);
  stmt.rowsLeft -= static_cast<unsigned>(std::max<SQLULEN>(written, 1));
  if (!worked(rc) && byte() % 2 == 0) return rc;
  for (SQLULEN row = 0; row < written; ++row) writeRow(stmt, row);
  if (countPtr) *countPtr = byte() == 1 ? static_cast<SQLULEN>(anyNumber()) : written;
  for (SQLULEN row = 0; statusPtr && row < rows; ++row)
    statusPtr[row] = static_cast<SQLUSMALLINT>(row < written ? byte() % 8 : SQL_ROW_NOROW);
  return rc;
}

void readParameters(Stmt& stmt) {
  const Desc& apd = *stmt.apd;
  for (SQLULEN set = 0; set < apd.arraySize; ++set) {
    for (const auto& [number, bound] : apd.bindings) {
      const size_t fixed = sizeOf(bound.cType);
      const SQLLEN* lengthPtr = element(apd, bound.lengthPtr, set, sizeof(SQLLEN));
      const SQLLEN length = lengthPtr ? *lengthPtr : 0;
      const size_t size = fixed ? fixed : static_cast<size_t>(std::max<SQLLEN>(bound.length, 0));
      const char* data = element(apd, bound.data, set, size);
      if (length < 0 && length != SQL_NTS) continue;
      // A fetch into the same descriptor may have left any length: no value of the application is longer.
      constexpr SQLLEN kLongest = 8;
      const SQLLEN end = length == SQL_NTS ? kLongest : std::min(length, kLongest);
      readBytes(data, fixed ? static_cast<SQLLEN>(fixed) : end);
    }
    if (stmt.ipd.statusPtr) stmt.ipd.statusPtr[set] = static_cast<SQLUSMALLINT>(byte() % 8);
  }
  put(stmt.ipd.processedPtr);
}

// Any function of a statement, a connection or a descriptor that only returns something.
template <class... Arguments>
SQLRETURN simple(SQLHSTMT handle, Arguments...) {
  return onStmt(handle, [](Stmt&, SQLRETURN rc) { return rc; });
}

// Any function that leaves a result.
template <class... Arguments>
SQLRETURN makeResult(SQLHSTMT handle, Arguments...) {
  return onStmt(handle, [](Stmt& stmt, SQLRETURN rc) {
    stmt.rowsLeft = source ? byte() % 12u : 0;
    stmt.resultsLeft = byte() % 3u;
    readParameters(stmt);
    return rc;
  });
}

SQLRETURN allocate(SQLSMALLINT type, SQLHANDLE parent, SQLHANDLE* out) {
  const std::lock_guard guard(lock);
  *out = nullptr;
  Handle root(SQL_HANDLE_ENV, nullptr);
  Handle* above =
      type == SQL_HANDLE_ENV ? &root : find(parent, type == SQL_HANDLE_DBC ? SQL_HANDLE_ENV : SQL_HANDLE_DBC);
  if (!above) return SQL_INVALID_HANDLE;
  const SQLRETURN rc = outcome(*above);
  if (!worked(rc) || (source && byte() == 1)) return rc;  // perhaps a success without a handle
  std::unique_ptr<Handle> made;
  if (type == SQL_HANDLE_STMT) {
    made = std::make_unique<Stmt>(above);
  } else if (type == SQL_HANDLE_DESC) {
    made = std::make_unique<Desc>(above);
  } else {
    made = std::make_unique<Handle>(type, above == &root ? nullptr : above);
  }
  *out = made.get();
  freed.erase(*out);
  if (auto* stmt = dynamic_cast<Stmt*>(made.get())) {
    for (Desc* own : {&stmt->ownArd, &stmt->ownApd, &stmt->ird, &stmt->ipd}) freed.erase(own);
  }
  handles.emplace(*out, std::move(made));
  return rc;
}

SQLRETURN release(SQLSMALLINT type, SQLHANDLE handle) {
  return onHandle<Handle>(handle, type, [&](Handle& object, SQLRETURN rc) {
    if (worked(rc) && handles.contains(handle)) {
      forgetChildren(&object);
      forget(&object);
    }
    return rc;
  });
}

SQLRETURN diagRec(SQLSMALLINT type, SQLHANDLE handle, SQLSMALLINT number, SQLCHAR* state, SQLINTEGER* native,
                  SQLCHAR* text, SQLSMALLINT size, SQLSMALLINT* length) {
  const std::lock_guard guard(lock);
  Handle* found = find(handle, type);
  if (!found) return SQL_INVALID_HANDLE;
  if (number < 1 || static_cast<unsigned>(number) > found->diagnostics) return SQL_NO_DATA;
  constexpr const char* kStates[] = {"HY000", "01004", "01S02", "08S01",
                                     "24000", "S1010", "HYT00", "\xff\1\2\3\4"};
  std::memcpy(state, source ? source->pick(kStates) : kStates[0], 6);
  put(native);
  putText(text, size, length);
  return SQL_SUCCESS;
}

void setHeader(Desc& desc, SQLSMALLINT field, SQLPOINTER value) {
  switch (field) {
    case SQL_DESC_ARRAY_SIZE: desc.arraySize = reinterpret_cast<SQLULEN>(value); return;
    case SQL_DESC_BIND_TYPE: desc.bindType = reinterpret_cast<SQLULEN>(value); return;
    case SQL_DESC_BIND_OFFSET_PTR: desc.offsetPtr = static_cast<SQLLEN*>(value); return;
    case SQL_DESC_ARRAY_STATUS_PTR: desc.statusPtr = static_cast<SQLUSMALLINT*>(value); return;
    case SQL_DESC_ROWS_PROCESSED_PTR: desc.processedPtr = static_cast<SQLULEN*>(value); return;
    case SQL_DESC_COUNT:
      desc.bindings.erase(
          desc.bindings.upper_bound(static_cast<SQLUSMALLINT>(reinterpret_cast<SQLULEN>(value))),
          desc.bindings.end());
      return;
    default: return;
  }
}

void setField(Binding& bound, SQLSMALLINT field, SQLPOINTER value) {
  switch (field) {
    case SQL_DESC_TYPE:
    case SQL_DESC_CONCISE_TYPE:
      bound.cType = static_cast<SQLSMALLINT>(reinterpret_cast<SQLLEN>(value));
      return;
    case SQL_DESC_DATA_PTR: bound.data = static_cast<char*>(value); return;
    case SQL_DESC_OCTET_LENGTH: bound.length = reinterpret_cast<SQLLEN>(value); return;
    case SQL_DESC_OCTET_LENGTH_PTR: bound.lengthPtr = static_cast<SQLLEN*>(value); return;
    case SQL_DESC_INDICATOR_PTR: bound.indicatorPtr = static_cast<SQLLEN*>(value); return;
    default: return;
  }
}

SQLRETURN setStmtAttribute(Stmt& stmt, SQLINTEGER attribute, SQLPOINTER value) {
  switch (attribute) {
    case SQL_ATTR_APP_ROW_DESC:
    case SQL_ATTR_APP_PARAM_DESC: {
      const bool rows = attribute == SQL_ATTR_APP_ROW_DESC;
      auto* desc = value ? static_cast<Desc*>(find(value, SQL_HANDLE_DESC)) : nullptr;
      if (value && !desc) return SQL_ERROR;
      (rows ? stmt.ard : stmt.apd) = desc ? desc : rows ? &stmt.ownArd : &stmt.ownApd;
      return SQL_SUCCESS;
    }
    case SQL_ROWSET_SIZE: stmt.rowset = reinterpret_cast<SQLULEN>(value); break;
    case SQL_ATTR_ROW_ARRAY_SIZE: setHeader(*stmt.ard, SQL_DESC_ARRAY_SIZE, value); break;
    case SQL_ATTR_ROW_BIND_TYPE: setHeader(*stmt.ard, SQL_DESC_BIND_TYPE, value); break;
    case SQL_ATTR_ROW_BIND_OFFSET_PTR: setHeader(*stmt.ard, SQL_DESC_BIND_OFFSET_PTR, value); break;
    case SQL_ATTR_ROW_STATUS_PTR: setHeader(stmt.ird, SQL_DESC_ARRAY_STATUS_PTR, value); break;
    case SQL_ATTR_ROWS_FETCHED_PTR: setHeader(stmt.ird, SQL_DESC_ROWS_PROCESSED_PTR, value); break;
    case SQL_ATTR_PARAMSET_SIZE: setHeader(*stmt.apd, SQL_DESC_ARRAY_SIZE, value); break;
    case SQL_ATTR_PARAM_BIND_TYPE: setHeader(*stmt.apd, SQL_DESC_BIND_TYPE, value); break;
    case SQL_ATTR_PARAM_BIND_OFFSET_PTR: setHeader(*stmt.apd, SQL_DESC_BIND_OFFSET_PTR, value); break;
    case SQL_ATTR_PARAM_STATUS_PTR: setHeader(stmt.ipd, SQL_DESC_ARRAY_STATUS_PTR, value); break;
    case SQL_ATTR_PARAMS_PROCESSED_PTR: setHeader(stmt.ipd, SQL_DESC_ROWS_PROCESSED_PTR, value); break;
    case SQL_ATTR_FETCH_BOOKMARK_PTR: stmt.bookmarkPtr = static_cast<SQLLEN*>(value); break;
    default: break;
  }
  return SQL_SUCCESS;
}

SQLPOINTER descOf(Stmt& stmt, SQLINTEGER attribute) {
  switch (attribute) {
    case SQL_ATTR_APP_ROW_DESC: return stmt.ard;
    case SQL_ATTR_APP_PARAM_DESC: return stmt.apd;
    case SQL_ATTR_IMP_ROW_DESC: return &stmt.ird;
    case SQL_ATTR_IMP_PARAM_DESC: return &stmt.ipd;
    default: return nullptr;
  }
}

void bind(Desc& desc, SQLUSMALLINT number, const Binding& bound, bool isBound) {
  desc.bindings.erase(number);
  if (isBound) desc.bindings[number] = bound;
}

// The functions that both versions have.
void fillCommon(DMDriverFunctions& f) {
  f.SQLConnect = [](SQLHDBC h, SQLCHAR* name, SQLSMALLINT nameLength, SQLCHAR* user, SQLSMALLINT userLength,
                    SQLCHAR* password, SQLSMALLINT passwordLength) {
    return onConn(h, [&](Handle&, SQLRETURN rc) {
      readBytes(name, nameLength), readBytes(user, userLength), readBytes(password, passwordLength);
      return rc;
    });
  };
  f.SQLDriverConnect = [](SQLHDBC h, SQLHWND, SQLCHAR* in, SQLSMALLINT inLength, SQLCHAR* out,
                          SQLSMALLINT size, SQLSMALLINT* length, SQLUSMALLINT) {
    return onConn(h, [&](Handle&, SQLRETURN rc) {
      readBytes(in, inLength);
      putText(out, size, length);
      return rc;
    });
  };
  f.SQLBrowseConnect = [](SQLHDBC h, SQLCHAR* in, SQLSMALLINT inLength, SQLCHAR* out, SQLSMALLINT size,
                          SQLSMALLINT* length) {
    return onConn(h, [&](Handle&, SQLRETURN rc) {
      readBytes(in, inLength);
      putText(out, size, length);
      return rc;
    });
  };
  f.SQLDisconnect = [](SQLHDBC h) {
    return onConn(h, [&](Handle& conn, SQLRETURN rc) {
      if (worked(rc)) forgetChildren(&conn);
      return rc;
    });
  };
  f.SQLGetInfo = [](SQLHDBC h, SQLUSMALLINT type, SQLPOINTER value, SQLSMALLINT size, SQLSMALLINT* length) {
    return onConn(h, [&](Handle&, SQLRETURN rc) {
      if (type == SQL_DRIVER_ODBC_VER && size >= 6) {
        std::memcpy(value, loaded->functions().SQLSetStmtAttr && !isOld ? "03.00" : "02.50", 6);
        *length = 5;
        return SQLRETURN(SQL_SUCCESS);
      }
      if (isTextInfo(type)) {
        putText(value, size, length);
      } else if (value) {
        const auto number = static_cast<SQLUINTEGER>(anyNumber());
        std::memcpy(value, &number, byte() % 2 ? 2 : 4);
        put(length);
      }
      return rc;
    });
  };
  f.SQLNativeSql = [](SQLHDBC h, SQLCHAR* in, SQLINTEGER inLength, SQLCHAR* out, SQLINTEGER size,
                      SQLINTEGER* length) {
    return onConn(h, [&](Handle&, SQLRETURN rc) {
      readSql(in, inLength);
      putText(out, size, length);
      return rc;
    });
  };
  f.SQLGetFunctions = [](SQLHDBC h, SQLUSMALLINT number, SQLUSMALLINT* out) {
    return onConn(h, [&](Handle&, SQLRETURN rc) {
      const size_t words = number == SQL_API_ODBC3_ALL_FUNCTIONS ? SQL_API_ODBC3_ALL_FUNCTIONS_SIZE
                           : number == SQL_API_ALL_FUNCTIONS     ? 100
                                                                 : 1;
      for (size_t i = 0; i < words; ++i) put(out + i);
      return rc;
    });
  };
  f.SQLPrepare = [](SQLHSTMT h, SQLCHAR* sql, SQLINTEGER length) {
    return onStmt(h, [&](Stmt&, SQLRETURN rc) {
      readSql(sql, length);
      return rc;
    });
  };
  f.SQLExecDirect = [](SQLHSTMT h, SQLCHAR* sql, SQLINTEGER length) {
    {
      const std::lock_guard guard(lock);
      readSql(sql, length);
    }
    return makeResult(h);
  };
  f.SQLExecute = makeResult;
  f.SQLTables = makeResult;
  f.SQLColumns = makeResult;
  f.SQLStatistics = makeResult;
  f.SQLSpecialColumns = makeResult;
  f.SQLPrimaryKeys = makeResult;
  f.SQLForeignKeys = makeResult;
  f.SQLProcedures = makeResult;
  f.SQLProcedureColumns = makeResult;
  f.SQLTablePrivileges = makeResult;
  f.SQLColumnPrivileges = makeResult;
  f.SQLGetTypeInfo = makeResult;
  f.SQLCancel = simple;
  f.SQLSetPos = simple;
  f.SQLSetCursorName = simple;
  f.SQLGetCursorName = [](SQLHSTMT h, SQLCHAR* name, SQLSMALLINT size, SQLSMALLINT* length) {
    return onStmt(h, [&](Stmt&, SQLRETURN rc) {
      putText(name, size, length);
      return rc;
    });
  };
  f.SQLMoreResults = [](SQLHSTMT h) {
    return onStmt(h, [](Stmt& stmt, SQLRETURN rc) -> SQLRETURN {
      if (stmt.resultsLeft == 0) return SQL_NO_DATA;
      --stmt.resultsLeft;
      stmt.rowsLeft = byte() % 8u;
      return rc;
    });
  };
  f.SQLFreeStmt = [](SQLHSTMT h, SQLUSMALLINT option) {
    return onStmt(h, [&](Stmt& stmt, SQLRETURN rc) {
      if (!worked(rc)) return rc;
      if (option == SQL_CLOSE) stmt.rowsLeft = 0;
      if (option == SQL_UNBIND) stmt.ard->bindings.clear();
      if (option == SQL_RESET_PARAMS) stmt.apd->bindings.clear();
      if (option == SQL_DROP) forget(&stmt);
      return rc;
    });
  };
  f.SQLBindCol = [](SQLHSTMT h, SQLUSMALLINT column, SQLSMALLINT cType, SQLPOINTER data, SQLLEN length,
                    SQLLEN* lengthPtr) {
    return onStmt(h, [&](Stmt& stmt, SQLRETURN rc) {
      if (worked(rc))
        bind(*stmt.ard, column, {cType, static_cast<char*>(data), length, lengthPtr, lengthPtr},
             data || lengthPtr);
      return rc;
    });
  };
  f.SQLBindParameter = [](SQLHSTMT h, SQLUSMALLINT number, SQLSMALLINT, SQLSMALLINT cType, SQLSMALLINT,
                          SQLULEN, SQLSMALLINT, SQLPOINTER data, SQLLEN length, SQLLEN* lengthPtr) {
    return onStmt(h, [&](Stmt& stmt, SQLRETURN rc) {
      if (worked(rc))
        bind(*stmt.apd, number, {cType, static_cast<char*>(data), length, lengthPtr, lengthPtr}, true);
      return rc;
    });
  };
  f.SQLFetch = [](SQLHSTMT h) {
    return onStmt(h, [](Stmt& stmt, SQLRETURN rc) {
      return fetch(stmt, rc, stmt.ard->arraySize, stmt.ird.processedPtr, stmt.ird.statusPtr);
    });
  };
  f.SQLGetData = [](SQLHSTMT h, SQLUSMALLINT, SQLSMALLINT cType, SQLPOINTER data, SQLLEN length,
                    SQLLEN* lengthPtr) {
    return onStmt(h, [&](Stmt&, SQLRETURN rc) {
      writeValue(cType, static_cast<char*>(data), length);
      put(lengthPtr);
      return rc;
    });
  };
  f.SQLNumResultCols = [](SQLHSTMT h, SQLSMALLINT* count) {
    return onStmt(h, [&](Stmt&, SQLRETURN rc) {
      *count = static_cast<SQLSMALLINT>(byte() == 1 ? anyNumber() : 1 + byte() % 4);
      return rc;
    });
  };
  f.SQLNumParams = [](SQLHSTMT h, SQLSMALLINT* count) {
    return onStmt(h, [&](Stmt&, SQLRETURN rc) {
      put(count);
      return rc;
    });
  };
  f.SQLRowCount = [](SQLHSTMT h, SQLLEN* count) {
    return onStmt(h, [&](Stmt&, SQLRETURN rc) {
      put(count);
      return rc;
    });
  };
  f.SQLDescribeCol = [](SQLHSTMT h, SQLUSMALLINT, SQLCHAR* name, SQLSMALLINT size, SQLSMALLINT* length,
                        SQLSMALLINT* type, SQLULEN* columnSize, SQLSMALLINT* scale, SQLSMALLINT* nullable) {
    return onStmt(h, [&](Stmt&, SQLRETURN rc) {
      putText(name, size, length);
      put(type), put(columnSize), put(scale), put(nullable);
      return rc;
    });
  };
  f.SQLDescribeParam = [](SQLHSTMT h, SQLUSMALLINT, SQLSMALLINT* type, SQLULEN* size, SQLSMALLINT* scale,
                          SQLSMALLINT* nullable) {
    return onStmt(h, [&](Stmt&, SQLRETURN rc) {
      put(type), put(size), put(scale), put(nullable);
      return rc;
    });
  };
  f.SQLParamData = [](SQLHSTMT h, SQLPOINTER* value) {
    return onStmt(h, [&](Stmt& stmt, SQLRETURN rc) {
      *value = stmt.apd->bindings.empty() ? nullptr : stmt.apd->bindings.begin()->second.data;
      return rc;
    });
  };
  f.SQLPutData = [](SQLHSTMT h, SQLPOINTER data, SQLLEN length) {
    return onStmt(h, [&](Stmt&, SQLRETURN rc) {
      readBytes(data, length);
      return rc;
    });
  };
}

SQLRETURN columnAttribute(SQLHSTMT h, SQLUSMALLINT, SQLUSMALLINT, SQLPOINTER text, SQLSMALLINT size,
                          SQLSMALLINT* length, SQLLEN* number) {
  return onStmt(h, [&](Stmt&, SQLRETURN rc) {
    putText(text, size, length);
    put(number);
    return rc;
  });
}

SQLRETURN extendedFetch(SQLHSTMT h, SQLUSMALLINT, SQLLEN, SQLULEN* countPtr, SQLUSMALLINT* statusPtr) {
  return onStmt(h,
                [&](Stmt& stmt, SQLRETURN rc) { return fetch(stmt, rc, stmt.rowset, countPtr, statusPtr); });
}

void fillVersion2(DMDriverFunctions& f) {
  f.SQLAllocEnv = [](SQLHENV* out) { return allocate(SQL_HANDLE_ENV, nullptr, out); };
  f.SQLAllocConnect = [](SQLHENV env, SQLHDBC* out) { return allocate(SQL_HANDLE_DBC, env, out); };
  f.SQLAllocStmt = [](SQLHDBC conn, SQLHSTMT* out) { return allocate(SQL_HANDLE_STMT, conn, out); };
  f.SQLFreeEnv = [](SQLHENV env) { return release(SQL_HANDLE_ENV, env); };
  f.SQLFreeConnect = [](SQLHDBC conn) { return release(SQL_HANDLE_DBC, conn); };
  f.SQLColAttributes = columnAttribute;
  f.SQLError = [](SQLHENV env, SQLHDBC conn, SQLHSTMT stmt, SQLCHAR* state, SQLINTEGER* native, SQLCHAR* text,
                  SQLSMALLINT size, SQLSMALLINT* length) {
    const SQLSMALLINT type = stmt ? SQL_HANDLE_STMT : conn ? SQL_HANDLE_DBC : SQL_HANDLE_ENV;
    const SQLHANDLE handle = stmt ? stmt : conn ? conn : env;
    const SQLRETURN rc = diagRec(type, handle, 1, state, native, text, size, length);
    const std::lock_guard guard(lock);
    Handle* found = find(handle, type);
    if (rc == SQL_SUCCESS && found) --found->diagnostics;
    return rc;
  };
  f.SQLExtendedFetch = extendedFetch;
  f.SQLSetParam = [](SQLHSTMT h, SQLUSMALLINT number, SQLSMALLINT cType, SQLSMALLINT, SQLULEN, SQLSMALLINT,
                     SQLPOINTER data, SQLLEN* lengthPtr) {
    return onStmt(h, [&](Stmt& stmt, SQLRETURN rc) {
      if (worked(rc))
        bind(*stmt.apd, number, {cType, static_cast<char*>(data), 0, lengthPtr, lengthPtr}, true);
      return rc;
    });
  };
  f.SQLSetScrollOptions = [](SQLHSTMT h, SQLUSMALLINT, SQLLEN, SQLUSMALLINT rowset) {
    return onStmt(h, [&](Stmt& stmt, SQLRETURN rc) {
      if (worked(rc)) stmt.rowset = rowset;
      return rc;
    });
  };
  f.SQLParamOptions = [](SQLHSTMT h, SQLULEN rows, SQLULEN* rowPtr) {
    return onStmt(h, [&](Stmt& stmt, SQLRETURN rc) {
      if (!worked(rc)) return rc;
      stmt.apd->arraySize = rows;
      stmt.ipd.processedPtr = rowPtr;
      return rc;
    });
  };
  f.SQLSetStmtOption = [](SQLHSTMT h, SQLUSMALLINT option, SQLULEN value) {
    return onStmt(h, [&](Stmt& stmt, SQLRETURN rc) {
      if (worked(rc)) setStmtAttribute(stmt, option, reinterpret_cast<SQLPOINTER>(value));
      return rc;
    });
  };
  f.SQLGetStmtOption = [](SQLHSTMT h, SQLUSMALLINT option, SQLPOINTER value) {
    return onStmt(h, [&](Stmt& stmt, SQLRETURN rc) {
      put(static_cast<SQLULEN*>(value));
      if (option == SQL_ROWSET_SIZE) *static_cast<SQLULEN*>(value) = stmt.rowset;  // buffers depend on it
      return rc;
    });
  };
  f.SQLSetConnectOption = [](SQLHDBC h, SQLUSMALLINT option, SQLULEN value) {
    return onConn(h, [&](Handle&, SQLRETURN rc) {
      if (option == SQL_ATTR_CURRENT_CATALOG) readBytes(reinterpret_cast<SQLPOINTER>(value), SQL_NTS);
      return rc;
    });
  };
  f.SQLGetConnectOption = [](SQLHDBC h, SQLUSMALLINT option, SQLPOINTER value) {
    return onConn(h, [&](Handle&, SQLRETURN rc) {
      SQLINTEGER length;
      if (option == SQL_ATTR_CURRENT_CATALOG)
        putText(value, SQL_MAX_OPTION_STRING_LENGTH, &length);
      else
        put(static_cast<SQLUINTEGER*>(value));
      return rc;
    });
  };
  f.SQLTransact = [](SQLHENV, SQLHDBC conn, SQLUSMALLINT) {
    return onConn(conn, [](Handle&, SQLRETURN rc) { return rc; });
  };
}

void fillVersion3(DMDriverFunctions& f) {
  f.SQLAllocHandle = allocate;
  f.SQLFreeHandle = release;
  f.SQLCloseCursor = [](SQLHSTMT h) {
    return onStmt(h, [](Stmt& stmt, SQLRETURN rc) {
      if (worked(rc)) stmt.rowsLeft = 0;
      return rc;
    });
  };
  f.SQLColAttribute = columnAttribute;
  f.SQLBulkOperations = simple;
  f.SQLCopyDesc = [](SQLHDESC from, SQLHDESC to) {
    return onDesc(to, [&](Desc& desc, SQLRETURN rc) -> SQLRETURN {
      const auto* copied = static_cast<Desc*>(find(from, SQL_HANDLE_DESC));
      if (!copied || !worked(rc)) return copied ? rc : SQL_INVALID_HANDLE;
      desc.bindings = copied->bindings;
      desc.arraySize = copied->arraySize;
      desc.bindType = copied->bindType;
      desc.offsetPtr = copied->offsetPtr;
      return rc;
    });
  };
  f.SQLEndTran = [](SQLSMALLINT type, SQLHANDLE handle, SQLSMALLINT) {
    return onHandle<Handle>(handle, type, [](Handle&, SQLRETURN rc) { return rc; });
  };
  f.SQLFetchScroll = [](SQLHSTMT h, SQLSMALLINT orientation, SQLLEN) {
    return onStmt(h, [&](Stmt& stmt, SQLRETURN rc) {
      if (orientation == SQL_FETCH_BOOKMARK && stmt.bookmarkPtr) readBytes(stmt.bookmarkPtr, sizeof(SQLLEN));
      return fetch(stmt, rc, stmt.ard->arraySize, stmt.ird.processedPtr, stmt.ird.statusPtr);
    });
  };
  f.SQLGetDiagRec = diagRec;
  f.SQLGetDiagField = [](SQLSMALLINT type, SQLHANDLE handle, SQLSMALLINT, SQLSMALLINT field, SQLPOINTER value,
                         SQLSMALLINT size, SQLSMALLINT* length) -> SQLRETURN {
    const std::lock_guard guard(lock);
    if (!find(handle, type)) return SQL_INVALID_HANDLE;
    const bool isWide =
        field == SQL_DIAG_ROW_NUMBER || field == SQL_DIAG_ROW_COUNT || field == SQL_DIAG_CURSOR_ROW_COUNT;
    if (field == SQL_DIAG_DYNAMIC_FUNCTION)
      putText(value, size, length);
    else if (isWide)
      put(static_cast<SQLLEN*>(value));
    else
      put(static_cast<SQLINTEGER*>(value));
    return byte() == 1 ? SQL_ERROR : SQL_SUCCESS;
  };
  f.SQLSetEnvAttr = [](SQLHENV env, SQLINTEGER, SQLPOINTER, SQLINTEGER) {
    return onHandle<Handle>(env, SQL_HANDLE_ENV, [](Handle&, SQLRETURN rc) { return rc; });
  };
  f.SQLSetConnectAttr = [](SQLHDBC h, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER length) {
    return onConn(h, [&](Handle&, SQLRETURN rc) {
      if (attribute == SQL_ATTR_CURRENT_CATALOG) readBytes(value, length);
      return rc;
    });
  };
  f.SQLGetConnectAttr = [](SQLHDBC h, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER size,
                           SQLINTEGER* length) {
    return onConn(h, [&](Handle&, SQLRETURN rc) {
      if (attribute == SQL_ATTR_CURRENT_CATALOG)
        putText(value, size, length);
      else
        put(static_cast<SQLUINTEGER*>(value));
      return rc;
    });
  };
  f.SQLSetStmtAttr = [](SQLHSTMT h, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER) {
    return onStmt(h, [&](Stmt& stmt, SQLRETURN rc) {
      const SQLRETURN done = worked(rc) ? setStmtAttribute(stmt, attribute, value) : rc;
      return worked(done) ? rc : done;
    });
  };
  f.SQLGetStmtAttr = [](SQLHSTMT h, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER, SQLINTEGER* length) {
    return onStmt(h, [&](Stmt& stmt, SQLRETURN rc) {
      if (SQLPOINTER desc = descOf(stmt, attribute))
        *static_cast<SQLPOINTER*>(value) = desc;
      else
        put(static_cast<SQLULEN*>(value));
      put(length);
      return rc;
    });
  };
  f.SQLSetDescField = [](SQLHDESC h, SQLSMALLINT record, SQLSMALLINT field, SQLPOINTER value, SQLINTEGER) {
    return onDesc(h, [&](Desc& desc, SQLRETURN rc) {
      if (!worked(rc)) return rc;
      setHeader(desc, field, value);  // its fields have no record
      if (record > 0) setField(desc.bindings[static_cast<SQLUSMALLINT>(record)], field, value);
      return rc;
    });
  };
  f.SQLSetDescRec = [](SQLHDESC h, SQLSMALLINT record, SQLSMALLINT type, SQLSMALLINT, SQLLEN length,
                       SQLSMALLINT, SQLSMALLINT, SQLPOINTER data, SQLLEN* lengthPtr, SQLLEN* indicatorPtr) {
    return onDesc(h, [&](Desc& desc, SQLRETURN rc) {
      if (worked(rc))
        desc.bindings[static_cast<SQLUSMALLINT>(record)] = {type, static_cast<char*>(data), length, lengthPtr,
                                                            indicatorPtr};
      return rc;
    });
  };
  f.SQLGetDescField = [](SQLHDESC h, SQLSMALLINT, SQLSMALLINT field, SQLPOINTER value, SQLINTEGER size,
                         SQLINTEGER* length) {
    return onDesc(h, [&](Desc&, SQLRETURN rc) {
      if (field == SQL_DESC_NAME)
        putText(value, size, length);
      else
        put(static_cast<SQLSMALLINT*>(value));
      return rc;
    });
  };
  f.SQLGetDescRec = [](SQLHDESC h, SQLSMALLINT, SQLCHAR* name, SQLSMALLINT size, SQLSMALLINT* nameLength,
                       SQLSMALLINT* type, SQLSMALLINT* code, SQLLEN* length, SQLSMALLINT* precision,
                       SQLSMALLINT* scale, SQLSMALLINT* nullable) {
    return onDesc(h, [&](Desc&, SQLRETURN rc) {
      putText(name, size, nameLength);
      put(type), put(code), put(length), put(precision), put(scale), put(nullable);
      return rc;
    });
  };
}

// --- The wide forms: the narrow ones, whose bytes become units. What an application gives is read, and what
// it has room for is written, to the last unit. ---

DMDriverFunctions narrowForms;

template <class T>
constexpr bool kIsWideText = std::is_same_v<T, SQLWCHAR*>;

// One argument of a wide function on its way to the narrow one.
template <class T>
struct WideArgument {
  T value;
  T narrow() { return value; }
  void finish() {}
};
template <>
struct WideArgument<SQLWCHAR*> {
  SQLWCHAR* value;
  long long size = 0;
  bool isOut = false;
  std::string bytes = {};
  SQLCHAR* narrow() {
    if (!value) return nullptr;
    if (isOut) {
      bytes.assign(static_cast<size_t>(std::max(size, 0LL)), '?');
    } else {
      for (long long i = 0; size == SQL_NTS ? value[i] != 0 : i < size; ++i)
        bytes += static_cast<char>(value[i]);
    }
    return reinterpret_cast<SQLCHAR*>(bytes.data());
  }
  void finish() {
    for (size_t i = 0; value && isOut && i < bytes.size(); ++i)
      value[i] = static_cast<unsigned char>(bytes[i]);
  }
};

// What follows a text says what it is: a size and a pointer to a length, a length alone, or, after an
// SQLSTATE, a pointer.
template <size_t index, class Tuple>
void prepareArgument(Tuple& arguments) {
  auto& argument = std::get<index>(arguments);
  if constexpr (kIsWideText<decltype(argument.value)>) {
    auto& next = std::get<index + 1>(arguments).value;
    if constexpr (std::is_pointer_v<std::remove_reference_t<decltype(next)>>) {
      argument.size = 6;
      argument.isOut = true;
    } else {
      argument.size = next;
      if constexpr (index + 2 < std::tuple_size_v<Tuple>) {
        using After = decltype(std::get<index + 2>(arguments).value);
        argument.isOut = std::is_pointer_v<After> && !kIsWideText<After>;
      }
    }
  }
}

template <auto narrow, class Wide>
struct WideForm;
template <auto narrow, class... Arguments>
struct WideForm<narrow, SQLRETURN (*)(Arguments...)> {
  static SQLRETURN call(Arguments... given) {
    std::tuple<WideArgument<Arguments>...> arguments{{given}...};
    [&]<size_t... index>(std::index_sequence<index...>) { (prepareArgument<index>(arguments), ...); }
    (std::index_sequence_for<Arguments...>{});
    return std::apply(
        [](auto&... one) {
          const SQLRETURN rc = (narrowForms.*narrow)(one.narrow()...);
          (one.finish(), ...);
          return rc;
        },
        arguments);
  }
};

// Gives the driver the wide forms of what it has, and takes some of the narrow ones away.
void addWideForms(DMDriverFunctions& functions, ByteSource& decisions) {
  narrowForms = functions;
#define WIDE_FORM(name)                                                                        \
  if (functions.name && !decisions.oneIn(12))                                                  \
    functions.name##W = WideForm<&DMDriverFunctions::name, decltype(functions.name##W)>::call; \
  if (functions.name##W && decisions.oneIn(2)) functions.name = nullptr;
  ZU_DRIVER_TEXT_FUNCTIONS(WIDE_FORM)
#undef WIDE_FORM
  // As where a driver is loaded.
  if (!functions.SQLSetStmtAttr) functions.SQLSetStmtAttr = functions.SQLSetStmtAttrW;
  if (!functions.SQLGetStmtAttr) functions.SQLGetStmtAttr = functions.SQLGetStmtAttrW;
  if (!functions.SQLGetTypeInfo) functions.SQLGetTypeInfo = functions.SQLGetTypeInfoW;
}

}  // namespace

bool isTextInfo(SQLUSMALLINT type) {
  switch (type) {
    case SQL_DATA_SOURCE_NAME:
    case SQL_DRIVER_NAME:
    case SQL_DBMS_NAME:
    case SQL_IDENTIFIER_QUOTE_CHAR:
    case SQL_DRIVER_ODBC_VER:
    case SQL_ODBC_VER:
    case SQL_DM_VER:
    case SQL_ROW_UPDATES:
    case SQL_KEYWORDS: return true;
    default: return false;
  }
}

void setDriverSource(ByteSource* newSource) { source = newSource; }

DMDriverFunctions wildFunctions(ByteSource& decisions) {
  DMDriverFunctions functions;
  const unsigned variant = decisions.below(4);
  fillCommon(functions);
  if (variant != 1) fillVersion3(functions);
  if (variant == 1 || variant == 2) fillVersion2(functions);
  isOld = variant == 3 && decisions.oneIn(4);
  if (variant == 3) {  // some are missing, but none without which nothing comes to an end
    const DMDriverFunctions all = functions;
    auto* entries = reinterpret_cast<void**>(&functions);
    for (size_t i = 0; i < sizeof functions / sizeof *entries; ++i)
      if (decisions.oneIn(12)) entries[i] = nullptr;
    functions.SQLAllocHandle = all.SQLAllocHandle;
    functions.SQLFreeHandle = all.SQLFreeHandle;
    functions.SQLDriverConnect = all.SQLDriverConnect;
    functions.SQLDisconnect = all.SQLDisconnect;
  }
  if (decisions.oneIn(2)) addWideForms(functions, decisions);
  return functions;
}

void loadDriver(const DMDriverFunctions& functions) {
  loaded = std::make_unique<dm::LoadedDriver>(nullptr, functions);
}

std::string lastText() {
  const std::lock_guard guard(lock);
  return sqlText;
}

size_t clearDriver() {
  const std::lock_guard guard(lock);
  const size_t count = handles.size();
  handles.clear();
  freed.clear();
  return count;
}

}  // namespace odbccalls

namespace dm {
const LoadedDriver* loadDriver(const std::string&, std::string&) { return odbccalls::loaded.get(); }
}  // namespace dm
