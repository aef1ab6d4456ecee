#include "tests/support/seek_script.h"

#include <fmt/format.h>

#include <algorithm>
#include <sstream>

namespace qbflv::test {

namespace {

std::string Joined(const CallLog::Lines& lines) { return fmt::format("{}", fmt::join(lines, " ")); }

/// The tag that the offset leads to; one past the last tag at the end of the file. Other offsets stay as they are.
std::string PlaceOf(const FlvBuilder& flv, std::uint32_t offset) {
  for (std::size_t tag = 0; tag <= flv.Tags(); ++tag) {
    if (flv.Field(tag) == offset) return fmt::format("@{}", tag);
  }
  return fmt::format("offset {}", offset);
}

}  // namespace

FlvBuilder TagsOf(std::string_view tags, const amf::Entries& metadata) {
  FlvBuilder flv = FlvBuilder(kBoth).Metadata(QuickMetadata(metadata));
  std::istringstream words{std::string(tags)};
  char kind = 0;
  std::uint32_t time = 0;
  while (words >> kind >> time) {
    const std::size_t size = 20 + flv.Tags();  // tells the tags apart
    if (kind == 'a') {
      flv.Audio(time, size);
    } else if (kind == 's') {
      flv.Tag(kScriptTag, time, Bytes(size, 5));
    } else {
      flv.Video(time, size, kind == 'k');
    }
  }
  return flv;
}

FlvBuilder SeekFile() { return TagsOf("a0 k0 a100 p100 k200 a200 a300 p300 a400 k400 a500 p500"); }

std::string Walk(const FlvBuilder& flv, const CallLog::Lines& lines) {
  CallLog::Lines words;
  for (const std::string& line : lines) {
    if (line.starts_with("Seek(")) {
      words.push_back(PlaceOf(flv, static_cast<std::uint32_t>(std::stoul(line.substr(5)))));
    } else if (line == "Read(16)") {
      words.emplace_back("r");
    } else if (line.starts_with("SeekDone ")) {
      words.push_back(line == "SeekDone 0x00000000" ? "ok" : line.substr(9));
    } else {
      words.push_back(line);
    }
  }
  return Joined(words);
}

SeekOutcome FinishSeek(ScriptedHost& host, const FlvBuilder& flv) {
  host.Pump();
  host.AskForAll();
  host.Pump();
  const CallLog::Lines& all = host.log.All();
  auto done =
      std::find_if(all.begin(), all.end(), [](const std::string& line) { return line.starts_with("SeekDone"); });
  if (done != all.end()) ++done;
  std::string walk = Walk(flv, {all.begin(), done});
  if (host.log.Count("SeekDone") > 1) walk += ", and again SeekDone";
  return {walk, Joined(host.log.Delivered())};
}

}  // namespace qbflv::test
