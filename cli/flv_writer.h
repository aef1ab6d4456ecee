// Writes an FLV file that replaces its target only when it is complete.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <vector>

#include "cli/temporary_file.h"
#include "flv/file_facts.h"
#include "flv/metadata.h"

namespace qbflv::cli {

/// Writes the tags first and reserves space before them. Commit writes the file header and the metadata, with its list
/// of key frames, into that space. All functions throw HostError. Without Commit, the target does not change.
class FlvWriter {
 public:
  /// target: as for TemporaryFile. facts: the facts of the source file, whose metadata is copied; must outlive this.
  /// maxKeyFrames: maximum length of the list of key frames; 0 for no list.
  FlvWriter(const std::filesystem::path& target, const flv::FileFacts& facts, std::size_t maxKeyFrames);

  /// time: ms, all 32 bits. body: at most 2^24 - 1 bytes.
  void WriteTag(flv::TagType type, std::uint32_t time, std::span<const std::uint8_t> body);

  void Commit();

  /// Size of the file in bytes, after Commit.
  std::uint64_t Size() const { return m_size; }

 private:
  /// A key frame or codec configuration that was written.
  struct KeyTag {
    /// Offset of the tag, in bytes from the first tag.
    std::uint64_t offset;
    std::uint32_t time;
  };

  std::vector<std::uint8_t> MakeHead(const flv::MetadataValues& values) const;
  flv::MetadataValues MakeValues(std::size_t keyCount) const;
  void Append(std::span<const std::uint8_t> bytes);
  void AppendSizeField(std::uint32_t size);
  void Flush();

  const flv::FileFacts& m_facts;
  const std::size_t m_maxKeyFrames;
  TemporaryFile m_file;
  /// Bytes not yet written to the file.
  std::vector<std::uint8_t> m_pending;
  /// Number of bytes reserved before the tags.
  std::uint64_t m_reserved = 0;
  std::uint64_t m_size = 0;
  std::vector<KeyTag> m_keys;
  /// Total size of the tags with their headers, in bytes.
  std::uint64_t m_audioSize = 0;
  std::uint64_t m_videoSize = 0;
  std::optional<std::uint32_t> m_firstTime;
  std::uint32_t m_latestTime = 0;
};

}  // namespace qbflv::cli
