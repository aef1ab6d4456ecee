// The display of `qbflv play`, as text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qbflv::cli {

/// The sent and the queued packets of a stream.
struct PlayedStream {
  /// "audio", for example.
  std::string kind;
  std::uint64_t packets = 0;
  std::uint64_t keyFrames = 0;
  /// Bit rate of the last seconds in bits per second; nothing when too little was sent.
  std::optional<std::uint64_t> bitRate;
  std::size_t queuedPackets = 0;
  /// File time from the position to the last queued packet, in ms.
  std::int64_t queuedTime = 0;
};

struct PlayState {
  enum class Condition { kPlaying, kPaused, kEnded };

  /// Contains no control characters.
  std::string file;
  Condition condition = Condition::kPlaying;
  double speed = 1;
  /// In ms from the file's first tag.
  std::int64_t position = 0;
  std::int64_t duration = 0;
  std::vector<PlayedStream> streams;
  /// An error message, or empty.
  std::string error;
};

/// Returns the longest prefix of the UTF-8 text that fits, assuming two columns for each character beyond ASCII.
std::string_view CutToColumns(std::string_view text, std::size_t columns);

/// Returns the lines for a terminal of that size, the most important first. Every line is narrower than the terminal.
std::vector<std::string> PlayScreen(const PlayState& state, std::size_t columns, std::size_t rows);

/// Returns the state in one line of fewer than 80 columns. An error message gets a second line.
std::string PlayLine(const PlayState& state);

}  // namespace qbflv::cli
