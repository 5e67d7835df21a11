#include "fuzz/odbccalls/calls.h"

#include <sql.h>
#include <sqlext.h>
#include <sqlucode.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <list>
#include <memory>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "fuzz/odbccalls/wilddriver.h"

namespace odbccalls {
namespace {

void demand(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "odbccalls: %s\n", what);
  std::abort();
}

// A call that must work, now that the driver does as it is told.
void demandSuccess(SQLRETURN rc, SQLSMALLINT type, SQLHANDLE handle, const char* what) {
  if (SQL_SUCCEEDED(rc)) return;
  SQLCHAR state[6] = "", text[256] = "";
  SQLINTEGER native;
  SQLSMALLINT length;
  SQLGetDiagRec(type, handle, 1, state, &native, text, sizeof text, &length);
  std::fprintf(stderr, "odbccalls: %s fails with %d: %s %s\n", what, rc, state, text);
  std::abort();
}

// Row sets and parameter sets have at most this many rows, with at most this many bytes between two rows.
constexpr SQLULEN kRows = 8;
constexpr SQLULEN kStride = 64;
constexpr size_t kBlock = (kRows + 1) * kStride;  // one row more, for a bind offset

constexpr SQLSMALLINT kCTypes[] = {SQL_C_CHAR,   SQL_C_SLONG,   SQL_C_SSHORT,  SQL_C_DOUBLE,
                                   SQL_C_BINARY, SQL_C_SBIGINT, SQL_C_DEFAULT, SQL_C_TYPE_TIMESTAMP,
                                   SQL_C_DATE,   SQL_C_NUMERIC, SQL_C_GUID,    SQL_C_BIT,
                                   SQL_C_WCHAR,  12345,         SQL_C_CHAR,    SQL_C_SLONG};
constexpr SQLSMALLINT kSqlTypes[] = {SQL_INTEGER, SQL_VARCHAR, SQL_TYPE_TIMESTAMP, SQL_DATE,
                                     SQL_BINARY,  SQL_GUID,    SQL_DECIMAL,        -999};
constexpr const char* kTexts[] = {
    "select a, b from t",
    "select a from t where b = ? for update of a",
    "update t set a = ? where current of C1",
    "delete from t where current of C2",
    "select a, b from t where current of C1",
    "insert into t values (?, ?)",
    "{call p(?)}",
    "select t.a, u.b from t, u where t.a = u.a",
    "select count(*) from t group by a",
    "update t set a = 'x",
    "",
};

// One statement or descriptor with what is bound to it, which lives as long.
struct Owned {
  SQLHANDLE handle = nullptr;
  std::list<std::unique_ptr<char[]>> blocks;
};

// A pointer to text in either form.
struct AnyText {
  void* address;
  operator SQLCHAR*() const { return static_cast<SQLCHAR*>(address); }
  operator SQLWCHAR*() const { return static_cast<SQLWCHAR*>(address); }
};

class Application {
 public:
  Application(ByteSource& source, SQLHENV env, SQLHDBC conn) : s(source), env(env), conn(conn) {}

  void step();

  // Frees the statements and descriptors, over a driver that does as it is told.
  void clear();

  void giveStatementTo(Application& other) {
    if (!stmts.empty()) other.foreign = stmts.front().handle;
  }
  void allocateFirst() { allocate(SQL_HANDLE_STMT); }

 private:
  // --- Buffers ---
  char* block(Owned& owner, size_t size = kBlock) {
    owner.blocks.push_back(std::make_unique<char[]>(size));
    char* made = owner.blocks.back().get();
    for (size_t i = 0; i < size; ++i) made[i] = i % 8 == 7 ? '\0' : static_cast<char>('a' + i % 8);
    return made;
  }
  SQLLEN* lengths(Owned& owner) {
    constexpr SQLLEN kLengths[] = {
        0, 1, 5, 8, SQL_NULL_DATA, SQL_NTS, SQL_DATA_AT_EXEC, SQL_LEN_DATA_AT_EXEC(4)};
    auto* cells = reinterpret_cast<SQLLEN*>(block(owner));
    const SQLLEN value = s.pick(kLengths);
    std::fill_n(cells, kBlock / sizeof *cells, value);
    return cells;
  }
  SQLLEN* offset(Owned& owner) {
    auto* cell = reinterpret_cast<SQLLEN*>(block(owner, sizeof(SQLLEN)));
    *cell = s.oneIn(2) ? SQLLEN(kStride) : 0;
    return cell;
  }

  // A buffer for one call, exactly as long as it says.
  struct Out {
    std::unique_ptr<char[]> bytes;
    SQLSMALLINT size;
    template <class T = SQLCHAR>
    T* as() const {
      return reinterpret_cast<T*>(bytes.get());
    }
  };
  Out out(size_t least = 0) {
    const size_t size = std::max<size_t>(least, s.byte() % 40);
    return {size || s.oneIn(2) ? std::make_unique<char[]>(size) : nullptr, static_cast<SQLSMALLINT>(size)};
  }

