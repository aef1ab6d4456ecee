// The results as a table: one row per case, with both readers and their ratio, as text and as JSON.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <vector>

namespace qbflv::bench {

inline constexpr const char* kPluginSide = "plug-in";
inline constexpr const char* kOtherSide = "libavformat";
/// The plug-in with a single session.
inline constexpr const char* kOneSession = "one session";
/// A loop that only walks from tag header to tag header.
inline constexpr const char* kPlainLoop = "plain loop";
/// The plug-in on the file as it is, without the repaired view.
inline constexpr const char* kBareFile = "bare file";

/// Prefixes of the row names.
inline constexpr const char* kDeliver = "deliver";
inline constexpr const char* kTagWalk = "tag walk";
inline constexpr const char* kOpen = "open";
inline constexpr const char* kPass = "pass";
inline constexpr const char* kOpenRepaired = "repaired: open, cached";
inline constexpr const char* kOpenWithPass = "repaired: open, with pass";
inline constexpr const char* kDeliverRepaired = "repaired: deliver";
inline constexpr const char* kOpenWithoutMetadata = "open, no metadata";
inline constexpr const char* kWarmSeek = "seek, warm";
inline constexpr const char* kColdSeek = "seek, cold";
inline constexpr const char* kMany = "many";
inline constexpr const char* kGrowth = "growth";

/// The name under which a measurement is registered with the benchmark library.
std::string NameOf(const std::string& row, const std::string& side);

/// Keeps the best repetition of each measurement, which excludes the effect of other load on the machine.
class Table final : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context& /*context*/) override { return true; }
  void ReportRuns(const std::vector<Run>& runs) override;

  void Print() const;
  /// {"rows": [{"case": …, "plugin_ns": …, "other": "libavformat", "other_ns": …, "ratio": …, "at_least": …}],
  ///  "growth": …}; ns per packet or operation.
  void WriteJson(const std::string& path) const;

 private:
  struct Row {
    std::int64_t number = 0;
    std::string name;
    double plugin = 0;
    std::string otherSide;
    double other = 0;

    double Ratio() const { return plugin > 0 ? other / plugin : 0; }
    /// The ratio to reach; 0 for a row without a target.
    double Target() const;
  };

  Row& RowOf(const std::string& name, std::int64_t number);
  /// Ratio of the plug-in's slowest growth row to its fastest; 0 without such rows.
  double Growth() const;

  std::vector<Row> m_rows;
};

}  // namespace qbflv::bench
