// The sequence table and the state machine over it.

#include "zuodbc/call/sequence.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include "zuodbc/call/errors.h"
#include "zuodbc/driverfunctions.h"
#include "zuodbc/handles/handles.h"

namespace {

// One letter for each state from Allocated to ExtendedFetched:
//   o goes on      q HY010      c 24000      d 07005
//   p goes on when the statement is prepared, else HY010
//   P 24000 when the statement is prepared, else HY010
//   m HY010 against mixed fetch functions; the cursor library answers that itself
struct Rule {
  Api api;
  std::string_view verdicts;
};

constexpr size_t ORDINARY_STATES = static_cast<size_t>(StmtState::ExtendedFetched) + 1;
constexpr std::string_view ALWAYS = "ooooooo";
constexpr std::string_view NEW_RESULT = "ooooccc";  // A P N U O F X
constexpr std::string_view WAITING_ONLY = "qqqqqqq";

constexpr Rule RULES[] = {
    {Api::Prepare, NEW_RESULT},          {Api::ExecDirect, NEW_RESULT},  {Api::Tables, NEW_RESULT},
    {Api::Columns, NEW_RESULT},          {Api::Statistics, NEW_RESULT},  {Api::SpecialColumns, NEW_RESULT},
    {Api::PrimaryKeys, NEW_RESULT},      {Api::ForeignKeys, NEW_RESULT}, {Api::TablePrivileges, NEW_RESULT},
    {Api::ColumnPrivileges, NEW_RESULT}, {Api::Procedures, NEW_RESULT},  {Api::ProcedureColumns, NEW_RESULT},
    {Api::GetTypeInfo, NEW_RESULT},      {Api::Execute, "qoppPPP"},      {Api::ParamData, WAITING_ONLY},
    {Api::PutData, WAITING_ONLY},        {Api::Fetch, "qqcooom"},        {Api::FetchScroll, "qqcooom"},
    {Api::ExtendedFetch, "qqcoomo"},     {Api::GetData, "qqcccoo"},      {Api::SetPos, "qqcccoo"},
    {Api::BulkOperations, "qqcoooq"},    {Api::RowCount, "qqooooo"},     {Api::NumResultCols, "qoooooo"},
    {Api::DescribeCol, "qodoooo"},       {Api::ColAttribute, "qoooooo"}, {Api::NumParams, "qoooooo"},
    {Api::DescribeParam, "qoooooo"},     {Api::CloseCursor, "cccoooo"},  {Api::SetCursorName, "ooccccc"},
    {Api::SetScrollOptions, "oqqqqqq"},
};

constexpr bool rulesAreWhole() {
  return std::all_of(std::begin(RULES), std::end(RULES),
                     [](const Rule& rule) { return rule.verdicts.size() == ORDINARY_STATES; });
}
static_assert(rulesAreWhole());
static_assert(ALWAYS.size() == ORDINARY_STATES);

std::string_view verdictsOf(Api api) {
  const Rule* rule =
      std::find_if(std::begin(RULES), std::end(RULES), [api](const Rule& r) { return r.api == api; });
  return rule == std::end(RULES) ? ALWAYS : rule->verdicts;
}

char verdictIn(StmtState state, std::string_view verdicts) { return verdicts[static_cast<size_t>(state)]; }

bool dependsOnResult(std::string_view verdicts) {
  return verdictIn(StmtState::NoResult, verdicts) != verdictIn(StmtState::CursorOpen, verdicts);
}

const char* refusal(char verdict, bool prepared, bool throughLibrary) {
  switch (verdict) {
    case 'o': return nullptr;
    case 'c': return "24000";
    case 'd': return "07005";
    case 'p': return prepared ? nullptr : "HY010";
    case 'P': return prepared ? "24000" : "HY010";
    case 'm': return throughLibrary ? nullptr : "HY010";
    default: return "HY010";
  }
}

bool worked(SQLRETURN rc) { return SQL_SUCCEEDED(rc); }

bool isCatalogFunction(Api api) {
  return verdictsOf(api) == NEW_RESULT && api != Api::Prepare && api != Api::ExecDirect;
}

// What such a function leaves is new, and what was known of an earlier result no longer holds.
bool makesResult(Api api) {
  return verdictsOf(api) == NEW_RESULT || api == Api::Execute || api == Api::MoreResults;
}

StmtState closedState(const DMStmt& stmt) {
  return stmt.flags & DM_STMT_PREPARED ? StmtState::Prepared : StmtState::Allocated;
}

void unprepare(DMStmt& stmt) { stmt.flags &= ~unsigned(DM_STMT_PREPARED); }

void enterClosed(DMStmt& stmt) {
  stmt.flags &= ~unsigned(DM_STMT_EXECUTED);
  stmt.state->sequence.state = closedState(stmt);
}

void enterExecuted(DMStmt& stmt) {
  StmtSequence& sequence = stmt.state->sequence;
  stmt.flags |= DM_STMT_EXECUTED;
  sequence.state = StmtState::UnknownResult;
  sequenceColumnsTold(stmt, sequence.columns);
}

void askForData(DMStmt& stmt, Api api) {
  StmtSequence& sequence = stmt.state->sequence;
  sequence.asking = api;
  sequence.origin = sequence.state;
  sequence.state = StmtState::NeedParam;
}

// An execution by SQLExecute, SQLExecDirect or a catalog function has ended with `rc`.
void executionEnded(DMStmt& stmt, Api api, SQLRETURN rc) {
  if (api != Api::Execute) unprepare(stmt);
  if (rc == SQL_NEED_DATA) return askForData(stmt, api);
  if (isCatalogFunction(api)) stmt.state->sequence.columns = 1;
  if (worked(rc) || rc == SQL_NO_DATA) return enterExecuted(stmt);
  enterClosed(stmt);
}

// SQLParamData or SQLPutData has ended the wait for data: as the call that asked would have ended.
void dataEnded(DMStmt& stmt, SQLRETURN rc) {
  StmtSequence& sequence = stmt.state->sequence;
  sequence.state = sequence.origin;
  if (sequence.asking == Api::Execute || sequence.asking == Api::ExecDirect)
    executionEnded(stmt, sequence.asking, rc);
}

void prepareEnded(DMStmt& stmt, SQLRETURN rc) {
  if (worked(rc)) {
    stmt.flags |= DM_STMT_PREPARED;
  } else {
    unprepare(stmt);
  }
  enterClosed(stmt);
}

void moreResultsEnded(DMStmt& stmt, SQLRETURN rc) {
  if (worked(rc)) enterExecuted(stmt);
  if (rc == SQL_NO_DATA) enterClosed(stmt);
}

void finished(DMStmt& stmt, Api api, SQLRETURN rc) {
  StmtSequence& sequence = stmt.state->sequence;
  bool fetched = worked(rc) || rc == SQL_NO_DATA;
  switch (api) {
    case Api::Prepare: return prepareEnded(stmt, rc);
    case Api::Execute:
    case Api::ExecDirect: return executionEnded(stmt, api, rc);
    case Api::MoreResults: return moreResultsEnded(stmt, rc);
    case Api::Fetch:
    case Api::FetchScroll:
      if (fetched) sequence.state = StmtState::Fetched;
      return;
    case Api::ExtendedFetch:
      if (fetched) sequence.state = StmtState::ExtendedFetched;
      return;
    case Api::SetPos:
    case Api::BulkOperations:
      if (rc == SQL_NEED_DATA) askForData(stmt, api);
      return;
    case Api::ParamData:
      if (rc == SQL_NEED_DATA) {
        sequence.state = StmtState::NeedData;
        return;
      }
      return dataEnded(stmt, rc);
    case Api::PutData:
      if (worked(rc)) {
        sequence.state = StmtState::DataPut;
        return;
      }
      return dataEnded(stmt, SQL_ERROR);
    case Api::CloseCursor:
      if (worked(rc)) enterClosed(stmt);
      return;
    default:
      if (isCatalogFunction(api)) executionEnded(stmt, api, rc);
  }
}

void resolveResult(DMStmt& stmt) {
  stmt.lock();
  sequenceColumnsTold(stmt, resultColumns(stmt));
  stmt.unlock();
}

}  // namespace

