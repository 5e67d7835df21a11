// Environments: their attributes, and the lists of data sources and drivers.

#include <cstdint>
#include <cstring>

#include "zuodbc/call/arguments.h"
#include "zuodbc/call/crossing.h"
#include "zuodbc/call/entry.h"
#include "zuodbc/call/trace.h"
#include "zuodbc/call/values.h"
#include "zuodbc/driver/pool.h"
#include "zuodbc/sources/datasource.h"

using namespace dm;

namespace {

bool hasConnections(DMEnv& env) {
  const std::lock_guard guard(env.state->lock);
  return !env.state->connections.empty();
}

SQLRETURN setAttribute(DMEnv& env, SQLINTEGER attribute, SQLULEN value) {
  switch (attribute) {
    case SQL_ATTR_ODBC_VERSION:
      if (value != SQL_OV_ODBC2 && value != SQL_OV_ODBC3 && value != SQL_OV_ODBC3_80)
        return fail(env, "HY024");
      if (hasConnections(env)) return fail(env, "HY010");
      env.odbcVersion = static_cast<long>(value);
      return SQL_SUCCESS;
    case SQL_ATTR_CONNECTION_POOLING:
      if (value > SQL_CP_ONE_PER_HENV) return fail(env, "HY024");
      env.state->connectionPooling = value;
      return SQL_SUCCESS;
    case SQL_ATTR_CP_MATCH:
      if (value > SQL_CP_RELAXED_MATCH) return fail(env, "HY024");
      env.state->poolingMatch = value;
      return SQL_SUCCESS;
    case SQL_ATTR_OUTPUT_NTS:
      if (value == SQL_TRUE) return SQL_SUCCESS;
      return fail(env, value == SQL_FALSE ? "HYC00" : "HY024");
    default: return fail(env, "HY092");
  }
}

SQLRETURN putNumber(SQLULEN number, SQLPOINTER value, SQLINTEGER* length) {
  const auto cell = static_cast<SQLINTEGER>(number);
  if (value) std::memcpy(value, &cell, sizeof cell);
  if (length) *length = sizeof cell;
  return SQL_SUCCESS;
}

SQLRETURN getAttribute(DMEnv& env, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER* length) {
  switch (attribute) {
    case SQL_ATTR_ODBC_VERSION:
      if (env.odbcVersion == 0) return fail(env, "HY010");
      return putNumber(static_cast<SQLULEN>(env.odbcVersion), value, length);
    case SQL_ATTR_CONNECTION_POOLING: return putNumber(env.state->connectionPooling, value, length);
    case SQL_ATTR_CP_MATCH: return putNumber(env.state->poolingMatch, value, length);
    case SQL_ATTR_OUTPUT_NTS: return putNumber(SQL_TRUE, value, length);
    default: return fail(env, "HY092");
  }
}

using Out = TextOut<SQLSMALLINT>;

// Copies the next entry of a listing. After SQL_NO_DATA the listing starts again. The files are taken for
// UTF-8.
SQLRETURN putNext(DMEnv& env, const std::vector<DataSourceEntry>& entries, size_t& next, const Out& name,
                  const Out& description) {
  if (next >= entries.size()) {
    next = 0;
    return SQL_NO_DATA;
  }
  const DataSourceEntry& entry = entries[next++];
  const Copied one = copyText(nullptr, entry.name, kUtf8, name);
  const Copied other = copyText(nullptr, entry.description, kUtf8, description);
  if (one == Copied::Whole && other == Copied::Whole) return SQL_SUCCESS;
  return warn(env, one == Copied::Cut || other == Copied::Cut ? "01004" : "01000");
}

SQLRETURN dataSources(SQLHENV handle, SQLUSMALLINT direction, const Out& name, const Out& description) {
  return callEnvironment(handle, Api::DataSources, [&](DMEnv& env) -> SQLRETURN {
    if (checkSize(name) || checkSize(description)) return fail(env, "HY090");
    DMEnvState& state = *env.state;
    switch (direction) {
      case SQL_FETCH_NEXT:
        if (state.nextDataSource == 0) state.dataSources = listDataSources(DataSourceScope::Both);
        break;
      case SQL_FETCH_FIRST: state.dataSources = listDataSources(DataSourceScope::Both); break;
      case SQL_FETCH_FIRST_USER: state.dataSources = listDataSources(DataSourceScope::User); break;
      case SQL_FETCH_FIRST_SYSTEM: state.dataSources = listDataSources(DataSourceScope::System); break;
      default: return fail(env, "HY103");
    }
    if (direction != SQL_FETCH_NEXT) state.nextDataSource = 0;
    return putNext(env, state.dataSources, state.nextDataSource, name, description);
  });
}

SQLRETURN drivers(SQLHENV handle, SQLUSMALLINT direction, const Out& name, const Out& attributes) {
  return callEnvironment(handle, Api::Drivers, [&](DMEnv& env) -> SQLRETURN {
    if (checkSize(name) || checkSize(attributes)) return fail(env, "HY090");
    if (direction != SQL_FETCH_NEXT && direction != SQL_FETCH_FIRST) return fail(env, "HY103");
    DMEnvState& state = *env.state;
    if (direction == SQL_FETCH_FIRST) state.nextDriver = 0;
    if (state.nextDriver == 0) state.drivers = listDrivers();
    return putNext(env, state.drivers, state.nextDriver, name, attributes);
  });
}

}  // namespace

