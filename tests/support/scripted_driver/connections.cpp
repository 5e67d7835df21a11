// Connections, attributes, information and descriptors of the scripted driver.

#include "tests/support/scripted_driver/driver.h"

using namespace scripted;

namespace {

SQLULEN number(SQLPOINTER value) { return reinterpret_cast<SQLULEN>(value); }

SQLRETURN connect(const char* function, SQLHDBC handle, const SQLCHAR* text, SQLSMALLINT textLength,
                  SQLCHAR* out, SQLSMALLINT size, SQLSMALLINT* length) {
  return answer<Conn>(handle, function, [&](Conn& conn) {
    conn.connected = true;
    return copyText(conn, textOf(text, textLength), out, size, length);
  });
}

template <class Object>
SQLRETURN setAttribute(const char* function, SQLHANDLE handle, SQLINTEGER attribute, SQLULEN value) {
  return answer<Object>(handle, function, [&](Object& object) {
    noteSetting(attribute, value);
    object.attributes[attribute] = value;
    return kOk;
  });
}

// The two attributes that are texts here: the catalog, and one of the driver's own.
SQLRETURN setConnAttribute(const char* function, SQLHDBC handle, SQLINTEGER attribute, SQLPOINTER value,
                           SQLINTEGER length) {
  const bool isText = attribute == SQL_ATTR_CURRENT_CATALOG || attribute == kScriptedTextAttribute;
  if (!isText) return setAttribute<Conn>(function, handle, attribute, number(value));
  return answer<Conn>(handle, function, [&](Conn& conn) {
    conn.texts[attribute] = textOf(static_cast<SQLCHAR*>(value), length);
    noteSetting(attribute, conn.texts[attribute]);
    return kOk;
  });
}

// SQLGetConnectOption is told no size.
SQLRETURN getConnAttribute(const char* function, SQLHDBC handle, SQLINTEGER attribute, SQLPOINTER value,
                           SQLINTEGER size, SQLINTEGER* length) {
  return answer<Conn>(handle, function, [&](Conn& conn) {
    if (conn.texts.contains(attribute)) return copyText(conn, conn.texts[attribute], value, size, length);
    *static_cast<SQLUINTEGER*>(value) = static_cast<SQLUINTEGER>(conn.attributes[attribute]);
    return kOk;
  });
}

template <class Object>
SQLRETURN getAttribute(const char* function, SQLHANDLE handle, SQLINTEGER attribute, SQLPOINTER value) {
  return answer<Object>(handle, function, [&](Object& object) {
    *static_cast<SQLUINTEGER*>(value) = static_cast<SQLUINTEGER>(object.attributes[attribute]);
    return kOk;
  });
}

// The row-array attributes of a statement are fields of its descriptors.
SQLRETURN setStmtAttribute(Stmt& stmt, SQLINTEGER attribute, SQLPOINTER value) {
  const bool isPointer = attribute >= SQL_ATTR_FETCH_BOOKMARK_PTR && attribute != SQL_ATTR_ROW_ARRAY_SIZE &&
                         attribute != SQL_ATTR_PARAM_BIND_TYPE && attribute != SQL_ATTR_PARAMSET_SIZE;
  noteSetting(attribute, isPointer ? number(value) != 0 : number(value));
  switch (attribute) {
    case SQL_ATTR_APP_ROW_DESC:
    case SQL_ATTR_APP_PARAM_DESC: {
      const bool rows = attribute == SQL_ATTR_APP_ROW_DESC;
      auto* desc = static_cast<Desc*>(find(value, SQL_HANDLE_DESC));
      if (value && !desc) return stmt.post("HY024");
      (rows ? stmt.ard : stmt.apd) = desc ? desc : rows ? &stmt.ownArd : &stmt.ownApd;
      return kOk;
    }
    case SQL_ATTR_ROW_BIND_TYPE: return setDescHeader(*stmt.ard, SQL_DESC_BIND_TYPE, value);
    case SQL_ATTR_ROW_ARRAY_SIZE: return setDescHeader(*stmt.ard, SQL_DESC_ARRAY_SIZE, value);
    case SQL_ATTR_ROW_BIND_OFFSET_PTR: return setDescHeader(*stmt.ard, SQL_DESC_BIND_OFFSET_PTR, value);
    case SQL_ATTR_ROWS_FETCHED_PTR: return setDescHeader(stmt.ownIrd, SQL_DESC_ROWS_PROCESSED_PTR, value);
    case SQL_ATTR_ROW_STATUS_PTR: return setDescHeader(stmt.ownIrd, SQL_DESC_ARRAY_STATUS_PTR, value);
    case SQL_ATTR_CURSOR_TYPE:
      if (number(value) != SQL_CURSOR_FORWARD_ONLY) return stmt.post("HYC00");
      break;
    default: break;
  }
  stmt.attributes[attribute] = number(value);
  if (attribute == SQL_ROWSET_SIZE)
    stmt.attributes[attribute] = std::min(number(value), script->largestRowset);
  return stmt.attributes[attribute] == number(value) ? kOk : stmt.post("01S02", SQL_SUCCESS_WITH_INFO);
}

SQLULEN stmtAttribute(Stmt& stmt, SQLINTEGER attribute) {
  switch (attribute) {
    case SQL_ATTR_APP_ROW_DESC: return number(stmt.ard);
    case SQL_ATTR_APP_PARAM_DESC: return number(stmt.apd);
    case SQL_ATTR_IMP_ROW_DESC: return number(&stmt.ownIrd);
    case SQL_ATTR_IMP_PARAM_DESC: return number(&stmt.ownIpd);
    case SQL_ATTR_ROW_BIND_TYPE: return stmt.ard->contents.bindType;
    case SQL_ATTR_ROW_ARRAY_SIZE: return stmt.ard->contents.arraySize;
    case SQL_ATTR_ROW_BIND_OFFSET_PTR: return number(stmt.ard->contents.bindOffsetPtr);
    case SQL_ATTR_ROWS_FETCHED_PTR: return number(stmt.ownIrd.contents.rowsProcessedPtr);
    case SQL_ATTR_ROW_STATUS_PTR: return number(stmt.ownIrd.contents.arrayStatusPtr);
    default: return stmt.attributes[attribute];
  }
}

SQLRETURN setRecord(Record& record, Desc& desc, SQLSMALLINT field, SQLPOINTER value) {
  switch (field) {
    case SQL_DESC_TYPE:
    case SQL_DESC_CONCISE_TYPE: record.cType = static_cast<SQLSMALLINT>(number(value)); return kOk;
    case SQL_DESC_DATA_PTR: record.data = value; return kOk;
    case SQL_DESC_OCTET_LENGTH: record.length = static_cast<SQLLEN>(number(value)); return kOk;
    case SQL_DESC_OCTET_LENGTH_PTR: record.octetLengthPtr = static_cast<SQLLEN*>(value); return kOk;
    case SQL_DESC_INDICATOR_PTR: record.indicatorPtr = static_cast<SQLLEN*>(value); return kOk;
    case SQL_DESC_DATETIME_INTERVAL_CODE:
    case SQL_DESC_PRECISION:
    case SQL_DESC_SCALE:
    case SQL_DESC_LENGTH: return kOk;
    default: return desc.post("HY091");
  }
}

}  // namespace

