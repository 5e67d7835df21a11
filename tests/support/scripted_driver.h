// The script of the scripted driver: what a test tells the driver to answer, and what the driver tells the
// test that it was asked.
//
// The driver is a real ODBC driver, a shared library that the driver manager opens by its path. It comes in
// variants which export the functions of an ODBC version; see SCRIPTED_DRIVER in this header. A test fills
// a DriverScript and hands it over with a ScriptedDriver; the script must outlive the connections.
//
// Thread use: the driver takes `mutex` for the whole of each call, but for the time that it stands in a
// gate. A test takes it too, or uses the functions below, when calls may be under way in other threads.

#ifndef ZULIB_TESTS_SUPPORT_SCRIPTED_DRIVER_H
#define ZULIB_TESTS_SUPPORT_SCRIPTED_DRIVER_H

#include <sql.h>
#include <sqlext.h>

#include <condition_variable>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <variant>
#include <vector>

// A column's value as text, which the driver converts to the C type asked for; nullopt is a null value.
using ScriptValue = std::optional<std::string>;

struct ScriptColumn {
  std::string name;
  SQLSMALLINT sqlType = SQL_INTEGER;
  SQLULEN size = 10;
  SQLSMALLINT scale = 0;
  SQLLEN searchable = SQL_SEARCHABLE;
  bool noTotal = false;  // a truncated value's length is SQL_NO_TOTAL
};

struct ScriptRow {
  std::vector<ScriptValue> values;
  std::string sqlstate;      // not empty: fetching the row posts it ...
  SQLRETURN rc = SQL_ERROR;  // ... and answers this
};

// What a statement comes to.
struct ScriptAnswer {
  std::vector<ScriptColumn> columns;  // none: no result set
  std::vector<ScriptRow> rows;
  SQLLEN rowCount = -1;
  std::vector<ScriptAnswer> more;  // for SQLMoreResults, in turn
};

// Calls `nth` to `nth` + `times` - 1 of `function` answer `rc`, with `sqlstate` if there is one, and do
// nothing else. A code that is not a failure takes effect after the work: the call works and warns.
struct ScriptFault {
  std::string function;
  int nth = 1;
  SQLRETURN rc = SQL_ERROR;
  std::string sqlstate;
  int times = 1;
};

// What a statement was executed with. A parameter stands as text, "NULL" for a null value.
struct ScriptExecution {
  std::string text;
  std::vector<std::string> parameters;
};

// An attribute of connections that the driver defines, a text.
constexpr SQLINTEGER kScriptedTextAttribute = 1234;

class DriverScript {
 public:
  DriverScript();

  // The answers, by how a statement begins; the longest beginning that fits counts. Without one: no result
  // set, one row touched.
  std::map<std::string, ScriptAnswer> answers;
  std::vector<ScriptFault> faults;
  std::map<SQLUSMALLINT, std::variant<std::string, SQLUSMALLINT, SQLUINTEGER>> info;  // SQLGetInfo
  SQLULEN largestRowset = ~SQLULEN{0};  // a larger SQL_ROWSET_SIZE becomes this, with 01S02
  bool oneActiveStatement = false;  // a second statement fails while another has rows left; set `info` too
  int failAtCall = 0;               // this call of all fails with HY000, for sweeps; 0: none

  // The next call of this function waits until openGate() or a cancel. Set by closeGate().
  std::string gate;

  // What happened.
  std::vector<std::string> log;  // the functions called, in order; "SQLSetStmtAttr 27=3" for a setting
  std::map<std::string, int>
      counts;  // calls by function, which ScriptFault::nth goes by; clear it to start anew
  std::vector<ScriptExecution> executions;
  int calls = 0;        // that `failAtCall` goes by: all but those that ask for diagnostics
  std::string failed;   // the function that `failAtCall` struck
  int liveHandles = 0;  // allocated and not freed
  bool inGate = false;  // a call stands in the gate

  std::mutex mutex;
  std::condition_variable changed;

  // How often a function was called.
  int count(const std::string& function);

  // Takes the entries of `log` that begin with `function`, with blanks between. The log is then empty.
  std::string takeLog(const std::string& function);
  std::vector<ScriptExecution> executed();

  void closeGate(const std::string& function);
  bool waitForGate();  // until a call stands in it; false after ten seconds
  void openGate();

  // The driver's own allocations are not the library's: they take no part in allocation faults.
  void (*pauseFaults)();
  void (*resumeFaults)();
};

// A result of integer and text columns "id" and "name", rows 1 to `count`: (1, 'row 1') and so on.
ScriptAnswer scriptedRows(int count);

// The driver's variants.
enum class ScriptedVariant {
  Odbc1,          // the functions of ODBC 1
  Odbc2,          // the functions of ODBC 2
  Odbc3,          // those of ODBC 3, none that it replaced
  NoDescriptors,  // ODBC 3 without descriptor calls, cursor names and SQLCancel
};

// Holds a variant of the driver loaded, with `script` in force.
class ScriptedDriver {
 public:
  ScriptedDriver(ScriptedVariant variant, DriverScript& script);
  ScriptedDriver(const ScriptedDriver&) = delete;
  ScriptedDriver& operator=(const ScriptedDriver&) = delete;
  ~ScriptedDriver();  // frees what the driver still holds

  // The path of the shared library, for `Driver=`.
  const char* path() const { return file; }
  std::string connectionString() const { return std::string("Driver=") + file; }

 private:
  const char* file;
  void* module;
};

#endif
