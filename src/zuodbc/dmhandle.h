// The driver manager's handles: what an application holds as SQLHENV, SQLHDBC, SQLHSTMT and SQLHDESC.
//
// The cursor library reads and writes the members below directly, under the names given here, and calls
// the operations; the rest of each handle belongs to the driver manager alone. A handle is in the
// process-wide register of handles from its constructor on, which tells null, stale and wrong-type handles
// from live ones.
//
// The re-entrance mark. `CursorLibLockStmt(1)` and its like mark a handle for the calling thread until
// the matching `(0)`. A call that this thread makes on a marked handle goes to the driver and not to the
// cursor library, skips validation and the sequence rules, and leaves the error queue alone. Under a
// mark a free call frees the driver's side only: the object itself goes with the application's own call.
//
// Locks: an application's call holds the entry lock of its handle throughout, so two threads may use one
// handle; SQLCancel and the diagnostics functions do not. Next come `CursorLibrarySingleThreadLock` (or the
// connection's own `libraryLock`), the list of statements, and the call lock, which is recursive for one
// thread and held around each driver call.

#ifndef ZUODBC_DMHANDLE_H
#define ZUODBC_DMHANDLE_H

#include <pthread.h>
#include <sql.h>
#include <sqlext.h>

#include <array>

#include "zulib/runtime/zuapi.h"
#include "zulib/runtime/zucritse.h"

class DMConn;
class DMDesc;
class DMEnv;
class DMStmt;
class FwdCursor;
class SqlParser;
struct BindInfo;
struct DMConnState;
struct DMDescState;
struct DMDriverFunctions;
struct DMEnvState;
struct DMHandleCell;
struct DMStmtState;
struct tagERRBUF;

// Converts text between an application's and a driver's encoding; a connection handle carries one when
// the two differ.
class ZU_API CharacterConverter {
 public:
  virtual ~CharacterConverter();
};

// `handleType` of a handle, as in the ODBC standard.
enum DMHandleType : int {
  DM_ENV = SQL_HANDLE_ENV,
  DM_CONN = SQL_HANDLE_DBC,
  DM_STMT = SQL_HANDLE_STMT,
  DM_DESC = SQL_HANDLE_DESC
};

class ZU_API DMHandle {
 public:
  void* driverHandle = nullptr;  // the driver's own handle
  void* selfRef = this;  // the object itself; its driverHandle while only the driver's side is concerned
  tagERRBUF* errorQueue = nullptr;          // owned, first to last
  CharacterConverter* converter = nullptr;  // owned, or null
  ZuCriticalSection callLock{0};            // held during a driver call, through lock() and unlock()
  ZuCriticalSection queueLock{0};           // guards errorQueue
  int handleType;

  // Empties the error queue.
  void VFreeErrors();

  // 1 when the SQLSTATE (5 units and a zero) is queued, what the last driver call left included.
  int SearchStatusCode(const unsigned short* sqlstate);

  // 1 if `accepts` returns non-zero for every queued SQLSTATE, except those that were already
  // assigned to a row.
  int ValidateErrorQueue(int (*accepts)(unsigned short* sqlstate));

  // The same two questions about the records of the last driver call alone: what was queued before it, and
  // what has been taken over since, does not count.
  int SearchDriverErrors(const unsigned short* sqlstate);
  int ValidateDriverErrors(int (*accepts)(unsigned short* sqlstate));

  // Frees them.
  void DropDriverErrors();

  // Takes over what the last driver call on `from` left, as diagnostics of the given row and column
  // (-2: unknown). The second argument has no meaning here and is 1.
  void RetrieveDriverErrorsRowCol(DMHandle* from, int, long row, long column);

  // Takes the queue off the handle, so that a call which empties it loses nothing. The caller owns the
  // records until it gives them back with ReleaseErrors, which puts them in front of what was queued
  // meanwhile.
  [[nodiscard]] tagERRBUF* HoldErrors();
  void ReleaseErrors(tagERRBUF* held);

  // Ends the transaction on the driver's handle of an environment or a connection: SQLEndTran with
  // `handleType`, or SQLTransact on a driver without it. The code of the driver.
  int DoTransaction(short handleType, unsigned short completion, int endTran);

  // Enters a statement or descriptor in the lists of the connection `owner` (null: in none; the register
  // has it since its constructor). 0 if allocation fails, also if it failed in the constructor.
  int SetupHandleList(void* owner);

  // The call lock, recursive for one thread.
  void lock();
  void unlock();

  // False if allocation failed in the constructor.
  bool isWhole() const { return reserve && cell; }

  // The rest is the driver manager's own.
  bool hasUnsettled() const { return __atomic_load_n(&unsettled, __ATOMIC_RELAXED) != 0; }
  int unsettled = 0;         // records of the last driver call that nobody has taken over
  pthread_t cancelThread{};  // sent a cancel whose diagnostics have not been fetched from the driver; or 0
  short lastReturn = 0;      // SQL_DIAG_RETURNCODE
  tagERRBUF* reserve = nullptr;  // owned; queued when there is no memory for another record
  DMHandleCell* cell = nullptr;  // its place in the register; null if allocation failed

