// A repaired file as a byte source, made from the bytes of the original file according to a layout.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include "flv/byte_source.h"
#include "flv/view_layout.h"

namespace qbflv::flv {

/// Finds an offset in logarithmic time. Reads tag bodies directly into the caller's buffer, and then overwrites the tag
/// headers and previous-tag sizes in it that differ from the file.
class View final : public ByteSource {
 public:
  /// source: the file that the layout was made from. If the file was modified since, the view contains its new bytes at
  /// the old offsets.
  View(std::shared_ptr<const ByteSource> source, std::shared_ptr<const ViewLayout> layout);

  std::int64_t ReadAt(std::uint64_t offset, std::span<std::uint8_t> bytes) const override;
  std::uint64_t Size() const override { return m_layout->Size(); }
  SharedBytes Share(std::uint64_t offset) const override;

  /// Returns the offset in the file; for the size field before a piece, the offset of the piece. Returns an empty value
  /// for bytes that the layout made.
  std::optional<std::uint64_t> FileOffset(std::uint64_t offset) const;

  const ViewLayout& Layout() const { return *m_layout; }
  const std::shared_ptr<const ViewLayout>& SharedLayout() const { return m_layout; }

 private:
  using Piece = ViewLayout::Piece;

  bool IsInPiece(std::uint64_t offset) const;
  std::uint64_t EndOfBody(const Piece& piece, std::uint64_t place) const;
  const Piece& FindPiece(std::uint64_t offset) const;
  std::int64_t ReadPiece(const Piece& piece, std::uint64_t offset, std::span<std::uint8_t> bytes) const;
  bool Patch(const Piece& piece, std::uint64_t begin, std::span<std::uint8_t> bytes) const;

  const std::shared_ptr<const ByteSource> m_source;
  const std::shared_ptr<const ViewLayout> m_layout;
};

}  // namespace qbflv::flv
