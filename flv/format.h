// The layout of FLV files, as in Adobe's FLV format, annex E: constants, and access to stored numbers.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qbflv::flv {

enum class TagType : std::uint8_t { kAudio = 8, kVideo = 9, kScript = 18 };

// Flags in the file header.
inline constexpr std::uint8_t kAnnouncesVideo = 0x01;
inline constexpr std::uint8_t kAnnouncesAudio = 0x04;

// Sizes in bytes. A file consists of the file header, then for each tag the previous-tag size (0 before the first tag),
// the tag header and the tag body, and finally the size of the last tag. A previous-tag size includes the tag header.
inline constexpr std::uint32_t kFileHeaderSize = 9;
inline constexpr std::uint32_t kTagHeaderSize = 11;
inline constexpr std::uint32_t kSizeFieldSize = 4;
inline constexpr std::uint32_t kMaxBodySize = 0xFFFFFF;

// Sound formats and codec IDs with special handling.
inline constexpr std::uint8_t kSoundAac = 10;
inline constexpr std::uint8_t kCodecSorenson = 2;
inline constexpr std::uint8_t kCodecScreen = 3;
inline constexpr std::uint8_t kCodecVp6 = 4;
inline constexpr std::uint8_t kCodecVp6Alpha = 5;
inline constexpr std::uint8_t kCodecScreen2 = 6;
inline constexpr std::uint8_t kCodecAvc = 7;

/// Reads a big-endian number of kBytes bytes.
template <int kBytes>
constexpr std::uint32_t ReadNumber(const std::uint8_t* bytes) {
  static_assert(kBytes >= 1 && kBytes <= 4);
  std::uint32_t value = 0;
  for (int i = 0; i < kBytes; ++i) value = value << 8 | bytes[i];
  return value;
}

/// Writes a big-endian number of kBytes bytes.
template <int kBytes>
constexpr void WriteNumber(std::uint8_t* bytes, std::uint32_t value) {
  static_assert(kBytes >= 1 && kBytes <= 4);
  for (int i = kBytes - 1; i >= 0; --i, value >>= 8) bytes[i] = static_cast<std::uint8_t>(value);
}

/// Returns the time from `from` to `to` in ms. Timestamps have 32 bits and wrap around.
constexpr std::int32_t TimeBetween(std::uint32_t from, std::uint32_t to) {
  return static_cast<std::int32_t>(to - from);
}

struct TagHeader {
  /// Tag type as stored, which need not be a TagType.
  std::uint8_t type = 0;
  /// Size of the body in bytes.
  std::uint32_t size = 0;
  /// Timestamp in ms.
  std::uint32_t time = 0;
  std::uint32_t streamId = 0;

  bool Is(TagType wanted) const { return type == static_cast<std::uint8_t>(wanted); }
};

/// Decodes a tag header of kTagHeaderSize bytes. The byte after the 24-bit timestamp holds its bits 24 to 31.
constexpr TagHeader ReadTagHeader(const std::uint8_t* bytes) {
  return {bytes[0], ReadNumber<3>(bytes + 1), ReadNumber<3>(bytes + 4) | std::uint32_t{bytes[7]} << 24,
          ReadNumber<3>(bytes + 8)};
}

constexpr void WriteTagTime(std::uint8_t* tagHeader, std::uint32_t time) {
  WriteNumber<3>(tagHeader + 4, time & 0xFFFFFF);
  tagHeader[7] = static_cast<std::uint8_t>(time >> 24);
}

constexpr void WriteTagHeader(std::uint8_t* bytes, TagType type, std::uint32_t size, std::uint32_t time) {
  bytes[0] = static_cast<std::uint8_t>(type);
  WriteNumber<3>(bytes + 1, size);
  WriteTagTime(bytes, time);
  WriteNumber<3>(bytes + 8, 0);
}

}  // namespace qbflv::flv
