// The results as a table: one row per case, with both readers and their ratio.
#include "bench/table.h"

#include <fmt/format.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <utility>

namespace qbflv::bench {

namespace {

struct Target {
  const char* rows;
  double ratio;
};

/// Ratios to reach. The first entry whose text is a prefix of the row's name applies.
constexpr Target kTargets[] = {{kDeliver, 6}, {kOpenWithoutMetadata, 5}, {kOpen, 50}, {kWarmSeek, 4}, {kColdSeek, 1},
                               {kMany, 0.5},  {kDeliverRepaired, 0.91}};

/// Maximum ratio of the slowest to the fastest growth row.
constexpr double kMaxGrowth = 1.1;

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

/// Keeps the rows in the order of registration, because the cases run in random order.
Table::Row& Table::RowOf(const std::string& name, std::int64_t number) {
  if (const auto found = std::ranges::find(m_rows, name, &Row::name); found != m_rows.end()) return *found;
  const auto place = std::ranges::upper_bound(m_rows, number, {}, &Row::number);
  Row row;
  row.number = number;
  row.name = name;
  return *m_rows.insert(place, std::move(row));
}

double Table::Row::Target() const {
  const auto* const target =
      std::ranges::find_if(kTargets, [&](const auto& entry) { return name.starts_with(entry.rows); });
  return target != std::end(kTargets) ? target->ratio : 0;
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
  fmt::print("{:<{}}  {:>10}  {:>10}  {:<11}  {:>8}  {:>8}\n", "case", width, kPluginSide, "other", "", "ratio",
             "at least");
  for (const Row& row : m_rows) {
    const std::string target = row.Target() > 0 ? fmt::format("{}x", row.Target()) : "";
    fmt::print("{:<{}}  {:>10}  {:>10}  {:<11}  {:>7.2f}x  {:>8}  {}\n", row.name, width, TimeText(row.plugin),
               TimeText(row.other), row.otherSide, row.Ratio(), target, row.Ratio() < row.Target() ? "MISSED" : "");
  }
  if (const double growth = Growth(); growth > 0) {
    fmt::print("{}: slowest / fastest {:.2f}, at most {}  {}\n", kGrowth, growth, kMaxGrowth,
               growth > kMaxGrowth ? "MISSED" : "");
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
                    {"at_least", row.Target()}});
  }
  const nlohmann::ordered_json json = {{"rows", std::move(rows)}, {"growth", Growth()}};
  std::ofstream file(path);
  file << json.dump(2) << '\n';
  file.close();
  if (!file) throw std::runtime_error("cannot write " + path);
}

}  // namespace qbflv::bench
