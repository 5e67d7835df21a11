// SqlParser sees all SQL text, parameters and data-at-execution traffic of a statement on the way to the
// driver. A positioned UPDATE or DELETE is sent as a searched one, whose WHERE clause is built from the
// cached values of the cursor's current row at the moment of execution; SQLGetData of a scrollable cursor
// reads its row again by the same kind of search.
//
// It also owns the sequence of execution, which survives SQL_STILL_EXECUTING, SQL_NEED_DATA and cancellation:
// the next call of the same kind continues at `state`.
//
//   New -> Analysing -> Analysed -> Final -> Sent -> Described      and from each after Analysed to Idle
//                                                                   when the execution has ended
//
// Thread use: under CursorLibrarySingleThreadLock. Functions throw the exceptions of the cursor library.

#ifndef ZULIB_CURSOR_STATEMENT_SQLPARSER_H
#define ZULIB_CURSOR_STATEMENT_SQLPARSER_H

#include "zulib/cursor/internal/clobject.h"
#include "zulib/cursor/statement/sqltext.h"
#include "zulib/cursor/statement/target.h"
#include "zuodbc/dmhandle.h"

// What submitSql sends.
enum class Submit { ExecDirect, Execute, Prepare, NativeSql, ParamData };

class SqlParser : public CLObject {
 public:
  enum State { Idle = 0, New = 1, Analysing = 2, Analysed = 3, Final = 4, Sent = 5, Described = 6 };

  explicit SqlParser(DMStmt* stmt);
  ~SqlParser() override;
  ZU_CURSOR_CLASS(SqlParser, CLObject)

  virtual SQLRETURN cancel();

  // To be called after `cancel` has returned `rc`. A cancel concerns a call that is under way: with none it
  // has no effect, and an execution that waited for data has ended.
  void settleCancel(SQLRETURN rc);

  // Reads the cursor's current row again on the statement `other`, and cancels that.
  virtual SQLRETURN selectCurrent(SearchTarget* cursor, DMStmt* other);
  virtual SQLRETURN selectCurrentCancel(SearchTarget* cursor, DMStmt* other);
  virtual int getJoinFlag();
  virtual SQLRETURN execDirect(char* sql, SQLLEN length);
  virtual SQLRETURN execute();
  virtual SQLRETURN closeCursor();
  virtual SQLRETURN freeStmt(unsigned short option);
  virtual SQLRETURN nativeSql(char* sql, SQLLEN length, char* out, SQLINTEGER outMax, SQLINTEGER* outLength);
  virtual SQLRETURN numParams(short* count);
  virtual SQLRETURN paramData(void** value);
  virtual SQLRETURN paramOptions(SQLULEN rows, SQLULEN* rowPtr);
  virtual SQLRETURN prepare(char* sql, SQLLEN length);
  virtual SQLRETURN putData(void* value, SQLLEN length);
  virtual SQLRETURN bindParameter(unsigned short number, short ioType, short cType, short sqlType,
                                  SQLULEN size, short scale, void* data, SQLLEN length, SQLLEN* lengthPtr);

  // The cursor ends. A positioned statement that refers to it and is under way is cancelled; the next
  // execution looks for the cursor's name again.
  void forgetTarget(const SearchTarget* cursor);

 protected:
  virtual void analyzeSelect();
  virtual void analyzeSql(char* sql, SQLLEN length);

  // Fills the WHERE clause from the target's current row and binds its parameters on `statement`, unless that
  // has no driver side: then only the text is wanted.
  virtual void buildSearch(DMStmt* statement);
  virtual void makeDeleteStmt();
  virtual void makeUpdateStmt();
  virtual SQLRETURN submitSql(Submit function);
  virtual void reset();
  virtual SQLRETURN dvrBindParam(DMStmt* statement, unsigned short number, short ioType, short cType,
                                 short sqlType, SQLULEN size, short scale, void* data, SQLLEN length,
                                 SQLLEN* lengthPtr);

 private:
  // What follows after the driver's return.
  enum class Next { Finish, Describe, RunAgain };

  // Keeps a row of a cursor in memory while the driver may read its values.
  class Pin {
   public:
    Pin() = default;
    Pin(const Pin&) = delete;
    Pin& operator=(const Pin&) = delete;
    ~Pin() { release(); }
    void take(SearchTarget* from);  // nothing if one is held
    void release();
    const SearchTarget* holder() const { return target; }

   private:
    SearchTarget* target = nullptr;
    SQLLEN row = 0;
  };

  int getCursor();
  void findTarget();
  void checkTarget() const;
  DMStmt* statementNamed(const char* name, SQLRETURN* rc);
  SQLRETURN cursorNameOf(DMStmt* statement, char* name, SQLSMALLINT size);
  bool sameName(const char* a, const char* b) const;
  void openSearch();
  bool isPositioned() const {
    return target && (text.type == SqlText::Update || text.type == SqlText::Delete);
  }

  SQLRETURN runText(char* sql, SQLLEN length, Submit function);
  SQLRETURN runSequence(Submit function);
  SQLRETURN makeFinal(bool light);
  SQLRETURN send(Submit function);
  Next takeReturn(bool light, SQLRETURN first, SQLRETURN* rc);
  void applyToTarget(SQLRETURN first, SQLRETURN* rc);
  void describeResult(SQLRETURN* rc);
  void settle(SQLRETURN rc);
  void stopIfCancelled();
  void closeGetDataCursors();
  void forgetExecution();
  void forgetResult();
  SQLRETURN flushStmts();
  void resetParams();
  void moveErrors();
  bool isStmtPositioned();
  void initMembers();

  DMConn* conn;
  DMStmt* stmt;
  State state = New;
  bool cancelled = false;
  bool searchStale = false;                 // the search was sent once and refused: it is built anew
  bool suspended = false;                   // the last call stopped on SQL_STILL_EXECUTING ...
  Submit suspendedIn = Submit::ExecDirect;  // ... in this, and the same call continues
  unsigned short cursorNameLength = 0;
  SQLULEN paramsetSize = 1;  // from paramOptions; not changed by reset()
  SqlText text;
  SearchTarget* target = nullptr;  // the cursor that a positioned statement refers to
  Pin searched;                    // the driver has parameters of this statement that point into the row
  Pin reread;                      // the same for a selectCurrent that is under way
  void** paramDataOut = nullptr;   // from paramData
  char* nativeOut = nullptr;       // from nativeSql
  SQLINTEGER nativeOutMax = 0;
  SQLINTEGER* nativeOutLength = nullptr;
  SQLLEN rowCount = 0;            // from SQLRowCount
  unsigned short resultCols = 0;  // from SQLNumResultCols
};

#endif
