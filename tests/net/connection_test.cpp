// The socket interface: addresses, its two kinds of end, and every system call of it failing in turn.

#include "zulib/net/connection.h"

#include <netdb.h>
#include <sys/resource.h>

#include <cerrno>
#include <csignal>
#include <random>

#include "tests/net/peer.h"
#include "tests/net/socket_faults.h"
#include "zulib/net/internal/connectionobject.h"

using namespace nettest;

namespace {

// A connection object at an odd address, with a guard after its last byte.
class Connection : public testing::Test {
 protected:
  Connection() { memory[sizeof memory - 1] = 0x5A; }
  ~Connection() override {
    EXPECT_EQ(memory[sizeof memory - 1], 0x5A) << "written past the end of the object";
    ConnectionClose(conn, &error);
  }

  void open() {
    ASSERT_EQ(ConnectionOpen(conn, peer.address().c_str(), &error), 1) << lastText();
    peer.accept();
  }
  std::string lastText() {
    const char* text = nullptr;
    EXPECT_EQ(ConnectionError(conn, nullptr, &text, nullptr), 1);
    return text;
  }
  unsigned lastCode() {
    unsigned code = 0;
    unsigned detail = 0;
    ConnectionError(conn, &code, nullptr, &detail);
    EXPECT_EQ(detail, 11u);
    return code;
  }

