// What happens along an FLV file's time, in parts of equal length: the figures of `qbflv check --html`.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string_view>
#include <vector>

#include "cli/bare_play.h"
#include "flv/file_facts.h"
#include "host/session.h"

namespace qbflv::cli {

/// Times are in ms from the file's first tag, with jumps continued.
struct TimeLine {
  struct Part {
    std::uint64_t audioBytes = 0;
    std::uint64_t videoBytes = 0;
    /// Of the intervals between key frames that begin in this part or go on through it.
    std::uint32_t keyInterval = 0;
    /// How far audio is ahead of video in the order of the file, negative where it is behind; the value that is
    /// farthest from 0.
    std::int32_t audioAhead = 0;
  };
  /// A place where something is wrong.
  struct Mark {
    std::uint32_t time = 0;
    /// Of the finding.
    std::string_view name;
  };

  std::uint32_t length = 0;
  /// Of each part but the last, which ends with the line.
  std::uint32_t partLength = 1;
  std::vector<Part> parts;
  std::vector<Mark> marks;

  std::uint32_t Begin(std::size_t part) const { return static_cast<std::uint32_t>(part) * partLength; }
  std::uint32_t End(std::size_t part) const { return part + 1 == parts.size() ? length : Begin(part + 1); }
};

/// Reads through the file's tag headers. facts: of the same file, with tags. Throws HostError.
TimeLine ReadTimeLine(const std::filesystem::path& path, const flv::FileFacts& facts);

/// The reads of a first seek to this time in the bare file and in the repaired view.
struct SeekCost {
  std::uint32_t time = 0;
  std::uint64_t bare = 0;
  std::uint64_t repaired = 0;
};

/// At equal distances from the start to the end. options: as for PlayBare. The cost in the bare file is 0 if a plain
/// host cannot open it. Throws HostError and Interrupted.
std::vector<SeekCost> MeasureSeeks(const host::SessionOptions& options, std::uint32_t length);

}  // namespace qbflv::cli
