#include "tests/support/server_process.h"

#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

ServerProcess::ServerProcess(const std::string& script, const std::string& word) {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) return;
  const std::string command = ZULIB_TEST_SUPPORT "/" + script;
  keeper = fork();
  if (keeper == 0) {
    dup2(ends[1], STDIN_FILENO);
    dup2(ends[1], STDOUT_FILENO);
    execl("/bin/sh", "sh", "-c", ("exec sh " + command).c_str(), nullptr);
    _exit(127);
  }
  close(ends[1]);
  lifeline = ends[0];
  char bytes[512];
  ssize_t n = 0;
  while (output.rfind(word + ' ', 0) != 0 && (n = read(lifeline, bytes, sizeof bytes)) > 0)
    output.append(bytes, static_cast<std::size_t>(n));
  if (output.rfind(word + ' ', 0) == 0)
    found = output.substr(word.size() + 1, output.find('\n') - word.size() - 1);
}

ServerProcess::~ServerProcess() {
  close(lifeline);
  waitpid(keeper, nullptr, 0);
}
