// What stands at the start of an FLV file and a player needs to begin anywhere in it.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <vector>

namespace qbflv::host {

// Tag types.
inline constexpr std::uint8_t kAudioTag = 8;
inline constexpr std::uint8_t kVideoTag = 9;
inline constexpr std::uint8_t kScriptTag = 18;

/// Bodies of tags; empty where the file has none. Layouts are those of the published FLV format.
struct FirstTags {
  /// The first script-data tag that is named as the metadata.
  std::vector<std::uint8_t> metadata;
  /// The codec configurations of AAC and H.264, which stand before the first frames.
  std::vector<std::uint8_t> audioConfiguration;
  std::vector<std::uint8_t> videoConfiguration;
  /// Timestamp in ms of the earlier of the first audio and the first video tag: where the time of a seek counts from.
  std::uint32_t timeBase = 0;
};

/// Whether a tag of this type and body is a codec configuration.
bool IsConfiguration(std::uint8_t type, std::span<const std::uint8_t> body);

/// Looks at the first tags, up to the first frame of each stream. A file that is cut short or broken there gives what
/// it has. Throws HostError when it cannot be read.
FirstTags ReadFirstTags(const std::filesystem::path& path);

}  // namespace qbflv::host
