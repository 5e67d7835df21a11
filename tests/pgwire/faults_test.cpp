// Logins, servers that misbehave, exhausted memory, threads.

#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <random>

#include "tests/pgwire/support.h"
#include "tests/reload/failing_malloc.h"
#include "tests/support/kerberos_realm.h"

namespace {

class PgwireFaults : public PgwireFixture {};

// Replaces the server's rules of who may log in how.
void setRules(OdbcConnection& conn, const std::string& rules) {
  conn.run("copy (select unnest(string_to_array('" + rules + "', '|'))) to '" + conn.value("show hba_file") +
           "'");
  conn.run("select pg_reload_conf()");
  usleep(300000);
}

TEST_F(PgwireFaults, Logins) {
  OdbcConnection admin(source(), SQL_CUR_USE_DRIVER);
  const std::string rest = "|host all all 127.0.0.1/32 trust";
  admin.run(
      "create role plainuser login password 'secret'; set password_encryption = 'md5'; "
      "create role md5user login password 'secret'; create role alice login");
  setRules(admin, "host all plainuser 127.0.0.1/32 scram-sha-256|host all md5user 127.0.0.1/32 md5" + rest);
  const auto tryLogin = [](const std::string& options, const std::string& server = "127.0.0.1") {
    OdbcConnection conn(SQL_CUR_USE_DRIVER);
    return SQL_SUCCEEDED(conn.connect(source(options, server))) ? conn.value("select current_user")
                                                                : conn.states();
  };
  EXPECT_EQ(tryLogin("UID=plainuser;PWD=secret;"), "plainuser");
  EXPECT_EQ(tryLogin("UID=plainuser;PWD=wrong;"), "28P01");
  EXPECT_EQ(tryLogin("UID=plainuser;"), "28000");
  // The same login, asked for step by step.
  const OdbcConnection browsing(SQL_CUR_USE_DRIVER);
  std::string asked;
  SQLRETURN code = SQL_NEED_DATA;
  for (std::string in : {source(""), std::string("UID=plainuser"), std::string("PWD=secret")}) {
    SQLCHAR out[400] = "";
    code =
        SQLBrowseConnect(browsing, reinterpret_cast<SQLCHAR*>(in.data()), SQL_NTS, out, sizeof out, nullptr);
    asked += std::to_string(code) + " " + std::string(reinterpret_cast<char*>(out)).substr(0, 4) + "|";
  }
  EXPECT_EQ(asked, "99 UID:|99 PWD:|0 Driv|") << browsing.why();
  EXPECT_EQ(tryLogin("UID=md5user;PWD='secret';"), "md5user");
  EXPECT_EQ(tryLogin("UID=md5user;PWD=wrong;"), "28P01");
  setRules(admin, "host all plainuser 127.0.0.1/32 password" + rest);
  EXPECT_EQ(tryLogin("UID=plainuser;PWD={secret};"), "plainuser");
  EXPECT_EQ(tryLogin(""), "HY000") << "no user";

  const KerberosRealm realm;
  realm.logIn();
  const char* keytab = getenv("KRB5_KTNAME");
  ASSERT_NE(keytab, nullptr);
  const std::string from = std::string(keytab).substr(std::string(keytab).find('/'));
  const std::string copy = testing::TempDir() + "zupgwire.keytab";
  std::filesystem::copy_file(from, copy, std::filesystem::copy_options::overwrite_existing);
  ASSERT_EQ(chmod(copy.c_str(), 0644), 0);
  admin.run("alter system set krb_server_keyfile = '" + copy + "'");
  setRules(admin, "host all alice 127.0.0.1/32 gss include_realm=0" + rest);
  const std::string gss = "UID=alice;KerberosServiceName=db;";
  EXPECT_EQ(tryLogin(gss, "localhost"), "alice");
  realm.logOut();
  EXPECT_EQ(tryLogin(gss, "localhost"), "HY000");
  setRules(admin, "host all all 127.0.0.1/32 trust");
  std::filesystem::remove(copy);
}

TEST_F(PgwireFaults, ServersThatDieAreSilentOrSendNonsense) {
  const auto states = [](const std::function<void(FakeServer::Peer)>& serve) {
    const FakeServer server(serve);
    OdbcConnection conn(SQL_CUR_USE_DRIVER);
    if (!SQL_SUCCEEDED(conn.connect(sourceAt(server.port())))) return "connect " + conn.states();
    OdbcStatement stmt(conn);
    SQLRETURN code = stmt.execute("select 1");
    while (code == SQL_SUCCESS) code = SQLFetch(stmt);
    const std::string result = code == SQL_NO_DATA ? "rows" : stmt.states();
    SQLUINTEGER dead = 9;
    SQLGetConnectAttr(conn, SQL_ATTR_CONNECTION_DEAD, &dead, 0, nullptr);
    return result + (dead == SQL_CD_TRUE ? " dead" : " alive");
  };
  const auto welcomed = [](const std::string& reply) {
    return [=](FakeServer::Peer peer) {
      peer.receive();
      peer.send(FakeServer::welcome());
      peer.receive();
      peer.send(reply);
    };
  };
  const std::string row =
      message('T', std::string("\0\1a\0\0\0\0\0\0\0\0\0\0\x17\0\4\xFF\xFF\xFF\xFF\0\0", 22));
  EXPECT_EQ(states([](FakeServer::Peer) {}), "connect 08S01");
  EXPECT_EQ(states([](FakeServer::Peer peer) {
              while (!peer.receive().empty()) continue;
            }),
            "connect HYT00");
  EXPECT_EQ(states([](FakeServer::Peer peer) {
              peer.send(message('Z', "I"));
              peer.receive();
            }),
            "connect 08S01");
  EXPECT_EQ(states(welcomed("")), "08S01 dead");
  EXPECT_EQ(states(welcomed(row + message('D', "x"))), "08S01 dead");
  EXPECT_EQ(states(welcomed(row + message('D', std::string("\0\1\x7F\xFF\xFF\xFF", 6)))), "08S01 dead");
  EXPECT_EQ(states(welcomed(row + message('D', std::string("\0\1\0\0\0\1"
                                                           "5",
                                                           7)))),
            "08S01 dead")
      << "in the middle";
  EXPECT_EQ(states(welcomed(message('T', "\x7F\x7F"))), "08S01 dead");
  EXPECT_EQ(states(welcomed(std::string("D\xFF\xFF\xFF\xFF", 5))), "08S01 dead");
  EXPECT_EQ(states(welcomed(message('E', "SFATAL"))), "08S01 dead");
  EXPECT_EQ(states(welcomed(row +
                            message('D', std::string("\0\1\0\0\0\1"
                                                     "5",
                                                     7)) +
                            message('C', std::string("SELECT 1\0", 9)) + message('Z', "I"))),
            "rows alive");
}

// Bytes of a session with some of them changed, cut or repeated: no crash, no hang, every handle can be
// freed.
TEST_F(PgwireFaults, RandomServerBytes) {
  const std::string row = message('T', std::string("\0\2a\0\0\0\0\0\0\0\0\0\0\x17\0\4\xFF\xFF\xFF\xFF\0\0b\0"
                                                   "\0\0\0\0\0\0\0\0\0\x19\xFF\xFF\xFF\xFF\xFF\xFF\0\0",
                                                   42));
  const std::string good = row +
                           message('D', std::string("\0\2\0\0\0\1"
                                                    "5\0\0\0\3"
                                                    "abc",
                                                    14)) +
                           message('N', std::string("SNOTICE\0C00000\0Mwell\0\0", 22)) +
                           message('D', std::string("\0\2\0\0\0\2"
                                                    "17\xFF\xFF\xFF\xFF",
                                                    12)) +
                           message('C', std::string("SELECT 2\0", 9)) + message('Z', "I");
  std::mt19937 random(4);
  for (int round = 0; round < 300; ++round) {
    std::string bytes = FakeServer::welcome() + good;
    const std::size_t keep =
        round % 3 ? FakeServer::welcome().size() : 0;  // mostly what comes after the login
    for (unsigned n = 1 + random() % 3; n > 0; --n) {
      const std::size_t at = keep + random() % (bytes.size() - keep);
      switch (random() % 4) {
        case 0: bytes[at] = static_cast<char>(random()); break;
        case 1: bytes.erase(at, 1 + random() % 6); break;
        case 2: bytes.insert(at, bytes.substr(at, random() % 20)); break;
        default: bytes[at] = static_cast<char>(bytes[at] ^ (1 << random() % 8)); break;
      }
      if (bytes.size() <= keep + 1) break;
    }
    const FakeServer server([&](FakeServer::Peer peer) {
      peer.receive();
      peer.send(bytes);
      shutdown(peer.handle, SHUT_WR);
      while (!peer.receive().empty()) continue;
    });
    OdbcConnection conn(SQL_CUR_USE_DRIVER);
    if (!SQL_SUCCEEDED(conn.connect(sourceAt(server.port())))) {
      EXPECT_NE(conn.states(), "");
      continue;
    }
    OdbcStatement stmt(conn);
    SQLRETURN code = stmt.execute("select a, b from t");
    for (int rows = 0; SQL_SUCCEEDED(code) && rows < 100; ++rows) {
      code = SQLFetch(stmt);
      if (!SQL_SUCCEEDED(code)) break;
      readPieces(stmt, 2, SQL_C_CHAR, 3);
      readPieces(stmt, 1, SQL_C_WCHAR, 40);
    }
    EXPECT_TRUE(code != SQL_ERROR || !stmt.states().empty());
  }
}

// The 1st, 2nd, 3rd... allocation of a session fails: the failure is reported, and what follows works.
TEST_F(PgwireFaults, AllocationsFail) {
  const std::string connectionText = source();
  OdbcConnection other(connectionText, SQL_CUR_USE_DRIVER);
  unsigned long n = 1;
  unsigned failures = 0;
  for (bool triggered = true; triggered; n += 1 + n / 40) {
    ASSERT_LT(n, 20000UL);
    OdbcConnection conn(SQL_CUR_USE_DRIVER);
    SQLRETURN code = SQL_SUCCESS;
    {
      auto fault = FailingMalloc::at(n);
      code = conn.connect(connectionText);
      if (SQL_SUCCEEDED(code)) {
        SQLHSTMT stmt = nullptr;
        code = SQLAllocHandle(SQL_HANDLE_STMT, conn, &stmt);
        SQLINTEGER id = 5;
        if (SQL_SUCCEEDED(code))
          code = SQLBindParameter(stmt, 1, SQL_PARAM_INPUT, SQL_C_SLONG, SQL_INTEGER, 0, 0, &id, 0, nullptr);
        static char sql[] = "select i, repeat('\xE2\x82\xAC', 900) from generate_series(1, ?::int) i";
        if (SQL_SUCCEEDED(code)) code = SQLExecDirect(stmt, reinterpret_cast<SQLCHAR*>(sql), SQL_NTS);
        SQLWCHAR piece[100];
        while (SQL_SUCCEEDED(code) && SQL_SUCCEEDED(code = SQLFetch(stmt)))
          code = SQLGetData(stmt, 2, SQL_C_WCHAR, piece, sizeof piece, nullptr);
        if (stmt) SQLFreeHandle(SQL_HANDLE_STMT, stmt);
      }
      triggered = fault.triggered();
    }
    failures += code == SQL_ERROR ? 1 : 0;
    EXPECT_TRUE(triggered || code == SQL_NO_DATA) << n;
    if (conn.states().find("08") == std::string::npos) SQLDisconnect(conn);
  }
  EXPECT_GT(failures, 20U);
  EXPECT_EQ(other.value("select 'alive'"), "alive");
}

TEST_F(PgwireFaults, SixteenThreads) {
  const std::string connectionText = source();
  std::atomic<int> good = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < 16; ++t) {
    threads.emplace_back([&, t] {
      OdbcConnection conn(SQL_CUR_USE_DRIVER);
      if (!SQL_SUCCEEDED(conn.connect(connectionText))) return;
      for (int i = 0; i < 10; ++i) {
        const std::string wanted = std::to_string(t * 100 + i);
        if (conn.value("select " + wanted + " from generate_series(1, 50)") == wanted) ++good;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(good, 160);
}

}  // namespace
