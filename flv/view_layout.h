// How a repaired file is put together from the bytes of the real one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "flv/file_facts.h"

namespace qbflv::flv {

struct ViewOptions {
  /// Continues timestamps where they jump.
  bool retime = false;
  /// Lets the earliest frame have the time 0.
  bool rebase = false;
  /// The list of key frames is thinned out evenly to this many. Readers decode all of it for each session, and the
  /// plug-in keeps at most 2048.
  std::uint32_t mostKeyFrames = 4096;
  /// In bytes: tags that would lie beyond are left out. The plug-in has 32-bit offsets.
  std::uint64_t largestSize = 0xFFFFFFFF;
  /// Leaves out the tags before this one. The codec configurations that hold there come first, with the time firstTime
  /// of the view.
  std::uint32_t firstTag = 0;
  std::uint32_t firstTime = 0;

  bool operator==(const ViewOptions&) const = default;
};

/// Immutable; shared by the sessions that read the file with the same options. The view is: a file header that
/// announces what there is; the metadata; all playable tags with right size fields; and one closing tag for each
/// stream, 20 s after the latest tag. A reader that merges the streams by time holds the last packets of a stream back
/// until it knows that the other stream has none before them: the closing tags let them go. Whoever reads the view
/// drops them, see IsClosing.
class ViewLayout {
 public:
  /// Tags of the file that follow each other in the view as they do in the file, behind the size field of the tag
  /// before them.
  struct Piece {
    /// In the view, of that size field.
    std::uint64_t begin;
    /// In the file, of the first tag's header.
    std::uint64_t source;
    /// To the end of the last body.
    std::uint64_t size;
    std::uint32_t firstTag;
    std::uint32_t endTag;
    /// Of the tag before.
    std::uint32_t previousSize;
    /// Added to the timestamps, modulo 2^32.
    std::uint32_t shift;
    /// Whether tag headers and size fields differ from those in the file.
    bool isPatched;
  };

  /// facts: of an FLV file.
  ViewLayout(std::shared_ptr<const FileFacts> facts, const ViewOptions& options);

  const FileFacts& Facts() const { return *m_facts; }
  const std::shared_ptr<const FileFacts>& SharedFacts() const { return m_facts; }
  const ViewOptions& Options() const { return m_options; }

  /// In bytes.
  std::uint64_t Size() const { return m_tailBegin + m_tail.size(); }
  /// What stands before the first piece, and behind the last one at TailBegin.
  std::span<const std::uint8_t> Head() const { return m_head; }
  std::span<const std::uint8_t> Tail() const { return m_tail; }
  std::uint64_t TailBegin() const { return m_tailBegin; }
  const std::vector<Piece>& Pieces() const { return m_pieces; }

  /// One past the view's last playable tag; the file's last ones are missing where it would get too large.
  std::uint32_t TagCount() const { return m_pieces.empty() ? 0 : m_pieces.back().endTag; }

  /// The piece of a tag that is in the view.
  const Piece& PieceOf(std::uint32_t tag) const;

  /// The first tag whose header stands at this offset of the view or behind it; TagCount() if there is none.
  std::uint32_t TagAt(std::uint64_t offset) const;

  /// A tag's timestamp in a piece. time: as the file has it.
  std::uint32_t TimeIn(const Piece& piece, std::uint32_t time) const;
  /// The timestamp in the view that the plug-in's times of seeks count from.
  std::uint32_t TimeBase() const { return m_timeBase; }
  std::uint32_t LatestTime() const { return m_latestTime; }

  /// The timestamp of the closing tags.
  std::uint32_t ClosingTime() const;
  /// Whether a tag of the view is one of its closing tags.
  bool IsClosing(std::uint32_t time, std::span<const std::uint8_t> body) const;

  /// Bytes that this object takes with its facts, roughly.
  std::size_t MemoryUse() const;

 private:
  void PlacePieces(std::uint64_t begin);
  bool AddPiece(std::size_t run, std::uint32_t firstTag, std::uint32_t endTag, std::uint32_t shift);
  /// withPlaces: false before the tags have their places; only the size of what is made then counts.
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
  std::uint32_t m_lastTagSize = 0;
  std::uint32_t m_rebase = 0;
  std::uint32_t m_timeBase = 0;
  std::uint32_t m_latestTime = 0;
};

}  // namespace qbflv::flv
