// SQLGetDiagRec and SQLGetDiagField: the records of a handle's list, errors before warnings.

#include <algorithm>
#include <cstring>

#include "odbc/entry.h"
#include "odbc/text.h"

namespace pgwire {

namespace {

constexpr char kPrefix[] = "[zulib][zupgwire] ";

// A list that lost records to exhausted memory has one static record in their place.
SQLINTEGER recordCount(Handle& handle) {
  return handle.errors.isOutOfMemory() ? 1 : static_cast<SQLINTEGER>(handle.errors.getCount());
}

ZuError* recordAt(Handle& handle, SQLSMALLINT number) {
  if (handle.errors.isOutOfMemory()) return number == 1 ? handle.errors.getMemoryError() : nullptr;
  const auto count = static_cast<SQLSMALLINT>(handle.errors.getCount());
  SQLSMALLINT seen = 0;
  for (const bool warnings : {false, true}) {
    for (SQLSMALLINT i = 0; i < count; ++i) {
      ZuError* record = handle.errors.getNodeAtPos(static_cast<unsigned long>(i));
      if (record->isWarning() == warnings && ++seen == number) return record;
    }
  }
  return nullptr;
}

void copyState(ZuError& record, char* out) {
  const char* state = record.isStatic() ? "HY001" : record.getInterfaceCode();
  if (!state[0]) state = record.isWarning() ? "01000" : "HY000";
  const std::size_t n = strnlen(state, SQL_SQLSTATE_SIZE);
  std::memcpy(out, state, n);
  out[n] = 0;
}

int composeText(ZuError& record, Text& out) {
  const char* text = reinterpret_cast<const char*>(record.getErrorText());
  const std::string_view words = text ? text : "";
  if (!words.starts_with("[zulib]") && out.append(kPrefix)) return 1;
  return out.append(words);
}

// The code page of a handle's connection: an environment has none.
CodePage& pageOf(Handle& handle, CodePage& none) {
  switch (handle.type) {
    case SQL_HANDLE_DBC: return static_cast<Connection&>(handle).codePage;
    case SQL_HANDLE_STMT: return static_cast<Statement&>(handle).conn.codePage;
    case SQL_HANDLE_DESC: return static_cast<Descriptor&>(handle).conn.codePage;
    default: return none;
  }
}

std::mutex& lockOf(Handle& handle) {
  switch (handle.type) {
    case SQL_HANDLE_ENV: return static_cast<Environment&>(handle).mutex;
    case SQL_HANDLE_DBC: return static_cast<Connection&>(handle).mutex;
    case SQL_HANDLE_STMT: return static_cast<Statement&>(handle).lock();
    default: return static_cast<Descriptor&>(handle).lock();
  }
}

// Reads diagnostics without changing them: what goes wrong here goes to a list of its own.
template <class Work>
SQLRETURN inspect(SQLSMALLINT type, SQLHANDLE handle, Work work) {
  if (!handle || static_cast<Handle*>(handle)->type != type) return SQL_INVALID_HANDLE;
  Handle& object = *static_cast<Handle*>(handle);
  const std::lock_guard<std::mutex> holder(lockOf(object));
  DiagnosticList scratch;
  ZuErrorKeeper::setErrorList(&scratch);
  CodePage none;
  SQLRETURN code = work(object, pageOf(object, none));
  if (code == SQL_SUCCESS && scratch.getErrorsMix() != ErrMixNone) code = SQL_SUCCESS_WITH_INFO;
  if (ZuErrorKeeper::getErrorList() == &scratch) ZuErrorKeeper::giveUpErrorList();
  return code;
}

template <class Char>
SQLRETURN getRecord(SQLSMALLINT type, SQLHANDLE handle, SQLSMALLINT number, Char* state, SQLINTEGER* native,
                    Char* text, SQLSMALLINT size, SQLSMALLINT* length) {
  return inspect(type, handle, [&](Handle& object, CodePage& page) {
    if (number < 1 || size < 0) return static_cast<SQLRETURN>(SQL_ERROR);
    ZuError* record = recordAt(object, number);
    if (!record) return static_cast<SQLRETURN>(SQL_NO_DATA);
    char code[SQL_SQLSTATE_SIZE + 1];
    copyState(*record, code);
    if (state) std::copy(code, code + sizeof code, state);
    if (native) *native = static_cast<SQLINTEGER>(record->getNativeError());
    Text words;
    return codeOf(composeText(*record, words) || giveText(page, words.view(), text, size, length));
  });
}

SQLRETURN headerField(Handle& object, SQLSMALLINT field, SQLPOINTER out) {
  const bool isStatement = object.type == SQL_HANDLE_STMT;
  switch (field) {
    case SQL_DIAG_NUMBER: return codeOf(giveNumber(recordCount(object), out));
    case SQL_DIAG_RETURNCODE: return codeOf(giveNumber(object.lastReturn, out));
    case SQL_DIAG_ROW_COUNT:
      if (!isStatement) return SQL_ERROR;
      return codeOf(giveNumber(static_cast<Statement&>(object).rowCount, out));
    case SQL_DIAG_CURSOR_ROW_COUNT:
      return isStatement ? codeOf(giveNumber(static_cast<SQLLEN>(0), out))
                         : static_cast<SQLRETURN>(SQL_ERROR);
    case SQL_DIAG_DYNAMIC_FUNCTION_CODE:
      return codeOf(giveNumber(static_cast<SQLINTEGER>(SQL_DIAG_UNKNOWN_STATEMENT), out));
    default: return SQL_NO_DATA;
  }
}

const char* serverOf(Handle& object) {
  const Connection* conn = object.type == SQL_HANDLE_DBC    ? static_cast<Connection*>(&object)
                           : object.type == SQL_HANDLE_STMT ? &static_cast<Statement&>(object).conn
                                                            : nullptr;
  return conn && !conn->settings.server.empty() ? conn->settings.server.data() : nullptr;
}

template <class Char>
SQLRETURN recordField(Handle& object, CodePage& page, ZuError& record, SQLSMALLINT field, SQLPOINTER out,
                      SQLSMALLINT size, SQLSMALLINT* length) {
  const auto give = [&](std::string_view text) {
    return codeOf(giveTextBytes<Char>(page, text, out, size, length));
  };
  const auto* placed = record.isStatic() ? nullptr : static_cast<Diagnostic*>(&record);
  char state[SQL_SQLSTATE_SIZE + 1];
  copyState(record, state);
  switch (field) {
    case SQL_DIAG_SQLSTATE: return give(state);
    case SQL_DIAG_NATIVE: return codeOf(giveNumber(static_cast<SQLINTEGER>(record.getNativeError()), out));
    case SQL_DIAG_MESSAGE_TEXT: {
      Text words;
      return composeText(record, words) ? static_cast<SQLRETURN>(SQL_ERROR) : give(words.view());
    }
    case SQL_DIAG_CLASS_ORIGIN:
    case SQL_DIAG_SUBCLASS_ORIGIN:
      return give(std::string_view(state).starts_with("IM") ? "ODBC 3.0" : "ISO 9075");
    case SQL_DIAG_CONNECTION_NAME: return give("");
    case SQL_DIAG_SERVER_NAME: {
      const char* server = serverOf(object);
      return give(server ? std::string_view(server) : "");
    }
    case SQL_DIAG_ROW_NUMBER:
      return codeOf(
          giveNumber(static_cast<SQLLEN>(placed && placed->row ? placed->row : SQL_NO_ROW_NUMBER), out));
    case SQL_DIAG_COLUMN_NUMBER:
      return codeOf(giveNumber(
          static_cast<SQLINTEGER>(placed && placed->column ? placed->column : SQL_NO_COLUMN_NUMBER), out));
    default: return SQL_ERROR;
  }
}

template <class Char>
SQLRETURN getField(SQLSMALLINT type, SQLHANDLE handle, SQLSMALLINT number, SQLSMALLINT field, SQLPOINTER out,
                   SQLSMALLINT size, SQLSMALLINT* length) {
  return inspect(type, handle, [&](Handle& object, CodePage& page) -> SQLRETURN {
    if (field == SQL_DIAG_DYNAMIC_FUNCTION) return codeOf(giveTextBytes<Char>(page, "", out, size, length));
    const SQLRETURN code = headerField(object, field, out);
    if (code != SQL_NO_DATA) return code;
    if (number < 1) return SQL_ERROR;
    ZuError* record = recordAt(object, number);
    return record ? recordField<Char>(object, page, *record, field, out, size, length)
                  : static_cast<SQLRETURN>(SQL_NO_DATA);
  });
}

}  // namespace

}  // namespace pgwire

