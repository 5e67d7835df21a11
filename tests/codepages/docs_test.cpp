// The documented list of code pages without a converter is that of the installed ICU.

#include <gtest/gtest.h>
#include <unicode/ucnv.h>

#include <fstream>
#include <sstream>

#include "zulib/codepages/internal/ucnvtables.h"

namespace {

TEST(CodePageDocs, ListThePagesThatICUDoesNotOpen) {
  std::ostringstream rows;
  int missing = 0;
  for (const UcnvNameRow& row : IANAtoICUTable) {
    UErrorCode status = U_ZERO_ERROR;
    ucnv_close(ucnv_open(row.name, &status));
    if (!U_FAILURE(status)) continue;
    rows << "| " << row.id << " | `" << row.name << "` |\n";
    ++missing;
  }
  const std::ifstream file(ZULIB_SOURCE_DIR "/docs/codepages.md");
  std::ostringstream docs;
  docs << file.rdbuf();
  const std::string text = docs.str();
  const size_t table = text.find("|---:|");
  ASSERT_NE(table, std::string::npos);
  EXPECT_EQ(text.substr(text.find('\n', table) + 1), rows.str()) << "replace the rows of docs/codepages.md";
  EXPECT_NE(text.find(std::to_string(missing) + " of the " + std::to_string(std::size(IANAtoICUTable))),
            std::string::npos);
}

}  // namespace
