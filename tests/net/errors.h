// A list that shows each record of this thread with its parameters, SQLSTATE and interface error.

#ifndef ZULIB_TESTS_NET_ERRORS_H
#define ZULIB_TESTS_NET_ERRORS_H

#include <string>

#include "tests/os/support.h"
#include "zulib/runtime/zumessages.h"

namespace nettest {

class Errors : public ZuErrorList {
 public:
  Errors() : ZuErrorList(nullptr, 1) { ZuErrorKeeper::setErrorList(this); }
  ~Errors() override { ZuErrorKeeper::giveUpErrorList(); }

  using ZuErrorList::allocError;
  ZuError* allocError(unsigned short number, const unsigned short*, ErrorType type, unsigned short code,
                      long native) override {
    const bool named = number == ZU_MSG_LIBRARY_NOT_OPENED || number == ZU_MSG_FUNCTION_MISSING;
    return new ZuError(number, ostest::units(named ? u"%s1|%s2" : u"%d1"), type, code, native);
  }

  // The records so far as "number param SQLSTATE/interface error", which it removes; "-" for no parameter.
  std::string take() {
    std::string all;
    for (ZuError* error = getFirstNode(); error; error = getNextNode()) {
      std::string param = ostest::text(error->getErrorText());
      param = param.substr(0, param.find("|%s2"));
      all += (all.empty() ? "" : "; ") + std::to_string(error->getErrorNumber()) + " " +
             (param == "%d1" ? "-" : param);
      if (*error->getInterfaceCode()) all += std::string(" ") + error->getInterfaceCode();
      if (error->getInterfaceError()) all += "/" + std::to_string(error->getInterfaceError());
    }
    if (isOutOfMemory()) all += "out of memory";
    clearErrors();
    return all;
  }
};

}  // namespace nettest

#endif
