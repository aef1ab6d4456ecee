// Bit rates, key-frame intervals, interleaving and seek costs of an FLV file over time, for `qbflv check --html`.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string_view>
#include <vector>

#include "cli/bare_play.h"
#include "flv/file_facts.h"
#include "host/session.h"

namespace qbflv::cli {

/// Divides a file into parts of equal length. Times are in ms from the file's first tag; jumps are removed.
struct TimeLine {
  struct Part {
    std::uint64_t audioBytes = 0;
    std::uint64_t videoBytes = 0;
    /// The longest interval between key frames that overlaps this part.
    std::uint32_t keyInterval = 0;
    /// Time by which audio is ahead of video in file order; negative if it is behind. The extreme value of the part.
    std::int32_t audioAhead = 0;
  };
  /// A place with damage.
  struct Mark {
    std::uint32_t time = 0;
    /// Name of the finding.
    std::string_view name;
  };

  std::uint32_t length = 0;
  /// Length of each part except the last, which ends at length.
  std::uint32_t partLength = 1;
  std::vector<Part> parts;
  std::vector<Mark> marks;

  std::uint32_t Begin(std::size_t part) const { return static_cast<std::uint32_t>(part) * partLength; }
  std::uint32_t End(std::size_t part) const { return part + 1 == parts.size() ? length : Begin(part + 1); }
};

/// Reads all tag headers of the file. facts: the facts of the same file, which must have tags. Throws HostError.
TimeLine ReadTimeLine(const std::filesystem::path& path, const flv::FileFacts& facts);

/// Number of reads of a first seek to a time, in the bare file and in the repaired view.
struct SeekCost {
  std::uint32_t time = 0;
  std::uint64_t bare = 0;
  std::uint64_t repaired = 0;
};

/// Measures seeks to equally spaced times from the start to the end. options: as for PlayBare. bare is 0 if a plain
/// host cannot open the file. Throws HostError and Interrupted.
std::vector<SeekCost> MeasureSeeks(const host::SessionOptions& options, std::uint32_t length);

}  // namespace qbflv::cli
