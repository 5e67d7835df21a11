#include "tools/zusql/export.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "tools/zusql/cancel.h"
#include "tools/zusql/display.h"

namespace zusql {

namespace {

using Clock = std::chrono::steady_clock;

// How long rows may lie in buffers, and how often the progress line changes.
constexpr std::chrono::milliseconds kFlushAfter{200};

std::string bar(double share) {
  constexpr int kWidth = 20;
  const int filled = static_cast<int>(std::lround(std::clamp(share, 0.0, 1.0) * kWidth));
  std::string text = "[";
  for (int i = 0; i < kWidth; ++i) text += i < filled ? '#' : '.';
  return text + "] ";
}

}  // namespace

ExportProgress::ExportProgress(std::int64_t total) : total(total) {}

double ExportProgress::seconds() const { return std::chrono::duration<double>(Clock::now() - start).count(); }

void ExportProgress::show(std::int64_t rows) {
  if (isatty(STDERR_FILENO) == 0) return;
  isShown = true;
  const auto rate = static_cast<std::int64_t>(static_cast<double>(rows) / std::max(seconds(), 1e-3));
  const std::string share = total > 0 ? bar(static_cast<double>(rows) / static_cast<double>(total)) : "";
  std::fprintf(stderr, "\r\033[K%s%s rows, %s rows/s", share.c_str(), grouped(rows).c_str(),
               grouped(rate).c_str());
  std::fflush(stderr);
}

void ExportProgress::clear() {
  if (isShown) std::fputs("\r\033[K", stderr);
  isShown = false;
}

std::int64_t writeRows(Statement& statement, const std::vector<Column>& columns, Output& out,
                       const FormatOptions& options, ExportProgress* progress) {
  const CancelScope cancellable(statement.handle());
  const std::unique_ptr<RowWriter> writer = makeWriter(out, columns, options);
  std::vector<Field> fields(columns.size());
  std::int64_t rows = 0;
  Clock::time_point flushed = Clock::now();
  try {
    while (statement.fetch()) {
      for (std::size_t i = 0; i < fields.size(); ++i) {
        statement.get(static_cast<SQLUSMALLINT>(i + 1), fields[i]);
      }
      writer->row(fields);
      ++rows;
      if (takeInterrupt()) throw OdbcError("HY008", "HY008: cancelled");
      if (const Clock::time_point now = Clock::now(); now - flushed >= kFlushAfter) {
        writer->flush();
        out.flush();
        if (progress) progress->show(rows);
        flushed = now;
      }
    }
  } catch (const OdbcError&) {
    writer->flush();
    out.flush();
    if (progress) progress->clear();
    throw;
  }
  writer->end();
  out.flush();
  if (progress) progress->clear();
  return rows;
}

}  // namespace zusql
