#include "plugin/reader/flv_parsers.h"

#include <bit>
#include <iterator>

namespace qbflv {

namespace {

constexpr std::uint32_t kMax24Bits = 0xFFFFFF;

constexpr std::uint32_t kSamplesPerSecond[4] = {5512, 11025, 22050, 44100};

/// Sorenson's picture sizes by their code; codes 0 and 1 carry the size in the bits that follow.
struct PictureSize {
  std::uint32_t width;
  std::uint32_t height;
};
constexpr std::uint32_t kFirstFixedSizeCode = 2;
constexpr PictureSize kFixedSizes[] = {{352, 288}, {176, 144}, {128, 96}, {320, 240}, {160, 120}};

/// Sorenson H.263 picture header: 17-bit start code, 5-bit version, 8-bit temporal reference, 3-bit size code.
Status GetSorensonDimensions(ByteCursor cursor, std::uint32_t& width, std::uint32_t& height) {
  if (cursor.remaining < 9) return kFailed;
  std::uint32_t bit = 7;
  std::uint32_t startCode = 0;
  std::uint32_t skipped = 0;
  std::uint32_t sizeCode = 0;
  if (Failed(ReadBits(cursor, bit, 17, startCode)) || startCode != 1) return kFailed;
  if (Failed(ReadBits(cursor, bit, 5 + 8, skipped)) || Failed(ReadBits(cursor, bit, 3, sizeCode))) return kFailed;

  if (sizeCode < kFirstFixedSizeCode) {
    const std::uint32_t bits = sizeCode == 0 ? 8 : 16;
    if (Failed(ReadBits(cursor, bit, bits, width))) return kFailed;
    return ReadBits(cursor, bit, bits, height);
  }
  const std::uint32_t fixed = sizeCode - kFirstFixedSizeCode;
  if (fixed >= std::size(kFixedSizes)) return kFailed;
  width = kFixedSizes[fixed].width;
  height = kFixedSizes[fixed].height;
  return kOk;
}

/// VP6: sizes in macroblocks of 16 pixels, less what the adjustment byte cuts off. Arithmetic is modulo 2^32.
Status GetVP6Dimensions(std::span<const std::uint8_t> frame, std::uint32_t& width, std::uint32_t& height) {
  if (frame.size() < 5) return kFailed;
  width = frame[4] * 16U - (frame[0] >> 4U);
  height = frame[3] * 16U - (frame[0] & 0x0FU);
  return kOk;
}

}  // namespace

Status ParseFileHeader(ByteCursor cursor, FLVFileHeader& header) {
  if (cursor.remaining < kFlvHeaderSize) return kFailed;
  for (std::uint8_t& byte : header.ucSignature) {
    if (Failed(ReadUINT8(cursor, byte))) return kFailed;
  }
  if (header.ucSignature[0] != 'F' || header.ucSignature[1] != 'L' || header.ucSignature[2] != 'V') return kFailed;
  if (Failed(ReadUINT8(cursor, header.ucVersion)) || Failed(ReadUINT8(cursor, header.ucFlags))) return kFailed;
  return ReadUINT32(cursor, header.ulDataOffset);
}

Status ParseTagHeader(ByteCursor cursor, FLVTagHeader& header) {
  if (cursor.remaining < kTagHeaderReadBytes) return kFailed;
  const auto bytes = cursor.Rest().first<kTagHeaderReadBytes>();
  const std::uint32_t typeAndSize = BigEndianAt<4, 4>(bytes);
  header.ulPreviousTagSize = BigEndianAt<0, 4>(bytes);
  header.ucTagType = static_cast<std::uint8_t>(typeAndSize >> 24U);
  header.ulDataSize = typeAndSize & kMax24Bits;
  // The lower 24 bits come first, then the upper 8.
  header.ulTimestamp = std::rotr(BigEndianAt<8, 4>(bytes), 8);
  header.ulStreamId = BigEndianAt<11, 4>(bytes) & kMax24Bits;
  return kOk;
}

Status ParseAudioTagHeader(ByteCursor& cursor, FLVAudioTagHeader& header) {
  std::uint8_t bits = 0;
  if (Failed(ReadUINT8(cursor, bits))) return kFailed;
  header.ucSoundFormat = static_cast<std::uint8_t>(bits >> 4);
  header.ulSamplesPerSecond = kSamplesPerSecond[(bits >> 2) & 3];
  header.usBitsPerSample = (bits & 2) != 0 ? 16 : 8;
  header.usChannels = (bits & 1) != 0 ? 2 : 1;
  if (header.ucSoundFormat != kSoundFormatAAC || cursor.remaining < 1) return kOk;
  return ReadUINT8(cursor, header.ucAACPacketType);
}

Status ParseVideoTagHeader(ByteCursor& cursor, FLVVideoTagHeader& header) {
  std::uint8_t bits = 0;
  if (Failed(ReadUINT8(cursor, bits))) return kFailed;
  header.ucFrameType = static_cast<std::uint8_t>(bits >> 4);
  header.ucCodecId = bits & 0x0F;
  if (header.ucCodecId != kCodecAVC || cursor.remaining < 4) return kOk;
  std::uint32_t fields = 0;
  const Status status = ReadUINT32(cursor, fields);
  header.ucAVCPacketType = static_cast<std::uint8_t>(fields >> 24U);
  header.ulCompositionTime = fields & kMax24Bits;
  return status;
}

Status GetVideoDimensions(std::span<const std::uint8_t> frame, std::uint8_t codecId, std::uint32_t& width,
                          std::uint32_t& height) {
  switch (codecId) {
    case kCodecSorenson:
      return GetSorensonDimensions(ByteCursor(frame), width, height);
    case kCodecVP6:
      return GetVP6Dimensions(frame, width, height);
    default:
      return kFailed;
  }
}

}  // namespace qbflv
