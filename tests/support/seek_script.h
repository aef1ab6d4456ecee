// Files and sessions for tests of seeking, told in short.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "tests/support/scripted_host.h"

namespace qbflv::test {

/// Tags told by a letter and a time in ms, as in "a0 k0 p40": a for audio, k for a key frame, p for another frame, s
/// for script data, x for a type that nothing knows, b for audio and q for video without a body. Before them stands the
/// metadata, which ends the header scan at one tag of each stream, as tag 0.
FlvBuilder TagsOf(std::uint8_t flags, std::string_view tags, const amf::Entries& metadata = {});

/// Audio every 100 ms and video every 100 ms, the key frames at 0, 200 and 400 ms: tags 1 to 12.
FlvBuilder SeekFile();

/// What a seek did. Each seek of the file is told by the number of the tag that it leads to, a read of 16 bytes by r,
/// SeekDone by its status, any other call as it is: "@0 r @1 r @1 ok".
std::string Walk(const FlvBuilder& flv, const CallLog::Lines& lines);

struct SeekOutcome {
  /// From the seek to its SeekDone.
  std::string walk;
  /// What each stream gets first, in the order of the streams: "t100 done".
  std::string first;
  /// All packets and ends.
  std::string delivered;

  bool operator==(const SeekOutcome&) const = default;
};

/// Lets a seek come to its end and asks every stream for all its packets. The log begins at the seek.
SeekOutcome FinishSeek(ScriptedHost& host, const FlvBuilder& flv);

/// CallLog::Delivered in one line.
std::string Joined(const CallLog::Lines& lines);

}  // namespace qbflv::test
