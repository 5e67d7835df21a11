// The driver manager's own part of each handle, the handle register, and the re-entrance marks.
//
// The register is the process-wide set of live handles. It is threaded through the handles themselves,
// so entering it cannot fail, and looking up an address never touches what the address points to.
//
// Marks belong to the thread that set them: another thread's SQLCancel on a marked statement is still
// the application's own call. A mark lives for one call of the cursor library into the driver manager,
// so no thread ever holds more than a few.

#ifndef ZULIB_DRIVERMANAGER_INTERNAL_HANDLES_H
#define ZULIB_DRIVERMANAGER_INTERNAL_HANDLES_H

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "zuodbc/call/sequence.h"
#include "zuodbc/dmhandle.h"
#include "zuodbc/driver/cursorlibrary.h"
#include "zuodbc/driverfunctions.h"

namespace dm {
class LoadedDriver;

struct DataSourceEntry {
  std::string name;
  std::string description;  // of SQLDataSources the driver's name, of SQLDrivers the attribute pairs
};

// A connection attribute that was set before there was a driver to take it.
struct KeptAttribute {
  SQLULEN value = 0;
  std::string text;       // when the attribute is a text
  bool isText = false;    // or a binary value
  SQLINTEGER length = 0;  // as the application gave it
};

// What the driver was last told about the extended row set of a statement, and cells of ours for what the
// application does not want to know. They outlive the call: a call that still executes keeps the pointers.
struct DriverRowset {
  SQLULEN size = 1;
  SQLULEN bindType = SQL_BIND_BY_COLUMN;
  bool isLent = false;  // the driver's row array serves an extended fetch that still executes
  SQLLEN bookmark = 0;
  SQLULEN fetchedRows = 0;
  SQLULEN parameterRow = 0;
  std::vector<SQLUSMALLINT> statuses;
};
}  // namespace dm

struct DMEnvState {
  std::mutex lock;  // guards `connections`
  std::vector<DMConn*> connections;
  SQLULEN connectionPooling = SQL_CP_OFF;
  SQLULEN poolingMatch = SQL_CP_STRICT_MATCH;
  std::vector<dm::DataSourceEntry> dataSources, drivers;  // as they stood at the last SQL_FETCH_FIRST
  size_t nextDataSource = 0, nextDriver = 0;
};

struct DMConnState {
  // Guards the lists of statements and descriptors.
  std::recursive_mutex lock;
  DMStmt* firstStmt = nullptr;
  DMStmt* lastStmt = nullptr;
  std::vector<DMDesc*> descriptors;  // the explicit ones

  // Statements and descriptors of the cursor library that it has freed: it still writes to them after
  // the call, so they are destroyed when the thread that freed them leaves its outer call.
  std::vector<DMHandle*> released;
  std::atomic<int> releasedCount{0};  // read without the lock

  const dm::LoadedDriver* driver = nullptr;
  std::unique_ptr<DMDriverFunctions> functions;  // a copy of the driver's table
  void* driverEnv = nullptr;  // each connection has an environment of its own in the driver
  const dm::CursorLibrary* cursorLibrary = nullptr;  // null: statement calls go to the driver
  bool connected = false;
  bool browsing = false;       // SQLBrowseConnect has answered SQL_NEED_DATA
  std::string dataSource;      // the name, or empty
  DMStmt* openStmt = nullptr;  // whose result `hasOpenResult` stands for; only compared

  SQLULEN odbcCursors = SQL_CUR_USE_DRIVER;
  std::string traceFile;
  std::map<SQLINTEGER, dm::KeptAttribute> keptAttributes;
  bool driverKnowsVersion = false;  // the driver took the application's SQL_ATTR_ODBC_VERSION

  // Defaults of new statements, set by options of ODBC 2 on the connection.
  SQLULEN rowsetSize = 1;
  SQLULEN bindType = SQL_BIND_BY_COLUMN;
};

struct DMDescState {
  bool ofCursorLibrary = false;
  bool listed = false;  // in the connection's list of explicit descriptors
  pthread_t releasedBy{};
};

struct DMStmtState {
  // The connection's list, in the order of allocation.
  DMStmt* next = nullptr;
  DMStmt* previous = nullptr;
  bool listed = false;
  pthread_t releasedBy{};

  StmtSequence sequence;   // moved by the statement functions (internal/sequence.h)
  std::string cursorName;  // as set by the application, when the driver keeps none; empty until then
  dm::DriverRowset driverRowset;
};

namespace dm {

// The live handle of the right type behind an application's handle, or null.
DMEnv* findEnvironment(SQLHANDLE handle) noexcept;
DMConn* findConnection(SQLHANDLE handle) noexcept;
DMStmt* findStatement(SQLHANDLE handle) noexcept;
DMDesc* findDescriptor(SQLHANDLE handle) noexcept;
DMHandle* findHandle(int type, SQLHANDLE handle) noexcept;
DMHandle* findAnyHandle(SQLHANDLE handle) noexcept;

// The connection of a handle; null for an environment.
DMConn* connectionOf(DMHandle& handle) noexcept;
bool isVersion2Application(DMHandle& handle) noexcept;

// The marks of the calling thread.
struct MarkTable {
  static constexpr unsigned capacity = 16;
  struct Entry {
    const DMHandle* handle;
    unsigned depth;
  };
  unsigned count;
  Entry entries[capacity];

  bool holds(const DMHandle* handle) const {
    for (unsigned i = count; i != 0; --i) {
      if (entries[i - 1].handle == handle) return true;
    }
    return false;
  }
};
// Read several times for every row that is fetched, so its address must not cost a call. The table fits the
// room that the loader keeps for libraries which are opened late.
extern constinit thread_local MarkTable threadMarks __attribute__((tls_model("initial-exec")));

// True when the calling thread has marked the handle, or what it stands under. Only a thread that holds
// a mark looks into the handle at all, and that thread is inside the cursor library, which knows its own.
inline bool isMarked(DMConn* conn) { return threadMarks.count != 0 && conn && threadMarks.holds(conn); }
inline bool isMarked(DMStmt* stmt) {
  return threadMarks.count != 0 && stmt && (threadMarks.holds(stmt) || threadMarks.holds(stmt->conn));
}
inline bool isMarked(DMDesc* desc) {
  return threadMarks.count != 0 && desc &&
         (threadMarks.holds(desc) || threadMarks.holds(desc->conn) ||
          (desc->ownerStmt && threadMarks.holds(desc->ownerStmt)));
}

// Makes a statement or an explicit descriptor on a live connection, in its lists, driver's side not yet
// there. Null when memory is gone.
DMStmt* makeStatement(DMConn& conn) noexcept;
DMDesc* makeDescriptor(DMConn& conn) noexcept;

// Takes a statement or descriptor out of its connection's lists and destroys it. One that belongs to the
// cursor library waits in `released`.
void retireStatement(DMStmt* stmt) noexcept;
void retireDescriptor(DMDesc* desc) noexcept;

// Destroys what the calling thread has released on the connection, or all of it.
void reapReleased(DMConn& conn, bool all) noexcept;

}  // namespace dm

#endif