  // A text with its length, or one that ends in a zero.
  struct In {
    std::unique_ptr<char[]> bytes;
    SQLSMALLINT length;
    SQLCHAR* text() const { return reinterpret_cast<SQLCHAR*>(bytes.get()); }
    std::unique_ptr<SQLWCHAR[]> units;  // the same as UTF-16, with lone surrogates for what is not ASCII
  };
  In in(const std::string& text) {
    if (s.oneIn(20)) return {nullptr, static_cast<SQLSMALLINT>(s.byte()), nullptr};
    const bool counted = s.oneIn(2);
    In made{std::make_unique<char[]>(text.size() + !counted),
            static_cast<SQLSMALLINT>(counted ? text.size() : SQL_NTS),
            std::make_unique<SQLWCHAR[]>(text.size() + !counted)};
    std::memcpy(made.bytes.get(), text.c_str(), text.size() + !counted);
    for (size_t i = 0; i < text.size(); ++i) {
      const auto unit = static_cast<unsigned char>(text[i]);
      made.units[i] = static_cast<SQLWCHAR>(unit < 0x80 ? unit : 0xD780 + unit);
    }
    return made;
  }
  In name() { return in(s.oneIn(2) ? "C1" : s.oneIn(3) ? std::string(s.byte(), 'n') : "C2"); }
  In sql() {
    std::string text = s.pick(kTexts);
    for (unsigned edits = s.below(4) == 3 ? 3 : 0; edits != 0 && !text.empty(); --edits)
      text[s.byte() % text.size()] = static_cast<char>(s.byte());
    return in(text);
  }

  // Calls one of the two forms of a function; an In becomes a text and its length, an Out a buffer and its
  // size.
  static auto given(const In& in, bool wide) {
    return std::make_tuple(AnyText{wide ? static_cast<void*>(in.units.get()) : in.bytes.get()}, in.length);
  }
  static auto given(const Out& out, bool wide) {
    const auto units = static_cast<SQLSMALLINT>(out.size / (wide ? sizeof(SQLWCHAR) : 1));
    return std::make_tuple(AnyText{out.bytes.get()}, units);
  }
  template <class T>
  static auto given(const T& value, bool) {
    return std::make_tuple(value);
  }
  template <class Narrow, class Wide, class... Arguments>
  SQLRETURN either(Narrow narrow, Wide wide, const Arguments&... arguments) {
    const bool isWide = s.oneIn(2);
    return std::apply([&](auto... a) { return isWide ? wide(a...) : narrow(a...); },
                      std::tuple_cat(given(arguments, isWide)...));
  }
#define EITHER(name, ...) either(name, name##W, __VA_ARGS__)

  template <class Cell>
  Cell* maybe(Cell& cell) {
    return s.oneIn(8) ? nullptr : &cell;
  }

  // --- Handles ---
  Owned* pickStmt() { return pickOf(stmts); }
  Owned* pickOf(std::list<Owned>& list) {
    if (list.empty()) return nullptr;
    auto at = list.begin();
    std::advance(at, s.below(static_cast<unsigned>(list.size())));
    return &*at;
  }
  void allocate(SQLSMALLINT type);
  void release(SQLSMALLINT type);
  SQLRETURN dropOne(SQLSMALLINT type, Owned& owned) {
    const bool old = type == SQL_HANDLE_STMT && s.oneIn(2);
    return old ? SQLFreeStmt(owned.handle, SQL_DROP) : SQLFreeHandle(type, owned.handle);
  }

  // --- Calls ---
  void callStatement(Owned& stmt);
  SQLRETURN prepareOrExecute(SQLHSTMT h, unsigned which);
  SQLRETURN catalogFunction(SQLHSTMT h);
  SQLRETURN bindColumn(Owned& stmt);
  SQLRETURN bindParameter(Owned& stmt);
  SQLRETURN describe(SQLHSTMT h);
  SQLRETURN getData(SQLHSTMT h);
  SQLRETURN setStmtAttribute(Owned& stmt);
  SQLRETURN getStmtAttribute(SQLHSTMT h);
  SQLRETURN fetch(Owned& stmt);
  SQLRETURN change(Owned& stmt);
  SQLRETURN putData(SQLHSTMT h);
  void callDescriptor(SQLHDESC h, Owned& owner);
  void callConnection();
  void readDiagnostics(SQLSMALLINT type, SQLHANDLE h);
  SQLHDESC descriptorOf(SQLHSTMT h);

