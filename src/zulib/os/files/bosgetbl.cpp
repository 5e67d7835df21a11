#include "zulib/os/files/bosgetbl.h"

namespace {

constexpr unsigned char kEndOfText = 0x1A;
constexpr unsigned char kComment = ';';

bool isEnd(unsigned char byte) { return byte == 0 || byte == kEndOfText; }

// The quotes that are open. At the inner level only the inner quote means anything.
class QuoteLevels {
 public:
  void pass(unsigned char byte) {
    if (byte != '\'' && byte != '"') return;
    if (inner) {
      if (byte == inner) inner = 0;
    } else if (!outer) {
      outer = byte;
    } else if (byte == outer) {
      outer = 0;
    } else {
      inner = byte;
    }
  }
  bool isOutside() const { return outer == 0; }

 private:
  unsigned char outer = 0;
  unsigned char inner = 0;
};

}  // namespace

void bosgetbl(const unsigned char* text, unsigned long* pos, unsigned char* out, unsigned long size,
              long* status) {
  const unsigned char* p = text + *pos;
  if (isEnd(*p)) {
    *status = bosLineEnd;
    return;
  }
  QuoteLevels quotes;
  unsigned long length = 0;
  bool comment = false;
  for (; !isEnd(*p); ++p) {
    if (*p == '\n' && quotes.isOutside()) break;
    const bool endsLine = *p == '\r' && p[1] == '\n' && quotes.isOutside();
    if (comment || endsLine) continue;
    if (length == size) {
      if (size > 0) out[size - 1] = 0;
      *status = bosLineTooLong;
      return;
    }
    comment = length == 0 && *p == kComment;
    quotes.pass(*p);
    out[length++] = *p;
  }
  if (*p == '\n') ++p;
  if (length < size) out[length] = 0;
  *pos = static_cast<unsigned long>(p - text);
  *status = static_cast<long>(length);
}
