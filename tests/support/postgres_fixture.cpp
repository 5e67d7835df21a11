// The PostgreSQL server of a test program.

#include "tests/support/odbc_fixture.h"
#include "tests/support/server_process.h"

namespace {

const ServerProcess& server() {
  static const ServerProcess running("postgres.sh", "port");
  return running;
}

}  // namespace

bool PostgresFixture::isRunning(std::string& why) {
  why = server().failure();
  return !server().value().empty();
}

void PostgresFixture::SetUp() {
  std::string why;
  ASSERT_TRUE(isRunning(why)) << why;
}

std::string PostgresFixture::connectionString(const std::string& options) {
  return "Driver=/usr/lib/x86_64-linux-gnu/odbc/psqlodbca.so;Server=127.0.0.1;Port=" + server().value() +
         ";Database=postgres;UID=postgres;" + options;
}

std::string PostgresFixture::streaming(int rows) {
  return connectionString("UseDeclareFetch=1;Fetch=" + std::to_string(rows) + ";");
}
