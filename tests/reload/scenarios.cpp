// What a driver does with the library, as a module that the test opens: a driver too is opened at run time,
// and the library comes with it.

#include "tests/reload/scenarios.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "zulib/codepages/ucnvconv.h"
#include "zulib/errors/zuerror.h"
#include "zulib/os/loading/bosenv.h"
#include "zulib/os/loading/bosload.h"
#include "zulib/os/profiles/zuini.h"
#include "zulib/runtime/zumessages.h"
#include "zulib/text/buttoken.h"
#include "zulib/text/strcase.h"
#include "zulib/text/strfind.h"

namespace {

const unsigned char* bytes(const char* text) { return reinterpret_cast<const unsigned char*>(text); }
const unsigned short* units(const char16_t* text) { return reinterpret_cast<const unsigned short*>(text); }

// A driver's error list for the life of a call.
class Entered : public ZuErrorList {
 public:
  Entered() : ZuErrorList(nullptr, 1) { ZuErrorKeeper::setErrorList(this); }
  Entered(const Entered&) = delete;
  Entered& operator=(const Entered&) = delete;
  ~Entered() override { ZuErrorKeeper::giveUpErrorList(); }
};

bool changesCase() {
  unsigned char text[] = "select \xC3\xA9";
  strUpper(text, 8);
  return std::memcmp(text, "SELECT ", 7) == 0 && strFind(text, 9, bytes("T"), 1, zuCPLocale) == text + 5;
}

bool takesAToken() {
  const Entered list;
  const unsigned char* cursor = bytes("name = 'x'");
  unsigned char token[20];
  return buttoken(token, &cursor, 1, sizeof token, zuCPLocale) == 0 &&
         std::strcmp(reinterpret_cast<char*>(token), "NAME") == 0;
}

bool readsTheEnvironment() {
  const unsigned short* found = bosGetEnv(units(u"PATH"));
  return found && found[0] == static_cast<unsigned char>(std::getenv("PATH")[0]);
}

bool looksForALibrary() {
  const Entered list;
  return !bosLoadLibrary(bytes("libnowhere"), 1) && list.getCount() == 0 && !list.isOutOfMemory();
}

bool reportsAnError() {
  Entered list;
  addError(ZU_MSG_FILE_NOT_RENAMED) << "old name" << units(u"new name");
  return list.getLastError() && !list.isOutOfMemory() && !list.getLastError()->isStatic();
}

bool changesAProfile() {
  const Entered list;
  char path[] = "/tmp/zureloadXXXXXX";
  const int file = mkstemp(path);
  if (file < 0) return false;
  close(file);
  const bool wrote = WritePrivateProfileString(bytes("a"), bytes("k"), bytes("7"), bytes(path)) != 0;
  const bool right = zuGetPrivateProfileInt(bytes("A"), bytes("K"), 1, bytes(path)) == 7;
  unlink(path);
  return wrote && right;
}

bool findsACodePage() {
  char* source = nullptr;
  const bool found = ucnvGetAppCodePage("DSN=a;IACP=2252", 15, &source) == 2252 && source;
  ucnv_free(source);
  return found;
}

constexpr Scenario kScenarios[] = {
    {"case and search", changesCase}, {"token", takesAToken},           {"environment", readsTheEnvironment},
    {"library", looksForALibrary},    {"error record", reportsAnError}, {"profile file", changesAProfile},
    {"code page", findsACodePage},
};

}  // namespace

const Scenario* scenarioTable(unsigned* count) {
  *count = std::size(kScenarios);
  return kScenarios;
}