const char* sequenceBegin(DMStmt& stmt, Api api, bool throughLibrary) noexcept {
  StmtSequence& sequence = stmt.state->sequence;
  switch (sequence.state) {
    case StmtState::NeedParam: return api == Api::ParamData ? nullptr : "HY010";
    case StmtState::NeedData: return api == Api::PutData ? nullptr : "HY010";
    case StmtState::DataPut: return api == Api::PutData || api == Api::ParamData ? nullptr : "HY010";
    case StmtState::StillExecuting:
      if (api != sequence.pending) return "HY010";
      // The call may use the statement for more calls on its way.
      sequence.state = sequence.before;
      return nullptr;
    default: break;
  }
  std::string_view verdicts = verdictsOf(api);
  if (sequence.state == StmtState::UnknownResult && dependsOnResult(verdicts)) resolveResult(stmt);
  const char* refused =
      refusal(verdictIn(sequence.state, verdicts), (stmt.flags & DM_STMT_PREPARED) != 0, throughLibrary);
  if (!refused && makesResult(api)) sequence.columns = -1;
  return refused;
}

const char* sequenceBegin(DMDesc& desc) noexcept {
  DMConn& conn = *desc.conn;
  std::lock_guard guard(conn.state->lock);
  for (DMStmt* stmt = conn.state->firstStmt; stmt; stmt = stmt->state->next) {
    bool used = desc.ownerStmt == stmt || stmt->ard == &desc || stmt->apd == &desc;
    if (used && sequencePending(*stmt)) return "HY010";
  }
  return nullptr;
}

