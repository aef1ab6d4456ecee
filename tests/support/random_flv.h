// Random but well-formed files, and random requests to play and seek them.
#pragma once

#include <cstdint>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/scripted_host.h"

namespace qbflv::test {

struct RandomTag {
  std::uint8_t type = kAudioTag;
  std::uint32_t time = 0;
  std::uint32_t size = 0;
  /// Of video.
  bool key = false;
};

/// An entry of the metadata's list of key frames: a time in ms, and the number of the tag that it claims to be there,
/// which is past the end of the file if there is no such tag.
struct ListedKeyFrame {
  std::uint32_t time = 0;
  std::size_t tag = 0;
};

/// A request, and a seek that overtakes it or follows.
struct RandomRequest {
  enum class Kind { kPlay, kSeek };
  enum class Then { kNothing, kSeekInsidePacket, kSeekAfterAnswers };

  Kind kind = Kind::kPlay;
  /// Play: the requests are renewed until this many packets came.
  std::uint32_t packets = 0;
  /// Seek: to this time.
  std::uint32_t time = 0;
  Then then = Then::kNothing;
  /// The packet, counted from 1, inside which the second seek is made; or the answers that the file gives before it,
  /// where it answers later.
  std::uint32_t after = 0;
  std::uint32_t thenTime = 0;
};

struct RandomCase {
  std::uint8_t flags = kBoth;
  /// Behind the metadata, which is the file's first tag.
  std::vector<RandomTag> tags;
  std::optional<std::vector<ListedKeyFrame>> keyFrames;
  std::optional<std::uint32_t> durationInSeconds;
  /// Whether the last tag's size stands behind it.
  bool closed = true;

  Answers answers = Answers::kInline;
  Stat stat = Stat::kPresent;
  bool failsAtEnd = false;
  bool frontToBack = false;
  std::uint32_t processTimeUnits = 0;
  /// Preferences as text; empty for none.
  std::string disableThumbnails;
  std::string maxTimespan;

  std::vector<RandomRequest> requests;

  bool HasTailScan() const { return stat == Stat::kPresent && !frontToBack; }
};

RandomCase MakeRandomCase(std::uint64_t seed);

/// Whether the header scan gets what it needs of the first tags, and the tail scan finds what it looks for.
bool IsWellFormed(const RandomCase& c);

/// The case as a file, and as what its host is to do.
FlvBuilder Build(const RandomCase& c);
HostScript Script(const RandomCase& c, const FlvBuilder& flv);

/// All of it, for people to read.
std::string Describe(const RandomCase& c);

/// The cases that are a little simpler, the greatest simplifications first.
std::vector<RandomCase> Simpler(const RandomCase& c);

}  // namespace qbflv::test
