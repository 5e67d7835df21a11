// The scenarios of the opened module, by its one exported function.

#ifndef ZULIB_TESTS_RELOAD_SCENARIOS_H
#define ZULIB_TESTS_RELOAD_SCENARIOS_H

struct Scenario {
  const char* name;
  bool (*run)();  // true if all of its work succeeded
};

extern "C" __attribute__((visibility("default"))) const Scenario* scenarioTable(unsigned* count);

#endif
