// The outcome: one row for a case, with both sides and their ratio, as text and as JSON.
#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

namespace qbflv::bench {

inline constexpr const char* kPluginSide = "plug-in";
inline constexpr const char* kOtherSide = "libavformat";
/// Of the plug-in, where libavformat has no part.
inline constexpr const char* kOneSession = "one session";

/// The name under which a measurement is registered.
std::string NameOf(const std::string& row, const std::string& side);

/// Collects the medians of all measurements.
class Table final : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context& /*context*/) override { return true; }
  void ReportRuns(const std::vector<Run>& runs) override;

  void Print() const;
  /// [{"case": …, "plugin_ns": …, "other": "libavformat", "other_ns": …, "ratio": …}]; ns for a packet or an operation.
  void WriteJson(const std::string& path) const;

 private:
  struct Row {
    std::string name;
    double plugin = 0;
    std::string otherSide;
    double other = 0;

    double Ratio() const { return plugin > 0 ? other / plugin : 0; }
  };

  Row& RowOf(const std::string& name);

  std::vector<Row> m_rows;
};

}  // namespace qbflv::bench
