// Fetches over drivers of every ODBC version, for applications of both, as a small language: each byte sets a
// size, executes or fetches. What is fetched goes by the sizes.

#include <algorithm>

#include "fuzz/input.h"
#include "fuzz/scripted.h"

namespace fetchsizesfuzz {

// Fetches of changing sizes. ODBC 2 has one size where ODBC 3 has two, each function uses the one that was
// set for it, and the oldest drivers only have SQLFetch, of one row at a time.
class Fetches : public ScriptedConnection {
 public:
  Fetches(Input& input, ScriptedVariant variant, SQLULEN version, bool throughLibrary)
      : ScriptedConnection({.variant = variant,
                            .cursors = throughLibrary ? SQL_CUR_USE_ODBC : SQL_CUR_USE_DRIVER,
                            .version = version}),
        input(input),
        throughLibrary(throughLibrary),
        lacks(version == SQL_OV_ODBC2 ? "S1C00" : "HYC00") {
    script.answers["select"] = scriptedRows(kRows);
    if (variant == ScriptedVariant::Odbc1) largest = 1;
    if (variant == ScriptedVariant::Odbc2 && !throughLibrary && input(3) == 2)
      script.largestRowset = largest = 2;
    SQLBindCol(stmt, 1, SQL_C_SLONG, seen.ids, 0, nullptr);
    EXPECT_SQL(SQL_SUCCESS, stmt, stmt.set(SQL_ATTR_ROWS_FETCHED_PTR, static_cast<void*>(&seen.count)));
    EXPECT_SQL(SQL_SUCCESS, stmt, stmt.set(SQL_ATTR_ROW_STATUS_PTR, static_cast<void*>(seen.statuses)));
  }
  void run() {
    execute();
    for (int step = 0; step < 100 && !input.atEnd() && !testing::Test::HasFailure(); ++step) {
      const unsigned action = input(6);
      if (action == 0) setSize(SQL_ATTR_ROW_ARRAY_SIZE, arraySize);
      if (action == 1 && !throughLibrary) setSize(SQL_ROWSET_SIZE, rowsetSize);
      if (action == 2) execute();
      if (action > 2) fetch();
    }
  }

 private:
  static constexpr SQLULEN kRows = 20;
  struct Rows {
    SQLINTEGER ids[8] = {};
    SQLUSMALLINT statuses[8] = {};
    SQLULEN count = 99;
    bool operator==(const Rows&) const = default;
  };

  void execute() {
    SQLFreeStmt(stmt, SQL_CLOSE);
    EXPECT_SQL(SQL_SUCCESS, stmt, stmt.execute("select 1"));
    at = 0;
    extended = !throughLibrary && input(2) == 1;
  }
  void setSize(SQLINTEGER attribute, SQLULEN& size) {
    const SQLULEN wanted = 1 + input(4);
    const bool isCut = wanted > largest && !throughLibrary, isRefused = isCut && largest == 1;
    const SQLRETURN rc = stmt.set(attribute, wanted);
    EXPECT_EQ(isRefused ? lacks : isCut ? "01S02" : "", stmt.states()) << attribute;
    EXPECT_EQ(isRefused, rc == SQL_ERROR);
    if (!isRefused) size = isCut ? largest : wanted;
    SQLULEN told = 0;
    EXPECT_SQL(SQL_SUCCESS, stmt, SQLGetStmtAttr(stmt, attribute, &told, 0, nullptr));
    EXPECT_EQ(size, told) << attribute;
  }
  void fetch() {
    const SQLULEN size = extended ? rowsetSize : arraySize;
    const bool hasPlaces = input(2) == 1, scrolls = input(2) == 1 && !throughLibrary;
    const SQLRETURN rc = extended
                             ? SQLExtendedFetch(stmt, SQL_FETCH_NEXT, 0, hasPlaces ? &seen.count : nullptr,
                                                hasPlaces ? seen.statuses : nullptr)
                         : scrolls ? SQLFetchScroll(stmt, SQL_FETCH_NEXT, 0)
                                   : SQLFetch(stmt);
    if (size > largest) {
      EXPECT_EQ(lacks, refusal(stmt, rc));
    } else if (at == kRows) {
      EXPECT_SQL(SQL_NO_DATA, stmt, rc);
      expected.count = seen.count;
      expected.statuses[0] = seen.statuses[0];
    } else {
      const SQLULEN count = std::min(size, kRows - at);
      EXPECT_SQL(SQL_SUCCESS, stmt, rc);
      for (SQLULEN i = 0; i < count; ++i) expected.ids[i] = static_cast<SQLINTEGER>(++at);
      if (!extended || hasPlaces) {
        expected.count = count;
        for (SQLULEN i = 0; i < size; ++i)
          expected.statuses[i] = static_cast<SQLUSMALLINT>(i < count ? SQL_ROW_SUCCESS : SQL_ROW_NOROW);
      }
    }
    EXPECT_TRUE(expected == seen) << size << " rows to " << at << (extended ? " extended" : "") << seen.count;
  }

  Input& input;
  OdbcStatement stmt{conn};
  bool throughLibrary, extended = false;
  const char* lacks;
  SQLULEN largest = kRows, arraySize = 1, rowsetSize = 1, at = 0;
  Rows seen, expected;
};

}  // namespace fetchsizesfuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input input(data, size);
  const ScriptedVariant variants[] = {ScriptedVariant::Odbc1, ScriptedVariant::Odbc2, ScriptedVariant::Odbc3};
  const ScriptedVariant variant = variants[input(3)];
  const SQLULEN version = input(2) ? SQL_OV_ODBC2 : SQL_OV_ODBC3;
  fetchsizesfuzz::Fetches(input, variant, version, input(4) == 3).run();
  endProgramOnFailure();
  return 0;
}
