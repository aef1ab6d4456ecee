// The states of the file-format object and the event that each one waits for.
#pragma once

#include <cstdint>

namespace qbflv {

enum State : std::uint32_t {
  kStateConstructed = 0,           // waits for InitPlugin
  kStateReady = 1,                 // InitFileFormat
  kStateFileInitPending = 2,       // InitDone
  kStateSeekStartPending = 3,      // SeekDone
  kStateFlvHeaderPending = 4,      // ReadDone, 9 bytes
  kStateStatPending = 5,           // StatDone
  kStateInitialized = 6,           // GetFileHeader
  kStateScanSeekPending = 7,       // SeekDone
  kStateScanTagHeaderPending = 8,  // ReadDone, 15 bytes
  kStateScanTagBodyPending = 9,    // ReadDone, a tag body
  kStateRewindPending = 10,        // SeekDone
  kStateTailSizeSeekPending = 11,  // SeekDone
  kStateTailSizeReadPending = 12,  // ReadDone, 4 bytes
  kStateTailTagSeekPending = 13,   // SeekDone
  kStateTailTagReadPending = 14,   // ReadDone, 15 bytes
  kStateStreamHeaders = 15,        // GetStreamHeader
  kStatePacketIdle = 16,           // GetPacket, Seek
  kStatePacketDelivering = 17,     // nothing: queued packets are being delivered
  kStatePacketHeaderPending = 18,  // ReadDone, the tag header's 15 bytes and the payload's prefix
  kStatePacketBodyPending = 19,    // ReadDone, the rest of the tag body
  kStatePacketSkipPending = 20,    // SeekDone
  kStateSeekPositionPending = 21,  // SeekDone
  kStateSeekScanSeekPending = 22,  // SeekDone
  kStateSeekScanReadPending = 23,  // ReadDone, 16 bytes
};

}  // namespace qbflv