  ByteSource& s;
  SQLHENV env;
  SQLHDBC conn;
  SQLHSTMT foreign = nullptr;  // a statement of another thread, to cancel
  std::list<Owned> stmts;
  std::list<Owned> descs;
  std::list<Owned> graves;  // what freed descriptors had bound: statements may have used it
};

void Application::allocate(SQLSMALLINT type) {
  auto& list = type == SQL_HANDLE_STMT ? stmts : descs;
  SQLHANDLE made = nullptr;
  const bool old = type == SQL_HANDLE_STMT && s.oneIn(2);
  const SQLRETURN rc = old ? SQLAllocStmt(conn, &made) : SQLAllocHandle(type, conn, &made);
  demand(SQL_SUCCEEDED(rc) == (made != nullptr), "an allocation and its handle do not agree");
  if (made) list.emplace_back().handle = made;
}

void Application::release(SQLSMALLINT type) {
  auto& list = type == SQL_HANDLE_STMT ? stmts : descs;
  Owned* owned = pickOf(list);
  if (!owned || (foreign && owned == &stmts.front())) return;
  if (!SQL_SUCCEEDED(dropOne(type, *owned))) return;
  const auto at = std::find_if(list.begin(), list.end(), [&](Owned& o) { return &o == owned; });
  // An explicit descriptor takes what is bound through a statement, and the other way round.
  if (type == SQL_HANDLE_DESC || !descs.empty()) {
    graves.splice(graves.end(), list, at);
  } else {
    list.erase(at);
  }
}

void Application::readDiagnostics(SQLSMALLINT type, SQLHANDLE h) {
  SQLWCHAR state[6];
  SQLINTEGER native = 0;
  SQLSMALLINT length = 0;
  const Out text = out();
  const auto number = static_cast<SQLSMALLINT>(s.below(4));
  switch (s.below(3)) {
    case 0:
      EITHER(SQLGetDiagRec, type, h, number, AnyText{state}, maybe(native), text, maybe(length));
      return;
    case 1: {
      constexpr SQLSMALLINT kFields[] = {SQL_DIAG_NUMBER,
                                         SQL_DIAG_RETURNCODE,
                                         SQL_DIAG_SQLSTATE,
                                         SQL_DIAG_NATIVE,
                                         SQL_DIAG_MESSAGE_TEXT,
                                         SQL_DIAG_ROW_NUMBER,
                                         SQL_DIAG_ROW_COUNT,
                                         SQL_DIAG_SERVER_NAME,
                                         SQL_DIAG_DYNAMIC_FUNCTION,
                                         SQL_DIAG_COLUMN_NUMBER,
                                         4711};
      const Out value = out(sizeof(SQLLEN));
      EITHER(SQLGetDiagField, type, h, number, s.pick(kFields), value.as<void>(), value.size, maybe(length));
      return;
    }
    default:
      EITHER(SQLError, type == SQL_HANDLE_ENV ? h : nullptr, type == SQL_HANDLE_DBC ? h : nullptr,
             type == SQL_HANDLE_STMT ? h : nullptr, AnyText{state}, &native, text, maybe(length));
  }
}

SQLRETURN Application::prepareOrExecute(SQLHSTMT h, unsigned which) {
  const In text = sql();
  if (which == 0) return EITHER(SQLPrepare, h, text);
  return which == 1 ? EITHER(SQLExecDirect, h, text) : SQLExecute(h);
}

SQLRETURN Application::catalogFunction(SQLHSTMT h) {
  const In a = name(), b = name(), c = name(), d = name();
  const auto number = static_cast<SQLUSMALLINT>(s.below(3));
  switch (s.below(11)) {
    case 0: return EITHER(SQLTables, h, a, b, c, d);
    case 1: return EITHER(SQLColumns, h, a, b, c, d);
    case 2: return EITHER(SQLGetTypeInfo, h, s.pick(kSqlTypes));
    case 3: return EITHER(SQLSpecialColumns, h, number, a, b, c, number, number);
    case 4: return EITHER(SQLStatistics, h, a, b, c, number, number);
    case 5: return EITHER(SQLPrimaryKeys, h, a, b, c);
    case 6: return EITHER(SQLProcedures, h, a, b, c);
    case 7: return EITHER(SQLColumnPrivileges, h, a, b, c, d);
    case 8: return EITHER(SQLForeignKeys, h, a, b, c, d, a, b);
    case 9: return EITHER(SQLProcedureColumns, h, a, b, c, d);
    default: return EITHER(SQLTablePrivileges, h, a, b, c);
  }
}

SQLRETURN Application::bindColumn(Owned& stmt) {
  const auto column = static_cast<SQLUSMALLINT>(s.below(5));
  void* data = s.oneIn(6) ? nullptr : block(stmt);
  return SQLBindCol(stmt.handle, column, s.pick(kCTypes), data, s.below(25),
                    s.oneIn(4) ? nullptr : lengths(stmt));
}

SQLRETURN Application::bindParameter(Owned& stmt) {
  constexpr SQLSMALLINT kDirections[] = {SQL_PARAM_INPUT, SQL_PARAM_INPUT_OUTPUT, SQL_PARAM_OUTPUT, 0, 99};
  const auto number = static_cast<SQLUSMALLINT>(s.below(4));
  void* data = block(stmt);
  SQLLEN* lengthPtr = s.oneIn(3) ? nullptr : lengths(stmt);
  const SQLSMALLINT cType = s.pick(kCTypes), sqlType = s.pick(kSqlTypes);
  switch (s.below(4)) {
    case 0: return SQLSetParam(stmt.handle, number, cType, sqlType, s.byte(), 0, data, lengthPtr);
    case 1: return SQLBindParam(stmt.handle, number, cType, sqlType, s.byte(), 0, data, lengthPtr);
    default:
      return SQLBindParameter(stmt.handle, number, s.pick(kDirections), cType, sqlType, s.byte(), 0, data,
                              s.below(25), lengthPtr);
  }
}

SQLRETURN Application::describe(SQLHSTMT h) {
  const auto column = static_cast<SQLUSMALLINT>(s.below(5));
  const Out text = out();
  SQLSMALLINT length, type, scale, nullable, count;
  SQLULEN size;
  SQLLEN number;
  constexpr SQLUSMALLINT kFields[] = {SQL_COLUMN_COUNT, SQL_COLUMN_NAME,       SQL_DESC_NAME,  SQL_DESC_TYPE,
                                      SQL_DESC_LENGTH,  SQL_DESC_CONCISE_TYPE, SQL_DESC_LABEL, 4711,
                                      SQL_DESC_NULLABLE};
  switch (s.below(7)) {
    case 0:
      return EITHER(SQLDescribeCol, h, column, text, maybe(length), maybe(type), maybe(size), maybe(scale),
                    maybe(nullable));
    case 1:
      return EITHER(SQLColAttribute, h, column, s.pick(kFields), text.as<void>(), text.size, maybe(length),
                    maybe(number));
    case 2:
      return EITHER(SQLColAttributes, h, column, s.pick(kFields), text.as<void>(), text.size, maybe(length),
                    maybe(number));
    case 3: return SQLNumResultCols(h, maybe(count));
    case 4: return SQLNumParams(h, maybe(count));
    case 5: return SQLRowCount(h, maybe(number));
    default: return SQLDescribeParam(h, column, maybe(type), maybe(size), maybe(scale), maybe(nullable));
  }
}

SQLRETURN Application::getData(SQLHSTMT h) {
  const SQLSMALLINT cType = s.pick(kCTypes);
  // The size of a type of fixed length is not given, so there is room for the largest of them.
  const bool isSized = cType == SQL_C_CHAR || cType == SQL_C_BINARY || cType == SQL_C_WCHAR || cType == 12345;
  const Out value = out(isSized ? 0 : sizeof(SQL_NUMERIC_STRUCT));
  SQLLEN length;
  return SQLGetData(h, static_cast<SQLUSMALLINT>(s.below(5)), cType, value.as<void>(), value.size,
                    maybe(length));
}

SQLRETURN Application::setStmtAttribute(Owned& stmt) {
  constexpr SQLINTEGER kNumbers[] = {SQL_ATTR_QUERY_TIMEOUT,
                                     SQL_ATTR_MAX_ROWS,
                                     SQL_ATTR_NOSCAN,
                                     SQL_ATTR_ASYNC_ENABLE,
                                     SQL_ATTR_CURSOR_TYPE,
                                     SQL_ATTR_CONCURRENCY,
                                     SQL_ATTR_KEYSET_SIZE,
                                     SQL_ATTR_SIMULATE_CURSOR,
                                     SQL_ATTR_RETRIEVE_DATA,
                                     SQL_ATTR_USE_BOOKMARKS,
                                     SQL_ATTR_ENABLE_AUTO_IPD,
                                     SQL_ATTR_METADATA_ID,
                                     SQL_ATTR_CURSOR_SCROLLABLE,
                                     SQL_ATTR_CURSOR_SENSITIVITY,
                                     1500,
                                     99};
  constexpr SQLINTEGER kSizes[] = {SQL_ROWSET_SIZE, SQL_ATTR_ROW_ARRAY_SIZE, SQL_ATTR_PARAMSET_SIZE};
  constexpr SQLINTEGER kStrides[] = {SQL_ATTR_ROW_BIND_TYPE, SQL_ATTR_PARAM_BIND_TYPE};
  constexpr SQLINTEGER kArrays[] = {SQL_ATTR_ROW_STATUS_PTR,    SQL_ATTR_ROW_OPERATION_PTR,
                                    SQL_ATTR_PARAM_STATUS_PTR,  SQL_ATTR_PARAM_OPERATION_PTR,
                                    SQL_ATTR_ROWS_FETCHED_PTR,  SQL_ATTR_PARAMS_PROCESSED_PTR,
                                    SQL_ATTR_FETCH_BOOKMARK_PTR};
  constexpr SQLINTEGER kOffsets[] = {SQL_ATTR_ROW_BIND_OFFSET_PTR, SQL_ATTR_PARAM_BIND_OFFSET_PTR};
  constexpr SQLINTEGER kDescs[] = {SQL_ATTR_APP_ROW_DESC, SQL_ATTR_APP_PARAM_DESC};
  SQLINTEGER attribute = 0;
  SQLULEN number = 0;
  void* pointer = nullptr;
  switch (s.below(6)) {
    case 0:
      attribute = s.pick(kNumbers);
      number = s.below(5);
      break;
    case 1:
      attribute = s.pick(kSizes);
      number = s.below(kRows + 1);
      break;
    case 2:
      attribute = s.pick(kStrides);
      number = s.oneIn(2) ? kStride : 0;
      break;
    case 3:
      attribute = s.pick(kArrays);
      pointer = s.oneIn(4) ? nullptr : block(stmt, kRows * sizeof(SQLULEN));
      break;
    case 4:
      attribute = s.pick(kOffsets);
      pointer = s.oneIn(3) ? nullptr : offset(stmt);
      break;
    default: {
      attribute = s.pick(kDescs);
      Owned* desc = pickOf(descs);
      pointer = desc && !s.oneIn(3) ? desc->handle : nullptr;
    }
  }
  if (pointer) number = reinterpret_cast<SQLULEN>(pointer);
  if (s.oneIn(3)) return SQLSetStmtOption(stmt.handle, static_cast<SQLUSMALLINT>(attribute), number);
  return EITHER(SQLSetStmtAttr, stmt.handle, attribute, reinterpret_cast<SQLPOINTER>(number), SQLINTEGER{0});
}

SQLRETURN Application::getStmtAttribute(SQLHSTMT h) {
  const auto attribute = static_cast<SQLINTEGER>(s.below(32)) - 2;
  SQLULEN value;
  SQLINTEGER length;
  if (s.oneIn(2)) return SQLGetStmtOption(h, static_cast<SQLUSMALLINT>(attribute), maybe(value));
  return EITHER(SQLGetStmtAttr, h, s.oneIn(8) ? 10010 + attribute % 5 : attribute,
                static_cast<SQLPOINTER>(maybe(value)), SQLINTEGER{sizeof value}, maybe(length));
}

SQLRETURN Application::fetch(Owned& stmt) {
  constexpr SQLSMALLINT kDirections[] = {
      SQL_FETCH_NEXT,     SQL_FETCH_FIRST, SQL_FETCH_LAST,     SQL_FETCH_PRIOR, SQL_FETCH_ABSOLUTE,
      SQL_FETCH_RELATIVE, SQL_FETCH_NEXT,  SQL_FETCH_BOOKMARK, SQL_FETCH_NEXT,  77};
  const SQLSMALLINT direction = s.pick(kDirections);
  const SQLLEN distance = static_cast<SQLLEN>(s.below(9)) - 4;
  switch (s.below(4)) {
    case 0: return SQLFetch(stmt.handle);
    case 1: {
      auto* count = reinterpret_cast<SQLULEN*>(block(stmt, sizeof(SQLULEN)));
      auto* statuses = reinterpret_cast<SQLUSMALLINT*>(block(stmt, kRows * sizeof(SQLUSMALLINT)));
      return SQLExtendedFetch(stmt.handle, static_cast<SQLUSMALLINT>(direction), distance,
                              s.oneIn(8) ? nullptr : count, s.oneIn(8) ? nullptr : statuses);
    }
    default: return SQLFetchScroll(stmt.handle, direction, distance);
  }
}

SQLRETURN Application::change(Owned& stmt) {
  switch (s.below(8)) {
    case 0:
      return SQLSetPos(stmt.handle, s.below(5), static_cast<SQLUSMALLINT>(s.below(6)),
                       static_cast<SQLUSMALLINT>(s.below(4)));
    case 1: return SQLBulkOperations(stmt.handle, static_cast<SQLSMALLINT>(s.below(9)));
    case 2: return SQLCloseCursor(stmt.handle);
    case 3: return SQLMoreResults(stmt.handle);
    case 4: {
      auto* done = reinterpret_cast<SQLULEN*>(block(stmt, sizeof(SQLULEN)));
      return SQLParamOptions(stmt.handle, s.below(kRows + 1), s.oneIn(3) ? nullptr : done);
    }
    case 5:
      return SQLSetScrollOptions(stmt.handle, static_cast<SQLUSMALLINT>(s.below(6)),
                                 -static_cast<SQLLEN>(s.below(5)),
                                 static_cast<SQLUSMALLINT>(s.below(kRows + 1)));
    default: {
      constexpr SQLUSMALLINT kOptions[] = {SQL_CLOSE, SQL_UNBIND, SQL_RESET_PARAMS, SQL_CLOSE, 10, 99};
      return SQLFreeStmt(stmt.handle, s.pick(kOptions));
    }
  }
}

SQLRETURN Application::putData(SQLHSTMT h) {
  SQLPOINTER value;
  if (s.oneIn(2)) return SQLParamData(h, maybe(value));
  const In data = in(std::string(s.byte() % 30, 'p'));
  return SQLPutData(h, data.bytes.get(), s.oneIn(8) ? SQLLEN(SQL_NULL_DATA) : data.length);
}

SQLHDESC Application::descriptorOf(SQLHSTMT h) {
  SQLHDESC desc = nullptr;
  const SQLINTEGER attribute = SQL_ATTR_APP_ROW_DESC + static_cast<SQLINTEGER>(s.below(4));
  return SQL_SUCCEEDED(SQLGetStmtAttr(h, attribute, &desc, sizeof desc, nullptr)) ? desc : nullptr;
}

void Application::callDescriptor(SQLHDESC h, Owned& owner) {
  const auto record = static_cast<SQLSMALLINT>(s.below(5));
  const Out text = out(sizeof(SQLLEN));
  SQLSMALLINT nameLength, type, code, precision, scale, nullable;
  SQLLEN size;
  SQLINTEGER length;
  constexpr SQLSMALLINT kGet[] = {SQL_DESC_COUNT,
                                  SQL_DESC_ARRAY_SIZE,
                                  SQL_DESC_NAME,
                                  SQL_DESC_TYPE,
                                  SQL_DESC_DATA_PTR,
                                  SQL_DESC_UNNAMED,
                                  SQL_DESC_LENGTH,
                                  SQL_DESC_ALLOC_TYPE,
                                  SQL_DESC_OCTET_LENGTH_PTR,
                                  SQL_DESC_BIND_TYPE,
                                  4711};
  switch (s.below(6)) {
    case 0:
      EITHER(SQLGetDescField, h, record, s.pick(kGet), text.as<void>(), SQLINTEGER{text.size}, maybe(length));
      return;
    case 1:
      EITHER(SQLGetDescRec, h, record, text, maybe(nameLength), maybe(type), maybe(code), maybe(size),
             maybe(precision), maybe(scale), maybe(nullable));
      return;
    case 2: {
      SQLLEN* cells = lengths(owner);
      SQLSetDescRec(h, record, s.pick(kCTypes), 0, s.below(25), 0, 0, s.oneIn(4) ? nullptr : block(owner),
                    cells, s.oneIn(3) ? nullptr : cells);
      return;
    }
    case 3: {
      const Owned* other = pickOf(descs);
      SQLCopyDesc(h, other ? other->handle : h);
      return;
    }
    default: break;
  }
  const auto set = [&](SQLSMALLINT field, const void* value) {
    EITHER(SQLSetDescField, h, record, field, const_cast<void*>(value), SQLINTEGER{0});
  };
  const auto number = [](SQLULEN n) { return reinterpret_cast<const void*>(n); };
  switch (s.below(9)) {
    case 0: return set(SQL_DESC_COUNT, number(s.below(4)));
    case 1: return set(SQL_DESC_ARRAY_SIZE, number(s.below(kRows + 1)));
    case 2: return set(SQL_DESC_BIND_TYPE, number(s.oneIn(2) ? kStride : 0));
    case 3: return set(SQL_DESC_DATA_PTR, s.oneIn(4) ? nullptr : block(owner));
    case 4:
      return set(SQL_DESC_CONCISE_TYPE, number(static_cast<SQLULEN>(static_cast<SQLLEN>(s.pick(kCTypes)))));
    case 5: return set(SQL_DESC_OCTET_LENGTH, number(s.below(25)));
    case 6: return set(s.oneIn(2) ? SQL_DESC_OCTET_LENGTH_PTR : SQL_DESC_INDICATOR_PTR, lengths(owner));
    case 7: return set(SQL_DESC_BIND_OFFSET_PTR, s.oneIn(3) ? nullptr : offset(owner));
    default:
      return set(s.oneIn(2) ? SQL_DESC_ARRAY_STATUS_PTR : SQL_DESC_ROWS_PROCESSED_PTR,
                 s.oneIn(3) ? nullptr : block(owner, kRows * sizeof(SQLULEN)));
  }
}

void Application::callConnection() {
  const In text = name();
  SQLULEN cell;
  SQLINTEGER length;
  switch (s.below(7)) {
    case 0: {
      constexpr SQLUSMALLINT kTypes[] = {SQL_DBMS_NAME,  SQL_ROW_UPDATES,     SQL_GETDATA_EXTENSIONS,
                                         SQL_ODBC_VER,   SQL_SCROLL_OPTIONS,  SQL_DRIVER_HSTMT,
                                         SQL_KEYWORDS,   SQL_DRIVER_ODBC_VER, SQL_STATIC_CURSOR_ATTRIBUTES2,
                                         SQL_DRIVER_HDBC};
      const SQLUSMALLINT type = s.pick(kTypes);
      const Out value = out(isTextInfo(type) ? 0 : sizeof(SQLULEN));
      SQLSMALLINT written;
      EITHER(SQLGetInfo, conn, type, s.oneIn(8) ? nullptr : value.as<void>(), value.size, maybe(written));
      return;
    }
    case 1:
      if (s.oneIn(2))
        SQLEndTran(s.oneIn(4) ? SQL_HANDLE_ENV : SQL_HANDLE_DBC, s.oneIn(4) ? env : conn,
                   static_cast<SQLSMALLINT>(s.below(3)));
      else
        SQLTransact(env, conn, static_cast<SQLUSMALLINT>(s.below(3)));
      return;
    case 2: {
      const In statement = sql();
      const Out value = out();
      EITHER(SQLNativeSql, conn, statement, value, maybe(length));
      return;
    }
    case 3: {
      constexpr SQLINTEGER kNumbers[] = {SQL_ATTR_AUTOCOMMIT,
                                         SQL_ATTR_ACCESS_MODE,
                                         SQL_ATTR_CURSOR_TYPE,
                                         SQL_ATTR_ASYNC_ENABLE,
                                         SQL_ATTR_CONCURRENCY,
                                         SQL_ATTR_CURSOR_SCROLLABLE,
                                         4711};
      const SQLINTEGER attribute = s.pick(kNumbers);
      const auto value = reinterpret_cast<SQLPOINTER>(SQLULEN(s.below(4)));
      if (s.oneIn(3))
        EITHER(SQLSetConnectOption, conn, static_cast<SQLUSMALLINT>(attribute), SQLULEN{s.below(4)});
      else
        SQLSetConnectAttr(conn, attribute, value, 0);
      return;
    }
    case 4: {
      const bool wide = s.oneIn(2);
      const SQLINTEGER size = wide && text.length > 0 ? text.length * 2 : text.length;
      if (wide) SQLSetConnectAttrW(conn, SQL_ATTR_CURRENT_CATALOG, text.units.get(), size);
      if (!wide) SQLSetConnectAttr(conn, SQL_ATTR_CURRENT_CATALOG, text.text(), size);
      return;
    }
    case 5: {
      constexpr SQLINTEGER kAttributes[] = {SQL_ATTR_AUTOCOMMIT, SQL_ATTR_CONNECTION_DEAD,
                                            SQL_ATTR_ODBC_CURSORS, 4711};
      const Out value = out();
      if (s.oneIn(2))
        EITHER(SQLGetConnectAttr, conn, SQL_ATTR_CURRENT_CATALOG, value.as<void>(), SQLINTEGER{value.size},
               maybe(length));
      else
        SQLGetConnectAttr(conn, s.pick(kAttributes), maybe(cell), sizeof cell, maybe(length));
      return;
    }
    default: {
      constexpr SQLUSMALLINT kNumbers[] = {SQL_API_ODBC3_ALL_FUNCTIONS, SQL_API_ALL_FUNCTIONS,
                                           SQL_API_SQLFETCH, 9999};
      SQLUSMALLINT words[SQL_API_ODBC3_ALL_FUNCTIONS_SIZE];
      SQLGetFunctions(conn, s.pick(kNumbers), words);
    }
  }
}

void Application::callStatement(Owned& stmt) {
  SQLHSTMT h = stmt.handle;
  SQLRETURN rc = SQL_SUCCESS;
  switch (s.below(15)) {
    case 0:
    case 1:
    case 2: rc = prepareOrExecute(h, s.below(3)); break;
    case 3: rc = catalogFunction(h); break;
    case 4:
    case 5: rc = bindColumn(stmt); break;
    case 6: rc = bindParameter(stmt); break;
    case 7: rc = describe(h); break;
    case 8: rc = getData(h); break;
    case 9: rc = setStmtAttribute(stmt); break;
    case 10: rc = getStmtAttribute(h); break;
    case 11: rc = change(stmt); break;
    case 12: rc = putData(h); break;
    case 13: {
      const In cursor = name();
      const Out text = out();
      SQLSMALLINT length;
      rc =
          s.oneIn(2) ? EITHER(SQLSetCursorName, h, cursor) : EITHER(SQLGetCursorName, h, text, maybe(length));
      break;
    }
    default: rc = fetch(stmt);
  }
  if (rc == SQL_ERROR || rc == SQL_SUCCESS_WITH_INFO) readDiagnostics(SQL_HANDLE_STMT, h);
}

void Application::step() {
  Owned* stmt = pickStmt();
  switch (s.below(24)) {
    case 0:
      if (stmts.size() < 4) allocate(SQL_HANDLE_STMT);
      return;
    case 1: return release(SQL_HANDLE_STMT);
    case 2:
      if (descs.size() < 3) allocate(SQL_HANDLE_DESC);
      return;
    case 3:
      if (s.oneIn(4)) release(SQL_HANDLE_DESC);
      return;
    case 4:
    case 5: return callConnection();
    case 6:
      if (Owned* desc = pickOf(descs)) callDescriptor(desc->handle, *desc);
      return;
    case 7:
      if (!stmt) return;
      if (SQLHDESC desc = descriptorOf(stmt->handle)) callDescriptor(desc, *stmt);
      return;
    case 8:
      if (foreign && s.oneIn(2)) SQLCancel(foreign);
      if (stmt) s.oneIn(4) ? SQLCancelHandle(SQL_HANDLE_STMT, stmt->handle) : SQLCancel(stmt->handle);
      return;
    case 9: {
      const SQLHANDLE wrong[] = {nullptr, conn, env, stmt ? stmt->handle : nullptr};
      const SQLHANDLE h = s.pick(wrong);
      SQLFetch(h), SQLFreeStmt(h, SQL_UNBIND), SQLGetDescField(h, 0, SQL_DESC_COUNT, nullptr, 0, nullptr);
      readDiagnostics(static_cast<SQLSMALLINT>(s.below(6)), h);
      return;
    }
    default:
      if (stmt) callStatement(*stmt);
  }
}

void Application::clear() {
  foreign = nullptr;
  for (Owned& stmt : stmts) {
    // A call that still executes ends with the same function, whichever that was.
    for (unsigned i = 0; i < 3000; ++i) {
      SQLCancel(stmt.handle);
      if (SQL_SUCCEEDED(SQLFreeHandle(SQL_HANDLE_STMT, stmt.handle))) break;
      if (i == 2999) demandSuccess(SQL_ERROR, SQL_HANDLE_STMT, stmt.handle, "SQLFreeHandle");
      callStatement(stmt);
    }
  }
  for (const Owned& desc : descs)
    demandSuccess(SQLFreeHandle(SQL_HANDLE_DESC, desc.handle), SQL_HANDLE_DESC, desc.handle, "SQLFreeHandle");
}

std::vector<uint8_t> noise(size_t size) {
  std::vector<uint8_t> bytes(size);
  uint32_t state = 12345;
  for (uint8_t& byte : bytes) byte = static_cast<uint8_t>((state = state * 1664525u + 1013904223u) >> 24);
  return bytes;
}

bool connect(ByteSource& source, SQLHDBC conn) {
  char text[] = "Driver=wild;UID=me;IACP=106";
  SQLWCHAR units[sizeof text];
  std::copy(std::begin(text), std::end(text), units);
  SQLWCHAR out[64];
  auto* bytes = reinterpret_cast<SQLCHAR*>(out);
  SQLSMALLINT length;
  setDriverSource(&source);
  bool connected = false;
  for (int i = 0; i < 12 && !connected; ++i) {
    const bool wide = source.oneIn(2);
    if (source.oneIn(4)) {
      const SQLRETURN rc = wide ? SQLBrowseConnectW(conn, units, SQL_NTS, out, 64, &length)
                                : SQLBrowseConnect(conn, reinterpret_cast<SQLCHAR*>(text), SQL_NTS, bytes,
                                                   sizeof out, &length);
      connected = SQL_SUCCEEDED(rc);
      if (rc == SQL_NEED_DATA) SQLDisconnect(conn);
    } else {
      connected = SQL_SUCCEEDED(
          wide ? SQLDriverConnectW(conn, nullptr, units, SQL_NTS, out, 64, &length, SQL_DRIVER_NOPROMPT)
               : SQLDriverConnect(conn, nullptr, reinterpret_cast<SQLCHAR*>(text), SQL_NTS, bytes, sizeof out,
                                  &length, SQL_DRIVER_NOPROMPT));
    }
  }
  setDriverSource(nullptr);
  if (!connected) SQLDisconnect(conn);  // a browse that could not be ended
  return connected;
}

void work(Application& application, ByteSource& source) {
  setDriverSource(&source);
  for (int i = 0; i < 4000 && !source.isEmpty(); ++i) application.step();
  setDriverSource(nullptr);
}

void useConnection(ByteSource first, ByteSource second, SQLHENV env, SQLHDBC conn, bool twoThreads) {
  Application a(first, env, conn), b(second, env, conn);
  a.allocateFirst();
  if (twoThreads) {
    b.allocateFirst();
    a.giveStatementTo(b);
    b.giveStatementTo(a);
    std::thread other([&] { work(b, second); });
    work(a, first);
    other.join();
  } else {
    work(a, first);
  }
  const std::vector<uint8_t> bytes = noise(1 << 18);
  first = second = ByteSource(bytes.data(), bytes.size());
  a.clear();
  b.clear();
  demandSuccess(SQLDisconnect(conn), SQL_HANDLE_DBC, conn, "SQLDisconnect");
}

}  // namespace

