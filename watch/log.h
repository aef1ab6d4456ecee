// The watch layer's log. It goes to standard error, or to the file that QBFLVPLUS_WATCH_LOG names. It consists of lines
// of JSON if that name ends with .json or .jsonl, or if QBFLVPLUS_WATCH_FORMAT is json.
#pragma once

#include <array>
#include <cstdint>
#include <cstdio>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "watch/history.h"
#include "watch/rules.h"
#include "watch/ticks.h"
#include "watch/totals.h"

namespace qbflv::watch {

class Log {
 public:
  Log();
  Log(const Log&) = delete;
  Log& operator=(const Log&) = delete;
  ~Log();

  /// Counts a violation. Writes it unless the same call broke the same rule before. call: the name of the call that
  /// broke the rule. before: the calls before it.
  void Report(Rule rule, const char* call, const std::string& what, const std::vector<PastCall>& before);

  double Seconds(std::uint64_t ticks) const { return m_scale.Seconds(ticks); }

  /// Writes the totals, and the number of violations of each rule.
  void WriteTotals(const Totals& totals);

 private:
  void Write(const std::string& text);

  std::mutex m_mutex;
  std::FILE* m_file = stderr;
  bool m_json = false;
  std::set<std::pair<Rule, std::string>> m_reported;
  std::array<std::uint64_t, kRuleCount> m_counts{};
  TickScale m_scale;
};

}  // namespace qbflv::watch
