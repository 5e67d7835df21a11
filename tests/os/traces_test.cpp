// What the operating-system layer prints under the trace bits.

#include <dlfcn.h>

#include "tests/os/support.h"
#include "zulib/os/catalogs/boscatalog.h"
#include "zulib/os/files/bosfile.h"
#include "zulib/os/files/bospath.h"
#include "zulib/os/loading/bosload.h"
#include "zulib/os/profiles/zuini.h"

using namespace ostest;

namespace {

class Traces : public OsTest {};

TEST_F(Traces, TellWhatIsDone) {
  writeFile("own", "[a]\nk=v\n");
  writeFile("libtext.so", "no library");
  set("ODBCINI", "own");
  set("LD_LIBRARY_PATH", directory.c_str());
  set("LD_RUN_PATH", nullptr);
  set("ZULIB", nullptr);
  set("LANG", nullptr);
  ZuIniFileCache cache(bytes("own"));
  const nl_catd catalog = OpenStrings(BZUHINST, nullptr);
  unsigned char out[bosPathSize];
  int handle = 0;
  const auto read = [&](const char* key) {
    cache.bosGetProfileString(bytes("a"), key ? bytes(key) : nullptr, bytes("?"), out, 50);
  };
  const struct {
    const char* bits;
    std::function<void()> work;
    std::string printed;
  } cases[] = {
      {"1", [&] { bosFileOpen(bytes(".odbc.ini"), bosOpenMapSpecial | bosOpenResolveOnly, &handle); },
       "bosfopen - File:.odbc.ini\nbosfopen: Replacing .odbc.ini with own\n"},
      {"2", [&] { bosLocateFile(out, bytes("none"), bosLocateLoadPath); },
       "LocateFile: " + directory + "/none\nLocateFile: " + directory +
           "/../none\nLocateFile: /usr/local/lib/none\n"
           "LocateFile: /usr/local/lib/../none\n"},
      {"4", [&] { bosLoadLibrary(bytes("libnone "), 0); },
       "LoadLibrary: Searching for libnone.so.\nUnable to open Shared Library: libnone.so\n"},
      {"8", [&] { LoadStringFromOpenFile(catalog, 1509, out, 10); },
       "LoadStringFromOpenFile: idResource=1509\n"
       "LoadStringFromOpenFile: Lookup returns: The file %s1 was not found.\n"},
      {"8", [] { CloseStrings(OpenStrings("x", nullptr)); },
       "OpenStrings: HINST=x\nOpenStrings: Default LC_MESSAGES=C\nOpenStrings: Using LC_MESSAGES=C\n"},
      {"10", [&] { read(nullptr); },
       "GetProfileString: Multi-Entry Output Requested.\nGetProfileString: Fecthing all entries for a\n"
       "GetProfileString: Section a found.\nGetProfileString: Entry k Len=1\n"
       "GetProfileString: Return Len=3 returnBuf=k\n"},
      {"10", [&] { cache.bosPutProfileString(bytes("a"), bytes("k"), bytes("w")); },
       "PutProfileString: Updating Entry Value with: w\nPutProfileString: Updated FileCache: Len=8\n"
       "PutProfileString: Updated FileCache:\n|->[a]\nk=w\n\n"},
      {"20", [&] { read("k"); },
       "GetProfileString: Section a found.\nGetProfileString: Entry k found.\n"
       "GetProfileString: Value=w\nGetProfileString: Return Len=1 returnBuf=w\n"},
      {"80", [] { ZuIniFileCache(bytes("own")); }, "ZuIniOpen: File:own \nZuIniOpen: File:own FileSize 8\n"},
      {"100", [] { bosexist(bytes("own")); }, "bosexist: Name=own  exists: 1\n"},
      {"400", [&] { bospath(out, bytes("/d"), bytes("f"), bytes("t")); },
       "BOSPATH: dir:/d name:f default_ext:t\nbospath: after bosfpath path:/d/f.t\n"},
  };
  for (const auto& c : cases) EXPECT_EQ(traceOf(c.bits, c.work), c.printed);
  CloseStrings(catalog);

  const std::string failure = traceOf("4", [] { bosLoadLibrary(bytes("libtext"), 0); });
  const std::string begin =
      "LoadLibrary: Searching for libtext.so.\nLoadLibrary: Found library libtext.so.\n"
      "Unable to open Shared Library:libtext.so\nLoader Error: ";
  EXPECT_EQ(failure.substr(0, begin.size()), begin);
}

}  // namespace
