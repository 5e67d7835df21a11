#include "tools/zusql/output.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace zusql {

Output::Output(const std::string& path) : file(std::fopen(path.c_str(), "we")), name(path) {
  if (!file) throw std::runtime_error("cannot open " + path + ": " + std::strerror(errno));
}

Output::~Output() {
  if (file != stdout) std::fclose(file);
}

void Output::write(std::string_view text) {
  if (std::fwrite(text.data(), 1, text.size(), file) != text.size()) fail();
}

void Output::flush() {
  if (std::fflush(file) != 0) fail();
}

bool Output::isTerminal() const { return isatty(fileno(file)) != 0; }

void Output::fail() const {
  throw std::runtime_error("writing to " + name + " failed: " + std::strerror(errno));
}

}  // namespace zusql
