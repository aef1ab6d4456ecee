#include "tests/reliability/exercise.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/library_heap.h"

namespace qbflv::test {

namespace {

using Lines = CallLog::Lines;

/// Operations for each byte of a file, and of the least file.
constexpr std::size_t kMostOperations = 64;
constexpr std::size_t kLeastFile = 64;
constexpr std::int64_t kMostMemory = 64 << 20;

/// The status in a line such as "InitDone 0x80004005".
std::string StatusIn(const std::string& line) { return line.substr(line.find("0x"), 10); }

void CheckBounds(const ScriptedHost& host, std::size_t fileSize) {
  const std::size_t operations = host.log.Count("Read(") + host.log.Count("Seek(");
  EXPECT_LE(operations, kMostOperations * (fileSize + kLeastFile)) << "operations on the file";
  EXPECT_LE(ReadLibraryHeap().peakBytes, kMostMemory);
}

/// Asks every stream to its end.
void PlayToTheEnd(ScriptedHost& host) {
  const std::size_t before = host.log.Size();
  host.AskForAll();
  for (std::uint32_t stream = 0; stream < host.StreamCount(); ++stream) {
    const std::string end = fmt::format("StreamDone s={}", stream);
    const Lines after = host.log.From(before);
    EXPECT_EQ(1, std::count(after.begin(), after.end(), end)) << end;
  }
}

/// "3: 0-46" for the packets of that stream.
std::string Packets(const Lines& delivered, std::uint32_t stream) {
  const std::string beginning = fmt::format("s{} t", stream);
  Lines times;
  for (const std::string& line : delivered) {
    if (line.starts_with(beginning)) times.push_back(line.substr(beginning.size()));
  }
  return times.empty() ? "-" : fmt::format("{}: {}-{}", times.size(), times.front(), times.back());
}

std::string PlayOnce(ScriptedHost& host) {
  if (!host.Open()) return "open " + StatusIn(host.log.Last("InitDone"));
  host.GetFileHeader();
  const std::string header = StatusIn(host.log.Last("FileHeaderReady"));
  if (header != Hex(kOk)) return "header " + header;

  Lines statuses;
  for (std::uint16_t stream = 0; stream < host.StreamCount(); ++stream) {
    host.GetStreamHeader(stream);
    statuses.push_back(StatusIn(host.log.Last("StreamHeaderReady")));
  }
  if (std::ranges::all_of(statuses, [](const std::string& status) { return status == Hex(kOk); })) PlayToTheEnd(host);
  std::string summary;
  const Lines delivered = host.log.Delivered();
  for (std::uint32_t stream = 0; stream < host.StreamCount(); ++stream) {
    const bool isAudio = host.StreamProperty(stream, "PayloadType") == "8" || (stream == 0 && host.StreamCount() == 2);
    summary += fmt::format("{}{} {}", stream > 0 ? ", " : "", isAudio ? "a" : "v",
                           statuses[stream] == Hex(kOk) ? Packets(delivered, stream) : statuses[stream]);
  }
  return summary;
}

void SeekAndPlayOn(ScriptedHost& host) {
  if (host.StreamCount() == 0) return;
  for (const std::uint32_t time : {20U, 0U, 0xFFFFFFF0U, 1U}) {
    const std::size_t before = host.log.Count("SeekDone");
    EXPECT_EQ(kOk, host.Seek(time));
    EXPECT_EQ(before + 1, host.log.Count("SeekDone")) << "after a seek to " << time;
    PlayToTheEnd(host);
  }
}

std::string ExerciseOnce(const FileScript& file) {
  std::string summary;
  {
    ForgetPeak();
    ScriptedHost host({.file = file});
    summary = PlayOnce(host);
    SeekAndPlayOn(host);
    CheckBounds(host, file.bytes.size());
    host.Close();
  }
  EXPECT_EQ(0, ReadLibraryHeap().live);
  EXPECT_EQ(kOk, Exports().canUnload());
  return summary;
}

}  // namespace

std::string Exercise(const Bytes& file) {
  std::string reference;
  for (const Stat stat : {Stat::kPresent, Stat::kAbsent}) {
    for (const Status hint : {kOk, kPrefersLinearAccess}) {
      for (const bool failsAtEnd : {false, true}) {
        SCOPED_TRACE(fmt::format("{} size, {}, {} at the end", stat == Stat::kPresent ? "known" : "unknown",
                                 hint == kOk ? "jumping" : "front to back", failsAtEnd ? "failing" : "short"));
        FileScript script{.bytes = file, .stat = stat, .failsAtEnd = failsAtEnd, .accessHint = hint};
        const std::string inlineSummary = ExerciseOnce(script);
        script.completes = Completes::kLater;
        EXPECT_EQ(inlineSummary, ExerciseOnce(script)) << "completed later";
        if (reference.empty()) reference = inlineSummary;
      }
    }
  }
  return reference;
}

}  // namespace qbflv::test
