// A shell script that runs a server for as long as its standard input is open: it ends with the object, or
// with the program, however that ends.

#ifndef ZULIB_TESTS_SUPPORT_SERVER_PROCESS_H
#define ZULIB_TESTS_SUPPORT_SERVER_PROCESS_H

#include <string>

class ServerProcess {
 public:
  // Runs tests/support/SCRIPT and waits until it has printed a line that begins with `word`, or has ended.
  ServerProcess(const std::string& script, const std::string& word);
  ServerProcess(const ServerProcess&) = delete;
  ServerProcess& operator=(const ServerProcess&) = delete;
  ~ServerProcess();

  // What follows the word; empty if the server does not run.
  const std::string& value() const { return found; }
  const std::string& failure() const { return output; }

 private:
  std::string output, found;
  int lifeline = -1;
  int keeper = -1;
};

#endif
