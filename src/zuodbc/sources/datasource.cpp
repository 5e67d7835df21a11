#include "zuodbc/sources/datasource.h"

#include "zuodbc/sources/profilereader.h"

namespace dm {
namespace {

constexpr size_t kUsualSize = 4096;
constexpr size_t kLargestListing = 1 << 20;

std::string readValue(ProfileReader& reader, const std::string& section, const char* entry,
                      const char* file) {
  char value[kUsualSize] = "";
  reader.read(section.c_str(), entry, file, value, static_cast<int>(sizeof value));
  value[sizeof value - 1] = '\0';
  return value;
}

// The names of the sections, or of the entries of a section.
std::vector<std::string> readNames(ProfileReader& reader, const char* section, const char* file) {
  std::string list(kUsualSize, '\0');
  for (;;) {
    const auto length =
        static_cast<size_t>(reader.read(section, nullptr, file, list.data(), static_cast<int>(list.size())));
    const bool isCut = length + 2 >= list.size();
    if (!isCut || list.size() >= kLargestListing) {
      list.resize(std::min(length, list.size()));
      break;
    }
    list.assign(list.size() * 4, '\0');
  }
  std::vector<std::string> names;
  for (size_t position = 0; position < list.size();) {
    const size_t end = std::min(list.find('\0', position), list.size());
    if (end > position) names.push_back(list.substr(position, end - position));
    position = end + 1;
  }
  return names;
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
  ProfileReader reader;
  return readValue(reader, dataSource, "Driver", kDataSourceFile);
}

std::string valueOf(const std::string& section, const char* key) {
  if (section.empty()) return {};
  ProfileReader reader;
  return readValue(reader, section, key, kDataSourceFile);
}

std::string valueOfDriver(const std::string& driver, const char* key) {
  if (driver.empty() || driver.find('/') != std::string::npos) return {};
  ProfileReader reader;
  return readValue(reader, driver, key, kDriverFile);
}

std::string libraryOfDriver(const std::string& driver) {
  if (driver.find('/') != std::string::npos) return driver;
  ProfileReader reader;
  for (const char* entry : {"Driver64", "Driver"}) {
    std::string library = readValue(reader, driver, entry, kDriverFile);
    if (!library.empty()) return library;
  }
  return driver;
}

std::vector<DataSourceEntry> listDataSources(DataSourceScope scope) {
  ProfileReader reader(configMode(scope));
  std::vector<DataSourceEntry> found;
  for (const std::string& name : readNames(reader, nullptr, kDataSourceFile)) {
    if (name == "ODBC" || name == "ODBC Data Sources") continue;
    const std::string driver = readValue(reader, name, "Driver", kDataSourceFile);
    if (!driver.empty()) found.push_back({name, driver});
  }
  return found;
}

std::vector<DataSourceEntry> listDrivers() {
  ProfileReader reader;
  std::vector<DataSourceEntry> found;
  for (const std::string& name : readNames(reader, nullptr, kDriverFile)) {
    if (name == "ODBC" || name == "ODBC Drivers") continue;
    std::string pairs;
    for (const std::string& key : readNames(reader, name.c_str(), kDriverFile)) {
      pairs += key + '=' + readValue(reader, name, key.c_str(), kDriverFile) + '\0';
    }
    found.push_back({name, pairs});
  }
  return found;
}

}  // namespace dm
