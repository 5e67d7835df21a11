// The driver manager's own part of each handle, and the lists of a connection.

#ifndef ZUODBC_HANDLES_HANDLES_H
#define ZUODBC_HANDLES_HANDLES_H

#include <atomic>
#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "zuodbc/dmhandle.h"
#include "zuodbc/driver/cursorlibrary.h"
#include "zuodbc/driverfunctions.h"
#include "zuodbc/handles/register.h"
#include "zuodbc/handles/stmtsequence.h"

namespace dm {
class LoadedDriver;

// Memory that a driver may still use.
using KeptBlocks = std::vector<std::unique_ptr<char[]>>;

struct DataSourceEntry {
  std::string name;
  std::string description;  // of SQLDataSources the driver's name, of SQLDrivers the attribute pairs
};

// A connection attribute that was set before there was a driver to take it.
struct KeptAttribute {
  SQLULEN value = 0;
  std::string text;       // when the attribute is a text
  bool isText = false;    // or a binary value
  bool isUtf8 = false;    // of a wide application; else in the application's own code page
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
  // Guards the lists of statements and descriptors, and what is known of other statements' cursors.
  std::recursive_mutex lock;
  DMStmt* firstStmt = nullptr;
  DMStmt* lastStmt = nullptr;
  size_t statements = 0;
  std::vector<DMDesc*> descriptors;  // the explicit ones

  // Statements and descriptors of the cursor library that it has freed: it still writes to them after
  // the call, so they are destroyed when the thread that freed them leaves its outer call.
  std::vector<DMHandle*> released;
  std::atomic<int> releasedCount{0};  // read without the lock

  const dm::LoadedDriver* driver = nullptr;
  std::unique_ptr<DMDriverFunctions> functions;  // a copy of the driver's table
  void* driverEnv = nullptr;  // each connection has an environment of its own in the driver
  const dm::CursorLibrary* cursorLibrary = nullptr;  // null: statement calls go to the driver
  long codePage = 4;    // of narrow text, by IANA number (call/encoding.h); Latin-1 until connected
  bool isWide = false;  // the driver manager and the cursor library speak UTF-16 to the driver
  bool connected = false;
  bool browsing = false;   // SQLBrowseConnect has answered SQL_NEED_DATA
  std::string dataSource;  // the name, or empty
  std::mutex nameLock;     // guards DMStmtState::cursorName of all statements
  unsigned generatedNames = 0;
  std::mutex openLock;         // guards `openStmt` and DMConn::hasOpenResult
  DMStmt* openStmt = nullptr;  // whose result `hasOpenResult` tells of; only compared

  SQLULEN odbcCursors = SQL_CUR_USE_DRIVER;
  std::optional<SQLULEN>
      configuredCursors;  // by the connection string or the data source: goes before `odbcCursors`
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

namespace dm {
// A binding of a column that the driver has not been told yet (call/heldbindings.h).
struct HeldBinding {
  SQLUSMALLINT column;
  SQLSMALLINT cType;
  SQLPOINTER data;
  SQLLEN length;
  SQLLEN* lengthPtr;
};
}  // namespace dm

namespace dm {
// What is known of the columns that can hold type codes in the result of a catalog function, for a driver of
// another ODBC version than the application (driver/bridgecatalog.cpp).
struct CatalogTypes {
  SQLUSMALLINT column = 0;           // that of the open result; 0 if there is none
  std::vector<HeldBinding> bound{};  // what the driver was told of such columns
  SQLULEN rows = 0;                  // of the last fetch

  // The code that SQLGetData reads as text, and how far the application has read it.
  SQLSMALLINT code = 0;
  SQLLEN codeLength = 0;
  char text[8] = "";
  size_t textLength = 0, textGiven = 0;
  bool isReading = false;
};
}  // namespace dm

struct DMStmtState {
  // The connection's list, in the order of allocation.
  DMStmt* next = nullptr;
  DMStmt* previous = nullptr;
  bool listed = false;
  pthread_t releasedBy{};

  StmtSequence sequence;   // moved by the statement functions (call/sequence.h)
  std::string cursorName;  // as set by the application, when the driver keeps none; empty until then
  dm::DriverRowset driverRowset;
  dm::CatalogTypes catalogTypes;

  Api call = Api::AllocHandle;                // the application's call under way, or the last one
  std::vector<dm::HeldBinding> heldBindings;  // in the order of the bind calls

  // For a cancel from another thread. The lock is held during the driver's SQLCancel, and taken before a
  // handle that the cancel could use is freed.
  std::mutex cancelLock;
  DMStmt* driverStmt = nullptr;          // another statement that is in the driver on this one's behalf
  std::atomic<bool> cancelAsked{false};  // a cancel came while the call was outside the driver

  dm::KeptBlocks lentToDriver;  // converted texts of a call that still executes

  // A cell for a value that the application does not want. A call that still executes may keep its address.
  alignas(std::max_align_t) unsigned char scratch[16];
};

namespace dm {

// The connection of a handle; null for an environment.
DMConn* connectionOf(DMHandle& handle) noexcept;
bool isVersion2Application(DMHandle& handle) noexcept;

// True for an application, or a driver, of ODBC 3.
inline bool isVersion3Driver(const DMConn& conn) noexcept { return conn.driverVersion >= 300; }
inline bool isVersion3Application(const DMConn& conn) noexcept {
  return conn.env->odbcVersion != SQL_OV_ODBC2;
}

// Makes a statement or an explicit descriptor on a live connection, in its lists, without the driver's side.
// Null if allocation fails.
DMStmt* makeStatement(DMConn& conn, bool ofCursorLibrary) noexcept;
DMDesc* makeDescriptor(DMConn& conn, bool ofCursorLibrary) noexcept;

// Removes a statement or descriptor from its connection's lists, through which a call could still pin it. To
// be done before the handle is taken out of the register.
void leaveLists(DMStmt& stmt) noexcept;
void leaveLists(DMDesc& desc) noexcept;

// Destroys a statement or descriptor that no call has in hand, and removes it from the lists before if need
// be. One that belongs to the cursor library waits in `released`.
void retireStatement(DMStmt* stmt) noexcept;
void retireDescriptor(DMDesc* desc) noexcept;

// Destroys what the calling thread has released on the connection, or all of it.
void reapReleased(DMConn& conn, bool all) noexcept;

// Statements of a connection, entered, for a call that concerns more than one. None is the cursor library's
// own: its statements are used under its lock only.
class EnteredStatements {
 public:
  // All of them, or those that use the explicit descriptor. Throws std::bad_alloc.
  explicit EnteredStatements(DMConn& conn, const DMDesc* usedDescriptor = nullptr);
  EnteredStatements(const EnteredStatements&) = delete;
  EnteredStatements& operator=(const EnteredStatements&) = delete;
  ~EnteredStatements();

  auto begin() const { return statements.begin(); }
  auto end() const { return statements.end(); }

  // Destroys them all.
  void retire() noexcept;

 private:
  std::vector<DMStmt*> statements;
};

}  // namespace dm

#endif
