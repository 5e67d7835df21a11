// The list of error records, the way to the calling thread's list, and the functions that post on it.

#include "zulib/errors/zuerror.h"
#include "zulib/runtime/zuhooks.h"

namespace {

constexpr unsigned long FIRST_SIZE = 16;

void discard(ZuError* record) {
  if (record && !record->isStatic()) delete record;
}

}  // namespace

ZuErrorList::ZuErrorList(void* owner, int supportMultiple)
    : owner(owner), supportMultiple(supportMultiple != 0), outOfMemory(false) {
  stopSort();
  sortOnRequest();
  // Without the memory for it, the first record asks again.
  static_cast<void>(setInitialSize(FIRST_SIZE));
}

ZuErrorList::~ZuErrorList() {
  leaveThread();
  clearErrors();
}

// Takes a list that is destroyed while it is pushed out of the thread's stack.
void ZuErrorList::leaveThread() {
  for (ZuErrorList** cell = slot; cell && *cell; cell = &(*cell)->previous) {
    if (*cell == this) {
      *cell = previous;
      break;
    }
  }
  slot = nullptr;
}

ZuError* ZuErrorList::getMemoryError() { return &MemoryError; }
ZuError* ZuErrorList::getDummyError() { return &DummyError; }

ZuError* ZuErrorList::allocError(unsigned short number, const unsigned char* text, zuCPType page,
                                 ErrorType type, unsigned short interfaceError, long native) {
  return new ZuError(number, text, page, type, interfaceError, native);
}

ZuError* ZuErrorList::allocError(unsigned short number, const unsigned short* text, ErrorType type,
                                 unsigned short interfaceError, long native) {
  return new ZuError(number, text, type, interfaceError, native);
}

ZuError* ZuErrorList::getLastError() {
  if (outOfMemory) return getMemoryError();
  return getCount() ? errorAt(getCount() - 1) : nullptr;
}

ZuError* ZuErrorList::removeFirstError() { return removeError(0); }

ZuError* ZuErrorList::removeLastError() { return removeError(getCount() - 1); }

ZuError* ZuErrorList::removeError(unsigned long pos) {
  if (outOfMemory) {
    outOfMemory = false;
    return getMemoryError();
  }
  currentIndex = 0;
  if (getCount() == 0) return nullptr;
  ZuError* record = errorAt(pos);
  removeAtIndex(pos);
  return record;
}

ErrorsMix ZuErrorList::getErrorsMix() const {
  bool errors = false;
  bool warnings = false;
  for (unsigned long i = 0; i < getCount(); ++i) (errorAt(i)->isWarning() ? warnings : errors) = true;
  if (errors) return warnings ? ErrMixBoth : ErrMixErrors;
  return warnings ? ErrMixWarnings : ErrMixNone;
}

bool ZuErrorList::isExistingError() const {
  ErrorsMix mix = getErrorsMix();
  return mix == ErrMixBoth || mix == ErrMixErrors;
}

int ZuErrorList::concatErrors(ZuString* target, unsigned short separator) {
  for (unsigned long i = 0; i < getCount(); ++i) {
    const unsigned char* text = errorAt(i)->getErrorText();
    ZuSubString view(text);
    if (target->assureSpace(view.getLength() + 1)) return 1;
    if (i > 0 && target->concat(static_cast<unsigned char>(separator))) return 1;
    if (target->concat(view)) return 1;
  }
  return 0;
}

void ZuErrorList::setWarningAfterPos(unsigned long pos) {
  for (unsigned long i = pos + 1; i < getCount() && i > pos; ++i) errorAt(i)->setWarning();
}

void ZuErrorList::appendTextStartingAtPos(const unsigned char* text, unsigned long pos) {
  for (unsigned long i = pos; i < getCount(); ++i) {
    if (errorAt(i)->appendText(text)) return;
  }
}

void ZuErrorList::moveLastErrorToPos(unsigned long pos) {
  if (pos >= getCount()) return;
  ZuError* last = errorAt(getCount() - 1);
  removeAtIndex(getCount() - 1);
  // The cell that was just given up is room enough.
  static_cast<void>(addAtIndex(last, pos));
}

ZuError* ZuErrorList::getFirstNode() { return getNodeAtPos(0); }

ZuError* ZuErrorList::getNextNode() {
  if (currentIndex >= getCount()) return nullptr;
  return errorAt(currentIndex++);
}

ZuError* ZuErrorList::getNodeAtPos(unsigned long pos) {
  if (pos >= getCount()) return nullptr;
  currentIndex = static_cast<unsigned short>(pos + 1);
  return errorAt(pos);
}

void ZuErrorList::clearErrors() {
  outOfMemory = false;
  shortenTo(0);
  displaced.deleteNodes();
}

void ZuErrorList::shortenTo(unsigned long n) {
  while (getCount() > n) {
    ZuError* record = errorAt(getCount() - 1);
    removeAtIndex(getCount() - 1);
    discard(record);
  }
}

void ZuErrorList::memoryIsGone() {
  if (!supportMultiple && !outOfMemory && isExistingError()) {
    ZuError* replaced = removeLastError();
    if (!replaced->isStatic()) displaced.append(replaced);
  }
  outOfMemory = true;
}

ZuErrorList* ZuErrorKeeper::getErrorList() {
  return static_cast<ZuErrorList*>(mdsGetPerThreadData(PerThreadErrorList));
}

ZuError* ZuErrorKeeper::getLastError() {
  ZuErrorList* list = getErrorList();
  return list ? list->getLastError() : nullptr;
}

