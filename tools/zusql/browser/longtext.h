// A long text in lines of a window, read piece by piece: only as far as somebody has looked. What has been
// read is in a temporary file without a name; of the lines, every 64th has its place noted.

#ifndef TOOLS_ZUSQL_BROWSER_LONGTEXT_H
#define TOOLS_ZUSQL_BROWSER_LONGTEXT_H

#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace zusql {

class LongText {
 public:
  // Appends the next piece; false after the last one.
  using Reader = std::function<bool(std::string& piece)>;

  // Throws std::runtime_error if there can be no temporary file.
  explicit LongText(Reader reader);

  // Lines are cut at line feeds and at this many columns.
  void setWidth(std::size_t columns);

  // A line, from 0, as it may be shown. False if the text ends before it.
  bool line(std::int64_t number, std::string& text);

  // Reads the next piece, if there is one.
  void readPiece();

  std::int64_t bytesRead() const { return length; }
  bool isComplete() const { return complete; }

  // Lines that are known so far.
  std::int64_t linesKnown() const { return lines; }

 private:
  struct Close {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };

  std::string bytesAt(std::int64_t offset, std::size_t most);
  std::int64_t lineEnd(std::int64_t begin, std::string& text, std::int64_t& next);
  bool findNextLine();

  static constexpr std::int64_t kMarkEvery = 64;

  Reader reader;
  std::unique_ptr<std::FILE, Close> file;
  std::int64_t length = 0;
  bool complete = false;
  std::size_t width = 80;
  std::vector<std::int64_t> marks;  // the offset of every 64th line
  std::int64_t lines = 0;
  std::int64_t nextLine = 0;  // the offset of the first line that is not known
};

}  // namespace zusql

#endif
