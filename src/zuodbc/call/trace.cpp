#include "zuodbc/call/trace.h"

#include <fcntl.h>
#include <strings.h>
#include <sys/auxv.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <ctime>
#include <mutex>

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

struct NamedNumber {
  long long number;
  const char* name;
};
#define NAMED(constant) \
  { constant, #constant }

constexpr NamedNumber kCodes[] = {
    NAMED(SQL_SUCCESS),         NAMED(SQL_SUCCESS_WITH_INFO), NAMED(SQL_ERROR),   NAMED(SQL_INVALID_HANDLE),
    NAMED(SQL_STILL_EXECUTING), NAMED(SQL_NEED_DATA),         NAMED(SQL_NO_DATA),
};

constexpr NamedNumber kStmtAttributes[] = {
    NAMED(SQL_ATTR_CURSOR_SENSITIVITY),
    NAMED(SQL_ATTR_CURSOR_SCROLLABLE),
    NAMED(SQL_ATTR_QUERY_TIMEOUT),
    NAMED(SQL_ATTR_MAX_ROWS),
    NAMED(SQL_ATTR_NOSCAN),
    NAMED(SQL_ATTR_MAX_LENGTH),
    NAMED(SQL_ATTR_ASYNC_ENABLE),
    NAMED(SQL_ATTR_ROW_BIND_TYPE),
    NAMED(SQL_ATTR_CURSOR_TYPE),
    NAMED(SQL_ATTR_CONCURRENCY),
    NAMED(SQL_ATTR_KEYSET_SIZE),
    NAMED(SQL_ROWSET_SIZE),
    NAMED(SQL_ATTR_SIMULATE_CURSOR),
    NAMED(SQL_ATTR_RETRIEVE_DATA),
    NAMED(SQL_ATTR_USE_BOOKMARKS),
    NAMED(SQL_GET_BOOKMARK),
    NAMED(SQL_ATTR_ROW_NUMBER),
    NAMED(SQL_ATTR_ENABLE_AUTO_IPD),
    NAMED(SQL_ATTR_FETCH_BOOKMARK_PTR),
    NAMED(SQL_ATTR_PARAM_BIND_OFFSET_PTR),
    NAMED(SQL_ATTR_PARAM_BIND_TYPE),
    NAMED(SQL_ATTR_PARAM_OPERATION_PTR),
    NAMED(SQL_ATTR_PARAM_STATUS_PTR),
    NAMED(SQL_ATTR_PARAMS_PROCESSED_PTR),
    NAMED(SQL_ATTR_PARAMSET_SIZE),
    NAMED(SQL_ATTR_ROW_BIND_OFFSET_PTR),
    NAMED(SQL_ATTR_ROW_OPERATION_PTR),
    NAMED(SQL_ATTR_ROW_STATUS_PTR),
    NAMED(SQL_ATTR_ROWS_FETCHED_PTR),
    NAMED(SQL_ATTR_ROW_ARRAY_SIZE),
    NAMED(SQL_ATTR_APP_ROW_DESC),
    NAMED(SQL_ATTR_APP_PARAM_DESC),
    NAMED(SQL_ATTR_IMP_ROW_DESC),
    NAMED(SQL_ATTR_IMP_PARAM_DESC),
    NAMED(SQL_ATTR_METADATA_ID),
};

constexpr NamedNumber kConnectAttributes[] = {
    NAMED(SQL_ATTR_ACCESS_MODE),        NAMED(SQL_ATTR_AUTOCOMMIT),
    NAMED(SQL_ATTR_LOGIN_TIMEOUT),      NAMED(SQL_ATTR_TRACE),
    NAMED(SQL_ATTR_TRACEFILE),          NAMED(SQL_ATTR_TRANSLATE_LIB),
    NAMED(SQL_ATTR_TRANSLATE_OPTION),   NAMED(SQL_ATTR_TXN_ISOLATION),
    NAMED(SQL_ATTR_CURRENT_CATALOG),    NAMED(SQL_ATTR_ODBC_CURSORS),
    NAMED(SQL_ATTR_QUIET_MODE),         NAMED(SQL_ATTR_PACKET_SIZE),
    NAMED(SQL_ATTR_CONNECTION_TIMEOUT), NAMED(SQL_ATTR_CONNECTION_DEAD),
    NAMED(SQL_ATTR_METADATA_ID),
};

constexpr NamedNumber kEnvAttributes[] = {
    NAMED(SQL_ATTR_ODBC_VERSION),
    NAMED(SQL_ATTR_CONNECTION_POOLING),
    NAMED(SQL_ATTR_CP_MATCH),
    NAMED(SQL_ATTR_OUTPUT_NTS),
};

constexpr NamedNumber kDescFields[] = {
    NAMED(SQL_DESC_CONCISE_TYPE),
    NAMED(SQL_DESC_ARRAY_SIZE),
    NAMED(SQL_DESC_ARRAY_STATUS_PTR),
    NAMED(SQL_DESC_BIND_OFFSET_PTR),
    NAMED(SQL_DESC_BIND_TYPE),
    NAMED(SQL_DESC_ROWS_PROCESSED_PTR),
    NAMED(SQL_DESC_COUNT),
    NAMED(SQL_DESC_TYPE),
    NAMED(SQL_DESC_LENGTH),
    NAMED(SQL_DESC_OCTET_LENGTH_PTR),
    NAMED(SQL_DESC_PRECISION),
    NAMED(SQL_DESC_SCALE),
    NAMED(SQL_DESC_NULLABLE),
    NAMED(SQL_DESC_INDICATOR_PTR),
    NAMED(SQL_DESC_DATA_PTR),
    NAMED(SQL_DESC_NAME),
    NAMED(SQL_DESC_UNNAMED),
    NAMED(SQL_DESC_OCTET_LENGTH),
    NAMED(SQL_DESC_ALLOC_TYPE),
    NAMED(SQL_DESC_PARAMETER_TYPE),
    NAMED(SQL_DESC_LABEL),
};
#undef NAMED

template <size_t count>
const char* nameIn(const NamedNumber (&table)[count], long long number) {
  for (const NamedNumber& row : table) {
    if (row.number == number) return row.name;
  }
  return nullptr;
}

bool contains(const char* text, const char* part) { return std::strstr(text, part) != nullptr; }

// The name of a number that is the attribute or field of a function: its second argument, of descriptors the
// third.
const char* nameOf(const char* function, int argument, long long number) {
  if (argument == 1 && (contains(function, "StmtAttr") || contains(function, "StmtOption")))
    return nameIn(kStmtAttributes, number);
  if (argument == 1 && (contains(function, "ConnectAttr") || contains(function, "ConnectOption")))
    return nameIn(kConnectAttributes, number);
  if (argument == 1 && contains(function, "EnvAttr")) return nameIn(kEnvAttributes, number);
  return argument == 2 && contains(function, "DescField") ? nameIn(kDescFields, number) : nullptr;
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

TraceLine::TraceLine(const char* name) noexcept : function(name), start(std::chrono::steady_clock::now()) {}

void TraceLine::separate() {
  if (arguments++ == 0) {
    line = timeOfDay() + function + '(';
  } else {
    line += ", ";
  }
}

void TraceLine::addNumber(long long number) {
  const char* name = nameOf(function, arguments, number);
  separate();
  line += name ? std::string(name) : std::to_string(number);
}

void TraceLine::addPointer(const void* pointer) {
  constexpr uintptr_t kFirstAddress = 65536;  // below it is a number
  const auto number = reinterpret_cast<uintptr_t>(pointer);
  char text[32];
  std::snprintf(text, sizeof text, "0x%zx", static_cast<size_t>(number));
  separate();
  line += number < kFirstAddress ? std::to_string(number) : std::string(text);
}

void TraceLine::addText(const void* text, SQLLEN length, Form form, bool inBytes, bool isText,
                        Secrecy secrecy) {
  if (!isText || !text || inBytes) {
    addPointer(text);
    addNumber(length);
    return;
  }
  HeldText held;
  std::string_view shown = bytesOf(text, length, form == Form::Wide, inBytes);
  if (form == Form::Wide) {
    convertText(nullptr, kUtf16, kUtf8, shown, held);
    shown = held.view();
  }
  separate();
  switch (secrecy) {
    case Secrecy::None: line += quoted(shown); break;
    case Secrecy::ConnectionString: line += quoted(withoutPasswords(std::string(shown))); break;
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

void TraceLine::finish(SQLHANDLE handle, SQLRETURN rc) noexcept {
  using std::chrono::duration_cast, std::chrono::microseconds;
  const auto took = duration_cast<microseconds>(std::chrono::steady_clock::now() - start).count();
  try {
    if (arguments == 0) separate();
    const char* code = nameIn(kCodes, rc);
    line += ") = " + (code ? std::string(code) : std::to_string(rc)) + "  " + std::to_string(took) + " us\n";
    if (rc == SQL_ERROR || rc == SQL_SUCCESS_WITH_INFO) line += diagnosticsOf(handle);
    TraceFile& file = traceFile();
    const std::lock_guard guard(file.lock);
    // A full disk takes nothing from the application but its trace.
    if (file.descriptor >= 0 && write(file.descriptor, line.data(), line.size()) < 0) isTracing = false;
  } catch (const std::bad_alloc&) {  // this line is missing
  }
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