unsigned short ZuErrorKeeper::getLastErrorNumber() {
  ZuError* last = getLastError();
  return last ? last->getErrorNumber() : static_cast<unsigned short>(0);
}

long ZuErrorKeeper::getLastNativeError() {
  ZuError* last = getLastError();
  return last ? last->getNativeError() : 0;
}

void ZuErrorKeeper::setLastErrorType(ErrorType type) {
  ZuError* last = getLastError();
  if (!last) return;
  if (type == ErrTypeWarning) {
    last->setWarning();
  } else {
    last->resetWarning();
  }
}

ZuError& ZuErrorKeeper::addError(ZuError* record) {
  ZuErrorList* list = getErrorList();
  if (!list) {
    discard(record);
    return DummyError;
  }
  bool refused = !list->isSupportMultipleErrors() && list->isExistingError();
  if (!record || refused || list->add(record)) {
    discard(record);
    return *list->getDummyError();
  }
  return *record;
}

void ZuErrorKeeper::appendTextToLastError(const unsigned char* text) {
  ZuError* last = getLastError();
  if (last && !last->appendText(text)) last->resetParamCount();
}

void ZuErrorKeeper::appendTextToLastError(const unsigned short* text) {
  ZuError* last = getLastError();
  if (last && !last->appendText(text)) last->resetParamCount();
}

void ZuErrorKeeper::clearLastError() {
  if (ZuErrorList* list = getErrorList()) discard(list->removeLastError());
}

void ZuErrorKeeper::addMemoryError() {
  if (ZuErrorList* list = getErrorList()) list->memoryIsGone();
}

void ZuErrorKeeper::setErrorList(ZuErrorList* list) {
  if (mdsPerThreadInit()) setErrorList(list, getThreadInfo());
}

void ZuErrorKeeper::setErrorList(ZuErrorList* list, ZuThreadInfo* info) {
  void** cell = info->getThreadDataAddress(PerThreadErrorList);
  list->previous = static_cast<ZuErrorList*>(*cell);
  *cell = list;
  list->slot = reinterpret_cast<ZuErrorList**>(cell);
}

ZuErrorList* ZuErrorKeeper::giveUpErrorList() {
  ZuThreadInfo* info = getThreadInfo();
  ZuErrorList* list = info ? giveUpErrorList(info) : nullptr;
  mdsPerThreadTerm();
  return list;
}

ZuErrorList* ZuErrorKeeper::giveUpErrorList(ZuThreadInfo* info) {
  auto* list = static_cast<ZuErrorList*>(info->getThreadData(PerThreadErrorList));
  if (!list) return nullptr;
  info->setThreadData(PerThreadErrorList, list->previous);
  list->previous = nullptr;
  list->slot = nullptr;
  return list;
}

void* ZuErrorKeeper::getOwnerOfList() {
  ZuErrorList* list = getErrorList();
  return list ? list->getOwnerOfList() : nullptr;
}

bool ZuErrorKeeper::isExistingError() {
  ZuErrorList* list = getErrorList();
  return list && list->isExistingError();
}

namespace {

// A text of the catalog as a value.
class TextOf {
 public:
  explicit TextOf(unsigned short id) { zuhooks::readText(text, id); }
  operator const unsigned short*() const { return text; }

 private:
  unsigned short text[zuhooks::kTextSize];
};

ZuError& post(unsigned short id, const unsigned short* text, ErrorType type) {
  ZuErrorList* list = ZuErrorKeeper::getErrorList();
  return list ? ZuErrorKeeper::addError(list->allocError(id, text, type, 0, 0)) : DummyError;
}

ZuError& post(unsigned short id, long native, const unsigned char* text, ErrorType type, zuCPType page) {
  ZuErrorList* list = ZuErrorKeeper::getErrorList();
  return list ? ZuErrorKeeper::addError(list->allocError(id, text, page, type, 0, native)) : DummyError;
}

}  // namespace

ZuError& addError(unsigned short id) { return post(id, TextOf(id), ErrTypeError); }

ZuError& addError(unsigned short id, const unsigned short* text) { return post(id, text, ErrTypeError); }

ZuError& addError(unsigned short id, const unsigned char* text) {
  return post(id, 0, text, ErrTypeError, zuCPLocale);
}

ZuError& addWarning(unsigned short id) { return post(id, TextOf(id), ErrTypeWarning); }

ZuError& addDatabaseError(unsigned short number, long native, const unsigned char* text, ErrorType type,
                          zuCPType page) {
  return post(number, native, text, type, page);
}

void appendTextToLastError(unsigned short id) { ZuErrorKeeper::appendTextToLastError(TextOf(id)); }

void appendTextToErrorAtPos(unsigned short id, unsigned long pos) {
  ZuErrorList* list = ZuErrorKeeper::getErrorList();
  if (!list || pos >= list->getCount()) return;
  auto* record = static_cast<ZuError*>(list->at(pos));
  if (!record->appendText(TextOf(id))) record->resetParamCount();
}

namespace zuerrors {
namespace {

void postReport(const zuhooks::Report& report) {
  ZuError& record = addError(report.number);
  if (report.param)
    record << ZuSubString(report.param, report.paramLength, static_cast<zuCPType>(report.codePage));
  if (report.appended) static_cast<void>(record.appendText(report.appended));
  if (report.appendedW) static_cast<void>(record.appendText(report.appendedW));
  if (report.sqlstate) record.setInterfaceCode(report.sqlstate);
  if (report.interfaceError) record.setInterfaceError(report.interfaceError);
}

}  // namespace

ReporterStart::ReporterStart() { zuhooks::setReporter(postReport, ZuErrorKeeper::addMemoryError); }

}  // namespace zuerrors
