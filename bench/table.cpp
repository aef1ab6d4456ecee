#include "bench/table.h"

#include <fmt/format.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <utility>

namespace qbflv::bench {

namespace {

struct Mark {
  const char* rows;
  double ratio;
};

/// The first one counts whose text a row's name begins with.
constexpr Mark kMarks[] = {{kDeliver, 6}, {kOpenWithoutMetadata, 5}, {kOpen, 50}, {kWarmSeek, 4}, {kColdSeek, 1},
                           {kMany, 0.5}};

/// The slowest growth row may take so much of the fastest.
constexpr double kMostGrowth = 1.1;

std::string TimeText(double ns) {
  if (ns < 1e4) return fmt::format("{:.1f} ns", ns);
  return ns < 1e7 ? fmt::format("{:.1f} µs", ns / 1e3) : fmt::format("{:.1f} ms", ns / 1e6);
}

}  // namespace

std::string NameOf(const std::string& row, const std::string& side) { return row + "/" + side; }

void Table::ReportRuns(const std::vector<Run>& runs) {
  for (const Run& run : runs) {
    if (run.error_occurred) throw std::runtime_error(run.benchmark_name() + ": " + run.error_message);
    if (run.run_type == Run::RT_Aggregate) continue;
    const std::string& name = run.run_name.function_name;
    const std::size_t slash = name.rfind('/');
    Row& row = RowOf(name.substr(0, slash), run.family_index);
    const std::string side = name.substr(slash + 1);
    const double ns = 1e9 / run.counters.at("items_per_second");
    double& best = side == kPluginSide ? row.plugin : row.other;
    if (best == 0 || ns < best) best = ns;
    if (side != kPluginSide) row.otherSide = side;
  }
}

/// The rows stand in the order in which the cases were registered, whatever order they ran in.
Table::Row& Table::RowOf(const std::string& name, std::int64_t number) {
  if (const auto found = std::ranges::find(m_rows, name, &Row::name); found != m_rows.end()) return *found;
  const auto place = std::ranges::upper_bound(m_rows, number, {}, &Row::number);
  Row row;
  row.number = number;
  row.name = name;
  return *m_rows.insert(place, std::move(row));
}

double Table::Row::Mark() const {
  const auto* const mark =
      std::ranges::find_if(kMarks, [&](const auto& entry) { return name.starts_with(entry.rows); });
  return mark != std::end(kMarks) ? mark->ratio : 0;
}

double Table::Growth() const {
  double fastest = 0;
  double slowest = 0;
  for (const Row& row : m_rows) {
    if (!row.name.starts_with(kGrowth)) continue;
    fastest = fastest == 0 ? row.plugin : std::min(fastest, row.plugin);
    slowest = std::max(slowest, row.plugin);
  }
  return fastest > 0 ? slowest / fastest : 0;
}

void Table::Print() const {
  std::size_t width = 0;
  for (const Row& row : m_rows) width = std::max(width, row.name.size());
  fmt::print("{:<{}}  {:>10}  {:>10}  {:<11}  {:>8}  {:>8}\n", "case", width, kPluginSide, "other side", "", "ratio",
             "at least");
  for (const Row& row : m_rows) {
    const std::string mark = row.Mark() > 0 ? fmt::format("{}x", row.Mark()) : "";
    fmt::print("{:<{}}  {:>10}  {:>10}  {:<11}  {:>7.2f}x  {:>8}  {}\n", row.name, width, TimeText(row.plugin),
               TimeText(row.other), row.otherSide, row.Ratio(), mark, row.Ratio() < row.Mark() ? "MISSED" : "");
  }
  if (const double growth = Growth(); growth > 0) {
    fmt::print("{}: the slowest takes {:.2f} times the fastest, at most {}  {}\n", kGrowth, growth, kMostGrowth,
               growth > kMostGrowth ? "MISSED" : "");
  }
}

void Table::WriteJson(const std::string& path) const {
  nlohmann::ordered_json rows = nlohmann::ordered_json::array();
  for (const Row& row : m_rows) {
    rows.push_back({{"case", row.name},
                    {"plugin_ns", row.plugin},
                    {"other", row.otherSide},
                    {"other_ns", row.other},
                    {"ratio", row.Ratio()},
                    {"at_least", row.Mark()}});
  }
  const nlohmann::ordered_json json = {{"rows", std::move(rows)}, {"growth", Growth()}};
  std::ofstream(path) << json.dump(2) << '\n';
}

}  // namespace qbflv::bench