 protected:
  explicit DMHandle(DMHandleType type);  // enters the register
  DMHandle(const DMHandle&) = delete;
  DMHandle& operator=(const DMHandle&) = delete;

  // Leaves the register, frees the queue and the converter. Virtual so that a handle has one address,
  // whichever of its classes names it: that address is what the application holds.
  virtual ~DMHandle();

 private:
  pthread_t lockOwner{};
  long lockDepth = 0;  // written by the owner only
};

class ZU_API DMEnv : public DMHandle {
 public:
  long odbcVersion = 0;  // SQL_ATTR_ODBC_VERSION: SQL_OV_ODBC2, SQL_OV_ODBC3; 0 until set
  int utf8Mode = 1;      // 1: applications speak the locale's encoding; 0 once one has spoken UTF-16

  DMEnv();
  ~DMEnv() override;

  DMEnvState* state;  // the driver manager's own part
};

class ZU_API DMConn : public DMHandle {
 public:
  DMEnv* env;
  unsigned short driverVersion = 0;  // the driver's ODBC version times 100; 300 and above is version 3
  DMDriverFunctions* driverFunctions = nullptr;  // the connection's own table; null until connected
  int hasOpenResult = 0;                         // a statement of this connection has rows left in the driver
  int inCursorName = 0;                          // the cursor library is asking for cursor names
  char identifierQuote[8] = "";            // SQL_IDENTIFIER_QUOTE_CHAR; empty when the driver quotes nothing
  unsigned short maxColumnNameLength = 0;  // in bytes; never 0 once connected
  unsigned short maxCursorNameLength = 0;  // in bytes; never 0 once connected
  unsigned short activeStatements = 0;     // SQL_ACTIVE_STATEMENTS; 0 is no limit
  unsigned short cursorBehavior[2] = {SQL_CB_DELETE, SQL_CB_DELETE};  // by SQL_COMMIT, SQL_ROLLBACK
  int caseSensitiveIdentifiers = 0;

  // What the cursor library locks on this connection; null: CursorLibrarySingleThreadLock.
  ZuCriticalSection* libraryLock = nullptr;
  ZuCriticalSection ownLibraryLock{0};

  explicit DMConn(DMEnv* env);
  ~DMConn() override;

  // The statements of this connection, in the order of their allocation; null at the end.
  DMStmt* GetFirstStmtFromDbcList();
  DMStmt* GetNextStmtFromDbcList(DMStmt* stmt);

  // Locks (1) or unlocks (0) the list of statements: until then none is entered, removed or destroyed.
  // Recursive for one thread. Taken after CursorLibrarySingleThreadLock and before call locks.
  void LockStmtList(int lock);

  // The re-entrance mark on the connection: 1 sets, 0 takes it back.
  void CursorLibLockDbc(int mark);

  // `hasOpenResult`, which statements of several threads set and ask for.
  bool isResultOpen() const { return __atomic_load_n(&hasOpenResult, __ATOMIC_RELAXED) != 0; }
  void setResultOpen(bool isOpen) { __atomic_store_n(&hasOpenResult, isOpen, __ATOMIC_RELAXED); }

  // Whether text between the cursor library and the driver manager is UTF-8, because the driver takes UTF-16.
  virtual int isUTF8Driver() const;
  virtual int isUTF8DriverIgnoringCursorLib() const;
  virtual int isUTF8EnvAttr() const;

  DMConnState* state;  // the driver manager's own part
};

// Whether a statement's `ard` or `apd`, which another thread may be setting, is `desc`.
inline bool isDescriptor(DMDesc* const& slot, const DMDesc* desc) {
  return __atomic_load_n(&slot, __ATOMIC_RELAXED) == desc;
}

// The statements of a connection for a range-based for, which none of them leaves meanwhile:
//
//   for (DMStmt* stmt : DMStmtList(conn)) ...
class DMStmtList {
 public:
  class Iterator {
   public:
    Iterator(DMConn* conn, DMStmt* stmt) : conn(conn), stmt(stmt) {}
    DMStmt* operator*() const { return stmt; }
    Iterator& operator++() {
      stmt = conn->GetNextStmtFromDbcList(stmt);
      return *this;
    }
    bool operator!=(const Iterator& other) const { return stmt != other.stmt; }

   private:
    DMConn* conn;
    DMStmt* stmt;
  };

  explicit DMStmtList(DMConn* conn) : conn(conn) { conn->LockStmtList(1); }
  DMStmtList(const DMStmtList&) = delete;
  DMStmtList& operator=(const DMStmtList&) = delete;
  ~DMStmtList() { conn->LockStmtList(0); }

  Iterator begin() const { return {conn, conn->GetFirstStmtFromDbcList()}; }
  Iterator end() const { return {conn, nullptr}; }

 private:
  DMConn* conn;
};

// DMDesc::flags
enum : unsigned {
  DM_DESC_EXPLICIT = 1u << 2,      // allocated by the application
  DM_DESC_IRD = 1u << 3,           // implementation row descriptor
  DM_DESC_IPD = 1u << 4,           // implementation parameter descriptor
  DM_DESC_CURSOR_BOUND = 1u << 5,  // the driver refused to unbind the buffers of a cursor, one row each
};

