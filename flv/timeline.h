// Follows the timestamps of a file, and continues them where they jump.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

namespace qbflv::flv {

/// Joined recordings and restarted encoders begin anew at any time; all streams jump together. A jump is a step back of
/// more than a second within a stream, or a step of more than ten seconds beyond all streams.
class Timeline {
 public:
  static constexpr std::int32_t kMaxStepBack = 1000;
  static constexpr std::int32_t kMaxStepAhead = 10000;

  struct Place {
    /// What is added to the timestamp to continue.
    std::uint32_t shift;
    /// In ms, as the file has it: negative for back. 0 if the timestamp does not jump.
    std::int32_t jump;
  };

  /// stream: 0 or 1. isFrame: false for codec configurations and the like. Many writers give those the time 0 wherever
  /// they stand: they move nothing, and none of them is called a jump.
  Place Take(int stream, std::uint32_t time, bool isFrame);

 private:
  struct Stream {
    /// Continued.
    std::optional<std::uint32_t> last;
    /// Between frames, in ms.
    std::uint32_t distance = 40;
  };

  std::int32_t JumpTo(const Stream& stream, std::uint32_t time) const;

  std::array<Stream, 2> m_streams;
  /// Of all streams, continued.
  std::optional<std::uint32_t> m_latest;
  std::uint32_t m_shift = 0;
};

}  // namespace qbflv::flv
