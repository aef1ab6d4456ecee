// What delivery and seeking keep about one stream.
#pragma once

#include <cstdint>

namespace qbflv {

struct FLVStreamState {
  /// The stream is live again, has no open request and no restart position.
  void Restart() {
    bSeekPositionFound = false;
    ulSeekTime = 0;
    ulSeekOffset = 0;
    ulUnitCount = 0;
    bPacketRequested = false;
    bStreamDone = false;
  }

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
  /// A GetPacket is open.
  bool bPacketRequested = false;
  /// StreamDone has been sent; GetPacket is refused until a seek.
  bool bStreamDone = false;
  /// The stream's first delivered packet was queried for its RTP interface, and had it.
  bool bPacketTypeChecked = false;
  bool bRTPPackets = false;
};

}  // namespace qbflv
