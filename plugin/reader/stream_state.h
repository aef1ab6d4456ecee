// What seeking and the unit limit keep about one stream.
#pragma once

#include <cstdint>

namespace qbflv {

struct FLVStreamState {
  void SetSeekPosition(std::uint32_t time, std::uint32_t offset) {
    bSeekPositionFound = true;
    ulSeekTime = time;
    ulSeekOffset = offset;
  }

  /// The restart position of a seek, valid while bSeekPositionFound: time in ms, relative to the time base, and file
  /// offset.
  std::uint32_t ulSeekTime = 0;
  std::uint32_t ulSeekOffset = 0;
  /// Units queued since the last seek, where a limit counts them.
  std::uint32_t ulUnitCount = 0;
  bool bSeekPositionFound = false;
};

}  // namespace qbflv
