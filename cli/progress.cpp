// A progress bar on standard error for long operations.
#include "cli/progress.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

namespace qbflv::cli {

namespace {

constexpr int kBarWidth = 40;
/// An operation shorter than this shows no bar.
constexpr std::chrono::milliseconds kDelay(400);
constexpr std::chrono::milliseconds kInterval(100);

/// Returns false for TERM=dumb, where a bar would fill the screen with lines.
bool CanMoveCursor() {
  const char* const kind = std::getenv("TERM");
  return kind == nullptr || std::string_view(kind) != "dumb";
}

/// Ignores failures: the bar is not part of the output.
void Write(const std::string& text) {
  std::fputs(text.c_str(), stderr);
  std::fflush(stderr);
}

}  // namespace

Progress::Progress(bool wanted)
    : m_shown(wanted && CanMoveCursor() && isatty(STDERR_FILENO) != 0), m_nextUpdate(Clock::now() + kDelay) {}

void Progress::Update(std::uint64_t done, std::uint64_t total) {
  if (!m_shown || total == 0 || Clock::now() < m_nextUpdate) return;
  m_nextUpdate = Clock::now() + kInterval;
  const double share = static_cast<double>(std::min(done, total)) / static_cast<double>(total);
  const int filled = static_cast<int>(share * kBarWidth);
  Write(fmt::format("\r[{:=<{}}{:{}}] {:3.0f} %", "", filled, "", kBarWidth - filled, share * 100));
  m_onScreen = true;
}

void Progress::Clear() {
  if (!m_onScreen) return;
  Write(fmt::format("\r{:{}}\r", "", kBarWidth + 10));
  m_onScreen = false;
}

void Progress::Stop() {
  Clear();
  m_shown = false;
}

}  // namespace qbflv::cli
