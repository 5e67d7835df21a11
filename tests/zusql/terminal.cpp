#include "tests/zusql/terminal.h"

#include <sys/wait.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <functional>
#include <sstream>
#include <thread>

namespace {

std::string quoted(const std::string& text) {
  std::string all = "'";
  for (const char c : text) all += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return all + "'";
}

std::string joined(const std::vector<std::string>& words) {
  std::string all;
  for (const std::string& word : words) all += quoted(word) + " ";
  return all;
}

// Waits until the condition holds; false if it does not in time.
bool comesTrue(const std::function<bool()>& condition) {
  constexpr std::chrono::seconds kLongest{30};
  constexpr std::chrono::milliseconds kBetween{30};
  const auto end = std::chrono::steady_clock::now() + kLongest;
  while (!condition()) {
    if (std::chrono::steady_clock::now() >= end) return false;
    std::this_thread::sleep_for(kBetween);
  }
  return true;
}

std::string contents(const std::string& path) {
  std::ostringstream all;
  all << std::ifstream(path).rdbuf();
  return all.str();
}

}  // namespace

std::string outputOf(const std::vector<std::string>& command, const std::string& input, int* status) {
  // The leak detector's own tracer crashes now and then at the end of a process that has unloaded a driver.
  // Leaks are looked for in the test program.
  const std::string line = "printf %s " + quoted(input) + " | ASAN_OPTIONS=detect_leaks=0 timeout 120 " +
                           joined(command) + " 2>&1";
  std::FILE* const pipe = popen(line.c_str(), "r");
  if (!pipe) return "popen failed";
  std::string all;
  char bytes[4096];
  for (std::size_t n; (n = fread(bytes, 1, sizeof bytes, pipe)) > 0;) all.append(bytes, n);
  const int code = pclose(pipe);
  if (status) *status = WEXITSTATUS(code);
  return all;
}

ZusqlTerminal::ZusqlTerminal(const ScratchDirectory& directory, const std::vector<std::string>& arguments)
    : directory(directory) {
  std::vector<std::string> command{ZUSQL_PROGRAM, "--history", directory.path() + "/history"};
  command.insert(command.end(), arguments.begin(), arguments.end());
  tmux({"-u", "-f", "/dev/null", "new-session", "-d", "-x", std::to_string(kColumns), "-y",
        std::to_string(kRows), "exec env LANG=C.UTF-8 ASAN_OPTIONS=detect_leaks=0 " + joined(command)});
  tmux({"set-option", "-g", "escape-time", "0"});
  tmux({"set-option", "-g", "remain-on-exit", "on"});
}

ZusqlTerminal::~ZusqlTerminal() { tmux({"kill-server"}); }

std::string ZusqlTerminal::tmux(const std::vector<std::string>& arguments) {
  std::vector<std::string> command{"tmux", "-S", directory.path() + "/tmux"};
  command.insert(command.end(), arguments.begin(), arguments.end());
  return outputOf(command);
}

void ZusqlTerminal::key(const std::string& name) { tmux({"send-keys", name}); }
void ZusqlTerminal::type(const std::string& text) {
  // A semicolon at the end of an argument would be tmux's own.
  const bool isEnded = text.ends_with(';');
  tmux({"send-keys", "-l", isEnded ? text.substr(0, text.size() - 1) + "\\;" : text});
}
void ZusqlTerminal::enter(const std::string& text) {
  type(text);
  key("Enter");
}

void ZusqlTerminal::resize(int columns, int rows) {
  tmux({"resize-window", "-x", std::to_string(columns), "-y", std::to_string(rows)});
}

std::string ZusqlTerminal::screen() { return tmux({"capture-pane", "-p"}); }

testing::AssertionResult ZusqlTerminal::shows(const std::string& text) {
  if (comesTrue([&] { return screen().find(text) != std::string::npos; })) return testing::AssertionSuccess();
  return testing::AssertionFailure() << "not shown: " << text << "\n" << screen();
}

// Asked of tmux: what it writes into the pane of a program that has ended may be drawn over.
testing::AssertionResult ZusqlTerminal::ends() {
  const bool ended = comesTrue([this] { return tmux({"display-message", "-p", "#{pane_dead}"}) == "1\n"; });
  return ended ? testing::AssertionSuccess() : testing::AssertionFailure() << "still running:\n" << screen();
}

std::string ZusqlTerminal::processFile(const std::string& name) {
  std::string pid = tmux({"display-message", "-p", "#{pane_pid}"});
  while (!pid.empty() && pid.back() == '\n') pid.pop_back();
  return contents("/proc/" + pid + "/" + name);
}

long ZusqlTerminal::memory() {
  const std::string status = processFile("status");
  const std::size_t at = status.find("VmRSS:");
  return at == std::string::npos ? -1 : std::strtol(status.c_str() + at + 6, nullptr, 10);
}

std::string ZusqlTerminal::commandLine() { return processFile("cmdline"); }
std::string ZusqlTerminal::history() { return contents(directory.path() + "/history"); }
