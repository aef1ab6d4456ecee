// The states of the file-format object and the completion that each one waits for.
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
  kStatePacketDelivering = 17,     // nothing: queued packets are being handed out
  kStatePacketHeaderPending = 18,  // ReadDone, the tag header's 15 bytes and the payload's prefix
  kStatePacketBodyPending = 19,    // ReadDone, the rest of the tag body
  kStatePacketSkipPending = 20,    // SeekDone
  kStateSeekPositionPending = 21,  // SeekDone
  kStateSeekScanSeekPending = 22,  // SeekDone
  kStateSeekScanReadPending = 23,  // ReadDone, 16 bytes
};

/// A completion of the file object, or none.
enum class Completion : std::uint8_t { kNone, kInit, kRead, kSeek, kStat };
inline constexpr std::uint32_t kCompletionKinds = 5;

constexpr Completion ExpectedCompletion(State state) {
  switch (state) {
    case kStateFileInitPending:
      return Completion::kInit;
    case kStateStatPending:
      return Completion::kStat;
    case kStateFlvHeaderPending:
    case kStateScanTagHeaderPending:
    case kStateScanTagBodyPending:
    case kStateTailSizeReadPending:
    case kStateTailTagReadPending:
    case kStatePacketHeaderPending:
    case kStatePacketBodyPending:
    case kStateSeekScanReadPending:
      return Completion::kRead;
    case kStateSeekStartPending:
    case kStateScanSeekPending:
    case kStateRewindPending:
    case kStateTailSizeSeekPending:
    case kStateTailTagSeekPending:
    case kStatePacketSkipPending:
    case kStateSeekPositionPending:
    case kStateSeekScanSeekPending:
      return Completion::kSeek;
    case kStateConstructed:
    case kStateReady:
    case kStateInitialized:
    case kStateStreamHeaders:
    case kStatePacketIdle:
    case kStatePacketDelivering:
      return Completion::kNone;
  }
  return Completion::kNone;
}

}  // namespace qbflv
