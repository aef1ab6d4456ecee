// The records of an FLV file as the plug-in keeps them: the last header of each kind that was decoded.
//
// The layout is that of the published FLV file format, version 10. All numbers are big-endian:
//   file header, 9 bytes: "FLV", version, flags, data offset (u32)
//   then, from the data offset on, for each tag: the size of the tag before it (u32, 0 before the first), the tag
//   header of 11 bytes, and the tag body.
// A tag is always read from the size field in front of it, so an offset of a tag means the offset of that field.
#pragma once

#include <cstdint>

namespace qbflv {

inline constexpr std::uint32_t kFlvHeaderSize = 9;
inline constexpr std::uint32_t kPreviousTagSizeBytes = 4;
/// The previous tag size and the tag header, which are read in one piece.
inline constexpr std::uint32_t kTagHeaderReadBytes = 15;
/// The same and the first byte of the body, which tells a key frame.
inline constexpr std::uint32_t kSeekScanReadBytes = kTagHeaderReadBytes + 1;

inline constexpr std::uint8_t kTagAudio = 8;
inline constexpr std::uint8_t kTagVideo = 9;
inline constexpr std::uint8_t kTagScriptData = 18;

inline constexpr std::uint8_t kFlagVideo = 0x01;
inline constexpr std::uint8_t kFlagAudio = 0x04;

inline constexpr std::uint8_t kSoundFormatAAC = 10;
inline constexpr std::uint8_t kFrameTypeKey = 1;
inline constexpr std::uint8_t kCodecSorenson = 2;
inline constexpr std::uint8_t kCodecVP6 = 4;
inline constexpr std::uint8_t kCodecAVC = 7;

/// Stands for "no such stream".
inline constexpr std::uint16_t kNoStream = 0xFFFF;

struct FLVFileHeader {
  std::uint8_t ucSignature[3] = {};
  std::uint8_t ucVersion = 0;
  /// Audio and video present. Metadata may set the video bit of a header that left it out.
  std::uint8_t ucFlags = 0;
  /// Position of the first previous-tag-size field.
  std::uint32_t ulDataOffset = 0;

  [[nodiscard]] bool HasAudio() const { return (ucFlags & kFlagAudio) != 0; }
  [[nodiscard]] bool HasVideo() const { return (ucFlags & kFlagVideo) != 0; }
};

struct FLVTagHeader {
  std::uint32_t ulPreviousTagSize = 0;
  std::uint8_t ucTagType = 0;
  std::uint32_t ulDataSize = 0;
  /// Absolute, in ms: 24 bits with the extension byte on top.
  std::uint32_t ulTimestamp = 0;
  std::uint32_t ulStreamId = 0;
};

/// The first byte of an audio tag's body, and the second one for AAC.
struct FLVAudioTagHeader {
  std::uint16_t usChannels = 0;
  std::uint16_t usBitsPerSample = 0;
  std::uint32_t ulSamplesPerSecond = 0;
  std::uint8_t ucSoundFormat = 0;
  std::uint8_t ucAACPacketType = 0;
};

/// The first byte of a video tag's body, and the next four for AVC.
struct FLVVideoTagHeader {
  std::uint8_t ucCodecId = 0;
  std::uint8_t ucFrameType = 0;
  std::uint8_t ucAVCPacketType = 0;
  /// In ms; taken as unsigned.
  std::uint32_t ulCompositionTime = 0;
};

}  // namespace qbflv
