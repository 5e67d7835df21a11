#include "tests/pgwire/support.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "tests/support/fault_allocator.h"

// The fixtures pause the faults of another allocator, which this program does not have.
FaultPause::FaultPause() {}
FaultPause::~FaultPause() {}

// The driver is never closed, and the loader keeps memory for it. This program has a malloc of its own, so
// LeakSanitizer does not see that the memory is the loader's.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions() {
  return "leak:_dl_\n";
}

std::string PgwireFixture::source(const std::string& options, const std::string& server) {
  // The port is that of the other driver's connection string.
  const std::string other = connectionString();
  const std::size_t at = other.find("Port=");
  return "Driver=" ZULIB_PGWIRE ";Server=" + server + ";" + other.substr(at, other.find(';', at) - at) +
         ";Database=postgres;IANAAppCodePage=106;" + options;
}

std::string PgwireFixture::sourceAt(int port) {
  return "Driver=" ZULIB_PGWIRE ";Server=127.0.0.1;Port=" + std::to_string(port) +
         ";UID=somebody;PWD=secret;LoginTimeout=1;";
}

std::string readPieces(SQLHSTMT stmt, SQLUSMALLINT column, SQLSMALLINT cType, SQLLEN pieceSize) {
  std::string all;
  std::vector<char> buffer(static_cast<std::size_t>(pieceSize));
  SQLLEN left = 0;
  SQLRETURN code = SQL_SUCCESS;
  const SQLLEN end = cType == SQL_C_CHAR ? 1 : cType == SQL_C_WCHAR ? 2 : 0;
  while (SQL_SUCCEEDED(code = SQLGetData(stmt, column, cType, buffer.data(), pieceSize, &left))) {
    if (left == SQL_NULL_DATA) return "NULL";
    if (code == SQL_SUCCESS) return all.append(buffer.data(), static_cast<std::size_t>(left));
    // A piece of text ends at its terminator, since a character may not have fitted.
    std::size_t n = static_cast<std::size_t>(pieceSize - end);
    if (cType == SQL_C_CHAR) n = std::string(buffer.data()).size();
    if (cType == SQL_C_WCHAR) n = 2 * std::u16string(reinterpret_cast<char16_t*>(buffer.data())).size();
    all.append(buffer.data(), n);
  }
  return code == SQL_NO_DATA ? all : "error " + sqlstates(SQL_HANDLE_STMT, stmt);
}

std::string message(char type, const std::string& body) {
  const uint32_t length = htonl(static_cast<uint32_t>(body.size() + 4));
  return std::string(1, type) + std::string(reinterpret_cast<const char*>(&length), 4) + body;
}

bool FakeServer::Peer::send(const std::string& bytes) const {
  return ::send(handle, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
}

std::string FakeServer::Peer::receive() const {
  char buffer[4096];
  const ssize_t n = recv(handle, buffer, sizeof buffer, 0);
  return {buffer, n > 0 ? static_cast<std::size_t>(n) : 0};
}

FakeServer::FakeServer(const std::function<void(Peer)>& serve) : listener(socket(AF_INET, SOCK_STREAM, 0)) {
  sockaddr_in here{};
  here.sin_family = AF_INET;
  here.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof here;
  if (bind(listener, reinterpret_cast<sockaddr*>(&here), size) == 0 && listen(listener, 4) == 0 &&
      getsockname(listener, reinterpret_cast<sockaddr*>(&here), &size) == 0) {
    portNumber = ntohs(here.sin_port);
  }
  thread = std::thread([this, serve] {
    const int handle = accept(listener, nullptr, nullptr);
    if (handle < 0) return;
    serve({handle});
    close(handle);
  });
}

FakeServer::~FakeServer() {
  shutdown(listener, SHUT_RDWR);
  thread.join();
  close(listener);
}

std::string FakeServer::welcome() {
  return message('R', std::string(4, '\0')) +
         message('S', std::string("server_version\0"
                                  "15.0\0",
                                  20)) +
         message('K', "12345678") + message('Z', "I");
}
