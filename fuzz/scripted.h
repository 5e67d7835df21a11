// What the targets share that run an application over the scripted driver of the tests.

#ifndef ZULIB_FUZZ_SCRIPTED_H
#define ZULIB_FUZZ_SCRIPTED_H

#include <cstdlib>
#include <string>

#include "tests/support/scripted_fixture.h"

// The last statement that the driver ran, and its parameters.
inline std::string lastExecution(DriverScript& script) {
  const ScriptExecution execution = script.executed().back();
  std::string out = execution.text;
  for (const std::string& parameter : execution.parameters) out += " | " + parameter;
  return out;
}

// A target says by GoogleTest what is wrong. Outside of a test that ends the program.
inline void endProgramOnFailure() {
  if (!testing::UnitTest::GetInstance()->current_test_info() && testing::Test::HasFailure()) std::abort();
}

#endif
