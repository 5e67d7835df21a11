// The test's end of the scripted driver.

#include "tests/support/scripted_driver.h"

#include <dlfcn.h>

#include <chrono>
#include <optional>
#include <stdexcept>

#include "tests/support/fault_allocator.h"

namespace {

thread_local std::optional<FaultPause> inDriver;

const char* fileOf(ScriptedVariant variant) {
  switch (variant) {
    case ScriptedVariant::Odbc1: return ZULIB_SCRIPTED_DRIVERS "/libscripted1.so";
    case ScriptedVariant::Odbc2: return ZULIB_SCRIPTED_DRIVERS "/libscripted2.so";
    case ScriptedVariant::Odbc3: return ZULIB_SCRIPTED_DRIVERS "/libscripted3.so";
    case ScriptedVariant::NoDescriptors: return ZULIB_SCRIPTED_DRIVERS "/libscripted3bare.so";
  }
  return "";
}

const char* versionOf(ScriptedVariant variant) {
  switch (variant) {
    case ScriptedVariant::Odbc1: return "01.00";
    case ScriptedVariant::Odbc2: return "02.50";
    default: return "03.00";
  }
}

}  // namespace

DriverScript::DriverScript()
    : pauseFaults([] { inDriver.emplace(); }), resumeFaults([] { inDriver.reset(); }) {
  info = {{SQL_DRIVER_NAME, "scripted"},
          {SQL_DRIVER_VER, "01.00.0000"},
          {SQL_DBMS_NAME, "script"},
          {SQL_DATA_SOURCE_NAME, ""},
          {SQL_IDENTIFIER_QUOTE_CHAR, "\""},
          {SQL_IDENTIFIER_CASE, SQLUSMALLINT{SQL_IC_MIXED}},
          {SQL_MAX_COLUMN_NAME_LEN, SQLUSMALLINT{30}},
          {SQL_MAX_CURSOR_NAME_LEN, SQLUSMALLINT{18}},
          {SQL_ACTIVE_STATEMENTS, SQLUSMALLINT{0}},
          {SQL_CURSOR_COMMIT_BEHAVIOR, SQLUSMALLINT{SQL_CB_PRESERVE}},
          {SQL_CURSOR_ROLLBACK_BEHAVIOR, SQLUSMALLINT{SQL_CB_PRESERVE}},
          {SQL_TXN_CAPABLE, SQLUSMALLINT{SQL_TC_ALL}},
          {SQL_FETCH_DIRECTION, SQLUINTEGER{SQL_FD_FETCH_NEXT}},
          {SQL_SCROLL_OPTIONS, SQLUINTEGER{SQL_SO_FORWARD_ONLY}},
          {SQL_GETDATA_EXTENSIONS, SQLUINTEGER{SQL_GD_ANY_COLUMN | SQL_GD_ANY_ORDER}},
          {SQL_FORWARD_ONLY_CURSOR_ATTRIBUTES1, SQLUINTEGER{SQL_CA1_NEXT}},
          {SQL_STATIC_CURSOR_ATTRIBUTES1, SQLUINTEGER{0}},
          {SQL_ASYNC_MODE, SQLUINTEGER{SQL_AM_STATEMENT}}};
}

int DriverScript::count(const std::string& function) {
  const std::lock_guard hold(mutex);
  return counts[function];
}

std::string DriverScript::takeLog(const std::string& function) {
  const std::lock_guard hold(mutex);
  std::string taken;
  for (const std::string& entry : log)
    if (entry.starts_with(function)) taken += (taken.empty() ? "" : " ") + entry;
  log.clear();
  return taken;
}

std::vector<ScriptExecution> DriverScript::executed() {
  const std::lock_guard hold(mutex);
  return executions;
}

void DriverScript::closeGate(const std::string& function) {
  const std::lock_guard hold(mutex);
  gate = function;
}

bool DriverScript::waitForGate() {
  std::unique_lock hold(mutex);
  return changed.wait_for(hold, std::chrono::seconds(10), [&] { return inGate; });
}

void DriverScript::openGate() {
  const std::lock_guard hold(mutex);
  gate.clear();
  changed.notify_all();
}

ScriptAnswer scriptedRows(int count) {
  ScriptAnswer answer;
  answer.columns = {{"id"}, {"name", SQL_VARCHAR, 20}};
  for (int i = 1; i <= count; ++i)
    answer.rows.push_back({{std::to_string(i), "row " + std::to_string(i)}, {}});
  return answer;
}

ScriptedDriver::ScriptedDriver(ScriptedVariant variant, DriverScript& script)
    : file(fileOf(variant)), module(dlopen(file, RTLD_NOW | RTLD_LOCAL)) {
  if (!module) throw std::runtime_error(dlerror());
  script.info.try_emplace(SQL_DRIVER_ODBC_VER, versionOf(variant));
  reinterpret_cast<void (*)(DriverScript*)>(dlsym(module, "scriptedDriverSetScript"))(&script);
}

ScriptedDriver::~ScriptedDriver() {
  reinterpret_cast<void (*)(DriverScript*)>(dlsym(module, "scriptedDriverSetScript"))(nullptr);
  dlclose(module);
}