void sequenceEnd(DMStmt& stmt, Api api, SQLRETURN rc) noexcept {
  StmtSequence& sequence = stmt.state->sequence;
  if (rc == SQL_STILL_EXECUTING) {
    sequence.before = sequence.state;
    sequence.pending = api;
    sequence.state = StmtState::StillExecuting;
    return;
  }
  if (rc != SQL_INVALID_HANDLE) finished(stmt, api, rc);
}

void sequenceCancelled(DMStmt& stmt, bool closed) noexcept {
  StmtState state = stmt.state->sequence.state;
  if (state == StmtState::StillExecuting) return;  // ends by its own function's next answer
  if (state >= StmtState::NeedParam) return dataEnded(stmt, SQL_ERROR);
  if (closed) enterClosed(stmt);
}

void sequenceClosed(DMStmt& stmt) noexcept { enterClosed(stmt); }

void sequenceTransactionEnded(DMStmt& stmt, unsigned short behavior) noexcept {
  if (behavior == SQL_CB_PRESERVE || sequencePending(stmt)) return;
  if (behavior == SQL_CB_DELETE) unprepare(stmt);
  enterClosed(stmt);
}

bool sequencePending(const DMStmt& stmt) noexcept {
  return stmt.state->sequence.state >= StmtState::NeedParam;
}

bool requireNonePending(DMConn& conn) noexcept {
  std::lock_guard guard(conn.state->lock);
  for (DMStmt* stmt = conn.state->firstStmt; stmt; stmt = stmt->state->next) {
    if (!sequencePending(*stmt)) continue;
    dm::postError(conn, "HY010");
    return false;
  }
  return true;
}

bool sequenceCursorOpen(DMStmt& stmt) noexcept {
  StmtSequence& sequence = stmt.state->sequence;
  if (sequence.state == StmtState::UnknownResult) resolveResult(stmt);
  return sequence.state >= StmtState::CursorOpen && sequence.state <= StmtState::ExtendedFetched;
}

void sequenceColumnsTold(DMStmt& stmt, int columns) noexcept {
  StmtSequence& sequence = stmt.state->sequence;
  sequence.columns = columns;
  if (sequence.state != StmtState::UnknownResult || columns < 0) return;
  sequence.state = columns > 0 ? StmtState::CursorOpen : StmtState::NoResult;
}

int resultColumns(DMStmt& stmt) noexcept {
  const DMDriverFunctions* driver = stmt.conn->driverFunctions;
  // An asynchronous driver could answer that it is still counting, and then the count would have to be
  // asked to its end before anything else.
  if (!driver || !driver->SQLNumResultCols || (stmt.flags & DM_STMT_ASYNC)) return -1;
  SQLSMALLINT count = 0;
  return SQL_SUCCEEDED(driver->SQLNumResultCols(stmt.driverHandle, &count)) ? count : -1;
}
