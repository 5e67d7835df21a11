// A file or the standard output, whose every failure to write is reported.

#ifndef TOOLS_ZUSQL_OUTPUT_H
#define TOOLS_ZUSQL_OUTPUT_H

#include <cstdio>
#include <string>
#include <string_view>

namespace zusql {

class Output {
 public:
  // The standard output.
  Output() = default;

  // A file, which is made or emptied. Throws std::runtime_error if that fails.
  explicit Output(const std::string& path);
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;
  ~Output();

  // These throw std::runtime_error if the text cannot be written, a full disk and a closed pipe included.
  void write(std::string_view text);
  void flush();

  bool isTerminal() const;

 private:
  void fail() const;

  std::FILE* file = stdout;
  std::string name = "the standard output";
};

}  // namespace zusql

#endif
