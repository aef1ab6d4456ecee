// What `qbflv play` shows, as text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qbflv::cli {

/// What was sent of a stream, and what waits for its time.
struct PlayedStream {
  /// "audio", for example.
  std::string kind;
  std::uint64_t packets = 0;
  std::uint64_t keyFrames = 0;
  /// Of the last seconds sent, in bits per second; nothing when too little was sent.
  std::optional<std::uint64_t> bitRate;
  std::size_t queuedPackets = 0;
  /// Of the file's time, from the position to the last packet queued.
  std::int64_t queuedTime = 0;
};

struct PlayState {
  enum class Condition { kPlaying, kPaused, kEnded };

  /// Must be fit to be shown.
  std::string file;
  Condition condition = Condition::kPlaying;
  double speed = 1;
  /// In ms from the file's first tag.
  std::int64_t position = 0;
  std::int64_t duration = 0;
  std::vector<PlayedStream> streams;
  /// What went wrong; usually empty.
  std::string trouble;
};

/// "1:02:03.4", or "2:03.4" when it is less than an hour.
std::string PlayTimeText(std::int64_t milliseconds);

/// As much of the text, in UTF-8, as surely fits.
std::string_view CutToColumns(std::string_view text, std::size_t columns);

/// The lines of a terminal of that size, what matters most at the top; none is as wide as the terminal.
std::vector<std::string> PlayScreen(const PlayState& state, std::size_t columns, std::size_t rows);

/// Everything in one line.
std::string PlayLine(const PlayState& state);

}  // namespace qbflv::cli
