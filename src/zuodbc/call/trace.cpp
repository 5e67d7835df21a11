#include "zuodbc/call/trace.h"

#include <fcntl.h>
#include <strings.h>
#include <sys/auxv.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <mutex>

#include "zuodbc/call/tracenames.h"
#include "zuodbc/handles/register.h"
#include "zuodbc/sources/connectionstring.h"
#include "zuodbc/sources/profilereader.h"

namespace dm {

std::atomic<bool> isTracing{false};

namespace {

constexpr const char* kUsualFile = "sql.log";
constexpr size_t kLongestText = 1000;

struct TraceFile {
  std::mutex lock;  // guards the rest
  std::string name;
  int descriptor = -1;
};

// Never destroyed: calls may come after static destruction.
TraceFile& traceFile() {
  static auto& file = *new TraceFile;
  return file;
}

// The functions whose pointers to numbers are read or written after they have returned.
bool keepsPointers(std::string_view function) {
  return function.starts_with("SQLBind") || function.starts_with("SQLSet") || function == "SQLParamOptions";
}

// A connection string without the values that are secrets. One that cannot be read is a secret as a whole.
std::string withoutPasswords(const std::string& text) {
  ConnectionString attributes;
  std::string why, shown;
  if (!attributes.parse(text, why)) return "***";
  for (const ConnectionString::Attribute& attribute : attributes.all()) {
    const bool isSecret = strcasecmp(attribute.keyword.c_str(), "PWD") == 0 ||
                          strcasecmp(attribute.keyword.c_str(), "PASSWORD") == 0;
    shown += attribute.keyword + '=' + (isSecret ? "***" : quoteValue(attribute.value)) + ';';
  }
  return shown;
}

std::string quoted(std::string_view text) {
  std::string out = "\"";
  for (const char c : text.substr(0, kLongestText)) {
    if (c == '\n') {
      out += "\\n";
    } else if (static_cast<unsigned char>(c) >= ' ') {
      out += c;
    }
  }
  return out + (text.size() > kLongestText ? "\"..." : "\"");
}

std::string asUtf8(std::string_view text, Form form) {
  if (form != Form::Wide) return std::string(text);
  HeldText held;
  convertText(nullptr, kUtf16, kUtf8, text, held);
  return std::string(held.view());
}

std::string hexadecimal(const void* pointer) {
  char text[32];
  std::snprintf(text, sizeof text, "0x%zx", reinterpret_cast<size_t>(pointer));
  return text;
}

template <class Number>
int64_t numberAt(const void* from) {
  Number number;
  std::memcpy(&number, from, sizeof number);
  return number;
}

std::string timeOfDay() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  tm local{};
  localtime_r(&now.tv_sec, &local);
  char text[64];
  std::snprintf(text, sizeof text, "%02d:%02d:%02d.%06ld %d ", local.tm_hour, local.tm_min, local.tm_sec,
                now.tv_nsec / 1000, static_cast<int>(gettid()));
  return text;
}

std::string diagnosticsOf(SQLHANDLE address) {
  const Pinned<DMHandle> handle(address);
  std::string lines;
  if (!handle) return lines;
  const ZuCriticalSectionHolder lock(handle->queueLock);
  for (const tagERRBUF* record = handle->errorQueue; record; record = record->next) {
    lines += "    " + std::string(record->sqlstate) + ' ' + quoted({record->text, record->textLength}) + '\n';
  }
  return lines;
}

bool isYes(const char* value) {
  return *value == '1' || *value == 'y' || *value == 'Y' || *value == 't' || *value == 'T' ||
         strcasecmp(value, "on") == 0;
}

}  // namespace

TraceLine::TraceLine(const char* name, SQLHANDLE handle) noexcept
    : function(name), handle(handle), start(std::chrono::steady_clock::now()) {}

void TraceLine::separate() {
  if (arguments++ == 0) {
    line = timeOfDay() + function + '(';
  } else {
    line += ", ";
  }
}

void TraceLine::addNumber(long long number) {
  const char* name = nameOfArgument(function, arguments, number);
  if (!name && selector >= 0 && arguments == selectorOf(function) + 1)
    name = nameOfValue(function, selector, number);
  if (arguments == selectorOf(function)) selector = number;
  separate();
  line += name ? std::string(name) : std::to_string(number);
}

void TraceLine::addPointer(const void* pointer) {
  constexpr uintptr_t kFirstAddress = 65536;  // below it is a number
  const auto number = reinterpret_cast<uintptr_t>(pointer);
  if (number < kFirstAddress) return addNumber(static_cast<long long>(number));
  separate();
  line += hexadecimal(pointer);
}

