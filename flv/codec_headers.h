// What the headers of codecs say about a stream.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

namespace qbflv::flv {

/// In pixels; 0 is unknown.
struct PictureSize {
  std::uint32_t width = 0;
  std::uint32_t height = 0;

  bool IsKnown() const { return width > 0 && height > 0; }
  bool operator==(const PictureSize&) const = default;
};

struct AvcConfiguration {
  /// As the standard numbers them: 66 Baseline, 77 Main, 100 High; level 31 is 3.1.
  std::uint8_t profile = 0;
  std::uint8_t constraints = 0;
  std::uint8_t level = 0;
  /// After cropping. Unknown where there is no sequence parameter set, or none that can be read.
  PictureSize size;
};

/// configuration: the decoder configuration record, which stands behind the first five bytes of the tag's body.
std::optional<AvcConfiguration> ReadAvcConfiguration(std::span<const std::uint8_t> configuration);

struct AacConfiguration {
  /// 2 is AAC-LC, 5 is HE-AAC, 29 is HE-AAC v2.
  std::uint8_t objectType = 0;
  /// In Hz, of what is heard: with spectral band replication, that of the extension.
  std::uint32_t sampleRate = 0;
  /// 0 where a program configuration says it.
  std::uint8_t channels = 0;
};

/// configuration: the audio-specific configuration, which stands behind the first two bytes of the tag's body.
std::optional<AacConfiguration> ReadAacConfiguration(std::span<const std::uint8_t> configuration);

/// Of a key frame of Sorenson H.263, Screen Video or VP6. frame: the tag's body behind its first byte.
PictureSize ReadPictureSize(std::uint8_t codec, std::span<const std::uint8_t> frame);

}  // namespace qbflv::flv
