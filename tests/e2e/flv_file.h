// The tests' own reading and writing of FLV files, independent of the plug-in and its host.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace qbflv::e2e {

inline constexpr std::uint8_t kAudioTag = 8;
inline constexpr std::uint8_t kVideoTag = 9;

struct Tag {
  std::uint8_t type = 0;
  /// In ms.
  std::uint32_t time = 0;
  std::string body;

  bool IsMedia() const { return type == kAudioTag || type == kVideoTag; }
  bool IsKeyFrame() const { return type == kVideoTag && Byte(0) >> 4 == 1; }
  bool IsAac() const { return type == kAudioTag && Byte(0) >> 4 == 10; }
  bool IsAvc() const { return type == kVideoTag && (Byte(0) & 0x0F) == 7; }
  /// A codec configuration, not a frame.
  bool IsConfiguration() const { return (IsAac() || IsAvc()) && Byte(1) == 0; }
  /// Of a file with both.
  int Stream() const { return type == kVideoTag ? 1 : 0; }
  int Byte(std::size_t at) const { return static_cast<std::uint8_t>(body[at]); }
  std::uint32_t Checksum() const;
  friend bool operator==(const Tag&, const Tag&) = default;
};

struct FlvFile {
  bool hasAudio = false;
  bool hasVideo = false;
  /// The whole ones, in the order of the file.
  std::vector<Tag> tags;

  std::vector<Tag> TagsOfType(std::uint8_t type) const;
};

/// The part of the file that is whole. Throws when the file header is not.
FlvFile ParseFlv(const std::string& bytes);

/// The file that these tags make, ended by the last one's size. hasSizes: otherwise the sizes behind the tags are 0.
std::string FormatFlv(const FlvFile& file, bool hasSizes = true);

}  // namespace qbflv::e2e
