#include "zulib/text/zutexttools.h"

#include <algorithm>
#include <cctype>
#include <cstring>

#include "zulib/runtime/zuhooks.h"
#include "zulib/text/zudbcs.h"

namespace {

constexpr zuCPType kLabelCodePage = zuCPLocale;

bool isTaken(const unsigned char* bitmap, unsigned char key) {
  const auto value = static_cast<unsigned char>(std::tolower(key));
  return bitmap[value >> 3] >> (value & 7) & 1;
}

// Decimal digits at `*p`, at most kMostField; `*p` moves past them.
unsigned long takeCount(const unsigned char** p) {
  constexpr unsigned long kMostField = zuhooks::kTextSize;
  unsigned long count = 0;
  for (; **p >= '0' && **p <= '9'; ++*p) count = std::min(10 * count + (**p - '0'), kMostField);
  return count;
}

// A conversion of a text as sprintf has it: "%", flags, width, "." and precision, "s".
struct TextField {
  bool leftJustified = false;
  unsigned long width = 0;
  unsigned long precision = ~0UL;

  // Reads the field at `*p` and moves `*p` past it; false, with `*p` as it was, if none is there.
  bool read(const unsigned char** p) {
    const unsigned char* at = *p;
    if (*at++ != '%') return false;
    for (; *at == '-' || *at == ' ' || *at == '+' || *at == '#' || *at == '0'; ++at)
      leftJustified |= *at == '-';
    width = takeCount(&at);
    if (*at == '.') precision = takeCount(&++at);
    if (*at++ != 's') return false;
    *p = at;
    return true;
  }
};

// A buffer that takes what fits and drops the rest.
class BoundedText {
 public:
  BoundedText(unsigned char* out, unsigned long size) : out(out), end(out + size - 1) {}
  void put(unsigned char byte) {
    if (out < end) *out++ = byte;
  }
  void blanks(unsigned long n) {
    while (n-- > 0) put(' ');
  }
  void terminate() { *out = 0; }

 private:
  unsigned char* out;
  unsigned char* const end;
};

// Fills `arg` in at the first "%s", and writes "%%" as "%". The label comes from outside, so no other
// conversion is done: it stays as it is.
void formatLabel(BoundedText out, const unsigned char* label, const unsigned char* arg) {
  while (*label) {
    TextField field;
    if (arg && field.read(&label)) {
      const unsigned long n = strnlen(reinterpret_cast<const char*>(arg), field.precision);
      const unsigned long padding = field.width > n ? field.width - n : 0;
      if (!field.leftJustified) out.blanks(padding);
      for (unsigned long i = 0; i < n; ++i) out.put(arg[i]);
      if (field.leftJustified) out.blanks(padding);
      arg = nullptr;
    } else {
      if (label[0] == '%' && label[1] == '%') ++label;
      out.put(*label++);
    }
  }
  out.terminate();
}

// The character that becomes the key of a text that has none.
const unsigned char* chooseKey(const unsigned char* bitmap, const unsigned char* text) {
  for (const unsigned char* p = text; *p; p = zuCharNext(p, kLabelCodePage)) {
    if (!zuIsWhiteSpace(p, kLabelCodePage) && !isTaken(bitmap, *p)) return p;
  }
  return text;
}

}  // namespace

bool isTrueStr(const unsigned char* s) {
  const auto first = javaToUpper(s[0]);
  return first == '1' || first == 'T' || (first == 'O' && javaToUpper(s[1]) == 'N');
}

void getMenuAccelerator(unsigned char* out) {
  zuhooks::readText(out, ZU_TEXT_ACCELERATOR_MARKERS);
  // Without a catalog the text is its number, and a digit marks no key.
  if (std::isdigit(*out)) *out = 0;
}

const unsigned char* findMenuAccelerator(const unsigned char* label) {
  unsigned char markers[zuhooks::kTextSize];
  getMenuAccelerator(markers);
  for (const unsigned char* marker = markers; *marker; ++marker) {
    if (const unsigned char* found = strFind(label, *marker, kLabelCodePage)) return found;
  }
  return nullptr;
}

void setAcceleratorKey(unsigned char* bitmap, const unsigned char* label) {
  const unsigned char* marker = findMenuAccelerator(label);
  if (!marker || !marker[1]) return;
  const auto value = static_cast<unsigned char>(std::tolower(marker[1]));
  bitmap[value >> 3] = static_cast<unsigned char>(bitmap[value >> 3] | 1u << (value & 7));
}

void makeDialogText(unsigned char* bitmap, unsigned char* label, const unsigned char* arg) {
  unsigned char text[zuhooks::kTextSize - 1];
  unsigned char markers[zuhooks::kTextSize];
  if (arg) {
    formatLabel(BoundedText(text, sizeof text), label, arg);
  } else {
    strCopy(text, sizeof text, label);
  }
  getMenuAccelerator(markers);
  if (!*text || !*markers || findMenuAccelerator(text)) {
    strCopy(label, text, strLen(text));
  } else {
    const unsigned char* key = chooseKey(bitmap, text);
    unsigned char* out = strCopy(label, text, static_cast<unsigned long>(key - text));
    *out++ = *markers;
    strCopy(out, key, strLen(key));
  }
  setAcceleratorKey(bitmap, label);
}
