#include "zuodbc/call/sequence.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <string_view>

#include "zuodbc/call/drivercall.h"
#include "zuodbc/call/errors.h"
#include "zuodbc/driverfunctions.h"
#include "zuodbc/handles/handles.h"

namespace dm {
namespace {

// One letter for each state from Allocated to ExtendedFetched:
//   o goes on      q HY010      c 24000      d 07005
//   p goes on if the statement is prepared, else HY010
//   P 24000 if the statement is prepared, else HY010
//   m HY010 against mixed fetch functions; the cursor library judges that itself
// SQLFetch goes on where there are no result columns: drivers return SQL_NO_DATA, or even a row.
struct Rule {
  Api api;
  std::string_view verdicts;
};

constexpr size_t kOrdinaryStates = static_cast<size_t>(StmtState::ExtendedFetched) + 1;
constexpr std::string_view kAlways = "ooooooo";
constexpr std::string_view kNewResult = "ooooccc";  // A P N U O F X
constexpr std::string_view kWaitingOnly = "qqqqqqq";

constexpr Rule kRules[] = {
    {Api::Prepare, kNewResult},          {Api::ExecDirect, kNewResult},  {Api::Tables, kNewResult},
    {Api::Columns, kNewResult},          {Api::Statistics, kNewResult},  {Api::SpecialColumns, kNewResult},
    {Api::PrimaryKeys, kNewResult},      {Api::ForeignKeys, kNewResult}, {Api::TablePrivileges, kNewResult},
    {Api::ColumnPrivileges, kNewResult}, {Api::Procedures, kNewResult},  {Api::ProcedureColumns, kNewResult},
    {Api::GetTypeInfo, kNewResult},      {Api::Execute, "qoppPPP"},      {Api::ParamData, kWaitingOnly},
    {Api::PutData, kWaitingOnly},        {Api::Fetch, "qqoooom"},        {Api::FetchScroll, "qqcooom"},
    {Api::ExtendedFetch, "qqcoomo"},     {Api::GetData, "qqcccoo"},      {Api::SetPos, "qqcccoo"},
    {Api::BulkOperations, "qqcoooq"},    {Api::RowCount, "qqooooo"},     {Api::NumResultCols, "qoooooo"},
    {Api::DescribeCol, "qodoooo"},       {Api::ColAttribute, "qoooooo"}, {Api::NumParams, "qoooooo"},
    {Api::DescribeParam, "qoooooo"},     {Api::CloseCursor, "cccoooo"},  {Api::SetCursorName, "ooccccc"},
    {Api::SetScrollOptions, "oqqqqqq"},
};

constexpr bool rulesAreWhole() {
  return std::all_of(std::begin(kRules), std::end(kRules),
                     [](const Rule& rule) { return rule.verdicts.size() == kOrdinaryStates; });
}
static_assert(rulesAreWhole());
static_assert(kAlways.size() == kOrdinaryStates);

// What the rules say of a function, as a call looks it up.
struct Verdicts {
  std::array<char, kOrdinaryStates> byState;
  bool dependsOnResult;  // whether there are result columns decides
  bool makesResult;      // what it leaves is new, and what was known of an earlier result no longer holds
  bool isCatalogFunction;
};

constexpr Verdicts makeVerdicts(Api api, std::string_view rule) {
  Verdicts verdicts{};
  std::copy(rule.begin(), rule.end(), verdicts.byState.begin());
  verdicts.dependsOnResult =
      rule[static_cast<size_t>(StmtState::NoResult)] != rule[static_cast<size_t>(StmtState::CursorOpen)];
  verdicts.makesResult = rule == kNewResult || api == Api::Execute || api == Api::MoreResults;
  verdicts.isCatalogFunction = rule == kNewResult && api != Api::Prepare && api != Api::ExecDirect;
  return verdicts;
}

// The numbers of the functions go from 1 to 80 and from 1001 to 1023.
constexpr size_t kVerdictRows = 256;
constexpr size_t indexOf(Api api) {
  const auto number = static_cast<size_t>(api);
  return (number > 1000 ? number - 1000 + kVerdictRows / 2 : number) % kVerdictRows;
}

constexpr auto kVerdicts = [] {
  std::array<Verdicts, kVerdictRows> verdicts{};
  for (Verdicts& one : verdicts) one = makeVerdicts(Api::AllocHandle, kAlways);
  verdicts[indexOf(Api::MoreResults)] = makeVerdicts(Api::MoreResults, kAlways);
  for (const Rule& rule : kRules) verdicts[indexOf(rule.api)] = makeVerdicts(rule.api, rule.verdicts);
  return verdicts;
}();

const Verdicts& verdictsOf(Api api) { return kVerdicts[indexOf(api)]; }

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

StmtState closedState(const DMStmt& stmt) {
  return stmt.flags & DM_STMT_PREPARED ? StmtState::Prepared : StmtState::Allocated;
}

void unprepare(DMStmt& stmt) { stmt.flags &= ~unsigned(DM_STMT_PREPARED); }

void enterClosed(DMStmt& stmt) {
  stmt.state->catalogTypes.column = 0;
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
  if (verdictsOf(api).isCatalogFunction) stmt.state->sequence.columns = 1;
  if (rc == SQL_NO_DATA) stmt.state->sequence.columns = 0;  // no row was touched, and there is no result
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
  if (worked(rc)) {
    stmt.state->catalogTypes.column = 0;
    enterExecuted(stmt);
  }
  if (rc == SQL_NO_DATA) enterClosed(stmt);
}

void resolveResult(DMStmt& stmt) {
  stmt.lock();
  sequenceColumnsTold(stmt, resultColumns(stmt));
  stmt.unlock();
}

void fetchEnded(DMStmt& stmt, StmtState fetched, SQLRETURN rc) {
  StmtSequence& sequence = stmt.state->sequence;
  if (rc == SQL_NO_DATA && sequence.state == StmtState::UnknownResult) resolveResult(stmt);
  if (worked(rc) || (rc == SQL_NO_DATA && sequence.state != StmtState::NoResult)) sequence.state = fetched;
}

void finished(DMStmt& stmt, Api api, SQLRETURN rc) {
  StmtSequence& sequence = stmt.state->sequence;
  switch (api) {
    case Api::Prepare: return prepareEnded(stmt, rc);
    case Api::Execute:
    case Api::ExecDirect: return executionEnded(stmt, api, rc);
    case Api::MoreResults: return moreResultsEnded(stmt, rc);
    case Api::Fetch:
    case Api::FetchScroll: return fetchEnded(stmt, StmtState::Fetched, rc);
    case Api::ExtendedFetch: return fetchEnded(stmt, StmtState::ExtendedFetched, rc);
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
      if (verdictsOf(api).isCatalogFunction) executionEnded(stmt, api, rc);
  }
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
  const Verdicts& verdicts = verdictsOf(api);
  if (verdicts.dependsOnResult && sequence.state == StmtState::UnknownResult) resolveResult(stmt);
  const char verdict = verdicts.byState[static_cast<size_t>(StmtState{sequence.state})];
  const char* refused = refusal(verdict, (stmt.flags & DM_STMT_PREPARED) != 0, throughLibrary);
  if (!refused && verdicts.makesResult) sequence.columns = -1;
  return refused;
}

const char* sequenceBegin(DMDesc& desc) noexcept {
  if (desc.ownerStmt) return sequencePending(*desc.ownerStmt) ? "HY010" : nullptr;
  for (DMStmt* stmt : DMStmtList(desc.conn)) {
    if ((isDescriptor(stmt->ard, &desc) || isDescriptor(stmt->apd, &desc)) && sequencePending(*stmt))
      return "HY010";
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
  const StmtState state = stmt.state->sequence.state;
  if (state == StmtState::StillExecuting) return;  // ends by the next call of its own function
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
  for (DMStmt* stmt : DMStmtList(&conn)) {
    if (!sequencePending(*stmt)) continue;
    postError(conn, "HY010");
    return false;
  }
  return true;
}

bool sequenceCursorOpen(DMStmt& stmt) noexcept {
  const StmtSequence& sequence = stmt.state->sequence;
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
  // An asynchronous driver could return that it is still counting, and then the count would have to be
  // asked to its end before anything else.
  if (!driver || !driver->SQLNumResultCols || (stmt.flags & DM_STMT_ASYNC)) return -1;
  SQLSMALLINT count = 0;
  const SQLRETURN rc = guardQuietly([&] { return driver->SQLNumResultCols(stmt.driverHandle, &count); });
  return SQL_SUCCEEDED(rc) ? count : -1;
}

}  // namespace dm
