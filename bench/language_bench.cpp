// The language tools: the scanner beside one that flex generates for the same tokens, connection strings
// beside a split by hand, and the opening of a large query file beside a look at its first line.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <strings.h>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <random>
#include <string>
#include <string_view>

#include "sqlscan.h"
#include "zulib/language/zuqueryfile.h"
#include "zulib/language/zuscanner.h"
#include "zulib/language/zuvalueparser.h"

namespace {

const unsigned char* bytes(const std::string& s) { return reinterpret_cast<const unsigned char*>(s.c_str()); }

// ---- the scanner ----

// Statements as reports and loaders write them: names, numbers, quoted texts, comments and operators.
std::string makeSql(std::size_t length) {
  static const char* const kPieces[] = {
      "SELECT c.customer_id, c.last_name, SUM(o.amount * 1.19) AS total\n  FROM customers c\n",
      "  LEFT JOIN orders o ON o.customer_id = c.customer_id AND o.status <> 'cancelled'\n",
      " WHERE c.city IN ('K\xC3\xB6ln', 'Z\xC3\xBCrich', 'it''s') AND (o.amount >= 100 OR o.amount IS "
      "NULL)\n",
      " GROUP BY c.customer_id, c.last_name HAVING COUNT(*) > 3 ORDER BY 3 DESC;\n",
      "-- moves the finished ones\nINSERT INTO archive (id, note) VALUES (4711, 'done'), (4712, ?);\n",
      "/* prices of the year */\nUPDATE \"Price List\" SET price = price * 1.05, changed = {d '2020-01-31'} "
      "WHERE id = ",
      "DELETE FROM log WHERE level != 2 AND text || suffix LIKE '%error%'; "};
  std::mt19937 random(1);
  std::string sql;
  while (sql.size() < length) {
    sql += kPieces[random() % std::size(kPieces)];
    sql += std::to_string(random() % 100000) + " ;\n";
  }
  return sql;
}

const std::string& sql() {
  static const std::string text = makeSql(10 << 20);
  return text;
}

std::u16string widened(const std::string& text) { return {text.begin(), text.end()}; }

struct Tokens {
  unsigned long count = 0;
  unsigned long sum = 0;  // of their codes, places and lengths

  void add(unsigned long code, unsigned long begin, unsigned long length) {
    ++count;
    sum = sum * 31 + code + begin * 7 + length;
  }
};

template <class Scanner, class Token, class Char>
Tokens scanOurs(const Char* text, std::size_t length) {
  Scanner scanner(text, length);
  if constexpr (sizeof(Char) == 1) scanner.setCodePage(zuCPUTF8);
  scanner.setParseComments();
  Tokens tokens;
  Token token;
  for (scanner.getToken(token); token != scanEnd; scanner.getToken(token))
    tokens.add(token.getTokenType(), token.getBegOfToken(), token.getLength());
  return tokens;
}

// flex works in its buffer, which it changes and restores.
Tokens scanReference(std::string& buffer) {
  YY_BUFFER_STATE state = sql_scan_buffer(buffer.data(), buffer.size());
  Tokens tokens;
  for (int code = sqllex(); code != scanEnd; code = sqllex())
    tokens.add(static_cast<unsigned>(code), static_cast<unsigned long>(sqltext - buffer.data()),
               static_cast<unsigned long>(sqlleng));
  sql_delete_buffer(state);
  return tokens;
}

std::string flexBuffer() { return sql() + std::string(2, '\0'); }

void scannerOurs(benchmark::State& state) {
  std::string buffer = flexBuffer();
  const Tokens expected = scanReference(buffer);
  for (auto _ : state) {
    const Tokens tokens = scanOurs<ZuScanner, ZuToken>(bytes(sql()), sql().size());
    if (tokens.count != expected.count || tokens.sum != expected.sum)
      return state.SkipWithError("other tokens than the reference");
  }
}
void scannerReference(benchmark::State& state) {
  std::string buffer = flexBuffer();
  for (auto _ : state) benchmark::DoNotOptimize(scanReference(buffer).sum);
}
void scannerWide(benchmark::State& state) {
  const std::u16string text = widened(sql());
  for (auto _ : state)
    benchmark::DoNotOptimize(
        scanOurs<ZuScannerW, ZuTokenW>(reinterpret_cast<const unsigned short*>(text.data()), text.size())
            .sum);
}

BENCHMARK(scannerOurs)->Name("scan 10 MB of SQL/ours")->Unit(benchmark::kMillisecond);
BENCHMARK(scannerReference)->Name("scan 10 MB of SQL/reference")->Unit(benchmark::kMillisecond);
BENCHMARK(scannerWide)->Name("scan 10 M units of SQL, UTF-16/ours")->Unit(benchmark::kMillisecond);
BENCHMARK(scannerReference)->Name("scan 10 M units of SQL, UTF-16/reference")->Unit(benchmark::kMillisecond);

// ---- connection strings ----

constexpr unsigned kAttributes = 20;

std::string connectionString() {
  static const char* const kWords[kAttributes] = {"DSN",
                                                  "UID",
                                                  "PWD",
                                                  "Host Name",
                                                  "Port Number",
                                                  "Database",
                                                  "Application Name",
                                                  "Login Timeout",
                                                  "Trace",
                                                  "TraceFile",
                                                  "IANAAppCodePage",
                                                  "Encrypt",
                                                  "TrustStore",
                                                  "KeyStore",
                                                  "Failover",
                                                  "Alternates",
                                                  "Load Balance",
                                                  "Array Size",
                                                  "Pooling",
                                                  "Description"};
  std::string text;
  for (unsigned i = 0; i < kAttributes; ++i)
    text +=
        std::string(kWords[i]) + "=" + (i % 6 == 2 ? "'se;cret'" : "value number " + std::to_string(i)) + ";";
  return text;
}

// What a driver does by hand: views of the words and values, each word once, in any case.
struct Split {
  std::string_view words[kAttributes];
  std::string_view values[kAttributes];
  unsigned count = 0;

