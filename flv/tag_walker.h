// Reads the tags of an FLV file in order, and resynchronises after damage.
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

/// A tag whose body is completely in the file.
struct Tag {
  /// Offset of the tag header in the file, in bytes.
  std::uint64_t offset = 0;
  TagHeader header;
  /// Whether the previous-tag size after the tag is present and correct.
  bool hasCorrectSize = true;
  /// The first startSize bytes of the body; the rest is undefined.
  std::array<std::uint8_t, 16> start;
  std::uint8_t startSize = 0;

  std::uint64_t End() const { return offset + kTagHeaderSize + header.size; }
  std::span<const std::uint8_t> Start() const { return {start.data(), startSize}; }
};

/// Accepts a tag if the previous-tag size after it is correct or if it is followed by bytes that look like a tag.
/// Otherwise it resynchronises: it continues at the next tag with a correct previous-tag size after it, or at the next
/// three consecutive tags.
class TagWalker {
 public:
  /// Adds the damage that it finds to damages. REQUIRES: source and damages outlive this object.
  TagWalker(const ByteSource& source, DamageList& damages);

  /// Reads the file header. Returns false if there is none; the file then has no tags.
  bool ReadFileHeader();
  /// Fields of the file header.
  std::uint8_t Flags() const { return m_flags; }
  std::uint8_t Version() const { return m_version; }
  std::uint64_t FileSize() const { return m_fileSize; }

  /// Reads the next tag, of any type. Returns false if there are no more tags. REQUIRES: ReadFileHeader returned true.
  bool Next(Tag& tag);

  /// Returns the first count bytes of a tag body, or fewer if the body is shorter or the source fails.
  std::vector<std::uint8_t> ReadBody(const Tag& tag, std::size_t count) const;

  /// Returns true if a read failed. Tags then end as at the end of the file.
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
  /// File size in bytes at construction. Bytes that are appended later are not read.
  const std::uint64_t m_fileSize;
  Window m_window;
  /// A second window that verifies candidates, so that m_window keeps the bytes that FindTag searches.
  Window m_probe;
  std::uint8_t m_flags = 0;
  std::uint8_t m_version = 0;
  /// Expected offset of the next tag header.
  std::uint64_t m_position = 0;
  /// Timestamp of the last tag.
  std::uint32_t m_time = 0;
  /// Number of candidates that FindTag may still verify. The limit bounds the time for any file.
  std::uint32_t m_probesLeft;
};

}  // namespace qbflv::flv
