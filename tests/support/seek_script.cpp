#include "tests/support/seek_script.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <sstream>

namespace qbflv::test {

namespace {

constexpr std::uint8_t kUnknownTag = 0x29;

std::uint32_t NumberIn(std::string_view text) {
  std::uint32_t number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

/// The tag that the offset leads to; one past the last tag at the end of the file. Other offsets stay as they are.
std::string PlaceOf(const FlvBuilder& flv, std::uint32_t offset) {
  for (std::size_t tag = 0; tag <= flv.Tags(); ++tag) {
    if (flv.Field(tag) == offset) return fmt::format("@{}", tag);
  }
  return fmt::format("offset {}", offset);
}

std::string FirstOfEach(std::uint32_t streams, const CallLog::Lines& delivered) {
  CallLog::Lines first;
  for (std::uint32_t stream = 0; stream < streams; ++stream) {
    const std::string prefix = fmt::format("s{} ", stream);
    const auto found = std::find_if(delivered.begin(), delivered.end(),
                                    [&](const std::string& line) { return line.starts_with(prefix); });
    first.push_back(found == delivered.end() ? "nothing" : found->substr(prefix.size()));
  }
  return Joined(first);
}

}  // namespace

FlvBuilder TagsOf(std::uint8_t flags, std::string_view tags, const amf::Entries& metadata) {
  FlvBuilder flv(flags);
  amf::Entries audio{{"audiodatarate", amf::Number(64)}};
  audio.insert(audio.end(), metadata.begin(), metadata.end());
  // A picture size would make the reader expect video.
  flv.Metadata((flags & kVideo) != 0 ? QuickMetadata(metadata) : amf::MixedArray(audio));
  std::istringstream words{std::string(tags)};
  for (std::string word; words >> word;) {
    const std::uint32_t time = NumberIn(std::string_view(word).substr(1));
    const std::size_t size = 20 + flv.Tags();  // tells the tags apart
    switch (word[0]) {
      case 'a':
        flv.Audio(time, size);
        break;
      case 'k':
      case 'p':
        flv.Video(time, size, word[0] == 'k');
        break;
      case 's':
        flv.Tag(kScriptTag, time, Bytes(size, 5));
        break;
      case 'b':
      case 'q':
        flv.Tag(word[0] == 'b' ? kAudioTag : kVideoTag, time, {});
        break;
      default:
        flv.Tag(kUnknownTag, time, SorensenBody(3, 0, 0, size));
    }
  }
  return flv;
}

FlvBuilder SeekFile() { return TagsOf(kBoth, "a0 k0 a100 p100 k200 a200 a300 p300 a400 k400 a500 p500"); }

std::string Walk(const FlvBuilder& flv, const CallLog::Lines& lines) {
  CallLog::Lines words;
  for (const std::string& line : lines) {
    if (line.starts_with("Seek(")) {
      words.push_back(PlaceOf(flv, NumberIn(std::string_view(line).substr(5))));
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
  const CallLog::Lines delivered = host.log.Delivered();
  return {walk, FirstOfEach(host.StreamCount(), delivered), Joined(delivered)};
}

std::string Joined(const CallLog::Lines& lines) { return fmt::format("{}", fmt::join(lines, " ")); }

}  // namespace qbflv::test