  static std::string_view trimmed(std::string_view view) {
    while (!view.empty() && std::isspace(static_cast<unsigned char>(view.front()))) view.remove_prefix(1);
    while (!view.empty() && std::isspace(static_cast<unsigned char>(view.back()))) view.remove_suffix(1);
    return view;
  }
  const std::string_view* find(std::string_view word) const {
    for (unsigned i = 0; i < count; ++i)
      if (words[i].size() == word.size() && strncasecmp(words[i].data(), word.data(), word.size()) == 0)
        return &values[i];
    return nullptr;
  }
  bool parse(std::string_view text) {
    while (!text.empty()) {
      const auto equals = text.find('=');
      if (equals == std::string_view::npos || count == kAttributes) return false;
      const std::string_view word = trimmed(text.substr(0, equals));
      char quote = 0;
      std::size_t end = equals + 1;
      for (; end < text.size() && (quote || text[end] != ';'); ++end) {
        const char c = text[end];
        if (c == quote) {
          quote = 0;
        } else if (c == '\'' || c == '"' || c == '`') {
          quote = c;
        }
      }
      if (word.empty() || find(word)) return false;
      words[count] = word;
      values[count++] = trimmed(text.substr(equals + 1, end - equals - 1));
      text.remove_prefix(end < text.size() ? end + 1 : end);
    }
    return true;
  }
};

void attributesOurs(benchmark::State& state) {
  const std::string text = connectionString();
  const ZuSubString view(bytes(text), text.size(), zuCPUTF8);
  for (auto _ : state) {
    ZuValueParser parser(&view, ';', nullptr, 0);
    if (parser.initialize() || parser.getAttributeCount() != kAttributes)
      return state.SkipWithError("not parsed");
    benchmark::DoNotOptimize(parser.getAttributeValue(bytes("description")));
  }
}
void attributesReference(benchmark::State& state) {
  const std::string text = connectionString();
  for (auto _ : state) {
    Split split;
    if (!split.parse(text) || split.count != kAttributes) return state.SkipWithError("not parsed");
    benchmark::DoNotOptimize(split.find("description"));
  }
}

BENCHMARK(attributesOurs)->Name("connection string of 20 attributes/ours");
BENCHMARK(attributesReference)->Name("connection string of 20 attributes/reference");

// ---- query files ----

struct LargeQuery {
  LargeQuery() {
    std::ofstream file(path, std::ios::binary);
    file << "ZUK 7.0 for Some Database\n\nuse shop;\nselect * from orders;\n\n";
    for (int i = 0; i < 1000; ++i) file << "[section " << i << "]\n" << std::string(10000, 'x') << "\n\n";
  }
  ~LargeQuery() { unlink(path.c_str()); }

  const std::string path = "/tmp/zuquerybench" + std::to_string(getpid());
};

void openOurs(benchmark::State& state) {
  const LargeQuery query;
  ZuQueryFile file;
  for (auto _ : state) {
    if (file.openFile(bytes(query.path)) || file.closeFile()) return state.SkipWithError("not opened");
  }
}
void openReference(benchmark::State& state) {
  const LargeQuery query;
  for (auto _ : state) {
    char head[2048];
    const int handle = open(query.path.c_str(), O_RDONLY);
    if (read(handle, head, sizeof head) != sizeof head) return state.SkipWithError("not read");
    benchmark::DoNotOptimize(std::memchr(head, '\n', sizeof head));
    close(handle);
  }
}

BENCHMARK(openOurs)->Name("open a query file of 10 MB/ours");
BENCHMARK(openReference)->Name("open a query file of 10 MB/reference");

}  // namespace
