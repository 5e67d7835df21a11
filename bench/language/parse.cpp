// Parsing SQL by the grammar of the tests into a tree, beside a bison parser of the same language that builds
// the same tree.

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <fstream>
#include <string>

#include "examples/sqltree/grammarfile.h"
#include "language/reference.h"
#include "zulib/language/parser/zuparser.h"

namespace {

const unsigned char* bytes(const std::string& s) { return reinterpret_cast<const unsigned char*>(s.c_str()); }

ZuParser& parser() {
  static const GrammarFile file = [] {
    std::ifstream in(ZULIB_SQL_GRAMMAR);
    return GrammarFile(in);
  }();
  static ZuParser made(file.grammarBlock().data(), file.keywordBlock().data());
  return made;
}

// A report over several tables, of 2 KB.
std::string report() {
  return R"(SELECT c.customer_id, c.last_name || ', ' || c.first_name AS full_name, r.region_name,
    COUNT(DISTINCT o.order_id) AS orders, SUM(l.quantity * l.unit_price * (1 - l.discount)) AS revenue,
    AVG(l.quantity) AS average_quantity, MAX(o.order_date) last_order,
    CASE WHEN SUM(l.quantity) > 1000 THEN 'large' WHEN SUM(l.quantity) > 100 THEN 'medium' ELSE 'small' END AS size_class,
    CASE c.status WHEN 1 THEN 'active' WHEN 2 THEN 'suspended' ELSE 'unknown' END AS status_text,
    CAST(c.credit_limit AS DECIMAL(12, 2)) AS credit_limit,
    COALESCE(c.phone, c.mobile, 'none') AS contact
  FROM sales.customers c
    INNER JOIN sales.regions r ON c.region_id = r.region_id AND r.active = 1
    LEFT OUTER JOIN sales.orders o ON o.customer_id = c.customer_id AND o.order_date >= DATE '2020-01-01'
    LEFT JOIN (SELECT i.order_id, i.quantity, p.unit_price, i.discount, p.category_id FROM sales.items i
      JOIN sales.products p ON p.product_id = i.product_id WHERE p.discontinued = 0 AND i.quantity <> 0) l
      ON l.order_id = o.order_id
  WHERE c.country IN ('DE', 'AT', 'CH', 'FR') AND (c.last_name LIKE 'M%' OR c.last_name LIKE 'S%')
    AND c.created BETWEEN TIMESTAMP '2019-01-01 00:00:00' AND TIMESTAMP '2020-12-31 23:59:59'
    AND NOT EXISTS (SELECT 1 FROM sales.blocked b WHERE b.customer_id = c.customer_id AND b.until IS NULL)
    AND (o.total + o.freight) * 1.19 > 50 AND c.email IS NOT NULL AND o.channel = ?
    AND l.category_id IN (SELECT k.category_id FROM sales.categories k WHERE k.parent_id = 7 OR k.parent_id IS NULL)
    AND o.total > ALL (SELECT a.amount FROM sales.adjustments a WHERE a.order_id = o.order_id)
  GROUP BY c.customer_id, c.last_name, c.first_name, r.region_name, c.status, c.credit_limit, c.phone, c.mobile
  HAVING SUM(l.quantity * l.unit_price) > 1000 AND COUNT(*) >= 3
  ORDER BY revenue DESC NULLS LAST, full_name ASC, orders LIMIT 100 OFFSET 200)";
}

std::string selectList(long items) {
  std::string text = "SELECT ";
  for (long i = 0; i < items; ++i) text += (i ? ", t.column_" : "t.column_") + std::to_string(i) + " + 1";
  return text + " FROM t";
}

bool isEqual(ZuReduction* a, ZuReduction* b) {
  if (a->reductNumber() != b->reductNumber() || a->terminal() != b->terminal()) return false;
  const auto* const textA = reinterpret_cast<const char*>(a->getString());
  const auto* const textB = reinterpret_cast<const char*>(b->getString());
  if (!textA != !textB || (textA && std::string(textA) != textB)) return false;
  ZuReduction *childA, *childB;
  for (a->getChild(&childA), b->getChild(&childB); childA && childB;
       childA->getNextSibling(&childA), childB->getNextSibling(&childB)) {
    if (!isEqual(childA, childB)) return false;
  }
  return !childA && !childB;
}

ZuReduction* parseOurs(const std::string& text) {
  ZuReduction* tree;
  return parser().parse(bytes(text), &tree) ? nullptr : tree;
}

ZuReduction* parseReference(const std::string& text) {
  ZuReduction* tree;
  return referenceParse(text, &tree) ? tree : nullptr;
}

// Times one of the two on a text of `items` pieces, after both have built the same tree.
template <class Parse>
void run(benchmark::State& state, const std::string& text, long items, Parse parse) {
  ZuReduction* const ours = parseOurs(text);
  ZuReduction* const reference = parseReference(text);
  if (!ours || !reference || !isEqual(ours, reference))
    return state.SkipWithError("not the reference's tree");
  delete ours;
  delete reference;
  for (auto _ : state) delete parse(text);
  if (items > 1) {
    constexpr double kNanosecond = 1e-9;
    state.counters["value"] =
        benchmark::Counter(static_cast<double>(items) * kNanosecond,
                           benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
  }
}

void reportOurs(benchmark::State& state) { run(state, report(), 1, parseOurs); }
void reportReference(benchmark::State& state) { run(state, report(), 1, parseReference); }
void listOurs(benchmark::State& state) { run(state, selectList(state.range(0)), state.range(0), parseOurs); }
void listReference(benchmark::State& state) {
  run(state, selectList(state.range(0)), state.range(0), parseReference);
}

BENCHMARK(reportOurs)->Name("parse a 2 KB statement/ours")->Unit(benchmark::kMicrosecond);
BENCHMARK(reportReference)->Name("parse a 2 KB statement/reference")->Unit(benchmark::kMicrosecond);
BENCHMARK(listOurs)->Name("parse a select list, ns an item/ours")->RangeMultiplier(10)->Range(10, 10000);
BENCHMARK(listReference)
    ->Name("parse a select list, ns an item/reference")
    ->RangeMultiplier(10)
    ->Range(10, 10000);

}  // namespace
