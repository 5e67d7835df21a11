// A driver that fails each of its calls in turn, through the whole life of a scrolling statement. What the
// application is told is the driver's error; the driver's handles all go; the connection goes on working.

#include "tests/support/odbc_fixture.h"
#include "tests/support/rowset.h"
#include "tests/support/scripted_driver.h"

namespace {

class FailingDriver : public testing::TestWithParam<ScriptedVariant> {
 protected:
  FailingDriver() : driver(GetParam(), script), connection(SQL_CUR_USE_ODBC) {
    script.answers["select"] = scriptedRows(9);
    script.answers["select id, name from t WHERE"] = scriptedRows(1);
  }

  void SetUp() override {
    ASSERT_SQL(SQL_SUCCESS, connection, connection.connect(driver.connectionString()));
  }

  // The failed step's diagnostics, or nothing when all worked.
  std::string scroll(OdbcStatement& stmt, OdbcStatement& writer, Rowset& rows) {
    char piece[8];
    SQLLEN left = 0;
    SQLINTEGER newId = 3;
    const auto failed = [](SQLRETURN rc) { return !SQL_SUCCEEDED(rc); };
    if (failed(stmt.setName("C1")) || failed(stmt.execute("select id, name from t")) ||
        failed(rows.fetch(SQL_FETCH_LAST)) || failed(rows.fetch(SQL_FETCH_ABSOLUTE, 2)) ||
        failed(SQLSetPos(stmt, 2, SQL_POSITION, SQL_LOCK_NO_CHANGE)) ||
        failed(SQLGetData(stmt, 2, SQL_C_CHAR, piece, sizeof piece, &left))) {
      return stmt.why();
    }
    if (failed(SQLBindParameter(writer, 1, SQL_PARAM_INPUT, SQL_C_SLONG, SQL_INTEGER, 10, 0, &newId, 0,
                                nullptr)) ||
        failed(writer.prepare("update t set id = ? where current of C1")) || failed(SQLExecute(writer))) {
      return writer.why();
    }
    return failed(SQLFreeStmt(stmt, SQL_CLOSE)) ? stmt.why() : "";
  }

  DriverScript script;
  ScriptedDriver driver;
  OdbcConnection connection;
};

INSTANTIATE_TEST_SUITE_P(Drivers, FailingDriver,
                         testing::Values(ScriptedVariant::Odbc1, ScriptedVariant::Odbc2,
                                         ScriptedVariant::Odbc3, ScriptedVariant::NoDescriptors));

TEST_P(FailingDriver, IsHeardAndSurvived) {
  const int before = script.liveHandles;
  bool struck = true;
  for (int n = 1; struck && !HasFailure(); ++n) {
    {
      OdbcStatement stmt(connection);
      OdbcStatement writer(connection);
      stmt.makeScrollable();
      Rowset rows(stmt, 3);
      script.calls = 0;
      script.failed = false;
      script.failAtCall = n;
      script.log.clear();
      const std::string told = scroll(stmt, writer, rows);
      struck = script.failed;
      script.failAtCall = 0;
      const std::string at =
          "call " + std::to_string(n) + ", " + (script.log.empty() ? "" : script.log.back());
      if (!told.empty()) {
        EXPECT_TRUE(struck) << told;
        EXPECT_NE(std::string::npos, told.find("[scripted]")) << at << ": " << told;
      }

      // The statements themselves are usable again.
      SQLFreeStmt(stmt, SQL_CLOSE);
      SQLFreeStmt(writer, SQL_CLOSE);
      EXPECT_EQ("", scroll(stmt, writer, rows)) << "after " << at;
    }
    EXPECT_EQ(before, script.liveHandles) << "call " << n;
  }
}

}  // namespace
