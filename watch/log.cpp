// The watch layer's log.
#include "watch/log.h"

#include <fmt/format.h>

#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string_view>

namespace qbflv::watch {

namespace {

constexpr char kPrefix[] = "qbflvplus-watch: ";

std::string Variable(const char* name) {
  const char* const value = std::getenv(name);
  return value != nullptr ? value : "";
}

std::string CallText(const PastCall& call) {
  return call.argument != 0 ? fmt::format("{}({})", call.name, call.argument) : fmt::format("{}()", call.name);
}

std::string TextLines(Rule rule, const std::string& what, const std::vector<PastCall>& before) {
  std::string text = fmt::format("{}{}: {}\n  rule: {}\n", kPrefix, Text(rule).name, what, Text(rule).sentence);
  if (!before.empty()) text += "  calls before it, nested ones indented:\n";
  for (const PastCall& call : before) text += fmt::format("    {:{}}{}\n", "", 2 * call.depth, CallText(call));
  return text;
}

std::string JsonLine(Rule rule, const std::string& what, const std::vector<PastCall>& before) {
  nlohmann::ordered_json calls = nlohmann::ordered_json::array();
  for (const PastCall& call : before) calls.push_back({{"call", CallText(call)}, {"depth", call.depth}});
  const nlohmann::ordered_json line = {
      {"violation", Text(rule).name}, {"what", what}, {"rule", Text(rule).sentence}, {"calls", calls}};
  return line.dump() + "\n";
}

}  // namespace

Log::Log() {
  const std::string path = Variable("QBFLVPLUS_WATCH_LOG");
  m_json = path.ends_with(".json") || path.ends_with(".jsonl") || Variable("QBFLVPLUS_WATCH_FORMAT") == "json";
  if (path.empty()) return;
  std::FILE* const file = std::fopen(path.c_str(), "a");
  if (file != nullptr) {
    m_file = file;
  } else {
    std::fprintf(stderr, "%scannot write %s; writing to standard error\n", kPrefix, path.c_str());
  }
}

Log::~Log() {
  if (m_file != stderr) std::fclose(m_file);
}

void Log::Report(Rule rule, const char* call, const std::string& what, const std::vector<PastCall>& before) {
  const std::lock_guard lock(m_mutex);
  ++m_counts[static_cast<std::size_t>(rule)];
  if (!m_reported.emplace(rule, call).second) return;
  Write(m_json ? JsonLine(rule, what, before) : TextLines(rule, what, before));
}

void Log::WriteTotals(const Totals& totals) {
  const std::lock_guard lock(m_mutex);
  const double readsPerPacket =
      totals.packets == 0 ? 0.0 : static_cast<double>(totals.reads) / static_cast<double>(totals.packets);
  const double inPlugin = m_scale.Seconds(totals.ticksInPlugin);
  const double inHost = m_scale.Seconds(totals.ticksInHost);
  nlohmann::ordered_json broken = nlohmann::ordered_json::object();
  std::string brokenText;
  for (std::size_t i = 0; i < kRuleCount; ++i) {
    if (m_counts[i] == 0) continue;
    const char* const name = Text(static_cast<Rule>(i)).name;
    broken[name] = m_counts[i];
    brokenText += fmt::format("{}{} x {}", brokenText.empty() ? "" : ", ", m_counts[i], name);
  }
  if (m_json) {
    const nlohmann::ordered_json line = {{"totals",
                                          {{"sessions", totals.sessions},
                                           {"requests", totals.requests},
                                           {"operations", totals.operations},
                                           {"packets", totals.packets},
                                           {"deepest_nesting", totals.maxNesting},
                                           {"most_queued_packets", totals.maxQueuedPackets},
                                           {"reads_per_packet", readsPerPacket},
                                           {"seconds_in_host", inHost},
                                           {"seconds_in_plugin", inPlugin},
                                           {"violations", broken}}}};
    return Write(line.dump() + "\n");
  }
  Write(fmt::format(
      "{}{} sessions, {} requests, {} operations, {} packets, {:.2f} reads per packet\n"
      "  deepest nesting {}, most queued packets {}, {:.3f} s in the host, {:.3f} s in the plug-in\n"
      "  violations: {}\n",
      kPrefix, totals.sessions, totals.requests, totals.operations, totals.packets, readsPerPacket, totals.maxNesting,
      totals.maxQueuedPackets, inHost, inPlugin, brokenText.empty() ? "none" : brokenText));
}

/// Flushes at once: the process may crash because of the violation that the text reports.
void Log::Write(const std::string& text) {
  std::fwrite(text.data(), 1, text.size(), m_file);
  std::fflush(m_file);
}

}  // namespace qbflv::watch
