// A GSS library that does as it is told, for what a real one cannot be made to do.

#ifndef ZULIB_TESTS_NET_SCRIPTED_GSS_H
#define ZULIB_TESTS_NET_SCRIPTED_GSS_H

#include <string>
#include <vector>

struct ScriptedGss {
  std::vector<unsigned>
      initResults;  // of gss_init_sec_context, one after the other; the last one again and again
  unsigned importResult = 0;
  unsigned releaseNameResult = 0;
  unsigned minor = 77;
  std::string token;  // what gss_init_sec_context makes
  // What was seen.
  std::string
      calls;  // a letter for each call: i(mport), I with no name type, c(ontext), d(elete), b(uffer), n(ame)
  std::string name;       // as imported, with its terminator
  std::string lastInput;  // the input token
  unsigned flags = 0;
  int live = 0;    // names, contexts and buffers that were not released
  long count = 0;  // of all calls; not atomic: calls that meet lose counts, and are a race
};

// Exported by the library.
extern "C" ScriptedGss* scriptedGss();

#endif