// A block that has to live as long as a descriptor, because the driver may still write to it.
struct DMOwnedBlock {
  DMOwnedBlock* next;
  void (*release)(DMOwnedBlock* block);  // frees it
};

class ZU_API DMDesc : public DMHandle {
 public:
  DMConn* conn;
  DMStmt* ownerStmt;  // of an implicit descriptor, else null
  unsigned flags;
  SQLULEN arraySize = 1;
  SQLULEN* rowsProcessedPtr = nullptr;
  SQLUSMALLINT* arrayStatusPtr = nullptr;
  SQLLEN* bindOffsetPtr = nullptr;
  SQLULEN bindType = SQL_BIND_BY_COLUMN;
  long shareCount = 0;                  // statements that use a copy in place of this descriptor
  unsigned headerChanged = 0;           // bit 0: a header field changed since the driver was last told
  BindInfo* bindList = nullptr;         // owned; the cursor library's records, by rising buffer address
  DMOwnedBlock* ownedBlocks = nullptr;  // released with the descriptor

  DMDesc(DMConn* conn, DMStmt* ownerStmt, unsigned flags);
  ~DMDesc() override;

  // The re-entrance mark on the descriptor.
  void CursorLibLockDesc(int mark);

  bool isExplicit() const { return (flags & DM_DESC_EXPLICIT) != 0; }

  DMDescState* state;  // the driver manager's own part
};

// DMStmt::flags
enum : unsigned {
  DM_STMT_PREPARED = 1u << 0,
  DM_STMT_EXECUTED = 1u << 1,
  DM_STMT_ASYNC = 1u << 2,         // SQL_ATTR_ASYNC_ENABLE is on
  DM_STMT_FLUSHED = 1u << 5,       // the cursor library read the result to its end
  DM_STMT_UB_ON = 1u << 9,         // SQL_USE_BOOKMARKS is SQL_UB_ON
  DM_STMT_UB_VARIABLE = 1u << 10,  // SQL_USE_BOOKMARKS is SQL_UB_VARIABLE
};

// DMStmt::fetchState
enum : unsigned short {
  DM_FETCH_BY_FETCH = 1u << 0,       // SQLFetch was used on the driver
  DM_FETCH_BY_SCROLL = 1u << 1,      // SQLFetchScroll through a cursor
  DM_FETCH_BIND_TYPE_SET = 1u << 2,  // an option call changed the bind type
  DM_FETCH_BY_EXTENDED = 1u << 3,    // SQLExtendedFetch through a cursor
  DM_FETCH_IN_FETCH = 1u << 4,       // inside CLFetch
};

class ZU_API DMStmt : public DMHandle {
 public:
  DMConn* conn;
  unsigned flags = 0;
  DMDesc* ard;  // current descriptors: the embedded ones or the application's own
  DMDesc* apd;
  DMDesc* ird;
  DMDesc* ipd;
  DMDesc* implicitApd;
  SqlParser* parser = nullptr;  // the cursor library's analyser, owned by the cursor library
  FwdCursor* cursor = nullptr;  // the cursor library's cursor, owned by the cursor library
  DMDesc* savedArd = nullptr;   // the application's row descriptor while a copy stands in for it
  SQLULEN rowsetSize = 1;       // SQL_ROWSET_SIZE
  SQLULEN cursorType = SQL_CURSOR_FORWARD_ONLY;
  unsigned short concurrency = SQL_CONCUR_READ_ONLY;
  unsigned short fetchState = 0;
  SQLULEN useBookmarks = SQL_UB_OFF;
  SQLLEN* fetchBookmarkPtr = nullptr;
  int busy = 0;             // a call is active on the driver
  int unicodeApp = 0;       // the application called a wide entry point
  int ofCursorLibrary = 0;  // allocated by the cursor library for itself: its calls go to the driver

  DMDesc implicitArdStorage;
  DMDesc implicitApdStorage;
  DMDesc implicitIrdStorage;
  DMDesc implicitIpdStorage;

  explicit DMStmt(DMConn* conn);
  ~DMStmt() override;

  std::array<DMDesc*, 4> implicitDescriptors() {
    return {&implicitArdStorage, &implicitApdStorage, &implicitIrdStorage, &implicitIpdStorage};
  }

  // The re-entrance mark on the statement.
  void CursorLibLockStmt(int mark);

  virtual int isUTF8App() const {
    return !conn || !conn->env ||
           (__atomic_load_n(&conn->env->utf8Mode, __ATOMIC_RELAXED) != 1 && unicodeApp);
  }
  virtual int isUTF8Driver() const { return conn ? conn->isUTF8Driver() : 1; }
  virtual int isUTF8DriverIgnoringCursorLib() const {
    return conn ? conn->isUTF8DriverIgnoringCursorLib() : 1;
  }
  virtual int isUTF8EnvAttr() const { return conn ? conn->isUTF8EnvAttr() : 1; }

  DMStmtState* state;  // the driver manager's own part
};

#endif
