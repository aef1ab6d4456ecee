// Reads the tags of an FLV file in order, and resynchronises after damage.
#include "flv/tag_walker.h"

#include <algorithm>

namespace qbflv::flv {

namespace {

/// In bytes. Fits into the processor's cache, and makes the cost of system calls negligible.
constexpr std::size_t kWindowSize = 64 * 1024;
constexpr std::size_t kProbeSize = 64;
constexpr std::uint32_t kMaxProbes = 1'000'000;

/// The first byte of a tag header: the filter bit, which marks an encrypted body, and the tag type (annex E).
constexpr std::uint8_t kFilterBit = 0x20;
constexpr std::uint8_t kTypeBits = 0x1F;
/// Script data in AMF3. It is recognised as a tag, but players do not use it.
constexpr std::uint8_t kScript3 = 15;

constexpr bool IsTagType(std::uint8_t type) {
  if ((type & ~(kFilterBit | kTypeBits)) != 0) return false;
  const int plain = type & kTypeBits;
  return plain == 8 || plain == 9 || plain == 18 || plain == kScript3;
}

bool IsFileHeader(std::span<const std::uint8_t> bytes) {
  return bytes.size() >= kFileHeaderSize && bytes[0] == 'F' && bytes[1] == 'L' && bytes[2] == 'V';
}

}  // namespace

TagWalker::TagWalker(const ByteSource& source, DamageList& damages)
    : m_source(source),
      m_damages(damages),
      m_fileSize(source.Size()),
      m_window(source, kWindowSize),
      m_probe(source, kProbeSize),
      m_probesLeft(kMaxProbes) {}

bool TagWalker::ReadFileHeader() {
  const auto bytes = m_window.Get(0, kFileHeaderSize);
  if (!IsFileHeader(bytes)) return false;
  m_version = bytes[3];
  m_flags = bytes[4];
  const std::uint32_t dataOffset = ReadNumber<4>(bytes.data() + 5);
  m_position = std::uint64_t{dataOffset} + kSizeFieldSize;
  if (dataOffset == kFileHeaderSize) return true;
  if (dataOffset < kFileHeaderSize || !LooksLikeTag(m_probe, m_position)) {
    Report(DamageKind::kHeaderOffset, 5, dataOffset);
    m_position = kFileHeaderSize + kSizeFieldSize;
  }
  return true;
}

bool TagWalker::Next(Tag& tag) {
  while (m_position < m_fileSize) {
    const auto bytes = m_window.Get(m_position, kTagHeaderSize + tag.start.size());
    if (bytes.size() < kTagHeaderSize) {
      Report(DamageKind::kTruncatedTag, m_position, bytes.size());
      break;
    }
    const TagHeader header = ReadTagHeader(bytes.data());
    tag.startSize = static_cast<std::uint8_t>(
        std::min({std::size_t{header.size}, bytes.size() - kTagHeaderSize, tag.start.size()}));
    std::copy_n(bytes.data() + kTagHeaderSize, tag.startSize, tag.start.data());
    const Verdict verdict = Judge(header, m_position);
    if (verdict != Verdict::kLost) return Accept(header, tag, verdict == Verdict::kTag);
    if (SkipEmbeddedHeader()) continue;
    bool accepted = false;
    if (!Recover(header, tag, accepted)) break;
    if (accepted) return true;
  }
  m_position = m_fileSize;
  return false;
}

TagWalker::Verdict TagWalker::Judge(const TagHeader& header, std::uint64_t offset) {
  const std::uint64_t end = offset + kTagHeaderSize + header.size;
  if (!IsTagType(header.type) || end > m_fileSize) return Verdict::kLost;
  // Use m_window, because the next tag header is read from it as well.
  const auto after = m_window.Get(end, kSizeFieldSize + kTagHeaderSize);
  const std::size_t fieldSize = std::min<std::size_t>(after.size(), kSizeFieldSize);
  if (fieldSize < kSizeFieldSize) {
    Report(DamageKind::kTruncatedSizeField, end, kSizeFieldSize - fieldSize);
    return Verdict::kWrongSize;
  }
  const std::uint32_t size = ReadNumber<4>(after.data());
  if (size == kTagHeaderSize + header.size) return Verdict::kTag;
  const bool isFollowed = after.size() < kSizeFieldSize + kTagHeaderSize ||
                          IsFileHeader(after.subspan(kSizeFieldSize)) || LooksLikeTag(m_window, end + kSizeFieldSize);
  if (!isFollowed) return Verdict::kLost;
  Report(DamageKind::kWrongSizeField, end, size);
  return Verdict::kWrongSize;
}

/// Skips a file header in the place of a tag, as in concatenated recordings.
bool TagWalker::SkipEmbeddedHeader() {
  const auto bytes = m_window.Get(m_position, kFileHeaderSize);
  if (!IsFileHeader(bytes) || ReadNumber<4>(bytes.data() + 5) != kFileHeaderSize) return false;
  Report(DamageKind::kEmbeddedHeader, m_position, kFileHeaderSize);
  m_position += kFileHeaderSize + kSizeFieldSize;
  return true;
}

/// Resynchronises where Judge found no tag, or a tag that nothing confirms. Sets accepted if it returns that tag in
/// tag. Returns false if there are no more tags.
bool TagWalker::Recover(const TagHeader& header, Tag& tag, bool& accepted) {
  const std::uint64_t begin = m_position;
  const std::uint64_t end = begin + kTagHeaderSize + header.size;
  const bool mayBeTag = IsTagType(header.type) && header.streamId == 0 && header.size > 0;
  const std::optional<std::uint64_t> found = FindTag(begin + 1);
  if (mayBeTag && end > m_fileSize && !found) {
    Report(DamageKind::kTruncatedTag, begin, m_fileSize - begin);
    return false;
  }
  // Only what follows the tag is damaged: its body is complete, and the search found no other tag inside it.
  accepted = mayBeTag && end <= m_fileSize && found.value_or(m_fileSize) >= end;
  if (accepted) Accept(header, tag, false);
  const std::uint64_t garbage = accepted ? end : begin;
  m_position = found.value_or(m_fileSize);
  if (m_position > garbage) Report(DamageKind::kGarbage, garbage, m_position - garbage);
  return accepted || found;
}

bool TagWalker::Accept(const TagHeader& header, Tag& tag, bool hasCorrectSize) {
  tag.offset = m_position;
  tag.header = header;
  tag.hasCorrectSize = hasCorrectSize;
  m_time = header.time;
  m_position = tag.End() + kSizeFieldSize;
  return true;
}

bool TagWalker::LooksLikeTag(Window& window, std::uint64_t offset) {
  const auto bytes = window.Get(offset, kTagHeaderSize);
  if (bytes.size() < kTagHeaderSize) return false;
  const TagHeader header = ReadTagHeader(bytes.data());
  return IsTagType(header.type) && header.streamId == 0 && offset + kTagHeaderSize + header.size <= m_fileSize;
}

bool TagWalker::HasCorrectSize(std::uint64_t offset, const TagHeader& header) {
  const auto field = m_probe.Get(offset + kTagHeaderSize + header.size, kSizeFieldSize);
  return field.size() == kSizeFieldSize && ReadNumber<4>(field.data()) == kTagHeaderSize + header.size;
}

bool TagWalker::IsConfirmedTag(std::uint64_t offset) {
  constexpr int kInARow = 3;
  for (int i = 0; i < kInARow; ++i) {
    if (!LooksLikeTag(m_probe, offset)) return false;
    const TagHeader header = ReadTagHeader(m_probe.Get(offset, kTagHeaderSize).data());
    if (HasCorrectSize(offset, header)) return true;
    offset += std::uint64_t{kTagHeaderSize} + header.size + kSizeFieldSize;
  }
  return true;
}

std::optional<std::uint64_t> TagWalker::FindTag(std::uint64_t from) {
  while (from < m_fileSize) {
    const auto bytes = m_window.Get(from, kWindowSize);
    if (bytes.size() < kTagHeaderSize) break;
    const std::size_t last = bytes.size() - kTagHeaderSize;
    for (std::size_t i = 0; i <= last; ++i) {
      // The stream ID is 0 in every tag. Three zero bytes are rare in garbage, so this rejects most candidates.
      if (!IsTagType(bytes[i]) || ReadNumber<3>(&bytes[i + 8]) != 0 || ReadNumber<3>(&bytes[i + 1]) == 0) continue;
      if (m_probesLeft == 0) return std::nullopt;
      --m_probesLeft;
      if (IsConfirmedTag(from + i)) return from + i;
    }
    from += last + 1;
  }
  return std::nullopt;
}

std::vector<std::uint8_t> TagWalker::ReadBody(const Tag& tag, std::size_t count) const {
  std::vector<std::uint8_t> body(std::min<std::size_t>(count, tag.header.size));
  const std::int64_t got = m_source.ReadAt(tag.offset + kTagHeaderSize, body);
  body.resize(static_cast<std::size_t>(std::max<std::int64_t>(got, 0)));
  return body;
}

void TagWalker::Report(DamageKind kind, std::uint64_t offset, std::uint64_t amount) {
  m_damages.Add({kind, offset, m_time, amount});
}

}  // namespace qbflv::flv
