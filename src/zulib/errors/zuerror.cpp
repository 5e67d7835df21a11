#include "zulib/errors/zuerror.h"

#include <cstring>

#include "zulib/runtime/zuhooks.h"
#include "zulib/runtime/zumessages.h"
#include "zulib/text/strcopy.h"

namespace {

const unsigned char* bytes(const char* text) { return reinterpret_cast<const unsigned char*>(text); }
const unsigned short* units(const char16_t* text) { return reinterpret_cast<const unsigned short*>(text); }

constexpr char kOutOfMemory[] = "Out Of Memory";
constexpr char16_t kOutOfMemoryW[] = u"Out Of Memory";
constexpr char16_t kUnknown[] = u"<unknown>";

// Runs `convert(page)` and removes the records that it posts on failure. Text that turns out not to be UTF-8
// is tried in the locale's encoding. True if a conversion succeeded.
template <class Convert>
bool convertQuietly(zuCPType page, Convert&& convert) {
  ZuErrorList* const list = ZuErrorKeeper::getErrorList();
  const unsigned long count = list ? list->getCount() : 0;
  if (!convert(page)) return true;
  if (!list) return false;
  const bool badText = list->getCount() > count && !list->isOutOfMemory();
  list->shortenTo(count);
  if (page != zuCPUTF8 || !badText) return false;
  const bool converted = !convert(zuCPLocale);
  if (!converted) list->shortenTo(count);
  return converted;
}

bool convertQuietly(ZuStringW& wide, const unsigned char* text, unsigned long n, zuCPType page) {
  return convertQuietly(page, [&](zuCPType cp) {
    wide.unInitialize();
    return wide.initialize(text, n, cp);
  });
}

// Bytes of a terminated text: in UCS-2 a zero unit ends it.
unsigned long lengthOf(const unsigned char* text, zuCPType page) {
  if (!text) return 0;
  return page == zuCPUCS2 ? 2 * zuCharLen(text, page) : strLen(text);
}

ZuError& dummyOfThread() {
  ZuErrorList* const list = ZuErrorKeeper::getErrorList();
  return list ? *list->getDummyError() : DummyError;
}

constexpr unsigned long kFirstSize = 16;

void discard(ZuError* record) {
  if (record && !record->isStatic()) delete record;
}

}  // namespace

ZuError::ZuError(unsigned short number, const unsigned char* message, zuCPType page, ErrorType type,
                 unsigned short interfaceError, long native)
    : nativeError(native),
      errorNumber(number),
      interfaceCode(interfaceError),
      codePage(page),
      warning(type == ErrTypeWarning),
      isStaticRecord(false),
      memory(false),
      dummy(false) {
  const bool stored = convertQuietly(page, [&](zuCPType cp) { return text.initialize(message, cp); });
  if (!stored) text.initialize(units(kUnknown));
}

ZuError::ZuError(unsigned short number, const unsigned short* message, ErrorType type,
                 unsigned short interfaceError, long native)
    : nativeError(native),
      errorNumber(number),
      interfaceCode(interfaceError),
      codePage(zuCPUTF8),
      warning(type == ErrTypeWarning),
      isStaticRecord(false),
      memory(false),
      dummy(false) {
  text.initialize(message);
}

ZuError::ZuError(ErrSpecialError special)
    : errorNumber(special == ErrSpecialMemory ? ZU_MSG_OUT_OF_MEMORY : 0),
      warning(false),
      isStaticRecord(true),
      memory(special == ErrSpecialMemory),
      dummy(special == ErrSpecialDummy) {}

ZuError::~ZuError() = default;

void ZuError::setWarning() {
  if (!isStaticRecord) warning = true;
}

void ZuError::resetWarning() {
  if (!isStaticRecord) warning = false;
}

void ZuError::resetParamCount() {
  if (!isStaticRecord) text.resetParamCount();
}

const unsigned char* ZuError::getErrorText() {
  if (isStaticRecord) return bytes(memory ? kOutOfMemory : "");
  return text.asCStr(codePage);
}

const unsigned short* ZuError::getErrorTextW() {
  if (isStaticRecord) return units(memory ? kOutOfMemoryW : u"");
  const unsigned short* const terminated = text.asCStr();
  return terminated ? terminated : units(kOutOfMemoryW);
}

