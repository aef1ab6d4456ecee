// Random but well-formed files, and random requests to play and seek them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/decisions.h"
#include "tests/support/scripted_host.h"

namespace qbflv::test {

struct RandomTag {
  std::uint8_t type = kAudioTag;
  std::uint32_t time = 0;
  std::uint32_t size = 0;
  /// Of video.
  bool key = false;

  bool IsMedia() const { return type == kAudioTag || type == kVideoTag; }
};

/// An entry of the metadata's key-frame list: a time in ms, and the number of the tag that it claims to be there,
/// which is past the end of the file if there is no such tag.
struct ListedKeyFrame {
  std::uint32_t time = 0;
  std::size_t tag = 0;
};

/// A request, and a seek that supersedes it or follows.
struct RandomRequest {
  enum class Kind { kPlay, kSeek };
  enum class Then { kNothing, kSeekInsidePacket, kSeekAfterCompletions };

  Kind kind = Kind::kPlay;
  /// Play: the requests are renewed until this many packets came.
  std::uint32_t packets = 0;
  /// Seek: to this time.
  std::uint32_t time = 0;
  Then then = Then::kNothing;
  /// The packet, counted from 1, inside which the second seek is made; or the completions before it, where the file
  /// completes later.
  std::uint32_t after = 0;
  std::uint32_t thenTime = 0;
};

/// One file, a host for it, and what it asks for.
struct RandomCase {
  std::uint8_t flags = kBoth;
  /// After the metadata, which is the file's first tag.
  std::vector<RandomTag> tags = {};
  std::optional<std::vector<ListedKeyFrame>> keyFrames = {};
  std::optional<std::uint32_t> durationInSeconds = {};
  /// Whether the size of the last tag follows it.
  bool closed = true;

  /// Without its bytes.
  FileScript file = {};
  /// In the URL, unless it is 0.
  std::uint32_t processTimeUnits = 0;
  /// Preferences as text; empty for none.
  std::string disableThumbnails = {};
  std::string maxTimespan = {};

  std::vector<RandomRequest> requests = {};

  bool HasTailScan() const { return file.stat == Stat::kPresent && file.accessHint == kOk; }
};

RandomCase MakeRandomCase(Decisions& dice);

/// The case as a file, and as what its host is to do.
FlvBuilder Build(const RandomCase& c);
HostScript Script(const RandomCase& c, const FlvBuilder& flv);

/// The tags and the requests, for people to read.
std::string Describe(const RandomCase& c);

}  // namespace qbflv::test
