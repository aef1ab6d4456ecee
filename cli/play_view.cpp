// The display of `qbflv play`, as text.
#include "cli/play_view.h"

#include <fmt/format.h>

#include <algorithm>

#include "cli/format_time.h"

namespace qbflv::cli {

namespace {

std::string_view ConditionText(PlayState::Condition condition) {
  switch (condition) {
    case PlayState::Condition::kPlaying:
      return "playing";
    case PlayState::Condition::kPaused:
      return "paused";
    case PlayState::Condition::kEnded:
      return "the end";
  }
  return {};
}

std::string PositionText(const PlayState& state) {
  return fmt::format("{:7}  {} / {}  {}x", ConditionText(state.condition), FormatTime(state.position),
                     FormatTime(state.duration), state.speed);
}

std::string BarText(const PlayState& state, std::size_t columns) {
  constexpr std::size_t kAround = sizeof("[] 100 %");
  constexpr std::size_t kMaxWidth = 60;
  if (columns <= kAround || state.duration <= 0) return {};
  const std::size_t width = std::min(columns - kAround, kMaxWidth);
  const auto position = static_cast<std::size_t>(std::clamp<std::int64_t>(state.position, 0, state.duration));
  const auto duration = static_cast<std::size_t>(state.duration);
  return fmt::format("[{:=<{}}{:{}}] {:3} %", "", position * width / duration, "", width - position * width / duration,
                     position * 100 / duration);
}

std::string RateText(const PlayedStream& stream) {
  return stream.bitRate ? fmt::to_string((*stream.bitRate + 500) / 1000) : "-";
}

/// The least important columns are last, because a narrow terminal cuts lines off.
std::string StreamText(std::size_t number, const PlayedStream& stream) {
  return fmt::format("{:6}  {:5}  {:>7}  {:4} packets {:6} ms  {:>8}  {:>10}", number, stream.kind, RateText(stream),
                     stream.queuedPackets, stream.queuedTime, stream.packets,
                     stream.kind == "video" ? fmt::to_string(stream.keyFrames) : "-");
}

}  // namespace

std::string_view CutToColumns(std::string_view text, std::size_t columns) {
  // A character beyond ASCII takes at most two columns, and so does the replacement for an invalid byte.
  std::size_t used = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    const bool isContinuation = (byte & 0xC0) == 0x80;
    if (isContinuation) continue;
    used += byte < 0x80 ? 1 : 2;
    if (used > columns) return text.substr(0, i);
  }
  return text;
}

std::vector<std::string> PlayScreen(const PlayState& state, std::size_t columns, std::size_t rows) {
  std::vector<std::string> lines = {PositionText(state) + "  " + state.file, BarText(state, columns)};
  if (!state.error.empty()) lines.push_back(state.error);
  lines.emplace_back();
  lines.push_back(fmt::format("stream          kb/s  {:22}      sent  key frames", "queue"));
  for (std::size_t i = 0; i < state.streams.size(); ++i) lines.push_back(StreamText(i, state.streams[i]));
  lines.emplace_back();
  lines.emplace_back("left, right: 10 s   space: pause   q: quit");
  if (lines.size() > rows) lines.resize(rows);
  for (std::string& line : lines) line.resize(CutToColumns(line, columns > 0 ? columns - 1 : 0).size());
  return lines;
}

std::string PlayLine(const PlayState& state) {
  const bool ended = state.condition == PlayState::Condition::kEnded;
  std::string line = ended ? "the end  " + FormatTime(state.position)
                           : FormatTime(state.position) + " / " + FormatTime(state.duration);
  for (const PlayedStream& stream : state.streams) {
    line += "  " + stream.kind;
    if (!ended) line += " " + RateText(stream) + " kb/s";
    line += fmt::format(" {} sent", stream.packets);
  }
  if (!state.error.empty()) line += "\n" + state.error;
  return line;
}

}  // namespace qbflv::cli