const char* ZuError::getInterfaceCode() {
  if (isStaticRecord) return codeBuffer;
  std::memcpy(codeText, codeBuffer, kCodeSize);
  return codeText;
}

void ZuError::setInterfaceCode(const char* code) {
  if (isStaticRecord) return;
  const unsigned long n = strnlen(code, kCodeSize - 1);
  std::memcpy(codeBuffer, code, n);
  codeBuffer[n] = 0;
}

void ZuError::setInterfaceError(unsigned short number) {
  if (!isStaticRecord) interfaceCode = number;
}

int ZuError::appendText(const unsigned char* more) {
  if (isStaticRecord) return 0;
  ZuStringW wide;
  if (!convertQuietly(wide, more, lengthOf(more, codePage), codePage)) return 1;
  return text.concat(static_cast<const ZuSubStringW&>(wide));
}

int ZuError::appendText(const unsigned short* more) {
  if (isStaticRecord) return 0;
  return text.concat(more);
}

template <class Param>
ZuError& ZuError::fill(const Param& param) {
  if (isStaticRecord) return *this;
  return text.setParam(param) ? dummyOfThread() : *this;
}

ZuError& ZuError::operator<<(const unsigned short* param) { return fill(param); }
ZuError& ZuError::operator<<(unsigned long param) { return fill(param); }
ZuError& ZuError::operator<<(long param) { return fill(param); }
ZuError& ZuError::operator<<(const ZuSubStringW& param) { return fill(param); }

ZuError& ZuError::operator<<(const unsigned char* param) {
  return *this << ZuSubString(param, lengthOf(param, codePage), codePage);
}

ZuError& ZuError::operator<<(const ZuSubString& param) {
  if (isStaticRecord) return *this;
  ZuStringW wide;
  const bool converted = convertQuietly(wide, param.asPascalStr(), param.getLength(), param.getCodePage());
  return converted ? fill<ZuSubStringW>(wide) : fill(units(kUnknown));
}

ZuErrorList::ZuErrorList(void* owner, int supportMultiple)
    : owner(owner), supportMultiple(supportMultiple != 0), outOfMemory(false) {
  stopSort();
  sortOnRequest();
  // If this fails, adding the first record tries again.
  static_cast<void>(setInitialSize(kFirstSize));
}

ZuErrorList::~ZuErrorList() {
  leaveThread();
  clearErrors();
}

// Removes a list that is destroyed while it is pushed from the thread's stack.
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
  ZuError* const record = errorAt(pos);
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
  const ErrorsMix mix = getErrorsMix();
  return mix == ErrMixBoth || mix == ErrMixErrors;
}

