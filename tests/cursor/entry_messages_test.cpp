// The catalog of the cursor library: every message has a text of its own and its SQLSTATE.

#include <set>

#include "tests/cursor/entry_fixture.h"
#include "zuodbc/dmservices.h"

namespace {

const struct {
  unsigned short number;
  const char* state;
} MESSAGES[] = {
    {4, "01S02"},   {24, "01004"},  {28, "01S01"},  {32, "01S02"},  {36, "01001"},  {40, "01001"},
    {60, "24000"},  {64, "34000"},  {68, "42000"},  {120, "HY000"}, {124, "HY000"}, {128, "HY000"},
    {132, "HY000"}, {136, "HY001"}, {140, "07009"}, {162, "07009"}, {174, "HY090"}, {238, "HY106"},
    {242, "HY107"}, {252, "HY109"}, {264, "HYC00"}, {272, "HYC00"}, {276, "HYC00"}, {284, "HYC00"},
    {288, "HYC00"}, {292, "HYC00"}, {296, "HY000"}, {300, "HYC00"}, {304, "HY010"}, {308, "HY000"},
    {316, "HY011"}, {320, "HY000"}, {324, "01S06"}, {332, "22002"}, {376, "07009"}, {388, "HY008"},
    {392, "HYC00"}, {404, "HY111"}, {408, "HY009"}, {412, "HY010"}, {416, "08S01"}, {460, "HY007"},
    {464, "HY010"}, {504, "HY021"},
};

TEST(CursorMessages, AllHaveATextAndAState) {
  OdbcConnection conn;
  std::set<std::string> texts;
  for (const auto& message : MESSAGES) {
    SCOPED_TRACE(message.number);
    static_cast<DMConn*>(static_cast<SQLHDBC>(conn))->VFreeErrors();
    PostODBCError(kDmComponentCursorLibrary, conn, message.number, -1);
    EXPECT_EQ(message.state, conn.states());
    EXPECT_EQ('.', conn.why().back());  // a sentence, not the number of a missing text
    EXPECT_TRUE(texts.insert(catalogText(message.number)).second) << "the text of another message";
    EXPECT_NE(std::string::npos, conn.why().find(catalogText(message.number)));
  }
}

}  // namespace
