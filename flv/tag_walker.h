// Walks over the tags of an FLV file, whatever its bytes are.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "flv/byte_source.h"
#include "flv/damage.h"
#include "flv/format.h"
#include "flv/window.h"

namespace qbflv::flv {

/// A tag whose body lies in the file as a whole.
struct Tag {
  /// Of the tag header, in bytes from the start of the file.
  std::uint64_t offset = 0;
  TagHeader header;
  /// Whether the size field behind the tag is there and right.
  bool hasCorrectSize = true;
  /// The first bytes of the body; what lies behind startSize is undefined.
  std::array<std::uint8_t, 16> start;
  std::uint8_t startSize = 0;

  std::uint64_t End() const { return offset + kTagHeaderSize + header.size; }
  std::span<const std::uint8_t> Start() const { return {start.data(), startSize}; }
};

/// A tag is trusted if the size field behind it fits, or another tag follows it. Behind anything else the walk goes on
/// with the next bytes that are a tag with the right size field, or the first of three tags in a row.
class TagWalker {
 public:
  /// source, damages: outlive this. What is wrong is added to damages, in the order of the file.
  TagWalker(const ByteSource& source, DamageList& damages);

  /// Reads the file header. False if there is none: then there is nothing to walk over.
  bool ReadFileHeader();
  /// Of the file header.
  std::uint8_t Flags() const { return m_flags; }
  std::uint8_t Version() const { return m_version; }
  std::uint64_t FileSize() const { return m_fileSize; }

  /// The next tag, of any type. False at the end of what can be read.
  bool Next(Tag& tag);

  /// Up to count bytes of a tag's body.
  std::vector<std::uint8_t> ReadBody(const Tag& tag, std::size_t count) const;

  /// Whether the source failed; the walk then ends as if the file did.
  bool HasFailed() const { return m_window.HasFailed() || m_probe.HasFailed(); }

 private:
  enum class Verdict { kTag, kWrongSize, kLost };

  Verdict Judge(const TagHeader& header, std::uint64_t offset);
  bool SkipEmbeddedHeader();
  bool LooksLikeTag(Window& window, std::uint64_t offset);
  bool IsConfirmedTag(std::uint64_t offset);
  bool HasCorrectSize(std::uint64_t offset, const TagHeader& header);
  std::optional<std::uint64_t> FindTag(std::uint64_t from);
  bool Accept(const TagHeader& header, Tag& tag, bool hasCorrectSize);
  bool Recover(const TagHeader& header, Tag& tag, bool& accepted);
  void Report(DamageKind kind, std::uint64_t offset, std::uint64_t amount);

  const ByteSource& m_source;
  DamageList& m_damages;
  /// Bytes; a file that grows meanwhile is read up to here.
  const std::uint64_t m_fileSize;
  Window m_window;
  /// Looks ahead for what confirms a tag, so that the search itself need not be read again.
  Window m_probe;
  std::uint8_t m_flags = 0;
  std::uint8_t m_version = 0;
  /// Where the next tag header is expected.
  std::uint64_t m_position = 0;
  /// Of the tag met last.
  std::uint32_t m_time = 0;
  /// How many more bytes that look like a tag are followed up, so that no file takes long.
  std::uint32_t m_probesLeft;
};

}  // namespace qbflv::flv
