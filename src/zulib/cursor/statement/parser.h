// SqlParser, the statement analyser: it sees all SQL text, parameters and data-at-execution traffic of a
// statement on their way to the driver.
//
// It tokenises just enough to tell the kind of statement, to recognise a positioned UPDATE or DELETE
// (`WHERE CURRENT OF cursor`) and to find where a select's WHERE belongs. A positioned statement goes to
// the driver as a searched one, whose WHERE clause is built from the cached values of the cursor's
// current row at the moment of execution.
//
// It also owns the sequence of execution, which survives SQL_STILL_EXECUTING, SQL_NEED_DATA and
// cancellation: the next call to the same entry carries on from `state`.
//
// Thread use: under CursorLibrarySingleThreadLock.

#ifndef ZULIB_CURSOR_PARSER_H
#define ZULIB_CURSOR_PARSER_H

#include "zulib/cursor/rows/clobject.h"
#include "zuodbc/dmhandle.h"

class ScrollCursor;

// What `submitSql` sends.
enum class Submit { ExecDirect, Execute, Prepare, NativeSql, ParamData };

struct TOKEN {
  enum Type { Word = 1, Parameter = 2, Group = 3, Quoted = 4, End = 5, Other = 6 };
  Type type;
  char* start;  // into the parser's text
  SQLLEN length;
};

class SqlParser : public CLObject {
 public:
  enum State { Idle = 0, New = 1, Analysing = 2, Analysed = 3, Final = 4, Sent = 5, Described = 6 };
  enum StatementType { Select = 1, Update = 2, Delete = 3, Insert = 4, Create = 5, Unknown = 6 };

  explicit SqlParser(DMStmt* stmt);
  ~SqlParser() override;
  ZU_CURSOR_CLASS(SqlParser, CLObject)

  virtual SQLRETURN cancel();

  // Reads the cursor's current row again on the statement `other`, and the cancel of that.
  virtual SQLRETURN selectCurrent(ScrollCursor* cursor, DMStmt* other);
  virtual SQLRETURN selectCurrentCancel(ScrollCursor* cursor, DMStmt* other);
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

  // The cursor goes. A positioned statement that refers to it is not left with its address: one that is
  // under way is cancelled, and the next execution looks for the cursor's name again.
  void forgetTarget(const ScrollCursor* cursor);

 protected:
  virtual void analyzeSelect();
  virtual void analyzeSql(char* sql, SQLLEN length);

  // Fills the WHERE clause from the target's current row and binds its parameters on `statement`.
  virtual void buildSearch(DMStmt* statement);
  virtual void makeDeleteStmt();
  virtual void makeUpdateStmt();
  virtual SQLRETURN submitSql(Submit function);
  virtual void reset();
  virtual SQLRETURN dvrBindParam(DMStmt* statement, unsigned short number, short ioType, short cType,
                                 short sqlType, SQLULEN size, short scale, void* data, SQLLEN length,
                                 SQLLEN* lengthPtr);

 private:
  friend struct SqlParserTest;

  // What follows when the driver has answered.
  enum class Next { Finish, Describe, RunAgain };

  int getCursor();
  bool findPositionedName(TOKEN* name);
  void findTarget();
  FwdCursor* cursorNamed(const char* name, SQLRETURN* rc);
  SQLRETURN cursorNameOf(DMStmt* statement, char* name, SQLSMALLINT size);
  bool sameName(const char* a, const char* b) const;
  void checkTarget() const;
  char* getToken(char* position, TOKEN* token) const;
  SQLLEN quotedLength(const char* start) const;
  void setStmtType();
  void copyText(const char* sql, SQLLEN length);
  char* walkToSearch(TOKEN* token);
  void walkBehindSearch(TOKEN* token, char* position);
  bool isOuterJoinEscape(const TOKEN& token) const;

  void openSearch();
  void reserveSearch();
  bool isPositioned() const { return target && (stmtType == Update || stmtType == Delete); }

  SQLRETURN runText(char* sql, SQLLEN length, Submit function);
  SQLRETURN runSequence(Submit function);
  SQLRETURN makeFinal(bool light);
  SQLRETURN send(Submit function);
  Next takeAnswer(bool light, SQLRETURN first, SQLRETURN* rc);
  void applyToTarget(SQLRETURN first, SQLRETURN* rc);
  void describeResult(SQLRETURN* rc);
  void settle(SQLRETURN rc);
  void stopIfCancelled();
  void closeGetDataCursors();
  void forgetExecution();
  void forgetResult();
  SQLRETURN flushStmts();
  void holdSearch();
  void letGoSearch();
  void resetParams();
  void moveErrors();
  bool isStmtPositioned();  // the driver finds the statement on no row
  void initMembers();
  void cleanup();

  State state;
  bool cancelled;
  DMConn* conn;
  DMStmt* stmt;
  unsigned short nameLength;
  unsigned short cursorNameLength;
  SQLULEN paramsetSize;  // from paramOptions; 1 from construction, not touched by reset()
  char* text;            // owned copy of the statement, extended in place
  SQLLEN textLength;
  StatementType stmtType;
  void** paramDataOut;  // from paramData
  char* nativeOut;      // from nativeSql
  SQLINTEGER nativeOutMax;
  SQLINTEGER* nativeOutLength;
  SQLULEN whereOffset;        // in `text`, of the WHERE or where one has to go
  ScrollCursor* target;       // the cursor that a positioned statement refers to
  unsigned short paramCount;  // `?` before the WHERE
  SQLLEN rowCount;            // from SQLRowCount
  bool groupBy;
  bool joinFlag;  // the select reads more than one table
  unsigned short resultCols;
  SQLULEN textRoom;        // bytes of `text`
  char* targetName;        // owned; the cursor's name in a positioned statement, else null
  ScrollCursor* searched;  // the driver holds parameters that point into this cursor's cache; or null
  bool searchStale;        // the search has been sent once and was refused: it is built anew
  bool suspended;          // the last call stopped on SQL_STILL_EXECUTING ...
  Submit suspendedIn;      // ... in this, and the same call goes on with it
};

#endif