  Peer peer;
  unsigned char memory[548 + 2] = {};
  void* conn = memory + 1;
  unsigned error = 0;
};

TEST_F(Connection, BadAddressesAreShownInTheError) {
  const std::string longHost(4096, 'h');
  const std::string cut = ("ConnectionOpen (" + longHost).substr(0, 548 - 32 - 1);
  const struct {
    std::string address;
    std::string text;
  } cases[] = {
      {"host", "ConnectionOpen (host())."},
      {"", "ConnectionOpen (())."},
      {",1234", "ConnectionOpen (,1234())."},
      {"127.0.0.1,", "ConnectionOpen (127.0.0.1,())."},
      {longHost + ",1", cut},
      {std::string(4095, 'h') + ",1", cut},
      {"999.1.1.1,80", "ConnectionOpen (999.1.1.1,80())."},
      {"::1,80", "ConnectionOpen (::1,80())."},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(ConnectionOpen(conn, c.address.c_str(), &error), 0) << c.address;
    EXPECT_EQ(error, 11u) << c.address;
    EXPECT_EQ(lastText(), c.text);
    EXPECT_EQ(lastCode(), 11u);
    EXPECT_EQ(ConnectionClose(conn, &error), 1) << "a failed open leaves the object closed";
  }
  EXPECT_EQ(ConnectionOpen(conn, nullptr, &error), 0);
  EXPECT_EQ(lastCode(), 11u);
}

TEST_F(Connection, NamesAreLookedUp) {
  EXPECT_EQ(ConnectionOpen(conn, ("localhost," + peer.port()).c_str(), &error), 1) << lastText();
  ConnectionClose(conn, &error);
  unsigned address = 0;
  EXPECT_EQ(MapHostNameToAddress(conn, "127.1.2.3", &address, &error), nullptr);
  EXPECT_EQ(address, inet_addr("127.1.2.3"));

  SocketFaults faults;
  faults.fail("gethostbyname_r", NO_DATA, 1, 2);  // as for a name that has IPv6 addresses only
  EXPECT_STREQ(MapHostNameToAddress(conn, "six", &address, &error), "gethostbyname_r");
  EXPECT_EQ(error, static_cast<unsigned>(NO_DATA));
  EXPECT_EQ(lastText(), "MapHostNameToAddress (gethostbyname_r()).");
  EXPECT_EQ(ConnectionOpen(conn, "six,80", &error), 0);
  EXPECT_EQ(error, 11u) << "not the error word of the look-up";
  EXPECT_EQ(lastText(), "ConnectionOpen (six,80()).");
}

TEST_F(Connection, EndsOfAConnection) {
  char buffer[16];
  unsigned hasData = 9;
  open();
  peer.send("abc");
  EXPECT_EQ(ConnectionCheckForData(conn, &hasData, &error), 1);
  EXPECT_EQ(hasData, 1u);
  EXPECT_EQ(ConnectionRead(conn, buffer, sizeof buffer, 1, 1, &error), 3);
  EXPECT_EQ(ConnectionCheckForData(conn, &hasData, &error), 0);
  EXPECT_EQ(hasData, 0u);
  EXPECT_EQ(error, 0u);
  peer.hangUp();
  EXPECT_EQ(ConnectionRead(conn, buffer, sizeof buffer, 0, 0, &error), 0);
  EXPECT_EQ(error, 11u);
  EXPECT_EQ(lastText(), "ConnectionRead (recv()).");

  open();
  peer.abort();
  EXPECT_EQ(ConnectionCheckForData(conn, &hasData, &error), 0);
  EXPECT_EQ(error, 11u);
  EXPECT_EQ(lastText(), "ConnectionCheckForData (()).");
  EXPECT_EQ(ConnectionRead(conn, buffer, sizeof buffer, 0, 0, &error), 0);
  EXPECT_EQ(error, static_cast<unsigned>(ECONNRESET));
  EXPECT_EQ(ConnectionWrite(conn, "x", 1, &error), 0) << "and no SIGPIPE";
  EXPECT_EQ(error, static_cast<unsigned>(EPIPE));
  EXPECT_EQ(lastText(), "ConnectionWrite (send()).");

  ConnectionClose(conn, &error);
  EXPECT_EQ(ConnectionClose(conn, &error), 1);
  EXPECT_EQ(ConnectionRead(conn, buffer, sizeof buffer, 0, 0, &error), 0) << "and no wait";
  EXPECT_EQ(error, static_cast<unsigned>(EBADF));
  peer.refuse();
  EXPECT_EQ(ConnectionOpen(conn, peer.address().c_str(), &error), 0);
  EXPECT_EQ(error, static_cast<unsigned>(ECONNREFUSED));
  EXPECT_EQ(lastText(), "ConnectionOpen (connect()).");
}

TEST_F(Connection, ClosingResets) {
  open();
  EXPECT_EQ(ConnectionClose(conn, &error), 1);
  char byte;
  EXPECT_EQ(recv(peer.handle, &byte, 1, 0), -1);
  EXPECT_EQ(errno, ECONNRESET);
}

TEST_F(Connection, AReadWaitsTenSeconds) {
  open();
  SocketFaults faults;
  faults.expireWaits();
  char byte;
  EXPECT_EQ(ConnectionRead(conn, &byte, 1, 60, 60, &error), 0);
  EXPECT_EQ(error, 110u);
  EXPECT_EQ(faults.lastWait(), std::chrono::seconds(10));
}

TEST_F(Connection, ASignalEndsAWait) {
  open();
  struct sigaction old;
  struct sigaction ignored = {};
  ignored.sa_handler = [](int) {};
  sigaction(SIGALRM, &ignored, &old);
  const itimerval soon = {{0, 20000}, {0, 20000}};
  const itimerval never = {};
  setitimer(ITIMER_REAL, &soon, nullptr);
  char byte;
  EXPECT_EQ(ConnectionRead(conn, &byte, 1, 0, 0, &error), 0);
  setitimer(ITIMER_REAL, &never, nullptr);
  sigaction(SIGALRM, &old, nullptr);
  EXPECT_EQ(error, static_cast<unsigned>(EINTR));
}

TEST_F(Connection, WritesContinueAfterAShortSend) {
  open();
  std::string data(60000, '\0');
  std::mt19937 random(3);
  for (char& c : data) c = static_cast<char>(random());
  SocketFaults faults;
  faults.limitSends(7777);
  EXPECT_EQ(ConnectionWrite(conn, data.data(), static_cast<unsigned short>(data.size()), &error),
            data.size());
  EXPECT_EQ(peer.receive(data.size()), data);
  faults.fail("send", EPIPE, 3);
  EXPECT_EQ(ConnectionWrite(conn, data.data(), 20000, &error), 0) << "though 15554 bytes went out";
  EXPECT_EQ(error, static_cast<unsigned>(EPIPE));
  faults.fail("send", EPIPE);
  EXPECT_EQ(ConnectionWrite(conn, nullptr, 0, &error), 0);
  EXPECT_EQ(error, 0u);
  EXPECT_EQ(faults.count(), 0) << "nothing is sent for no bytes";
}

TEST_F(Connection, OutOfBandData) {
  open();
  EXPECT_EQ(ConnectionWrite(conn, "ab", 2, &error), 2);
  EXPECT_EQ(ConnectionWriteOOB(conn, "!", 1, &error), 1);
  EXPECT_EQ(peer.receive(2), "ab");
  char urgent = 0;
  EXPECT_EQ(recv(peer.handle, &urgent, 1, MSG_OOB), 1);
  EXPECT_EQ(urgent, '!');
  peer.send("!", MSG_OOB);
  unsigned hasData = 0;
  EXPECT_EQ(ConnectionCheckForData(conn, &hasData, &error), 1);
}

// A process may have more descriptors than select can take.
TEST_F(Connection, ManyDescriptors) {
  rlimit limit;
  getrlimit(RLIMIT_NOFILE, &limit);
  if (limit.rlim_cur < 2000) GTEST_SKIP() << "too few descriptors allowed";
  std::vector<int> taken;
  for (int i = 0; i < 1100; ++i) taken.push_back(dup(0));
  open();
  EXPECT_GT(static_cast<zunet::ConnectionObject*>(conn)->socketHandle, 1024);
  char reply[4] = "";
  peer.send("re");
  EXPECT_EQ(ConnectionTransact(conn, reply, "quest", 5, sizeof reply, 0, 0, &error), 2);
  EXPECT_STREQ(reply, "re");
  EXPECT_EQ(peer.receive(5), "quest");
  ConnectionClose(conn, &error);
  for (const int handle : taken) close(handle);
}

TEST_F(Connection, FunctionsWithoutAnEffect) {
  EXPECT_EQ(ConnectionObjectSize(), 548u);
  EXPECT_EQ(ConnectionVer(), 0x07000207u);
  unsigned short count = 7;
  EXPECT_EQ(ConnectionServerEnum(nullptr, 1, &count), 2);
  EXPECT_EQ(count, 0);
  EXPECT_EQ(ConnectionServerEnumW(nullptr, 1, nullptr), 2);
  open();
  EXPECT_EQ(ConnectionStatus(conn, 1), 0);
  ConnectionMode(conn, 1);
  EXPECT_EQ(ConnectionWrite(conn, "x", 1, &error), 1) << "still open";
}

// Every socket call of a conversation fails once, each in its turn: the function that makes it says so, and
// no descriptor is lost.
TEST_F(Connection, SweepOfSocketCalls) {
  const long before = openDescriptors();
  const auto converse = [&] {
    char reply[4];
    unsigned hasData = 0;
    if (!ConnectionOpen(conn, ("localhost," + peer.port()).c_str(), &error)) return false;
    peer.accept();
    peer.send("re");
    return ConnectionCheckForData(conn, &hasData, &error) &&
           ConnectionTransact(conn, reply, "quest", 5, 2, 0, 0, &error) == 2 &&
           // Nothing is left to read, and nothing comes.
           (ConnectionRead(conn, reply, 1, 0, 0, &error) || error == kConnectionTimedOut) &&
           ConnectionClose(conn, &error);
  };
  int failures = 0;
  for (bool failed = true; failed; ++failures) {
    SocketFaults faults;
    faults.fail("", EIO, failures + 1);
    faults.expireWaits();
    failed = !converse();
    EXPECT_EQ(failed, faults.count() > failures) << "call " << failures + 1;
    if (failed) {
      EXPECT_TRUE(error == EIO || error == 11) << error;
      EXPECT_EQ(lastCode(), error);
      EXPECT_NE(lastText(), "");
    }
    faults.fail("", 0, 0, 0);
    ConnectionClose(conn, &error);
    peer.hangUp();
    EXPECT_EQ(openDescriptors(), before) << "call " << failures + 1;
  }
  EXPECT_EQ(failures - 1, 10) << "socket, bind, look-up, connect, poll, send, recv, recv, wait, close";
}

}  // namespace
