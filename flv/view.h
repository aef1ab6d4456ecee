// A repaired file as a byte source: what a layout says, from the bytes of the real file.
#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "flv/byte_source.h"
#include "flv/view_layout.h"

namespace qbflv::flv {

/// Finding an offset takes logarithmic time. Bodies are read where they are wanted; only tag headers and size fields
/// that differ are then written over.
class View final : public ByteSource {
 public:
  /// source: the file that the layout was made from. If it has changed since, the view has its bytes, in the old
  /// places.
  View(std::shared_ptr<const ByteSource> source, std::shared_ptr<const ViewLayout> layout);

  std::int64_t ReadAt(std::uint64_t offset, std::span<std::uint8_t> bytes) const override;
  std::uint64_t Size() const override { return m_layout->Size(); }
  SharedBytes Share(std::uint64_t offset) const override;

  const ViewLayout& Layout() const { return *m_layout; }
  const std::shared_ptr<const ViewLayout>& SharedLayout() const { return m_layout; }

 private:
  using Piece = ViewLayout::Piece;

  const Piece& FindPiece(std::uint64_t offset) const;
  std::int64_t ReadPiece(const Piece& piece, std::uint64_t offset, std::span<std::uint8_t> bytes) const;
  bool Patch(const Piece& piece, std::uint64_t begin, std::span<std::uint8_t> bytes) const;

  const std::shared_ptr<const ByteSource> m_source;
  const std::shared_ptr<const ViewLayout> m_layout;
};

}  // namespace qbflv::flv
