#include "zulib/errors/zuerror.h"

#include <cstring>

#include "zulib/runtime/zumessages.h"
#include "zulib/text/strcopy.h"

namespace {

const unsigned char* bytes(const char* text) { return reinterpret_cast<const unsigned char*>(text); }
const unsigned short* units(const char16_t* text) { return reinterpret_cast<const unsigned short*>(text); }

constexpr char OUT_OF_MEMORY[] = "Out Of Memory";
constexpr char16_t OUT_OF_MEMORY_W[] = u"Out Of Memory";
constexpr char16_t UNKNOWN[] = u"<unknown>";

// Runs `convert(page)`, and leaves none of the records that it posts on failure. UTF-8 that turns out not to
// be any is tried in the locale's encoding. True when a conversion worked.
template <class Convert>
bool convertQuietly(zuCPType page, Convert&& convert) {
  ZuErrorList* list = ZuErrorKeeper::getErrorList();
  unsigned long count = list ? list->getCount() : 0;
  if (!convert(page)) return true;
  if (!list) return false;
  bool badText = list->getCount() > count && !list->isOutOfMemory();
  list->shortenTo(count);
  if (page != zuCPUTF8 || !badText) return false;
  bool converted = !convert(zuCPLocale);
  if (!converted) list->shortenTo(count);
  return converted;
}

bool convertQuietly(ZuStringW& wide, const unsigned char* text, unsigned long n, zuCPType page) {
  return convertQuietly(page, [&](zuCPType cp) {
    wide.unInitialize();
    return wide.initialize(text, n, cp);
  });
}

ZuError& dummyOfThread() {
  ZuErrorList* list = ZuErrorKeeper::getErrorList();
  return list ? *list->getDummyError() : DummyError;
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
  bool stored = convertQuietly(page, [&](zuCPType cp) { return text.initialize(message, cp); });
  if (!stored) text.initialize(units(UNKNOWN));
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
  if (isStaticRecord) return bytes(memory ? OUT_OF_MEMORY : "");
  return text.asCStr(codePage);
}

const unsigned short* ZuError::getErrorTextW() {
  if (isStaticRecord) return units(memory ? OUT_OF_MEMORY_W : u"");
  const unsigned short* terminated = text.asCStr();
  return terminated ? terminated : units(OUT_OF_MEMORY_W);
}

const char* ZuError::getInterfaceCode() {
  if (isStaticRecord) return codeBuffer;
  std::memcpy(codeText, codeBuffer, codeSize);
  return codeText;
}

void ZuError::setInterfaceCode(const char* code) {
  if (isStaticRecord) return;
  unsigned long n = strnlen(code, codeSize - 1);
  std::memcpy(codeBuffer, code, n);
  codeBuffer[n] = 0;
}

void ZuError::setInterfaceError(unsigned short number) {
  if (!isStaticRecord) interfaceCode = number;
}

int ZuError::appendText(const unsigned char* more) {
  if (isStaticRecord) return 0;
  ZuStringW wide;
  if (!convertQuietly(wide, more, strLen(more), codePage)) return 1;
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
  return *this << ZuSubString(param, param ? strLen(param) : 0, codePage);
}

ZuError& ZuError::operator<<(const ZuSubString& param) {
  if (isStaticRecord) return *this;
  ZuStringW wide;
  bool converted = convertQuietly(wide, param.asPascalStr(), param.getLength(), param.getCodePage());
  return converted ? fill<ZuSubStringW>(wide) : fill(units(UNKNOWN));
}