SQLRETURN scripted::setDescHeader(Desc& desc, SQLSMALLINT field, SQLPOINTER value) {
  DescContents& contents = desc.contents;
  switch (field) {
    case SQL_DESC_ARRAY_SIZE: contents.arraySize = number(value); return kOk;
    case SQL_DESC_BIND_TYPE: contents.bindType = number(value); return kOk;
    case SQL_DESC_BIND_OFFSET_PTR: contents.bindOffsetPtr = static_cast<SQLLEN*>(value); return kOk;
    case SQL_DESC_ROWS_PROCESSED_PTR: contents.rowsProcessedPtr = static_cast<SQLULEN*>(value); return kOk;
    case SQL_DESC_ARRAY_STATUS_PTR: contents.arrayStatusPtr = static_cast<SQLUSMALLINT*>(value); return kOk;
    case SQL_DESC_COUNT:
      contents.records.erase(contents.records.upper_bound(static_cast<SQLSMALLINT>(number(value))),
                             contents.records.end());
      return kOk;
    default: return desc.post("HY091");
  }
}

extern "C" {

SQLRETURN SQL_API SQLConnect(SQLHDBC conn, SQLCHAR* name, SQLSMALLINT length, SQLCHAR*, SQLSMALLINT, SQLCHAR*,
                             SQLSMALLINT) {
  return connect("SQLConnect", conn, name, length, nullptr, 0, nullptr);
}

SQLRETURN SQL_API SQLDriverConnect(SQLHDBC conn, SQLHWND, SQLCHAR* text, SQLSMALLINT length, SQLCHAR* out,
                                   SQLSMALLINT size, SQLSMALLINT* outLength, SQLUSMALLINT) {
  return connect("SQLDriverConnect", conn, text, length, out, size, outLength);
}

SQLRETURN SQL_API SQLDisconnect(SQLHDBC handle) {
  return answer<Conn>(handle, "SQLDisconnect", [](Conn& conn) {
    conn.connected = false;
    std::erase_if(handles, [&](const auto& entry) {
      const Handle* kept = entry.second.get();
      return (kept->type == SQL_HANDLE_STMT && static_cast<const Stmt*>(kept)->conn == &conn) ||
             (kept->type == SQL_HANDLE_DESC && static_cast<const Desc*>(kept)->conn == &conn);
    });
    script->liveHandles = static_cast<int>(handles.size());
    return kOk;
  });
}

SQLRETURN SQL_API SQLGetInfo(SQLHDBC handle, SQLUSMALLINT type, SQLPOINTER value, SQLSMALLINT size,
                             SQLSMALLINT* length) {
  return answer<Conn>(handle, "SQLGetInfo", [&](Conn& conn) {
    const auto found = script->info.find(type);
    if (found == script->info.end()) return conn.post("HY096");
    if (const auto* text = std::get_if<std::string>(&found->second))
      return copyText(conn, *text, value, size, length);
    if (const auto* small = std::get_if<SQLUSMALLINT>(&found->second))
      *static_cast<SQLUSMALLINT*>(value) = *small;
    if (const auto* big = std::get_if<SQLUINTEGER>(&found->second)) *static_cast<SQLUINTEGER*>(value) = *big;
    if (length) *length = std::holds_alternative<SQLUSMALLINT>(found->second) ? 2 : 4;
    return kOk;
  });
}

SQLRETURN SQL_API SQLSetEnvAttr(SQLHENV env, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER) {
  return setAttribute<Env>("SQLSetEnvAttr", env, attribute, number(value));
}
SQLRETURN SQL_API SQLGetEnvAttr(SQLHENV env, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER,
                                SQLINTEGER*) {
  return getAttribute<Env>("SQLGetEnvAttr", env, attribute, value);
}
SQLRETURN SQL_API SQLSetConnectAttr(SQLHDBC conn, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER length) {
  return setConnAttribute("SQLSetConnectAttr", conn, attribute, value, length);
}
SQLRETURN SQL_API SQLGetConnectAttr(SQLHDBC conn, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER size,
                                    SQLINTEGER* length) {
  return getConnAttribute("SQLGetConnectAttr", conn, attribute, value, size, length);
}
SQLRETURN SQL_API SQLSetConnectOption(SQLHDBC conn, SQLUSMALLINT option, SQLULEN value) {
  return setConnAttribute("SQLSetConnectOption", conn, option, reinterpret_cast<SQLPOINTER>(value), SQL_NTS);
}
SQLRETURN SQL_API SQLGetConnectOption(SQLHDBC conn, SQLUSMALLINT option, SQLPOINTER value) {
  SQLINTEGER length;
  return getConnAttribute("SQLGetConnectOption", conn, option, value, SQL_MAX_OPTION_STRING_LENGTH + 1,
                          &length);
}

SQLRETURN SQL_API SQLSetStmtAttr(SQLHSTMT handle, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER) {
  return answer<Stmt>(handle, "SQLSetStmtAttr",
                      [&](Stmt& stmt) { return setStmtAttribute(stmt, attribute, value); });
}
SQLRETURN SQL_API SQLSetStmtOption(SQLHSTMT handle, SQLUSMALLINT option, SQLULEN value) {
  return answer<Stmt>(handle, "SQLSetStmtOption", [&](Stmt& stmt) {
    return setStmtAttribute(stmt, option, reinterpret_cast<SQLPOINTER>(value));
  });
}
SQLRETURN SQL_API SQLGetStmtAttr(SQLHSTMT handle, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER,
                                 SQLINTEGER*) {
  return answer<Stmt>(handle, "SQLGetStmtAttr", [&](Stmt& stmt) {
    *static_cast<SQLULEN*>(value) = stmtAttribute(stmt, attribute);
    return kOk;
  });
}
SQLRETURN SQL_API SQLGetStmtOption(SQLHSTMT handle, SQLUSMALLINT option, SQLPOINTER value) {
  return answer<Stmt>(handle, "SQLGetStmtOption", [&](Stmt& stmt) {
    *static_cast<SQLULEN*>(value) = stmtAttribute(stmt, option);
    return kOk;
  });
}

SQLRETURN SQL_API SQLSetDescField(SQLHDESC handle, SQLSMALLINT number, SQLSMALLINT field, SQLPOINTER value,
                                  SQLINTEGER) {
  return answer<Desc>(handle, "SQLSetDescField", [&](Desc& desc) {
    const bool header = field == SQL_DESC_COUNT ||
                        (field >= SQL_DESC_ARRAY_SIZE && field <= SQL_DESC_BIND_TYPE) ||
                        field == SQL_DESC_ROWS_PROCESSED_PTR;
    return header ? setDescHeader(desc, field, value)
                  : setRecord(desc.contents.records[number], desc, field, value);
  });
}

SQLRETURN SQL_API SQLSetDescRec(SQLHDESC handle, SQLSMALLINT number, SQLSMALLINT type, SQLSMALLINT,
                                SQLLEN length, SQLSMALLINT, SQLSMALLINT, SQLPOINTER data, SQLLEN* lengthPtr,
                                SQLLEN* indicatorPtr) {
  return answer<Desc>(handle, "SQLSetDescRec", [&](Desc& desc) {
    desc.contents.records[number] = {type, 0, data, length, lengthPtr, indicatorPtr};
    return kOk;
  });
}

SQLRETURN SQL_API SQLGetDescField(SQLHDESC handle, SQLSMALLINT number, SQLSMALLINT field, SQLPOINTER value,
                                  SQLINTEGER, SQLINTEGER*) {
  return answer<Desc>(handle, "SQLGetDescField", [&](Desc& desc) {
    const DescContents& contents = desc.contents;
    const Record record = contents.records.contains(number) ? contents.records.at(number) : Record();
    switch (field) {
      case SQL_DESC_COUNT:
        *static_cast<SQLSMALLINT*>(value) = contents.records.empty() ? 0 : contents.records.rbegin()->first;
        return kOk;
      case SQL_DESC_ARRAY_SIZE: *static_cast<SQLULEN*>(value) = contents.arraySize; return kOk;
      case SQL_DESC_TYPE:
      case SQL_DESC_CONCISE_TYPE: *static_cast<SQLSMALLINT*>(value) = record.cType; return kOk;
      case SQL_DESC_DATA_PTR: *static_cast<SQLPOINTER*>(value) = record.data; return kOk;
      case SQL_DESC_OCTET_LENGTH: *static_cast<SQLLEN*>(value) = record.length; return kOk;
      default: return desc.post("HY091");
    }
  });
}

SQLRETURN SQL_API SQLCopyDesc(SQLHDESC source, SQLHDESC target) {
  return answer<Desc>(target, "SQLCopyDesc", [&](Desc& desc) {
    const auto* from = static_cast<Desc*>(find(source, SQL_HANDLE_DESC));
    if (!from) return kInvalidHandle;
    desc.contents = from->contents;
    return kOk;
  });
}

}  // extern "C"
