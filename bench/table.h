// The outcome: one row for a case, with both sides and their ratio, as text and as JSON.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <vector>

namespace qbflv::bench {

inline constexpr const char* kPluginSide = "plug-in";
inline constexpr const char* kOtherSide = "libavformat";
/// Of the plug-in, where libavformat has no part.
inline constexpr const char* kOneSession = "one session";
/// A loop that goes from tag header to tag header and does nothing else.
inline constexpr const char* kPlainLoop = "plain loop";

/// What the rows' names begin with.
inline constexpr const char* kDeliver = "deliver";
inline constexpr const char* kTagWalk = "tag walk";
inline constexpr const char* kOpen = "open";
inline constexpr const char* kOpenWithoutMetadata = "open, no metadata";
inline constexpr const char* kWarmSeek = "seek, warm";
inline constexpr const char* kColdSeek = "seek, cold";
inline constexpr const char* kMany = "many";
inline constexpr const char* kGrowth = "growth";

/// The name under which a measurement is registered.
std::string NameOf(const std::string& row, const std::string& side);

/// Collects the best of each measurement's repetitions: what the machine's other load adds is left out, on both sides.
class Table final : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context& /*context*/) override { return true; }
  void ReportRuns(const std::vector<Run>& runs) override;

  void Print() const;
  /// {"rows": [{"case": …, "plugin_ns": …, "other": "libavformat", "other_ns": …, "ratio": …, "at_least": …}],
  ///  "growth": …}; ns for a packet or an operation.
  void WriteJson(const std::string& path) const;

 private:
  struct Row {
    std::int64_t number = 0;
    std::string name;
    double plugin = 0;
    std::string otherSide;
    double other = 0;

    double Ratio() const { return plugin > 0 ? other / plugin : 0; }
    /// What the ratio must reach; 0 for a row without a mark.
    double Mark() const;
  };

  Row& RowOf(const std::string& name, std::int64_t number);
  /// The plug-in's slowest growth row over its fastest; 0 without such rows.
  double Growth() const;

  std::vector<Row> m_rows;
};

}  // namespace qbflv::bench
