#include "text/zuresource.h"

#include <charconv>

#include "text/strcopy.h"

namespace {

// The one place where texts come from. The catalog reader stands on a higher floor; where there is no
// catalog, a text is its number in decimal, so a message can still be looked up by a person.
unsigned long loadText(unsigned char* out, unsigned short id) {
  auto* text = reinterpret_cast<char*>(out);
  char* end = std::to_chars(text, text + zuResourceTextSize - 1, id).ptr;
  *end = 0;
  return static_cast<unsigned long>(end - text);
}

}  // namespace

unsigned long winGetString(unsigned char* out, unsigned short id) {
  unsigned char text[zuResourceTextSize];
  unsigned long length = loadText(text, id);
  strCopy(out, text, length);
  return length;
}

unsigned long winGetString(unsigned short* out, unsigned short id) {
  unsigned char text[zuResourceTextSize];
  unsigned long length = loadText(text, id);
  strCopy(out, text, length);
  return length;
}
