#include "zuodbc/sources/datasource.h"

#include <odbcinst.h>

#include <mutex>

namespace dm {
namespace {

constexpr const char* dataSourceFile = "odbc.ini";
constexpr const char* driverFile = "odbcinst.ini";
constexpr int largestListing = 1 << 20;

std::mutex& readerLock() {
  static std::mutex lock;
  return lock;
}

// A value; or, with a null section or entry, names with a zero behind each.
std::string readProfile(const char* section, const char* entry, const char* file) {
  std::string text(4096, '\0');
  for (;;) {
    int length =
        SQLGetPrivateProfileString(section, entry, "", text.data(), static_cast<int>(text.size()), file);
    bool list = !section || !entry;
    if (length < 0) length = 0;
    if (list && length + 2 >= static_cast<int>(text.size()) && length < largestListing) {
      text.assign(text.size() * 4, '\0');
      continue;
    }
    text.resize(static_cast<size_t>(length));
    return text;
  }
}

std::vector<std::string> readNames(const char* section, const char* file) {
  std::string list = readProfile(section, nullptr, file);
  std::vector<std::string> names;
  for (size_t position = 0; position < list.size();) {
    size_t end = std::min(list.find('\0', position), list.size());
    if (end > position) names.push_back(list.substr(position, end - position));
    position = end + 1;
  }
  return names;
}

std::string readValue(const std::string& section, const char* entry, const char* file) {
  std::string value = readProfile(section.c_str(), entry, file);
  return value.substr(0, value.find('\0'));
}

UWORD configMode(DataSourceScope scope) {
  switch (scope) {
    case DataSourceScope::User: return ODBC_USER_DSN;
    case DataSourceScope::System: return ODBC_SYSTEM_DSN;
    default: return ODBC_BOTH_DSN;
  }
}

}  // namespace

std::string driverOfDataSource(const std::string& dataSource) {
  if (dataSource.empty()) return {};
  std::lock_guard guard(readerLock());
  return readValue(dataSource, "Driver", dataSourceFile);
}

std::string libraryOfDriver(const std::string& driver) {
  if (driver.find('/') != std::string::npos) return driver;
  std::lock_guard guard(readerLock());
  for (const char* entry : {"Driver64", "Driver"}) {
    std::string library = readValue(driver, entry, driverFile);
    if (!library.empty()) return library;
  }
  return driver;
}

std::vector<DataSourceEntry> listDataSources(DataSourceScope scope) {
  std::lock_guard guard(readerLock());
  UWORD before = ODBC_BOTH_DSN;
  SQLGetConfigMode(&before);
  SQLSetConfigMode(configMode(scope));
  std::vector<DataSourceEntry> found;
  for (const std::string& name : readNames(nullptr, dataSourceFile)) {
    if (name == "ODBC" || name == "ODBC Data Sources") continue;
    std::string driver = readValue(name, "Driver", dataSourceFile);
    if (!driver.empty()) found.push_back({name, driver});
  }
  SQLSetConfigMode(before);
  return found;
}

std::vector<DataSourceEntry> listDrivers() {
  std::lock_guard guard(readerLock());
  std::vector<DataSourceEntry> found;
  for (const std::string& name : readNames(nullptr, driverFile)) {
    if (name == "ODBC" || name == "ODBC Drivers") continue;
    std::string pairs;
    for (const std::string& key : readNames(name.c_str(), driverFile)) {
      pairs += key + '=' + readValue(name, key.c_str(), driverFile) + '\0';
    }
    found.push_back({name, pairs});
  }
  return found;
}

}  // namespace dm
