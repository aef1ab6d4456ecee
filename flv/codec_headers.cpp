// Decodes codec headers: picture sizes, and the configurations of H.264 and AAC.
#include "flv/codec_headers.h"

#include <array>
#include <vector>

#include "flv/bit_reader.h"
#include "flv/format.h"

namespace qbflv::flv {

namespace {

/// Maximum width and height. Larger values mean that the bytes are no header.
constexpr std::uint32_t kMaxSide = 1 << 15;

PictureSize Checked(PictureSize size) {
  const bool isSane = size.width <= kMaxSide && size.height <= kMaxSide;
  return isSane && size.IsKnown() ? size : PictureSize();
}

/// Removes the emulation prevention bytes from a NAL unit.
std::vector<std::uint8_t> Unescaped(std::span<const std::uint8_t> unit) {
  std::vector<std::uint8_t> bytes;
  bytes.reserve(unit.size());
  int zeros = 0;
  for (const std::uint8_t byte : unit) {
    if (zeros >= 2 && byte == 3) {
      zeros = 0;
      continue;
    }
    zeros = byte == 0 ? zeros + 1 : 0;
    bytes.push_back(byte);
  }
  return bytes;
}

void SkipScalingLists(BitReader& bits, std::uint32_t count) {
  for (std::uint32_t list = 0; list < count; ++list) {
    if (!bits.Flag()) continue;
    const int size = list < 6 ? 16 : 64;
    std::int64_t last = 8;
    for (int i = 0, next = 8; i < size && next != 0 && !bits.HasFailed(); ++i) {
      const std::uint32_t code = bits.ExpGolomb();
      const std::int64_t delta = code % 2 == 1 ? code / 2 + std::int64_t{1} : -std::int64_t{code / 2};
      next = static_cast<int>((last + delta + 256) % 256);
      last = next == 0 ? last : next;
    }
  }
}

/// Returns true if sequence parameter sets of this profile contain chroma_format_idc.
bool HasChromaFormat(std::uint32_t profile) {
  for (const std::uint32_t high : {100U, 110U, 122U, 244U, 44U, 83U, 86U, 118U, 128U, 138U, 139U, 134U, 135U}) {
    if (profile == high) return true;
  }
  return false;
}

/// Decodes the picture size of a sequence parameter set (ISO/IEC 14496-10, 7.3.2.1.1). unit: the NAL unit after its
/// first byte.
PictureSize ReadSequenceParameters(std::span<const std::uint8_t> unit) {
  const std::vector<std::uint8_t> bytes = Unescaped(unit);
  BitReader bits(bytes);
  const std::uint32_t profile = bits.Bits(8);
  bits.Skip(16);     // constraint flags and level_idc
  bits.ExpGolomb();  // seq_parameter_set_id
  std::uint32_t chroma = 1;
  if (HasChromaFormat(profile)) {
    chroma = bits.ExpGolomb();
    const bool separatePlanes = chroma == 3 && bits.Flag();
    bits.ExpGolomb();  // bit_depth_luma_minus8
    bits.ExpGolomb();  // bit_depth_chroma_minus8
    bits.Skip(1);      // qpprime_y_zero_transform_bypass_flag
    if (bits.Flag()) SkipScalingLists(bits, chroma == 3 ? 12 : 8);
    if (separatePlanes) chroma = 0;
  }
  bits.ExpGolomb();  // log2_max_frame_num_minus4
  const std::uint32_t orderType = bits.ExpGolomb();
  if (orderType == 0) {
    bits.ExpGolomb();  // log2_max_pic_order_cnt_lsb_minus4
  } else if (orderType == 1) {
    bits.Skip(1);      // delta_pic_order_always_zero_flag
    bits.ExpGolomb();  // offset_for_non_ref_pic
    bits.ExpGolomb();  // offset_for_top_to_bottom_field
    for (std::uint32_t left = bits.ExpGolomb(); left > 0 && !bits.HasFailed(); --left) bits.ExpGolomb();
  }
  bits.ExpGolomb();  // max_num_ref_frames
  bits.Skip(1);      // gaps_in_frame_num_value_allowed_flag
  const std::uint64_t width = bits.ExpGolomb() + std::uint64_t{1};
  const std::uint64_t mapHeight = bits.ExpGolomb() + std::uint64_t{1};
  const bool isProgressive = bits.Flag();
  if (!isProgressive) bits.Skip(1);  // mb_adaptive_frame_field_flag
  bits.Skip(1);                      // direct_8x8_inference_flag
  std::array<std::uint64_t, 4> crop{};
  if (bits.Flag()) {
    for (std::uint64_t& side : crop) side = bits.ExpGolomb();
  }
  if (bits.HasFailed() || width > kMaxSide / 16 || mapHeight > kMaxSide / 16) return {};

  const std::uint64_t unitX = chroma == 1 || chroma == 2 ? 2 : 1;
  const std::uint64_t unitY = (chroma == 1 ? 2 : 1) * (isProgressive ? 1 : 2);
  const std::uint64_t fullWidth = width * 16;
  const std::uint64_t fullHeight = mapHeight * 16 * (isProgressive ? 1 : 2);
  const std::uint64_t cropX = unitX * (crop[0] + crop[1]);
  const std::uint64_t cropY = unitY * (crop[2] + crop[3]);
  if (cropX >= fullWidth || cropY >= fullHeight) return {};
  return Checked({static_cast<std::uint32_t>(fullWidth - cropX), static_cast<std::uint32_t>(fullHeight - cropY)});
}

/// Decodes an H263VIDEOPACKET of Adobe's SWF format.
PictureSize ReadSorensonSize(std::span<const std::uint8_t> frame) {
  constexpr PictureSize kSizes[] = {{352, 288}, {176, 144}, {128, 96}, {320, 240}, {160, 120}};
  BitReader bits(frame);
  if (bits.Bits(17) != 1) return {};
  bits.Skip(5 + 8);  // version and temporal reference
  const std::uint32_t code = bits.Bits(3);
  if (code >= 2) return code <= 6 ? kSizes[code - 2] : PictureSize();
  const int length = code == 0 ? 8 : 16;
  const std::uint32_t width = bits.Bits(length);
  const std::uint32_t height = bits.Bits(length);
  return bits.HasFailed() ? PictureSize() : Checked({width, height});
}

/// Decodes a VP6 key frame. In FLV files its first byte holds the numbers of columns and rows to crop from the coded
/// picture. alphaSize: size of the offset of the alpha data, which follows that byte if there is an alpha channel.
PictureSize ReadVp6Size(std::span<const std::uint8_t> frame, std::size_t alphaSize) {
  if (frame.size() < 1 + alphaSize + 6) return {};
  const std::uint8_t hidden = frame[0];
  const auto header = frame.subspan(1 + alphaSize);
  if ((header[0] & 0x80) != 0) return {};  // not a key frame
  const bool hasPartitions = (header[0] & 1) != 0 || (header[1] & 6) == 0;
  const std::size_t rows = hasPartitions ? 4 : 2;
  if (header.size() < rows + 2) return {};
  const int width = header[rows + 1] * 16 - (hidden >> 4);
  const int height = header[rows] * 16 - (hidden & 0x0F);
  if (width <= 0 || height <= 0) return {};
  return {static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height)};
}

/// Decodes a SCREENVIDEOPACKET of Adobe's SWF format.
PictureSize ReadScreenSize(std::span<const std::uint8_t> frame) {
  BitReader bits(frame);
  bits.Skip(4);  // block width
  const std::uint32_t width = bits.Bits(12);
  bits.Skip(4);  // block height
  const std::uint32_t height = bits.Bits(12);
  return bits.HasFailed() ? PictureSize() : Checked({width, height});
}

std::uint32_t ReadAacObjectType(BitReader& bits) {
  const std::uint32_t type = bits.Bits(5);
  return type == 31 ? 32 + bits.Bits(6) : type;
}

std::uint32_t ReadAacRate(BitReader& bits) {
  constexpr std::uint32_t kRates[] = {96000, 88200, 64000, 48000, 44100, 32000, 24000,
                                      22050, 16000, 12000, 11025, 8000,  7350};
  const std::uint32_t index = bits.Bits(4);
  if (index == 15) return bits.Bits(24);
  return index < std::size(kRates) ? kRates[index] : 0;
}

}  // namespace

