// The scripted driver's handles, and the road that each of its calls takes.

#ifndef ZULIB_TESTS_SUPPORT_SCRIPTED_DRIVER_DRIVER_H
#define ZULIB_TESTS_SUPPORT_SCRIPTED_DRIVER_DRIVER_H

#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/scripted_driver.h"

namespace scripted {

// The return codes in their own type, which lambdas deduce.
constexpr SQLRETURN kOk = SQL_SUCCESS;
constexpr SQLRETURN kNoData = SQL_NO_DATA;
constexpr SQLRETURN kNeedData = SQL_NEED_DATA;
constexpr SQLRETURN kInvalidHandle = SQL_INVALID_HANDLE;

struct Diagnostic {
  std::string state;
  std::string text;
  SQLLEN row = SQL_NO_ROW_NUMBER;
};

struct Handle {
  explicit Handle(SQLSMALLINT type) : type(type) {}
  virtual ~Handle() = default;

  SQLRETURN post(const std::string& state, SQLRETURN rc = SQL_ERROR, SQLLEN row = SQL_NO_ROW_NUMBER);

  SQLSMALLINT type;
  std::vector<Diagnostic> diagnostics;
  std::map<SQLINTEGER, SQLULEN> attributes;
};

struct Env : Handle {
  static constexpr SQLSMALLINT kType = SQL_HANDLE_ENV;
  Env() : Handle(kType) {}
};

struct Conn : Handle {
  static constexpr SQLSMALLINT kType = SQL_HANDLE_DBC;
  explicit Conn(Env* env) : Handle(kType), env(env) {}
  Env* env;
  bool connected = false;
  std::map<SQLINTEGER, std::string> texts;
};

struct Record {
  SQLSMALLINT cType = SQL_C_DEFAULT;
  SQLSMALLINT sqlType = 0;
  SQLPOINTER data = nullptr;
  SQLLEN length = 0;
  SQLLEN* octetLengthPtr = nullptr;
  SQLLEN* indicatorPtr = nullptr;
};

struct DescContents {
  std::map<SQLSMALLINT, Record> records;
  SQLULEN arraySize = 1;
  SQLULEN bindType = SQL_BIND_BY_COLUMN;
  SQLLEN* bindOffsetPtr = nullptr;
  SQLULEN* rowsProcessedPtr = nullptr;
  SQLUSMALLINT* arrayStatusPtr = nullptr;
};

struct Desc : Handle {
  static constexpr SQLSMALLINT kType = SQL_HANDLE_DESC;
  explicit Desc(Conn* conn) : Handle(kType), conn(conn) {}
  Conn* conn;
  DescContents contents;
};

struct Stmt : Handle {
  static constexpr SQLSMALLINT kType = SQL_HANDLE_STMT;
  explicit Stmt(Conn* conn);
  void close();
  bool hasOpenRows() const { return result && position < result->rows.size(); }

  Conn* conn;
  Desc ownArd, ownApd, ownIrd, ownIpd;
  Desc* ard;
  Desc* apd;

  std::string text;
  std::string cursorName;
  bool prepared = false;
  std::unique_ptr<ScriptAnswer> result;  // with columns; null: no result set
  std::vector<ScriptAnswer> more;
  SQLLEN rowCount = -1;
  std::size_t position = 0;                   // of the next row
  std::map<SQLUSMALLINT, std::size_t> taken;  // bytes of the current row's columns that SQLGetData has given

  std::vector<SQLSMALLINT> awaited;  // parameters whose data is to come
  std::map<SQLSMALLINT, std::string> supplied;

  std::string pending;     // the function that answered SQL_STILL_EXECUTING or stands in the gate
  bool cancelled = false;  // asked for while one was pending; its next call finds HY008
};

extern DriverScript* script;

// The live handles, by which a stale one is told.
extern std::map<Handle*, std::unique_ptr<Handle>> handles;

// ODBC 2 drivers have their own states for what begins with HY.
std::string stateOf(const std::string& state);

Handle* find(SQLHANDLE handle, SQLSMALLINT type);
SQLHANDLE keep(std::unique_ptr<Handle> handle);
void drop(Handle* handle);

// One call: holds the script's mutex, and keeps allocation faults away.
class Call {
 public:
  explicit Call(const char* function);
  ~Call() { script->resumeFaults(); }

  // Empties the handle's diagnostics, waits at the gate, and says whether the script has the call fail. If
  // so `rc` is the answer.
  bool fails(Handle& handle, SQLRETURN& rc);

  // What the script wants instead of a success.
  SQLRETURN warn(Handle& handle, SQLRETURN rc);

 private:
  void waitAtGate(Handle& handle);
  const ScriptFault* fault() const;

  const char* function;
  std::unique_lock<std::mutex> lock;
  int nth;
};

// Answers a call on a handle: `work(object)` does what the function does.
template <class Object, class Work>
SQLRETURN answer(SQLHANDLE handle, const char* function, Work work) {
  if (!script) return SQL_INVALID_HANDLE;
  Call call(function);
  Handle* found = find(handle, Object::kType);
  if (!found) return SQL_INVALID_HANDLE;
  SQLRETURN rc = SQL_SUCCESS;
  if (call.fails(*found, rc)) return rc;
  return call.warn(*found, work(static_cast<Object&>(*found)));
}

// Copies text to an output argument of the API: SQL_SUCCESS, or 01004 when it was cut.
template <class Length>
SQLRETURN copyText(Handle& handle, const std::string& text, SQLPOINTER out, SQLLEN size, Length* length) {
  if (length) *length = static_cast<Length>(text.size());
  if (!out || size <= 0) return SQL_SUCCESS;
  const std::size_t fits = std::min<std::size_t>(text.size(), size - 1);
  std::copy_n(text.data(), fits, static_cast<char*>(out));
  static_cast<char*>(out)[fits] = '\0';
  return fits < text.size() ? handle.post("01004", SQL_SUCCESS_WITH_INFO) : SQL_SUCCESS;
}

inline std::string textOf(const SQLCHAR* text, SQLINTEGER length) {
  const auto* bytes = reinterpret_cast<const char*>(text);
  return length == SQL_NTS ? std::string(bytes) : std::string(bytes, length);
}

// Writes `value` from byte `from` on as `cType`; `taken` gets the bytes written. SQL_SUCCESS, or 01004 when a
// text or a binary value was cut.
SQLRETURN convert(Stmt& stmt, const ScriptValue& value, const ScriptColumn& column, SQLSMALLINT cType,
                  void* target, SQLLEN size, SQLLEN* lengthPtr, SQLLEN* indicatorPtr, std::size_t from,
                  std::size_t& taken);

// Adds what is set to the log's entry of this call.
template <class Value>
void noteSetting(SQLINTEGER attribute, const Value& value) {
  std::string& entry = script->log.back();
  entry += ' ' + std::to_string(attribute) + '=';
  if constexpr (std::is_same_v<Value, std::string>)
    entry += value;
  else
    entry += std::to_string(value);
}

SQLRETURN setDescHeader(Desc& desc, SQLSMALLINT field, SQLPOINTER value);

}  // namespace scripted

#endif
