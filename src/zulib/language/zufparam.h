// ZufParam: one parameter of a saved query, as a line of the section PARAMETERS:
//
//   PARAMETER.ITEM ('text1', 'text2', 'text3', 'text4', number)
//
// What the texts and the number mean is up to the application. A text with a line feed does not come back
// from a file.
//
// Thread safety: none; one thread at a time.

#ifndef ZULIB_LANGUAGE_ZUFPARAM_H
#define ZULIB_LANGUAGE_ZUFPARAM_H

#include "zulib/runtime/zuapi.h"
#include "zulib/runtime/zuobject.h"
#include "zulib/text/zustring.h"

class ZU_API ZufParam : public ZuObject {
 public:
  ZufParam() = default;
  ZufParam(const ZufParam&) = delete;
  ZufParam& operator=(const ZufParam&) = delete;
  ~ZufParam() override;

  // Takes the texts and the number from a line. Tokens are counted and not looked at: those for which the
  // line is too short are empty and 0. 0; or 1 if an allocation fails, or with error 2701 or 2702 if the
  // number cannot be read.
  [[nodiscard]] int initialize(const ZuSubString& line);

  // Appends the line, with its line feed. 0, or 1 with `line` as it was.
  [[nodiscard]] int getParamLine(ZuString* line) const;

  // In code page 1, without quotes.
  ZuString text1;
  ZuString text2;
  ZuString text3;
  ZuString text4;
  unsigned long number = 0;
};

#endif
