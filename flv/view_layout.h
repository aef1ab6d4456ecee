// The layout of a repaired file: how it is composed of new bytes and bytes of the original file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "flv/file_facts.h"

namespace qbflv::flv {

struct ViewOptions {
  /// Replaces timestamps by continued times, which removes jumps.
  bool retime = false;
  /// Subtracts the timestamp of the first frame from all timestamps.
  bool rebase = false;
  /// Maximum length of the key-frame list; a longer list is thinned out evenly. 0 omits the list. Readers decode the
  /// whole list for each session, and the plug-in keeps at most 2048 entries.
  std::uint32_t mostKeyFrames = 4096;
  /// Maximum size of the view in bytes, because the plug-in has 32-bit offsets. Tags that do not fit are omitted.
  std::uint64_t largestSize = 0xFFFFFFFF;
  /// Omits the tags before firstTag. The view then begins with the codec configurations that apply to firstTag, with
  /// the timestamp firstTime.
  std::uint32_t firstTag = 0;
  std::uint32_t firstTime = 0;

  bool operator==(const ViewOptions&) const = default;
};

/// Immutable. Sessions that read the same file with the same options share it.
///
/// The view consists of a file header that announces the present streams, the metadata, all playable tags with correct
/// previous-tag sizes, and one closing tag for each stream, 20 s after the latest tag. A reader that interleaves the
/// streams by time delivers the last packets of a stream only when it knows that the other stream has no earlier ones.
/// The closing tags make it deliver them. The host drops the closing tags, see IsClosing.
class ViewLayout {
 public:
  /// A previous-tag size, followed by tags that are consecutive in the view and in the file.
  struct Piece {
    /// Offset of that previous-tag size in the view.
    std::uint64_t begin;
    /// Offset of the first tag header in the file.
    std::uint64_t source;
    /// Size from the first tag header to the end of the last body.
    std::uint64_t size;
    /// Number of the first tag, and of the last tag plus 1.
    std::uint32_t firstTag;
    std::uint32_t endTag;
    /// Value of the previous-tag size.
    std::uint32_t previousSize;
    /// Added to the timestamps, modulo 2^32.
    std::uint32_t shift;
    /// Whether timestamps or previous-tag sizes differ from those in the file.
    bool isPatched;
  };

  /// REQUIRES: facts->isFlv.
  ViewLayout(std::shared_ptr<const FileFacts> facts, const ViewOptions& options);

  const FileFacts& Facts() const { return *m_facts; }
  const std::shared_ptr<const FileFacts>& SharedFacts() const { return m_facts; }
  const ViewOptions& Options() const { return m_options; }

  /// Returns the size of the view in bytes.
  std::uint64_t Size() const { return m_tailBegin + m_tail.size(); }
  /// Returns the number of codec configurations in the head, after the metadata.
  std::uint32_t HeadConfigurations() const { return m_headConfigurations; }
  /// Bytes before the first piece, and bytes after the last one, which begin at offset TailBegin.
  std::span<const std::uint8_t> Head() const { return m_head; }
  std::span<const std::uint8_t> Tail() const { return m_tail; }
  std::uint64_t TailBegin() const { return m_tailBegin; }
  const std::vector<Piece>& Pieces() const { return m_pieces; }

  /// Returns the number of the last playable tag in the view, plus 1.
  std::uint32_t TagCount() const { return m_pieces.empty() ? 0 : m_pieces.back().endTag; }

  /// Returns the piece that contains a tag. REQUIRES: the tag is in the view.
  const Piece& PieceOf(std::uint32_t tag) const;

  /// Returns the first tag whose header is at or after an offset in the view; TagCount() if there is none.
  std::uint32_t TagAt(std::uint64_t offset) const;

  /// Returns the timestamp in the view for a timestamp of the file. piece: the piece that contains the tag.
  std::uint32_t TimeIn(const Piece& piece, std::uint32_t time) const;
  /// Returns the plug-in's time base, to which seek times are relative, as a timestamp of the view.
  std::uint32_t TimeBase() const { return m_timeBase; }
  /// Returns the latest timestamp of the playable tags, as a timestamp of the view.
  std::uint32_t LatestTime() const { return m_latestTime; }

  /// Returns the timestamp of the closing tags.
  std::uint32_t ClosingTime() const;
  /// Returns true if a tag of the view is a closing tag.
  bool IsClosing(std::uint32_t time, std::span<const std::uint8_t> body) const;

  /// Returns the approximate memory use of the layout and its facts in bytes.
  std::size_t MemoryUse() const;

 private:
  void PlacePieces(std::uint64_t begin);
  bool AddPiece(std::size_t run, std::uint32_t firstTag, std::uint32_t endTag, std::uint32_t shift);
  /// withPlaces: false before the pieces are placed. The head then has its final size, but no valid positions.
  void MakeHead(bool withPlaces);
  void AddConfigurations();
  void AddTail();
  void AddClosingTag(std::uint8_t type, std::uint8_t firstByte);
  std::vector<std::uint8_t> MakeViewMetadata(bool withPlaces) const;

  const std::shared_ptr<const FileFacts> m_facts;
  const ViewOptions m_options;
  std::vector<std::uint8_t> m_head;
  std::vector<std::uint8_t> m_tail;
  std::vector<Piece> m_pieces;
  std::uint64_t m_tailBegin = 0;
  std::uint32_t m_headConfigurations = 0;
  std::uint32_t m_lastTagSize = 0;
  std::uint32_t m_rebase = 0;
  std::uint32_t m_timeBase = 0;
  std::uint32_t m_latestTime = 0;
};

}  // namespace qbflv::flv
