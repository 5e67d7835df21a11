// The main program of every benchmark: runs them, and prints ours beside the reference.
//
// Benchmarks come in pairs that differ in one part of their name, "ours" and "reference":
// "strFind/ours/1024" and "strFind/reference/1024" make the row "strFind/1024". One without a partner is
// printed alone. A counter named "value" is reported in place of the time, for figures that are no times.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace {

struct Row {
  std::optional<double> ours;
  std::optional<double> reference;
  std::string unit;
};

// Takes "/ours" or "/reference" out of a name; the answer is the part that was taken out.
std::string takeSide(std::string& name) {
  for (const char* side : {"/ours", "/reference"}) {
    const auto at = name.find(side);
    if (at == std::string::npos) continue;
    name.erase(at, std::char_traits<char>::length(side));
    return side + 1;
  }
  return "ours";
}

std::string figure(const std::optional<double>& value) {
  if (!value) return "-";
  char text[32];
  std::snprintf(text, sizeof text, *value < 100 ? "%.2f" : "%.0f", *value);
  return text;
}

class TableReporter : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context&) override { return true; }

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.error_occurred) {
        std::fprintf(stderr, "%s: %s\n", run.benchmark_name().c_str(), run.error_message.c_str());
        failed = true;
        continue;
      }
      if (run.run_type == Run::RT_Aggregate) continue;
      add(run);
    }
  }

  void Finalize() override {
    std::printf("%-44s %12s %12s %8s  %s\n", "work", "ours", "reference", "ratio", "unit");
    for (const std::string& name : order) {
      const Row& row = rows[name];
      std::optional<double> ratio;
      if (row.ours && row.reference && *row.reference > 0) ratio = *row.ours / *row.reference;
      std::printf("%-44s %12s %12s %8s  %s\n", name.c_str(), figure(row.ours).c_str(),
                  figure(row.reference).c_str(), figure(ratio).c_str(), row.unit.c_str());
    }
  }

  bool failed = false;

 private:
  void add(const Run& run) {
    std::string name = run.run_name.function_name;
    if (!run.run_name.args.empty()) name += "/" + run.run_name.args;
    const std::string side = takeSide(name);
    if (rows.find(name) == rows.end()) order.push_back(name);
    Row& row = rows[name];
    const auto counter = run.counters.find("value");
    const bool counted = counter != run.counters.end();
    const double value = counted ? static_cast<double>(counter->second) : run.GetAdjustedRealTime();
    row.unit = counted ? "" : benchmark::GetTimeUnitString(run.time_unit);
    std::optional<double>& cell = side == "ours" ? row.ours : row.reference;
    if (!cell || value < *cell) cell = value;  // the best of the repetitions: the least disturbed one
  }

  std::map<std::string, Row> rows;
  std::vector<std::string> order;
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  TableReporter table;
  benchmark::RunSpecifiedBenchmarks(&table);
  benchmark::Shutdown();
  return table.failed ? 1 : 0;
}
