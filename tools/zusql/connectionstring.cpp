#include "tools/zusql/connectionstring.h"

#include <fcntl.h>
#include <strings.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>
#include <vector>

namespace zusql {

namespace {

struct Attribute {
  std::string_view whole;  // with the `;` that follows it
  std::string_view name;
  std::string_view value;  // in braces where it was written so
};

std::string_view trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t") + 1 - first);
}

// The end of a value. One in braces may hold `;`, and a brace in it is doubled.
std::size_t valueEnd(std::string_view text, std::size_t from) {
  const std::size_t start = text.find_first_not_of(" \t", from);
  if (start == std::string_view::npos || text[start] != '{')
    return std::min(text.find(';', from), text.size());
  for (std::size_t i = start + 1; i < text.size(); ++i) {
    if (text[i] != '}') continue;
    if (i + 1 < text.size() && text[i + 1] == '}') {
      ++i;
    } else {
      return std::min(text.find(';', i), text.size());
    }
  }
  return text.size();
}

std::vector<Attribute> attributesOf(std::string_view text) {
  std::vector<Attribute> all;
  for (std::size_t from = 0; from < text.size();) {
    const std::size_t stop = std::min(text.find_first_of("=;", from), text.size());
    Attribute next;
    next.name = trimmed(text.substr(from, stop - from));
    std::size_t end = stop;
    if (stop < text.size() && text[stop] == '=') {
      end = valueEnd(text, stop + 1);
      next.value = text.substr(stop + 1, end - stop - 1);
    }
    const std::size_t after = std::min(end + 1, text.size());
    next.whole = text.substr(from, after - from);
    all.push_back(next);
    from = after;
  }
  return all;
}

bool isNamed(const Attribute& attribute, std::string_view name) {
  return attribute.name.size() == name.size() &&
         strncasecmp(attribute.name.data(), name.data(), name.size()) == 0;
}

bool isPassword(const Attribute& attribute) {
  return isNamed(attribute, "PWD") || isNamed(attribute, "PASSWORD");
}

// The terminal without echo, as long as this exists.
class NoEcho {
 public:
  explicit NoEcho(int fd) : fd(fd) {
    if (tcgetattr(fd, &before) != 0) return;
    termios silent = before;
    silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    isChanged = tcsetattr(fd, TCSAFLUSH, &silent) == 0;
  }
  NoEcho(const NoEcho&) = delete;
  NoEcho& operator=(const NoEcho&) = delete;
  ~NoEcho() {
    if (isChanged) tcsetattr(fd, TCSAFLUSH, &before);
  }

  bool isSilent() const { return isChanged; }

 private:
  int fd;
  termios before{};
  bool isChanged = false;
};

void say(int fd, std::string_view text) {
  [[maybe_unused]] const ssize_t n = write(fd, text.data(), text.size());
}

std::string readLine(int fd) {
  std::string line;
  char c = 0;
  while (read(fd, &c, 1) == 1 && c != '\n') line += c;
  return line;
}

}  // namespace

bool hasPassword(std::string_view connectionString) {
  return std::ranges::any_of(attributesOf(connectionString), isPassword);
}

std::string withoutPassword(std::string_view connectionString) {
  std::string kept;
  for (const Attribute& attribute : attributesOf(connectionString)) {
    if (!isPassword(attribute)) kept += attribute.whole;
  }
  return kept;
}

std::string withPassword(std::string_view connectionString, std::string_view password) {
  std::string all(connectionString);
  if (!all.empty() && all.back() != ';') all += ';';
  if (password.find_first_of(";{} ") == std::string_view::npos) return all + "PWD=" + std::string(password);
  all += "PWD={";
  for (const char c : password) all.append(c == '}' ? 2 : 1, c);
  return all + "}";
}

std::string withStreaming(std::string_view connectionString, std::string_view driver) {
  struct Option {
    std::string_view driver;  // part of its name
    std::string_view name;
    std::string_view value;
  };
  constexpr Option kOptions[] = {
      {"sqlite3odbc", "StepAPI", "1"}, {"psqlodbc", "UseDeclareFetch", "1"}, {"psqlodbc", "Fetch", "1000"}};
  std::string all(connectionString);
  for (const Option& option : kOptions) {
    const bool isGiven = std::ranges::any_of(attributesOf(connectionString), [&](const Attribute& attribute) {
      return isNamed(attribute, option.name);
    });
    if (driver.find(option.driver) == std::string_view::npos || isGiven) continue;
    if (!all.empty() && all.back() != ';') all += ';';
    all.append(option.name).append("=").append(option.value);
  }
  return all;
}

std::string shortName(std::string_view connectionString) {
  const std::vector<Attribute> all = attributesOf(connectionString);
  for (const char* const name : {"DSN", "Database", "Driver"}) {
    for (const Attribute& attribute : all) {
      const std::string_view value = trimmed(attribute.value);
      if (isNamed(attribute, name) && !value.empty()) {
        const std::size_t slash = value.rfind('/');
        return std::string(slash == std::string_view::npos ? value : value.substr(slash + 1));
      }
    }
  }
  return "zusql";
}

void hidePasswords(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    for (const Attribute& attribute : attributesOf(argv[i])) {
      if (!isPassword(attribute)) continue;
      char* const value = argv[i] + (attribute.value.data() - argv[i]);
      std::fill_n(value, attribute.value.size(), '*');
    }
  }
}

std::string askForPassword(const std::string& what) {
  const int fd = open("/dev/tty", O_RDWR | O_CLOEXEC);
  if (fd < 0) throw std::runtime_error("a password is needed, and there is no terminal to ask on");
  std::string password;
  bool isSilent = false;
  {
    const NoEcho silence(fd);
    isSilent = silence.isSilent();
    if (isSilent) {
      say(fd, "Password for " + what + ": ");
      password = readLine(fd);
      say(fd, "\n");
    }
  }
  close(fd);
  if (!isSilent)
    throw std::runtime_error("a password is needed, and the terminal's echo cannot be turned off");
  return password;
}

}  // namespace zusql
