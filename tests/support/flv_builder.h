// Builds FLV files in memory, whole ones and ones that lie.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace qbflv::test {

using Bytes = std::vector<std::uint8_t>;

inline constexpr std::uint8_t kAudio = 0x04;
inline constexpr std::uint8_t kVideo = 0x01;
inline constexpr std::uint8_t kBoth = kAudio | kVideo;

inline constexpr std::uint8_t kAudioTag = 8;
inline constexpr std::uint8_t kVideoTag = 9;
inline constexpr std::uint8_t kScriptTag = 18;

class FlvBuilder {
 public:
  /// dataOffset: where the field before the first tag stands; the gap after the file header is filled with 0xEE.
  explicit FlvBuilder(std::uint8_t flags, std::uint32_t dataOffset = 9);

  /// claimedSize: the size in the tag's header, where that is not the truth.
  FlvBuilder& Tag(std::uint8_t type, std::uint32_t time, const Bytes& body,
                  std::optional<std::uint32_t> claimedSize = {});
  /// An audio tag of that many bytes in all: 22050 Hz, 16 bits, mono, not AAC.
  FlvBuilder& Audio(std::uint32_t time, std::size_t size);
  /// A video tag of that many bytes in all, at least 10: Sorensen, 176x144.
  FlvBuilder& Video(std::uint32_t time, std::size_t size, bool key = true);
  /// A script-data tag with a name and that value.
  FlvBuilder& Metadata(const Bytes& value);

  /// Offset of the field before the tag with that number, counted from 0; of the field after the last one for the
  /// number of tags.
  std::uint32_t Field(std::size_t tag) const { return m_fields.at(tag); }
  std::uint32_t Size() const { return static_cast<std::uint32_t>(m_bytes.size()); }
  std::size_t Tags() const { return m_fields.size() - 1; }

  /// Overwrites four bytes, for lies that need offsets.
  FlvBuilder& Patch(std::uint32_t offset, std::uint32_t value);

  const Bytes& File() const { return m_bytes; }

 private:
  Bytes m_bytes;
  std::vector<std::uint32_t> m_fields;
};

/// Bodies of tags.
Bytes AudioBody(std::size_t size, std::uint8_t first = 0x2A);
Bytes VideoBody(std::size_t size, std::uint8_t first);
/// The start of a Sorensen picture, as a key frame of that many bytes; width and height are for size codes 0 and 1.
Bytes SorensenBody(std::uint8_t sizeCode, std::uint32_t width = 0, std::uint32_t height = 0, std::size_t size = 20);

/// AMF0 values, each with its marker.
namespace amf {

using Entries = std::vector<std::pair<std::string_view, Bytes>>;

Bytes Number(double value);
Bytes Boolean(bool value);
Bytes String(std::string_view text);
Bytes Null();
Bytes Object(const Entries& entries);
/// declared: the count that the array tells, if not that of its entries.
Bytes MixedArray(const Entries& entries, std::optional<std::uint32_t> declared = {});
Bytes Array(const std::vector<Bytes>& values, std::optional<std::uint32_t> declared = {});
Bytes Numbers(const std::vector<double>& values);
Bytes KeyFrames(const std::vector<double>& times, const std::vector<double>& positions);

}  // namespace amf

/// Metadata with all that ends the header scan at one tag of each stream; more entries follow.
Bytes QuickMetadata(amf::Entries more = {});

/// Audio at 0, 23 and 46 ms, video at 0 and 40 ms, behind QuickMetadata: five packets and everything known.
FlvBuilder SmallFile();

}  // namespace qbflv::test
