// What delivery and seeking keep of one stream.
#pragma once

#include <cstdint>

namespace qbflv {

struct FLVStreamState {
  /// The stream is live again, nothing is asked of it, and it may restart anywhere.
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

  /// Where a seek restarts the stream, valid while bSeekPositionFound: time in ms, relative to the time base, and file
  /// offset.
  std::uint32_t ulSeekTime = 0;
  std::uint32_t ulSeekOffset = 0;
  /// Units queued since the last seek.
  std::uint32_t ulUnitCount = 0;
  bool bSeekPositionFound = false;
  /// A GetPacket is open.
  bool bPacketRequested = false;
  /// StreamDone has been sent; GetPacket is refused until a seek.
  bool bStreamDone = false;
  /// The first packet delivered was asked for its RTP interface, and had it.
  bool bPacketTypeChecked = false;
  bool bRTPPackets = false;
};

}  // namespace qbflv
