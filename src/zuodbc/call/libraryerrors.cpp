// What the cursor library asks of a handle's diagnostics.

#include <algorithm>
#include <iterator>

#include "zuodbc/call/errors.h"
#include "zuodbc/dmservices.h"
#include "zuodbc/driver/driverdiagnostics.h"

using namespace dm;

namespace {

bool sameState(const unsigned short* wanted, const char* state) {
  for (int i = 0; i < 6; ++i) {
    if (wanted[i] != static_cast<unsigned char>(state[i])) return false;
    if (!state[i]) return true;
  }
  return false;
}

void takeOver(tagERRBUF& record, long row, long column) {
  record.flags &= ~DM_ERR_UNSETTLED;
  if (row != SQL_ROW_NUMBER_UNKNOWN) record.row = row;
  if (column != SQL_COLUMN_NUMBER_UNKNOWN) record.column = static_cast<SQLINTEGER>(column);
}

// What this thread's cancel left in the driver, unless somebody has asked for it already.
void pullAfterCancel(DMHandle& handle) {
  if (__atomic_load_n(&handle.cancelThread, __ATOMIC_RELAXED) != pthread_self()) return;
  __atomic_store_n(&handle.cancelThread, pthread_t{}, __ATOMIC_RELAXED);
  pullDriverErrors(handle);
}

}  // namespace

int DMHandle::SearchStatusCode(const unsigned short* sqlstate) {
  pullAfterCancel(*this);
  const ZuCriticalSectionHolder lock(queueLock);
  for (const tagERRBUF* record = errorQueue; record; record = record->next) {
    if (sameState(sqlstate, record->sqlstate)) return 1;
  }
  return 0;
}

int DMHandle::ValidateErrorQueue(int (*accepts)(unsigned short* sqlstate)) {
  const ZuCriticalSectionHolder lock(queueLock);
  for (const tagERRBUF* record = errorQueue; record; record = record->next) {
    const bool assigned = !(record->flags & DM_ERR_UNSETTLED) && record->row >= 1;
    if (assigned) continue;
    unsigned short state[6];
    std::copy(std::begin(record->sqlstate), std::end(record->sqlstate), state);
    if (!accepts(state)) return 0;
  }
  return 1;
}

int DMHandle::SearchDriverErrors(const unsigned short* sqlstate) {
  pullAfterCancel(*this);
  const ZuCriticalSectionHolder lock(queueLock);
  for (const tagERRBUF* record = errorQueue; record; record = record->next) {
    if (record->flags & DM_ERR_UNSETTLED && sameState(sqlstate, record->sqlstate)) return 1;
  }
  return 0;
}

int DMHandle::ValidateDriverErrors(int (*accepts)(unsigned short* sqlstate)) {
  const ZuCriticalSectionHolder lock(queueLock);
  for (const tagERRBUF* record = errorQueue; record; record = record->next) {
    // A record that could not be made is the reserve record.
    if (!(record->flags & (DM_ERR_UNSETTLED | DM_ERR_RESERVE))) continue;
    unsigned short state[6];
    std::copy(std::begin(record->sqlstate), std::end(record->sqlstate), state);
    if (!accepts(state)) return 0;
  }
  return 1;
}

void DMHandle::DropDriverErrors() { dropUnsettled(*this); }

void DMHandle::RetrieveDriverErrorsRowCol(DMHandle* from, int, long row, long column) {
  if (!from) return;
  pullAfterCancel(*from);
  tagERRBUF* taken = detachUnsettled(*from);
  while (taken) {
    tagERRBUF* record = taken;
    taken = record->next;
    takeOver(*record, row, column);
    queueRecord(*this, record);
  }
}