void runCalls(const uint8_t* data, size_t size, unsigned threads) {
  ByteSource source(data, size);
  loadDriver(wildFunctions(source));
  SQLHENV env = nullptr;
  SQLHDBC conn = nullptr;
  constexpr SQLULEN kVersions[] = {SQL_OV_ODBC3, SQL_OV_ODBC2};
  constexpr SQLULEN kCursors[] = {SQL_CUR_USE_ODBC, SQL_CUR_USE_DRIVER, SQL_CUR_USE_IF_NEEDED};
  const auto set = [](SQLULEN number) { return reinterpret_cast<SQLPOINTER>(number); };
  demand(SQLAllocHandle(SQL_HANDLE_ENV, nullptr, &env) == SQL_SUCCESS, "no environment");
  SQLSetEnvAttr(env, SQL_ATTR_ODBC_VERSION, set(source.pick(kVersions)), 0);
  demand(SQLAllocHandle(SQL_HANDLE_DBC, env, &conn) == SQL_SUCCESS, "no connection");
  SQLSetConnectAttr(conn, SQL_ATTR_ODBC_CURSORS, set(source.pick(kCursors)), 0);
  SQLSetConnectAttr(conn, SQL_ATTR_AUTOCOMMIT, set(source.below(2)), 0);
  if (connect(source, conn)) {
    // The threads share the rest.
    const ByteSource first = source.take(threads == 2 ? source.left() / 2 : source.left());
    useConnection(first, source, env, conn, threads == 2);
  }
  demand(SQLFreeHandle(SQL_HANDLE_DBC, conn) == SQL_SUCCESS, "the connection cannot be freed");
  demand(SQLFreeHandle(SQL_HANDLE_ENV, env) == SQL_SUCCESS, "the environment cannot be freed");
  clearDriver();
}

}  // namespace odbccalls