std::optional<AvcConfiguration> ReadAvcConfiguration(std::span<const std::uint8_t> configuration) {
  if (configuration.size() < 7 || configuration[0] != 1) return std::nullopt;
  AvcConfiguration avc{configuration[1], configuration[2], configuration[3], {}};
  const int sets = configuration[5] & 0x1F;
  const std::size_t size = sets > 0 && configuration.size() >= 8 ? ReadNumber<2>(&configuration[6]) : 0;
  // Skip the NAL unit header, one byte.
  if (size > 1 && size <= configuration.size() - 8) {
    avc.size = ReadSequenceParameters(configuration.subspan(9, size - 1));
  }
  return avc;
}

std::optional<AacConfiguration> ReadAacConfiguration(std::span<const std::uint8_t> configuration) {
  constexpr std::uint8_t kBandReplication = 5;
  constexpr std::uint8_t kParametricStereo = 29;
  BitReader bits(configuration);
  AacConfiguration aac;
  aac.objectType = static_cast<std::uint8_t>(ReadAacObjectType(bits));
  aac.sampleRate = ReadAacRate(bits);
  // Channels of each channel configuration (ISO/IEC 14496-3, table 1.19); 0 for those that are reserved.
  constexpr std::uint8_t kChannels[16] = {0, 1, 2, 3, 4, 5, 6, 8, 0, 0, 0, 7, 8, 24, 8, 0};
  aac.channels = kChannels[bits.Bits(4)];
  if (aac.objectType == kBandReplication || aac.objectType == kParametricStereo) aac.sampleRate = ReadAacRate(bits);
  if (bits.HasFailed() || aac.objectType == 0 || aac.sampleRate == 0) return std::nullopt;
  return aac;
}

PictureSize ReadPictureSize(std::uint8_t codec, std::span<const std::uint8_t> frame) {
  constexpr std::size_t kAlphaSize = 3;
  switch (codec) {
    case kCodecSorenson:
      return ReadSorensonSize(frame);
    case kCodecScreen:
    case kCodecScreen2:
      return ReadScreenSize(frame);
    case kCodecVp6:
      return ReadVp6Size(frame, 0);
    case kCodecVp6Alpha:
      return ReadVp6Size(frame, kAlphaSize);
    default:
      return {};
  }
}

}  // namespace qbflv::flv
