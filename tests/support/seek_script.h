// Files and sessions for tests of seeking, told in short.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "tests/support/scripted_host.h"

namespace qbflv::test {

/// Tags told by a letter and a time in ms, as in "a0 k0 p40": a for audio, k for a key frame, p for another frame, s
/// for script data. Before them stands the metadata, which ends the header scan at one tag of each stream, as tag 0.
FlvBuilder TagsOf(std::string_view tags, const amf::Entries& metadata = {});

/// Audio every 100 ms and video every 100 ms, the key frames at 0, 200 and 400 ms: tags 1 to 12.
FlvBuilder SeekFile();

/// What a seek did. Each seek of the file is told by the number of the tag that it leads to, a read of 16 bytes by r,
/// SeekDone by its status, any other call as it is: "@0 r @1 r @1 ok".
std::string Walk(const FlvBuilder& flv, const CallLog::Lines& lines);

struct SeekOutcome {
  /// From the seek to its SeekDone.
  std::string walk;
  /// All packets and ends that follow, as CallLog::Delivered has them, in one line.
  std::string delivered;
};

/// Lets a seek come to its end and asks every stream for all its packets. The log begins at the seek.
SeekOutcome FinishSeek(ScriptedHost& host, const FlvBuilder& flv);

}  // namespace qbflv::test
