#include "zuodbc/call/sqlstates.h"

#include <cstring>

namespace dm {
namespace {

struct StatePair {
  const char* from;
  const char* to;
};

// The states for which the class HY does not simply take the place of S1. 22003, 22008 and 24000 each have
// one meaning more in version 2 than in version 3, so they stay as they are on the way up.
constexpr StatePair kToVersion3[] = {
    {"37000", "42000"}, {"70100", "HY018"}, {"S0001", "42S01"}, {"S0002", "42S02"}, {"S0011", "42S11"},
    {"S0012", "42S12"}, {"S0021", "42S21"}, {"S0022", "42S22"}, {"S0023", "42S23"}, {"22005", "22018"},
    {"S1002", "07009"}, {"S1093", "07009"}, {"01S03", "01001"}, {"01S04", "01001"},
};
constexpr StatePair kToVersion2[] = {
    {"42000", "37000"}, {"HY018", "70100"}, {"42S01", "S0001"}, {"42S02", "S0002"}, {"42S11", "S0011"},
    {"42S12", "S0012"}, {"42S21", "S0021"}, {"42S22", "S0022"}, {"42S23", "S0023"}, {"22018", "22005"},
    {"07009", "S1002"}, {"22007", "22008"}, {"07005", "24000"}, {"HY007", "S1010"}, {"HY019", "22003"},
    {"HY024", "S1009"}, {"HYT01", "S1T00"},
};

template <size_t size>
const char* renamed(const StatePair (&pairs)[size], const char* sqlstate) {
  for (const StatePair& pair : pairs) {
    if (std::strcmp(sqlstate, pair.from) == 0) return pair.to;
  }
  return nullptr;
}

}  // namespace

void mapState(const char* sqlstate, bool toVersion2, char* out) noexcept {
  const char* other = toVersion2 ? renamed(kToVersion2, sqlstate) : renamed(kToVersion3, sqlstate);
  std::memcpy(out, other ? other : sqlstate, 6);
  if (std::strncmp(out, toVersion2 ? "HY" : "S1", 2) == 0) std::memcpy(out, toVersion2 ? "S1" : "HY", 2);
}

}  // namespace dm
