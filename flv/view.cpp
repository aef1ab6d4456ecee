// A repaired file as a byte source, made from the bytes of the original file according to a layout.
#include "flv/view.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "flv/format.h"

namespace qbflv::flv {

namespace {

/// Copies from `from`, after its first `skipped` bytes, as many bytes as fit. Returns their number.
std::size_t CopyRest(std::span<const std::uint8_t> from, std::uint64_t skipped, std::span<std::uint8_t> to) {
  const auto rest = from.subspan(static_cast<std::size_t>(skipped));
  const std::size_t count = std::min(rest.size(), to.size());
  if (count > 0) std::memcpy(to.data(), rest.data(), count);
  return count;
}

}  // namespace

View::View(std::shared_ptr<const ByteSource> source, std::shared_ptr<const ViewLayout> layout)
    : m_source(std::move(source)), m_layout(std::move(layout)) {}

std::int64_t View::ReadAt(std::uint64_t offset, std::span<std::uint8_t> bytes) const {
  std::size_t filled = 0;
  while (filled < bytes.size() && offset < Size()) {
    const auto wanted = bytes.subspan(filled);
    std::size_t count = 0;
    if (offset < m_layout->Head().size()) {
      count = CopyRest(m_layout->Head(), offset, wanted);
    } else if (offset >= m_layout->TailBegin()) {
      count = CopyRest(m_layout->Tail(), offset - m_layout->TailBegin(), wanted);
    } else {
      const Piece& piece = FindPiece(offset);
      const std::int64_t got = ReadPiece(piece, offset, wanted);
      if (got < 0) return kReadFailed;
      count = static_cast<std::size_t>(got);
    }
    if (count == 0) break;  // the file was truncated after the layout was made
    filled += count;
    offset += count;
  }
  return static_cast<std::int64_t>(filled);
}

SharedBytes View::Share(std::uint64_t offset) const {
  if (!IsInPiece(offset)) return {};
  const Piece& piece = FindPiece(offset);
  const std::uint64_t inPiece = offset - piece.begin;
  if (inPiece < kSizeFieldSize) return {};
  const std::uint64_t place = piece.source + inPiece - kSizeFieldSize;
  const std::uint64_t end = piece.isPatched ? EndOfBody(piece, place) : piece.source + piece.size;
  if (place >= end) return {};
  SharedBytes shared = m_source->Share(place);
  shared.size = std::min(shared.size, end - place);
  return shared;
}

std::optional<std::uint64_t> View::FileOffset(std::uint64_t offset) const {
  if (!IsInPiece(offset)) return std::nullopt;
  const Piece& piece = FindPiece(offset);
  return piece.source + std::max<std::uint64_t>(offset - piece.begin, kSizeFieldSize) - kSizeFieldSize;
}

bool View::IsInPiece(std::uint64_t offset) const {
  return offset >= m_layout->Head().size() && offset < m_layout->TailBegin();
}

/// Returns the end of the body that contains an offset of the file, or 0 if it is in no body. Bodies are unchanged,
/// also in patched pieces.
std::uint64_t View::EndOfBody(const Piece& piece, std::uint64_t place) const {
  const FileFacts& facts = m_layout->Facts();
  const std::uint32_t next = facts.TagAt(place + 1);
  if (next == piece.firstTag || place < facts.TagOffset(next - 1) + kTagHeaderSize) return 0;
  return next == piece.endTag ? piece.source + piece.size : facts.TagOffset(next) - kSizeFieldSize;
}

/// Returns the piece that contains offset. REQUIRES: there is one.
const View::Piece& View::FindPiece(std::uint64_t offset) const {
  return *(std::ranges::upper_bound(m_layout->Pieces(), offset, {}, &Piece::begin) - 1);
}

/// Reads at most up to the end of the piece.
std::int64_t View::ReadPiece(const Piece& piece, std::uint64_t offset, std::span<std::uint8_t> bytes) const {
  const std::uint64_t inPiece = offset - piece.begin;
  if (inPiece < kSizeFieldSize) {
    std::array<std::uint8_t, kSizeFieldSize> field;
    WriteNumber<4>(field.data(), piece.previousSize);
    return static_cast<std::int64_t>(CopyRest(field, inPiece, bytes));
  }
  const std::uint64_t skipped = inPiece - kSizeFieldSize;
  const std::uint64_t count = std::min<std::uint64_t>(bytes.size(), piece.size - skipped);
  const auto wanted = bytes.first(static_cast<std::size_t>(count));
  const std::int64_t got = m_source->ReadAt(piece.source + skipped, wanted);
  if (got <= 0 || !piece.isPatched) return got;
  return Patch(piece, piece.source + skipped, wanted.first(static_cast<std::size_t>(got))) ? got : kReadFailed;
}

/// Overwrites the previous-tag sizes and timestamps in bytes with the correct values. begin: offset of bytes in the
/// file. Returns false if reading the file fails.
bool View::Patch(const Piece& piece, std::uint64_t begin, std::span<std::uint8_t> bytes) const {
  const FileFacts& facts = m_layout->Facts();
  const std::uint64_t runOffset = facts.RunOf(piece.firstTag).offset;
  const auto tagOffsets = std::span(facts.tagOffsets).subspan(piece.firstTag, piece.endTag - piece.firstTag);
  const std::uint64_t end = begin + bytes.size();
  // Start at the first tag whose header ends after begin.
  const auto endsBefore = [&](std::uint32_t tag) { return runOffset + tag + kTagHeaderSize <= begin; };
  auto tag = std::ranges::partition_point(tagOffsets, endsBefore);
  for (; tag != tagOffsets.end() && runOffset + *tag < end + kSizeFieldSize; ++tag) {
    const std::uint64_t offset = runOffset + *tag;
    // The previous-tag size and the tag header. bytes may contain only a part of them.
    std::array<std::uint8_t, kSizeFieldSize + kTagHeaderSize> patched;
    const auto header = std::span(patched).subspan(kSizeFieldSize);
    if (offset >= begin && offset + kTagHeaderSize <= end) {
      std::memcpy(header.data(), &bytes[static_cast<std::size_t>(offset - begin)], kTagHeaderSize);
    } else if (m_source->ReadAt(offset, header) != static_cast<std::int64_t>(kTagHeaderSize)) {
      return false;
    }
    WriteTagTime(header.data(), m_layout->TimeIn(piece, ReadTagHeader(header.data()).time));
    const bool isFirst = tag == tagOffsets.begin();
    if (!isFirst) WriteNumber<4>(patched.data(), *tag - *(tag - 1) - kSizeFieldSize);
    const std::uint64_t from = std::max(begin, isFirst ? offset : offset - kSizeFieldSize);
    const std::uint64_t to = std::min(end, offset + kTagHeaderSize);
    if (from >= to) continue;
    std::memcpy(&bytes[static_cast<std::size_t>(from - begin)], &patched[from + kSizeFieldSize - offset],
                static_cast<std::size_t>(to - from));
  }
  return true;
}

}  // namespace qbflv::flv