using namespace pgwire;

extern "C" {

SQLRETURN SQL_API SQLGetDiagRec(SQLSMALLINT type, SQLHANDLE handle, SQLSMALLINT number, SQLCHAR* state,
                                SQLINTEGER* native, SQLCHAR* text, SQLSMALLINT size, SQLSMALLINT* length) {
  return getRecord(type, handle, number, state, native, text, size, length);
}
SQLRETURN SQL_API SQLGetDiagRecW(SQLSMALLINT type, SQLHANDLE handle, SQLSMALLINT number, SQLWCHAR* state,
                                 SQLINTEGER* native, SQLWCHAR* text, SQLSMALLINT size, SQLSMALLINT* length) {
  return getRecord(type, handle, number, state, native, text, size, length);
}

SQLRETURN SQL_API SQLGetDiagField(SQLSMALLINT type, SQLHANDLE handle, SQLSMALLINT number, SQLSMALLINT field,
                                  SQLPOINTER out, SQLSMALLINT size, SQLSMALLINT* length) {
  return getField<SQLCHAR>(type, handle, number, field, out, size, length);
}
SQLRETURN SQL_API SQLGetDiagFieldW(SQLSMALLINT type, SQLHANDLE handle, SQLSMALLINT number, SQLSMALLINT field,
                                   SQLPOINTER out, SQLSMALLINT size, SQLSMALLINT* length) {
  return getField<SQLWCHAR>(type, handle, number, field, out, size, length);
}

}  // extern "C"