int ZuErrorList::concatErrors(ZuString* target, unsigned short separator) {
  for (unsigned long i = 0; i < getCount(); ++i) {
    const ZuSubString view(errorAt(i)->getErrorText());
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
  // A record that cannot be extended keeps its text, and the rest are extended all the same.
  for (unsigned long i = pos; i < getCount(); ++i) static_cast<void>(errorAt(i)->appendText(text));
}

void ZuErrorList::moveLastErrorToPos(unsigned long pos) {
  if (pos >= getCount()) return;
  ZuError* const last = errorAt(getCount() - 1);
  removeAtIndex(getCount() - 1);
  // The array has room: it has just removed a record.
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
  displacedCount = 0;
}

void ZuErrorList::shortenTo(unsigned long n) {
  while (getCount() > n) {
    ZuError* const record = errorAt(getCount() - 1);
    removeAtIndex(getCount() - 1);
    discard(record);
  }
}

void ZuErrorList::displace(ZuError* record) {
  if (displacedCount == kMostDisplaced) {
    delete displaced.removeFirstNode();
  } else {
    ++displacedCount;
  }
  displaced.append(record);
}

void ZuErrorList::replaceByMemoryError() {
  if (!supportMultiple && !outOfMemory && isExistingError()) {
    ZuError* const replaced = removeLastError();
    if (!replaced->isStatic()) displace(replaced);
  }
  outOfMemory = true;
}

ZuErrorList* ZuErrorKeeper::getErrorList() {
  return static_cast<ZuErrorList*>(mdsGetPerThreadData(PerThreadErrorList));
}

ZuError* ZuErrorKeeper::getLastError() {
  ZuErrorList* const list = getErrorList();
  return list ? list->getLastError() : nullptr;
}

unsigned short ZuErrorKeeper::getLastErrorNumber() {
  ZuError* const last = getLastError();
  return last ? last->getErrorNumber() : static_cast<unsigned short>(0);
}

long ZuErrorKeeper::getLastNativeError() {
  ZuError* const last = getLastError();
  return last ? last->getNativeError() : 0;
}

void ZuErrorKeeper::setLastErrorType(ErrorType type) {
  ZuError* const last = getLastError();
  if (!last) return;
  if (type == ErrTypeWarning) {
    last->setWarning();
  } else {
    last->resetWarning();
  }
}

ZuError& ZuErrorKeeper::addError(ZuError* record) {
  ZuErrorList* const list = getErrorList();
  if (!list) {
    discard(record);
    return DummyError;
  }
  const bool refused = !list->isSupportMultipleErrors() && list->isExistingError();
  if (!record || refused || list->add(record)) {
    discard(record);
    return *list->getDummyError();
  }
  return *record;
}

void ZuErrorKeeper::appendTextToLastError(const unsigned char* text) {
  ZuError* const last = getLastError();
  if (last && !last->appendText(text)) last->resetParamCount();
}

void ZuErrorKeeper::appendTextToLastError(const unsigned short* text) {
  ZuError* const last = getLastError();
  if (last && !last->appendText(text)) last->resetParamCount();
}

void ZuErrorKeeper::clearLastError() {
  if (ZuErrorList* list = getErrorList()) discard(list->removeLastError());
}

void ZuErrorKeeper::addMemoryError() {
  if (ZuErrorList* list = getErrorList()) list->replaceByMemoryError();
}

void ZuErrorKeeper::setErrorList(ZuErrorList* list) {
  if (mdsPerThreadInit()) setErrorList(list, getThreadInfo());
}

void ZuErrorKeeper::setErrorList(ZuErrorList* list, ZuThreadInfo* info) {
  void** const cell = info->getThreadDataAddress(PerThreadErrorList);
  list->previous = static_cast<ZuErrorList*>(*cell);
  *cell = list;
  list->slot = reinterpret_cast<ZuErrorList**>(cell);
}

ZuErrorList* ZuErrorKeeper::giveUpErrorList() {
  ZuThreadInfo* const info = getThreadInfo();
  ZuErrorList* const list = info ? giveUpErrorList(info) : nullptr;
  mdsPerThreadTerm();
  return list;
}

ZuErrorList* ZuErrorKeeper::giveUpErrorList(ZuThreadInfo* info) {
  auto* const list = static_cast<ZuErrorList*>(info->getThreadData(PerThreadErrorList));
  if (!list) return nullptr;
  info->setThreadData(PerThreadErrorList, list->previous);
  list->previous = nullptr;
  list->slot = nullptr;
  return list;
}

void* ZuErrorKeeper::getOwnerOfList() {
  ZuErrorList* const list = getErrorList();
  return list ? list->getOwnerOfList() : nullptr;
}

bool ZuErrorKeeper::isExistingError() {
  ZuErrorList* const list = getErrorList();
  return list && list->isExistingError();
}

namespace {

// A text of the catalog.
class TextOf {
 public:
  explicit TextOf(unsigned short id) { zuhooks::readText(text, id); }
  operator const unsigned short*() const { return text; }

 private:
  unsigned short text[zuhooks::kTextSize];
};

ZuError& post(unsigned short id, const unsigned short* text, ErrorType type) {
  ZuErrorList* const list = ZuErrorKeeper::getErrorList();
  return list ? ZuErrorKeeper::addError(list->allocError(id, text, type, 0, 0)) : DummyError;
}

ZuError& post(unsigned short id, long native, const unsigned char* text, ErrorType type, zuCPType page) {
  ZuErrorList* const list = ZuErrorKeeper::getErrorList();
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
  ZuErrorList* const list = ZuErrorKeeper::getErrorList();
  if (!list || pos >= list->getCount()) return;
  auto* const record = static_cast<ZuError*>(list->at(pos));
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
