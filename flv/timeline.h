// Detects jumps in the timestamps of a file, and computes the shifts that remove them.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

namespace qbflv::flv {

/// The timestamps of concatenated recordings and restarted encoders restart at any value, in all streams together. A
/// jump is a step back of more than kMaxStepBack within a stream, or a step of more than kMaxStepAhead past the latest
/// time of all streams. A continued time is a timestamp plus the current shift, which changes at each jump.
class Timeline {
 public:
  // In ms.
  static constexpr std::int32_t kMaxStepBack = 1000;
  static constexpr std::int32_t kMaxStepAhead = 10000;

  struct Place {
    /// Continued time minus timestamp, modulo 2^32.
    std::uint32_t shift;
    /// Size of the jump in ms, negative for a jump back; 0 if the timestamp does not jump.
    std::int32_t jump;
  };

  /// Processes the timestamp of the next tag. stream: 0 or 1. isFrame: false for codec configurations and other tags
  /// without a frame. Many writers give these the timestamp 0 anywhere in the file, so they are never a jump and do not
  /// affect later tags.
  Place Take(int stream, std::uint32_t time, bool isFrame);

 private:
  struct Stream {
    /// Continued time of the last frame.
    std::optional<std::uint32_t> last;
    /// Interval between frames in ms.
    std::uint32_t distance = 40;
  };

  std::int32_t JumpTo(const Stream& stream, std::uint32_t time) const;

  std::array<Stream, 2> m_streams;
  /// Latest continued time of all streams.
  std::optional<std::uint32_t> m_latest;
  std::uint32_t m_shift = 0;
};

}  // namespace qbflv::flv
