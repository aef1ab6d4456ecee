// Decodes codec headers: picture sizes, and the configurations of H.264 and AAC.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

namespace qbflv::flv {

/// A picture size in pixels; 0 if unknown.
struct PictureSize {
  std::uint32_t width = 0;
  std::uint32_t height = 0;

  bool IsKnown() const { return width > 0 && height > 0; }
  bool operator==(const PictureSize&) const = default;
};

struct AvcConfiguration {
  // Values of ISO/IEC 14496-10. profile: 66 is Baseline, 77 is Main, 100 is High. level: 31 is level 3.1.
  std::uint8_t profile = 0;
  std::uint8_t constraints = 0;
  std::uint8_t level = 0;
  /// The size after cropping. Unknown if there is no valid sequence parameter set.
  PictureSize size;
};

/// Decodes an AVCDecoderConfigurationRecord (ISO/IEC 14496-15). It follows the first five bytes of the tag body.
std::optional<AvcConfiguration> ReadAvcConfiguration(std::span<const std::uint8_t> configuration);

struct AacConfiguration {
  /// Audio object type: 2 is AAC-LC, 5 is HE-AAC, 29 is HE-AAC v2.
  std::uint8_t objectType = 0;
  /// Output rate in Hz: with spectral band replication, the rate of the extension.
  std::uint32_t sampleRate = 0;
  /// 0 if a program configuration element defines the channels, or if their number is reserved.
  std::uint8_t channels = 0;
};

/// Decodes an AudioSpecificConfig (ISO/IEC 14496-3). It follows the first two bytes of the tag body.
std::optional<AacConfiguration> ReadAacConfiguration(std::span<const std::uint8_t> configuration);

/// Returns the size of a Sorenson H.263, Screen Video or VP6 key frame. frame: the tag body after its first byte.
PictureSize ReadPictureSize(std::uint8_t codec, std::span<const std::uint8_t> frame);

}  // namespace qbflv::flv
