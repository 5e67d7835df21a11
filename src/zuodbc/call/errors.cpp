#include "zuodbc/call/errors.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "zuodbc/dmservices.h"

namespace dm {
namespace {

constexpr std::string_view kOwnPrefix = "[zulib][ODBC Driver Manager] ";
constexpr char kMemoryText[] = "[zulib][ODBC Driver Manager] Memory allocation error";

struct OwnMessage {
  const char* sqlstate;
  const char* text;
};

// By rising SQLSTATE.
constexpr OwnMessage kOwnMessages[] = {
    {"01000", "General warning"},
    {"01004", "String data, right truncated"},
    {"01S00", "Invalid connection string attribute"},
    {"01S02", "Option value changed"},
    {"07009", "Invalid descriptor index"},
    {"08001", "Client unable to establish connection"},
    {"08002", "Connection name in use"},
    {"08003", "Connection does not exist"},
    {"24000", "Invalid cursor state"},
    {"25000", "Invalid transaction state"},
    {"34000", "Invalid cursor name"},
    {"3C000", "Duplicate cursor name"},
    {"HY000", "General error"},
    {"HY001", "Memory allocation error"},
    {"HY003", "Invalid application buffer type"},
    {"HY004", "Invalid SQL data type"},
    {"HY007", "Associated statement is not prepared"},
    {"HY008", "Operation canceled"},
    {"HY009", "Invalid use of null pointer"},
    {"HY010", "Function sequence error"},
    {"HY011", "Attribute cannot be set now"},
    {"HY012", "Invalid transaction operation code"},
    {"HY013", "Memory management error"},
    {"HY015", "No cursor name available"},
    {"HY016", "Cannot modify an implementation row descriptor"},
    {"HY017", "Invalid use of an automatically allocated descriptor handle"},
    {"HY024", "Invalid attribute value"},
    {"HY090", "Invalid string or buffer length"},
    {"HY091", "Invalid descriptor field identifier"},
    {"HY092", "Invalid attribute/option identifier"},
    {"HY095", "Function type out of range"},
    {"HY096", "Invalid information type"},
    {"HY097", "Column type out of range"},
    {"HY098", "Scope type out of range"},
    {"HY099", "Nullable type out of range"},
    {"HY100", "Uniqueness option type out of range"},
    {"HY101", "Accuracy option type out of range"},
    {"HY103", "Invalid retrieval code"},
    {"HY104", "Invalid precision or scale value"},
    {"HY105", "Invalid parameter type"},
    {"HY106", "Fetch type out of range"},
    {"HY107", "Row value out of range"},
    {"HY109", "Invalid cursor position"},
    {"HY110", "Invalid driver completion"},
    {"HY111", "Invalid bookmark value"},
    {"HYC00", "Optional feature not implemented"},
    {"IM001", "Driver does not support this function"},
    {"IM002", "Data source name not found, and no default driver specified"},
    {"IM003", "Specified driver could not be loaded"},
    {"IM004", "Driver's SQLAllocHandle on SQL_HANDLE_ENV failed"},
    {"IM005", "Driver's SQLAllocHandle on SQL_HANDLE_DBC failed"},
    {"IM006", "Driver's SQLSetConnectAttr failed"},
    {"IM007", "No data source or driver specified; dialog prohibited"},
    {"IM010", "Data source name too long"},
    {"IM012", "DRIVER keyword syntax error"},
};

constexpr bool stateBefore(const OwnMessage& a, const OwnMessage& b) {
  return std::string_view(a.sqlstate) < std::string_view(b.sqlstate);
}
static_assert(std::is_sorted(std::begin(kOwnMessages), std::end(kOwnMessages), stateBefore));

const char* textOf(const char* sqlstate) {
  const auto* found = std::lower_bound(std::begin(kOwnMessages), std::end(kOwnMessages),
                                       OwnMessage{sqlstate, nullptr}, stateBefore);
  const bool known = found != std::end(kOwnMessages) && std::strcmp(found->sqlstate, sqlstate) == 0;
  return known ? found->text : "General error";
}

tagERRBUF* allocateRecord(const char* sqlstate, size_t textLength) noexcept {
  auto* record = static_cast<tagERRBUF*>(std::calloc(1, sizeof(tagERRBUF) + textLength));
  if (!record) return nullptr;
  std::memcpy(record->sqlstate, sqlstate, std::min<size_t>(std::strlen(sqlstate), 5));
  record->row = SQL_NO_ROW_NUMBER;
  record->column = SQL_NO_COLUMN_NUMBER;
  record->textLength = static_cast<unsigned>(textLength);
  return record;
}

// The head is read without the lock to see that there is nothing to free.
void setHead(DMHandle& handle, tagERRBUF* first) {
  __atomic_store_n(&handle.errorQueue, first, __ATOMIC_RELAXED);
}

// Appends; the caller holds the queue's lock.
void append(DMHandle& handle, tagERRBUF* record) {
  record->next = nullptr;
  tagERRBUF* last = handle.errorQueue;
  while (last && last->next) last = last->next;
  if (last) {
    last->next = record;
  } else {
    setHead(handle, record);
  }
  if (record->flags & DM_ERR_UNSETTLED) __atomic_add_fetch(&handle.unsettled, 1, __ATOMIC_RELAXED);
}

void freeRecord(tagERRBUF* record) {
  if (record->flags & DM_ERR_RESERVE) {
    record->flags &= ~DM_ERR_IN_USE;
  } else {
    std::free(record);
  }
}

// The reserve record can be in one place only.
void queueReserve(DMHandle& handle) {
  const ZuCriticalSectionHolder lock(handle.queueLock);
  if (!handle.reserve || handle.reserve->flags & DM_ERR_IN_USE) return;
  handle.reserve->flags |= DM_ERR_IN_USE;
  append(handle, handle.reserve);
}

}  // namespace

tagERRBUF* makeReserve() noexcept {
  tagERRBUF* record = allocateRecord("HY001", sizeof kMemoryText - 1);
  if (!record) return nullptr;
  std::memcpy(record->text, kMemoryText, sizeof kMemoryText);
  record->flags = DM_ERR_RESERVE;
  return record;
}

tagERRBUF* makeRecord(const char* sqlstate, std::string_view text) noexcept {
  tagERRBUF* record = allocateRecord(sqlstate, text.size());
  if (record && !text.empty()) std::memcpy(record->text, text.data(), text.size());
  return record;
}

void queueRecord(DMHandle& handle, tagERRBUF* record) noexcept {
  if (!record) return queueReserve(handle);
  const ZuCriticalSectionHolder lock(handle.queueLock);
  append(handle, record);
}

namespace {

// Whether the driver manager's own words are about texts in UTF-8.
bool speaksUtf8(const DMHandle& handle) noexcept {
  switch (handle.handleType) {
    case DM_CONN: return static_cast<const DMConn&>(handle).isUTF8Driver() != 0;
    case DM_STMT: return static_cast<const DMStmt&>(handle).isUTF8Driver() != 0;
    case DM_DESC: return static_cast<const DMDesc&>(handle).conn->isUTF8Driver() != 0;
    default: return true;
  }
}

tagERRBUF* makeOwnRecord(const DMHandle& handle, const char* sqlstate, std::string_view text) noexcept {
  tagERRBUF* record = allocateRecord(sqlstate, kOwnPrefix.size() + text.size());
  if (!record) return nullptr;
  if (speaksUtf8(handle)) record->flags |= DM_ERR_UTF8;
  std::memcpy(record->text, kOwnPrefix.data(), kOwnPrefix.size());
  std::memcpy(record->text + kOwnPrefix.size(), text.data(), text.size());
  return record;
}

}  // namespace

void postError(DMHandle& handle, const char* sqlstate) noexcept {
  postError(handle, sqlstate, textOf(sqlstate));
}

void postError(DMHandle& handle, const char* sqlstate, std::string_view text) noexcept {
  queueRecord(handle, makeOwnRecord(handle, sqlstate, text));
}

void postForDriver(DMHandle& handle, const char* sqlstate) noexcept {
  tagERRBUF* record = makeOwnRecord(handle, sqlstate, textOf(sqlstate));
  if (record) record->flags |= DM_ERR_UNSETTLED;
  queueRecord(handle, record);
}

SQLRETURN fail(DMHandle& handle, const char* sqlstate) noexcept {
  postError(handle, sqlstate);
  return SQL_ERROR;
}

SQLRETURN fail(DMHandle& handle, const char* sqlstate, std::string_view text) noexcept {
  postError(handle, sqlstate, text);
  return SQL_ERROR;
}

SQLRETURN warn(DMHandle& handle, const char* sqlstate) noexcept {
  postError(handle, sqlstate);
  return SQL_SUCCESS_WITH_INFO;
}

SQLRETURN failForMemory(DMHandle& handle) noexcept {
  queueReserve(handle);
  return SQL_ERROR;
}

tagERRBUF* detachUnsettled(DMHandle& handle) noexcept {
  const ZuCriticalSectionHolder lock(handle.queueLock);
  tagERRBUF* kept = nullptr;
  tagERRBUF** keptEnd = &kept;
  tagERRBUF* taken = nullptr;
  tagERRBUF** takenEnd = &taken;
  for (tagERRBUF* record = handle.errorQueue; record; record = record->next) {
    tagERRBUF**& end = record->flags & DM_ERR_UNSETTLED ? takenEnd : keptEnd;
    *end = record;
    end = &record->next;
  }
  *keptEnd = *takenEnd = nullptr;
  setHead(handle, kept);
  __atomic_store_n(&handle.unsettled, 0, __ATOMIC_RELAXED);
  return taken;
}

void dropUnsettled(DMHandle& handle) noexcept { FreeErrorBuf(detachUnsettled(handle)); }

tagERRBUF* takeFirst(DMHandle& handle) noexcept {
  tagERRBUF* first = handle.errorQueue;
  if (!first) return nullptr;
  setHead(handle, first->next);
  first->next = nullptr;
  return first;
}

void settleErrors(DMHandle& handle) noexcept {
  const ZuCriticalSectionHolder lock(handle.queueLock);
  for (tagERRBUF* record = handle.errorQueue; record; record = record->next)
    record->flags &= ~DM_ERR_UNSETTLED;
  __atomic_store_n(&handle.unsettled, 0, __ATOMIC_RELAXED);
}

}  // namespace dm

using namespace dm;

void DMHandle::VFreeErrors() {
  const ZuCriticalSectionHolder lock(queueLock);
  FreeErrorBuf(errorQueue);
  setHead(*this, nullptr);
  __atomic_store_n(&unsettled, 0, __ATOMIC_RELAXED);
}

tagERRBUF* DMHandle::HoldErrors() {
  const ZuCriticalSectionHolder lock(queueLock);
  __atomic_store_n(&unsettled, 0, __ATOMIC_RELAXED);
  tagERRBUF* held = errorQueue;
  setHead(*this, nullptr);
  return held;
}

void DMHandle::ReleaseErrors(tagERRBUF* held) {
  const ZuCriticalSectionHolder lock(queueLock);
  tagERRBUF** end = &held;
  for (; *end; end = &(*end)->next) {
    if ((*end)->flags & DM_ERR_UNSETTLED) __atomic_add_fetch(&unsettled, 1, __ATOMIC_RELAXED);
  }
  *end = errorQueue;
  setHead(*this, held);
}

extern "C" void FreeErrorBuf(tagERRBUF* first) {
  while (first) {
    tagERRBUF* next = first->next;
    freeRecord(first);
    first = next;
  }
}
