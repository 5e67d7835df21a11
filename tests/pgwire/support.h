// What the tests of the driver share: a data source over the PostgreSQL server of the tests, and a server
// that sends what a test tells it to.

#ifndef ZULIB_TESTS_PGWIRE_SUPPORT_H
#define ZULIB_TESTS_PGWIRE_SUPPORT_H

#include <functional>
#include <string>
#include <thread>

#include "tests/support/odbc_fixture.h"

class PgwireFixture : public PostgresFixture {
 public:
  static std::string source(const std::string& options = "UID=postgres;",
                            const std::string& server = "127.0.0.1");
  // To a server at a port of this machine.
  static std::string sourceAt(int port);
};

// Reads all of a column of the current row, in pieces of `pieceSize` bytes.
std::string readPieces(SQLHSTMT stmt, SQLUSMALLINT column, SQLSMALLINT cType, SQLLEN pieceSize);

// A message of the protocol: type, length, body.
std::string message(char type, const std::string& body);

// Listens on a port of loopback and serves one connection in a thread of its own.
class FakeServer {
 public:
  // Returns false when the connection is gone.
  struct Peer {
    int handle;
    bool send(const std::string& bytes) const;
    // What the client sends next, at most some KB; empty at its end.
    std::string receive() const;
  };

  explicit FakeServer(const std::function<void(Peer)>& serve);
  FakeServer(const FakeServer&) = delete;
  FakeServer& operator=(const FakeServer&) = delete;
  ~FakeServer();
  int port() const { return portNumber; }

  // What a server sends to a client that it lets in.
  static std::string welcome();

 private:
  int listener;
  int portNumber = 0;
  std::thread thread;
};

#endif
