// What stands at the start of an FLV file and a player needs to begin anywhere in it.
#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

namespace qbflv::host {

/// Bodies of tags; empty where the file has none. Layouts are those of the published FLV format.
struct FirstTags {
  /// The first script-data tag.
  std::vector<std::uint8_t> metadata;
  /// The codec configurations of AAC and H.264, which stand before the first frames.
  std::vector<std::uint8_t> audioConfiguration;
  std::vector<std::uint8_t> videoConfiguration;
  /// Timestamp in ms of the earlier of the first audio and the first video tag: where the time of a seek counts from.
  std::uint32_t timeBase = 0;
};

/// Whether the body is a codec configuration; type: 8 for audio, 9 for video.
bool IsConfiguration(std::uint8_t type, const std::uint8_t* body, std::size_t size);

/// Looks at the first tags, up to the first frame of each stream. A file that is cut short or broken there gives what
/// it has. Throws HostError when it cannot be read.
FirstTags ReadFirstTags(const std::filesystem::path& path);

}  // namespace qbflv::host
