// What the driver manager offers to the cursor library beside handles and ODBC functions.

#include "zuodbc/dmservices.h"

#include <cctype>

#include "zuodbc/call/entry.h"
#include "zuodbc/call/messagecatalog.h"

using namespace dm;

namespace {

// Every text of the cursor library bears its name; other components have none.
std::string_view componentPrefix(unsigned short component) {
  return component == kDmComponentCursorLibrary ? "[zulib][ODBC Cursor Library] " : "[zulib] ";
}

void post(DMHandle& handle, unsigned short component, unsigned short errorId, long row, long column) {
  char text[kMessageTextSize];
  char sqlstate[6];
  const std::string_view prefix = componentPrefix(component);
  prefix.copy(text, prefix.size());
  readMessage(errorId, text + prefix.size(), sizeof text - prefix.size(), sqlstate);
  tagERRBUF* record = makeRecord(sqlstate, text);
  if (record) {
    record->flags |= DM_ERR_UTF8;  // as the catalogs are
    record->row = row;
    record->column = static_cast<SQLINTEGER>(column);
  }
  queueRecord(handle, record);
}

// Without the cursor library, calls that have a statement to themselves do without the call lock.
bool needsEntry(const DMHandle& handle) {
  return handle.handleType == DM_STMT && !static_cast<const DMStmt&>(handle).conn->state->cursorLibrary;
}

char lower(char letter) {
  return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter + ('a' - 'A')) : letter;
}

}  // namespace

extern "C" {

void PostODBCError(unsigned short component, void* handle, unsigned short errorId, short) {
  DMHandle* owner = findAnyHandle(handle);
  if (owner) post(*owner, component, errorId, SQL_NO_ROW_NUMBER, SQL_NO_COLUMN_NUMBER);
}

void PostODBCComponentError(tagODBCERROR* error) {
  DMHandle* owner = error ? findAnyHandle(error->handle) : nullptr;
  if (owner) post(*owner, error->component, error->errorId, error->rowNumber, error->columnNumber);
}

void LockHandle(void* handle, long type, int lock) {
  DMHandle* owner = findHandle(static_cast<int>(type), handle);
  if (!owner) return;
  EntryLock* entry = needsEntry(*owner) ? &entryLockOf(*owner) : nullptr;
  if (lock) {
    if (entry) entry->lock();
    owner->lock();
  } else {
    owner->unlock();
    if (entry) entry->unlock();
  }
}

int UTF16asciistrcmpi(const unsigned short* wide, const char* ascii) {
  for (;; ++wide, ++ascii) {
    const int left = *wide < 0x80 ? static_cast<unsigned char>(lower(static_cast<char>(*wide))) : *wide;
    const int right = static_cast<unsigned char>(lower(*ascii));
    if (left != right) return left < right ? -1 : 1;
    if (left == 0) return 0;
  }
}
}
