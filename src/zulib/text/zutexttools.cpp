#include "zulib/text/zutexttools.h"

#include <cctype>

#include "zulib/runtime/zuhooks.h"
#include "zulib/text/zudbcs.h"

namespace {

constexpr zuCPType LABEL_CODE_PAGE = zuCPLocale;

bool isTaken(const unsigned char* bitmap, unsigned char key) {
  auto value = static_cast<unsigned char>(std::tolower(key));
  return bitmap[value >> 3] >> (value & 7) & 1;
}

// Fills `arg` in at the first "%s", and writes "%%" as "%". The label comes from outside, so no other
// conversion is done: it stays as it stands.
void formatLabel(unsigned char* out, unsigned long size, const unsigned char* label,
                 const unsigned char* arg) {
  const unsigned char* const end = out + size - 1;
  while (*label && out < end) {
    if (label[0] == '%' && label[1] == 's' && arg) {
      while (*arg && out < end) *out++ = *arg++;
      arg = nullptr;
      label += 2;
    } else {
      if (label[0] == '%' && label[1] == '%') ++label;
      *out++ = *label++;
    }
  }
  *out = 0;
}

// The character that becomes the key of a text that has none.
const unsigned char* chooseKey(const unsigned char* bitmap, const unsigned char* text) {
  for (const unsigned char* p = text; *p; p = zuCharNext(p, LABEL_CODE_PAGE)) {
    if (!zuIsWhiteSpace(p, LABEL_CODE_PAGE) && !isTaken(bitmap, *p)) return p;
  }
  return text;
}

}  // namespace

bool isTrueStr(const unsigned char* s) {
  auto first = javaToUpper(s[0]);
  return first == '1' || first == 'T' || (first == 'O' && javaToUpper(s[1]) == 'N');
}

void getMenuAccelerator(unsigned char* out) { zuhooks::readText(out, ZU_TEXT_ACCELERATOR_MARKERS); }

const unsigned char* findMenuAccelerator(const unsigned char* label) {
  unsigned char markers[zuhooks::kTextSize];
  getMenuAccelerator(markers);
  for (const unsigned char* marker = markers; *marker; ++marker) {
    if (const unsigned char* found = strFind(label, *marker, LABEL_CODE_PAGE)) return found;
  }
  return nullptr;
}

void setAcceleratorKey(unsigned char* bitmap, const unsigned char* label) {
  const unsigned char* marker = findMenuAccelerator(label);
  if (!marker || !marker[1]) return;
  auto value = static_cast<unsigned char>(std::tolower(marker[1]));
  bitmap[value >> 3] = static_cast<unsigned char>(bitmap[value >> 3] | 1u << (value & 7));
}

void makeDialogText(unsigned char* bitmap, unsigned char* label, const unsigned char* arg) {
  unsigned char text[zuhooks::kTextSize - 1];
  unsigned char markers[zuhooks::kTextSize];
  if (arg) {
    formatLabel(text, sizeof text, label, arg);
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