void TraceLine::addText(const void* text, SQLLEN length, Form form, bool inBytes, bool isText,
                        Secrecy secrecy) {
  const bool isShown = isText && text && (!inBytes || dm::isText(function, selector));
  if (!isShown) {
    addPointer(text);
    addNumber(length);
    return;
  }
  const std::string shown = asUtf8(bytesOf(text, length, form == Form::Wide, inBytes), form);
  separate();
  switch (secrecy) {
    case Secrecy::None: line += quoted(shown); break;
    case Secrecy::ConnectionString: line += quoted(withoutPasswords(shown)); break;
    default: line += "***";
  }
  if (length == SQL_NTS) {
    line += ", SQL_NTS";
    ++arguments;
  } else {
    addNumber(length);
  }
}

void TraceLine::addBuffer(const void* buffer, SQLLEN size) {
  addPointer(buffer);
  addNumber(size);
}

void TraceLine::end(SQLRETURN rc) {
  using std::chrono::duration_cast, std::chrono::microseconds;
  const auto took = duration_cast<microseconds>(std::chrono::steady_clock::now() - start).count();
  if (arguments == 0) separate();
  const char* code = nameOfCode(rc);
  line += ") = " + (code ? std::string(code) : std::to_string(rc)) + "  " + std::to_string(took) + " us";
  canShow = SQL_SUCCEEDED(rc) && !keepsPointers(function);
}

void TraceLine::showResult(const std::string& result) { line += (results++ == 0 ? "  -> " : ", ") + result; }

void TraceLine::showText(const void* text, SQLLEN size, Form form) {
  const auto room = static_cast<size_t>(std::max<SQLLEN>(size, 0));
  const auto* bytes = static_cast<const char*>(text);
  const size_t unit = form == Form::Wide ? sizeof(SQLWCHAR) : 1;
  size_t length = 0;
  while (length + unit <= room && std::memcmp(bytes + length, "\0", unit) != 0) length += unit;
  std::string shown = asUtf8({bytes, length}, form);
  const std::string_view name = function;
  if (name.starts_with("SQLDriverConnect") || name.starts_with("SQLBrowseConnect"))
    shown = withoutPasswords(shown);
  showResult(quoted(shown));
}

// The length cell says how wide the value is; without one it has at least 32 bits if it is an attribute.
void TraceLine::showValue(const void* buffer, SQLLEN size, Form form, bool mayBeText, SQLLEN length) {
  if (selectorOf(function) < 0 ? mayBeText : isText(function, selector)) return showText(buffer, size, form);
  if (length < 0 && selectorOf(function) == 1) length = sizeof(int32_t);
  int64_t value = 0;
  switch (length) {
    case 2: value = numberAt<int16_t>(buffer); break;
    case 4: value = numberAt<int32_t>(buffer); break;
    case 8: value = numberAt<int64_t>(buffer); break;
    default: return;
  }
  const char* name = nameOfValue(function, selector, value);
  showResult(name ? std::string(name) : std::to_string(value));
}

void TraceLine::showPointer(const void* pointer) { showResult(hexadecimal(pointer)); }

void TraceLine::write(SQLRETURN rc) {
  line += '\n';
  if (rc == SQL_ERROR || rc == SQL_SUCCESS_WITH_INFO) line += diagnosticsOf(handle);
  TraceFile& file = traceFile();
  const std::lock_guard guard(file.lock);
  // A full disk takes nothing from the application but its trace.
  if (file.descriptor >= 0 && ::write(file.descriptor, line.data(), line.size()) < 0) isTracing = false;
}

bool startTrace(const std::string& name) {
  if (getauxval(AT_SECURE) != 0) return false;
  TraceFile& file = traceFile();
  const std::lock_guard guard(file.lock);
  const bool isOpen = file.descriptor >= 0 && (name.empty() || name == file.name);
  if (!isOpen) {
    const std::string wanted = !name.empty() ? name : !file.name.empty() ? file.name : kUsualFile;
    const int opened = open(wanted.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (opened < 0) return false;
    if (file.descriptor >= 0) close(file.descriptor);
    file.descriptor = opened;
    file.name = wanted;
  }
  isTracing = true;
  return true;
}

void stopTrace() { isTracing = false; }

void startConfiguredTrace() {
  static std::once_flag once;
  std::call_once(once, [] {
    char on[16] = "", file[4096] = "";
    {
      ProfileReader reader;
      reader.read("ODBC", "Trace", kDataSourceFile, on, sizeof on);
      reader.read("ODBC", "TraceFile", kDataSourceFile, file, sizeof file);
    }
    if (isYes(on)) startTrace(file);
  });
}

}  // namespace dm
