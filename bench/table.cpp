#include "bench/table.h"

#include <fmt/format.h>

#include <algorithm>
#include <fstream>
#include <nlohmann/json.hpp>

namespace qbflv::bench {

namespace {

std::string TimeText(double ns) {
  if (ns < 1e4) return fmt::format("{:.1f} ns", ns);
  return ns < 1e7 ? fmt::format("{:.1f} µs", ns / 1e3) : fmt::format("{:.1f} ms", ns / 1e6);
}

}  // namespace

std::string NameOf(const std::string& row, const std::string& side) { return row + "/" + side; }

void Table::ReportRuns(const std::vector<Run>& runs) {
  for (const Run& run : runs) {
    if (run.error_occurred) throw std::runtime_error(run.benchmark_name() + ": " + run.error_message);
    if (run.run_type != Run::RT_Aggregate || run.aggregate_name != "median") continue;
    const std::string& name = run.run_name.function_name;
    const std::size_t slash = name.rfind('/');
    Row& row = RowOf(name.substr(0, slash));
    const std::string side = name.substr(slash + 1);
    const double ns = 1e9 / run.counters.at("items_per_second");
    if (side == kPluginSide) {
      row.plugin = ns;
    } else {
      row.otherSide = side;
      row.other = ns;
    }
  }
}

Table::Row& Table::RowOf(const std::string& name) {
  const auto found = std::ranges::find(m_rows, name, &Row::name);
  return found != m_rows.end() ? *found : m_rows.emplace_back(Row{name, 0, {}, 0});
}

void Table::Print() const {
  std::size_t width = 0;
  for (const Row& row : m_rows) width = std::max(width, row.name.size());
  fmt::print("{:<{}}  {:>12}  {:>12}  {:>8}\n", "case", width, kPluginSide, "other side", "ratio");
  for (const Row& row : m_rows) {
    fmt::print("{:<{}}  {:>12}  {:>12}  {:>7.2f}x  {}\n", row.name, width, TimeText(row.plugin), TimeText(row.other),
               row.Ratio(), row.otherSide);
  }
}

void Table::WriteJson(const std::string& path) const {
  nlohmann::ordered_json json = nlohmann::ordered_json::array();
  for (const Row& row : m_rows) {
    json.push_back({{"case", row.name},
                    {"plugin_ns", row.plugin},
                    {"other", row.otherSide},
                    {"other_ns", row.other},
                    {"ratio", row.Ratio()}});
  }
  std::ofstream(path) << json.dump(2) << '\n';
}

}  // namespace qbflv::bench
