// Address texts of any kind. No packet leaves: look-ups and connections are told what to say
// (fuzz/CMakeLists.txt links with --wrap for them).

#include <arpa/inet.h>
#include <netdb.h>
#include <sys/socket.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "zulib/net/connection.h"

namespace {

constexpr size_t kObjectSize = 548;
constexpr size_t kTextOffset = 32;
constexpr char kAddress[4] = {10, 1, 2, 3};

std::string lookedUp;
sockaddr_in connectedTo;

void demand(bool holds) {
  if (!holds) std::abort();
}

}  // namespace

extern "C" int __wrap_gethostbyname_r(const char* name, hostent* record, char* buffer, size_t,
                                      hostent** result, int* word) {
  lookedUp = name;
  *word = 0;
  *result = nullptr;
  // One host in two is known.
  if (lookedUp.size() % 2) return 0;
  auto** list = reinterpret_cast<char**>(buffer);
  list[0] = buffer + 2 * sizeof *list;
  list[1] = nullptr;
  std::memcpy(list[0], kAddress, sizeof kAddress);
  *record = {};
  record->h_addrtype = AF_INET;
  record->h_length = sizeof kAddress;
  record->h_addr_list = list;
  *result = record;
  return 0;
}

extern "C" int __wrap_connect(int, const sockaddr* address, socklen_t) {
  std::memcpy(&connectedTo, address, sizeof connectedTo);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const char* address = text.c_str();  // up to the first zero byte
  const std::string given = address;
  lookedUp.clear();
  connectedTo = {};

  char* conn = static_cast<char*>(std::malloc(ConnectionObjectSize()));
  unsigned error = 99;
  const int opened = ConnectionOpen(conn, address, &error);

  const size_t comma = given.find(',');
  const bool hasParts = comma != std::string::npos && comma >= 1 && comma <= 4095 && comma + 1 < given.size();
  const std::string host = hasParts ? given.substr(0, comma) : "";
  const in_addr_t dotted = hasParts ? inet_addr(host.c_str()) : INADDR_NONE;
  const bool isNamed = hasParts && dotted == INADDR_NONE;
  demand(lookedUp == (isNamed ? host : ""));
  demand(opened == (hasParts && (!isNamed || host.size() % 2 == 0)));
  demand(error == (opened ? 0U : 11U));
  if (opened) {
    demand(isNamed ? std::memcmp(&connectedTo.sin_addr, kAddress, sizeof kAddress) == 0
                   : connectedTo.sin_addr.s_addr == dotted);
    const long port = std::strtol(given.c_str() + comma + 1, nullptr, 10);
    demand(ntohs(connectedTo.sin_port) == static_cast<uint16_t>(port));
  } else {
    const char* shown = nullptr;
    ConnectionError(conn, nullptr, &shown, nullptr);
    const std::string expected = "ConnectionOpen (" + given + "()).";
    demand(shown == conn + kTextOffset);
    demand(shown == expected.substr(0, kObjectSize - kTextOffset - 1));
  }
  demand(ConnectionClose(conn, &error) == 1);
  std::free(conn);
  return 0;
}