extern "C" {

ZU_API SQLRETURN SQL_API SQLSetEnvAttr(SQLHENV handle, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER) {
  return traced(
      "SQLSetEnvAttr",
      [&](const auto&...) -> SQLRETURN {
        const auto number = asNumber(value);
        if (!handle && attribute == SQL_ATTR_CONNECTION_POOLING) {
          if (number > SQL_CP_ONE_PER_HENV) return SQL_ERROR;
          processPooling() = number;
          return SQL_SUCCESS;
        }
        return callEnvironment(handle, Api::SetEnvAttr,
                               [&](DMEnv& env) { return setAttribute(env, attribute, number & UINT32_MAX); });
      },
      handle, attribute, value);
}

ZU_API SQLRETURN SQL_API SQLGetEnvAttr(SQLHENV handle, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER,
                                       SQLINTEGER* length) {
  return traced(
      "SQLGetEnvAttr",
      [&](const auto&...) -> SQLRETURN {
        if (!handle && attribute == SQL_ATTR_CONNECTION_POOLING)
          return putNumber(processPooling(), value, length);
        return callEnvironment(handle, Api::GetEnvAttr,
                               [&](DMEnv& env) { return getAttribute(env, attribute, value, length); });
      },
      handle, attribute, value, length);
}

ZU_API SQLRETURN SQL_API SQLDataSources(SQLHENV handle, SQLUSMALLINT direction, SQLCHAR* name,
                                        SQLSMALLINT nameSize, SQLSMALLINT* nameLength, SQLCHAR* description,
                                        SQLSMALLINT descriptionSize, SQLSMALLINT* descriptionLength) {
  return traced("SQLDataSources", dataSources, handle, direction, textOut(name, nameSize, nameLength),
                textOut(description, descriptionSize, descriptionLength));
}
ZU_API SQLRETURN SQL_API SQLDataSourcesW(SQLHENV handle, SQLUSMALLINT direction, SQLWCHAR* name,
                                         SQLSMALLINT nameSize, SQLSMALLINT* nameLength, SQLWCHAR* description,
                                         SQLSMALLINT descriptionSize, SQLSMALLINT* descriptionLength) {
  return traced("SQLDataSourcesW", dataSources, handle, direction, textOut(name, nameSize, nameLength),
                textOut(description, descriptionSize, descriptionLength));
}
DM_ALIAS(SQLDataSources);

ZU_API SQLRETURN SQL_API SQLDrivers(SQLHENV handle, SQLUSMALLINT direction, SQLCHAR* name,
                                    SQLSMALLINT nameSize, SQLSMALLINT* nameLength, SQLCHAR* attributes,
                                    SQLSMALLINT attributesSize, SQLSMALLINT* attributesLength) {
  return traced("SQLDrivers", drivers, handle, direction, textOut(name, nameSize, nameLength),
                textOut(attributes, attributesSize, attributesLength));
}
ZU_API SQLRETURN SQL_API SQLDriversW(SQLHENV handle, SQLUSMALLINT direction, SQLWCHAR* name,
                                     SQLSMALLINT nameSize, SQLSMALLINT* nameLength, SQLWCHAR* attributes,
                                     SQLSMALLINT attributesSize, SQLSMALLINT* attributesLength) {
  return traced("SQLDriversW", drivers, handle, direction, textOut(name, nameSize, nameLength),
                textOut(attributes, attributesSize, attributesLength));
}
DM_ALIAS(SQLDrivers);

}  // extern "C"
