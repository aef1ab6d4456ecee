// What the file's metadata tells, as it shows in the headers and in how far one stream is read ahead of another.
#include <gtest/gtest.h>

#include "tests/support/scripted_host.h"

namespace qbflv::test {
namespace {

using amf::Number;

/// Metadata before a tag of each announced stream, on a host that tells no size: what is not in the metadata stays
/// unknown.
FileScript Described(std::uint8_t flags, const std::vector<Bytes>& metadata) {
  FlvBuilder flv(flags);
  for (const Bytes& value : metadata) flv.Metadata(value);
  return {.bytes = flv.Audio(0, 20).Video(0, 20).File(), .stat = Stat::kAbsent};
}

TEST(Metadata, GivesTheFileHeaderItsTexts) {
  const Bytes title = amf::String("T");
  const amf::Entries all{{"title", title},
                         {"author", amf::String("A")},
                         {"copyright", amf::String("")},
                         {"creator", amf::String("C")},
                         {"metadatacreator", amf::String("M")}};
  const struct {
    const char* name;
    std::vector<Bytes> metadata;
    const char* expected;
    const char* accepts = "";
  } cases[] = {
      {"none", {}, "{StreamCount=2}"},
      {"all", {amf::MixedArray(all)}, "{Author='A'/2 Copyright=''/1 StreamCount=2 Title='T'/2}"},
      {"all, everything accepted",
       {amf::MixedArray(all)},
       "{Author='A'/2 Copyright=''/1 Creator='C'/2 MetaDataCreator='M'/2 StreamCount=2 Title='T'/2}",
       "*"},
      {"an object gives none", {amf::Object(all)}, "{StreamCount=2}"},
      {"numbers and truth values",
       {amf::MixedArray({{"title", Number(7.9)}, {"author", amf::Boolean(true)}, {"copyright", amf::Boolean(false)}})},
       "{Author=1 Copyright=0 StreamCount=2 Title=7}"},
      {"other types give none",
       {amf::MixedArray({{"title", amf::Null()}, {"author", amf::Object({})}, {"copyright", amf::Array({})}})},
       "{StreamCount=2}"},
      {"names are case-sensitive", {amf::MixedArray({{"Title", title}})}, "{StreamCount=2}"},
      {"the later of two wins over another type",
       {amf::MixedArray({{"title", title}, {"title", Number(2)}})},
       "{StreamCount=2 Title=2}"},
      {"the later tag replaces the tree",
       {amf::MixedArray({{"title", title}}), amf::MixedArray({{"author", amf::String("A")}})},
       "{Author='A'/2 StreamCount=2}"},
      {"nothing declared, nothing taken", {amf::MixedArray({{"title", title}}, 0)}, "{StreamCount=2}"},
      {"4 billion declared", {amf::MixedArray({{"title", title}}, 0xFFFFFFFF)}, "{StreamCount=2 Title='T'/2}"}};
  for (const auto& row : cases) {
    ScriptedHost host({.file = Described(kBoth, row.metadata), .headers = {{"AcceptMetaInfo", row.accepts}}});
    EXPECT_TRUE(host.OpenAndReadFileHeader()) << row.name;
    EXPECT_EQ(std::string("FileHeaderReady 0x00000000 ") + row.expected, host.log.All().back()) << row.name;
  }
}

/// The second scan ends at its first tag, before the metadata: all else is known by then.
TEST(Metadata, OfAHeaderThatCouldNotBeMade_IsThereWhenItIsRequestedAgain) {
  FlvBuilder flv = FlvBuilder(kBoth).Video(0, 20);
  flv.Metadata(QuickMetadata({{"title", amf::String("T")}})).Audio(0, 20).Video(0, 20);
  ScriptedHost host({.file = {.bytes = flv.File(), .stat = Stat::kAbsent}});
  ASSERT_TRUE(host.Open());
  host.faults.Arm({{Asked::kObject}, Failing::kRefuses, 1});
  host.GetFileHeader();
  EXPECT_EQ("FileHeaderReady 0x8007000E null", host.log.All().back());
  host.log.Clear();
  host.GetFileHeader();
  EXPECT_EQ("FileHeaderReady 0x00000000 {StreamCount=2 Title='T'/2}", host.log.All().back());
}

TEST(Metadata, GivesTheStreamHeadersTheirNumbers) {
  const struct {
    const char* name;
    const char* key;
    Bytes value;
    std::size_t stream;
    const char* property;
    const char* expected;
  } cases[] = {{"seconds become ms", "duration", Number(12.3456), 1, "Duration", "12345"},
               {"of audio too", "duration", Number(12.3456), 0, "Duration", "12345"},
               {"absent", "Duration", Number(12), 1, "Duration", "10000"},
               {"no number", "duration", amf::String("12"), 1, "Duration", "10000"},
               {"zero is known", "duration", Number(0), 1, "Duration", "0"},
               {"negative", "duration", Number(-1), 1, "Duration", "4294966296"},
               {"kilobits become bits", "audiodatarate", Number(95.9996), 0, "AvgBitRate", "95999"},
               {"video's kilobits", "videodatarate", Number(500.5), 1, "AvgBitRate", "500500"},
               {"video's absent kilobits", "videodatarate", amf::Null(), 1, "AvgBitRate", "absent"}};
  for (const auto& row : cases) {
    for (const bool mixed : {true, false}) {
      amf::Entries entries{{row.key, row.value}, {"framerate", Number(25)}};
      if (std::string(row.key) != "audiodatarate") entries.emplace_back("audiodatarate", Number(64));
      ScriptedHost host({.file = Described(kBoth, {mixed ? amf::MixedArray(entries) : amf::Object(entries)})});
      EXPECT_TRUE(host.ReadHeaders()) << row.name;
      EXPECT_EQ(row.expected, host.StreamProperty(row.stream, row.property))
          << row.name << (mixed ? ", mixed array" : ", object");
    }
  }
}

/// The frames tell 176 x 144.
TEST(Metadata, OfAPictureSize_CountsOnlyAsAPair) {
  const std::pair<const char*, Bytes> width{"width", Number(640.99)};
  const std::pair<const char*, Bytes> height{"height", Number(360)};
  const struct {
    const char* name;
    amf::Entries entries;
    const char* expected;
  } cases[] = {{"both", {width, height}, "640x360"},
               {"no height", {width}, "176x144"},
               {"no width", {height}, "176x144"},
               {"less than one is known, too", {{"width", Number(0.5)}, {"height", Number(0)}}, "0x0"}};
  for (const auto& row : cases) {
    amf::Entries entries{{"framerate", Number(25)}, {"audiodatarate", Number(64)}};
    entries.insert(entries.end(), row.entries.begin(), row.entries.end());
    ScriptedHost host({.file = Described(kBoth, {amf::MixedArray(entries)})});
    ASSERT_TRUE(host.ReadHeaders()) << row.name;
    EXPECT_EQ(row.expected, host.StreamProperty(1, "Width") + "x" + host.StreamProperty(1, "Height")) << row.name;
    EXPECT_EQ(row.expected, host.StreamProperty(1, "FrameWidth") + "x" + host.StreamProperty(1, "FrameHeight"))
        << row.name;
  }
}

TEST(Metadata, ThatTellsAPicture_AnnouncesTheVideoThatTheHeaderLeftOut) {
  const std::pair<const char*, Bytes> width{"width", Number(320)};
  const std::pair<const char*, Bytes> height{"height", Number(240)};
  const std::pair<const char*, Bytes> rate{"framerate", Number(25)};
  const std::pair<const char*, Bytes> audio{"audiodatarate", Number(64)};
  const struct {
    const char* name;
    std::uint8_t flags;
    amf::Entries entries;
    const char* streams;
  } cases[] = {{"all three", kAudio, {width, height, rate, audio}, "2"},
               {"no frame rate", kAudio, {width, height, audio}, "1"},
               {"no height", kAudio, {width, rate, audio}, "1"},
               {"nothing is added to a header with neither", 0, {width, height, rate, audio}, "no list"},
               {"nothing to add to video", kVideo, {width, height, rate, audio}, "1"}};
  for (const auto& row : cases) {
    ScriptedHost host({.file = Described(row.flags, {amf::MixedArray(row.entries)})});
    const bool isWhole = host.ReadHeaders();
    EXPECT_EQ(row.flags != 0, isWhole) << row.name;
    EXPECT_EQ(row.streams, host.FileProperty("StreamCount")) << row.name;
    if (row.streams == std::string("2")) {
      EXPECT_EQ("320", host.StreamProperty(1, "Width")) << row.name;
    }
  }
}

/// One video tag at 0, then audio every second, 11 bytes long at 1 s, 12 at 2 s and so on. While video has nothing
/// queued, an audio packet waits until the queue spans more than the limit.
FlvBuilder LongWait(const Bytes& keyFrames) {
  FlvBuilder flv(kBoth);
  flv.Metadata(QuickMetadata({{"keyframes", keyFrames}})).Video(0, 200);
  for (std::uint32_t i = 0; i < 40; ++i) flv.Audio(i * 1000, 10 + i);
  return flv;
}

/// The seconds that audio was read to when the packet of 1 s came out. It waits for one that is more than the span
/// later.
std::size_t SpanInSeconds(const CallLog& log) {
  std::size_t seconds = 0;
  for (const std::string& line : log.All()) {
    if (line.starts_with("PacketReady s=0 t=1000 ")) return seconds - 2;
    if (line.starts_with("Read(") && line != "Read(15)") seconds = std::stoul(line.substr(5)) - 10;
  }
  return 0;
}

/// The model of the random sessions has lists of numbers.
TEST(KeyFrames, OfOddLists_CountAsFarAsTheyAreOne) {
  const Bytes text = amf::String("x");
  const struct {
    const char* name;
    Bytes keyFrames;
    std::size_t span;
  } cases[] = {{"of entries that are all numbers", amf::KeyFrames({0, 15}, {13, 13}), 16},
               {"as a mixed array",
                amf::MixedArray({{"times", amf::Numbers({0, 15})}, {"filepositions", amf::Numbers({13, 13})}}), 10},
               {"of different lengths", amf::KeyFrames({0, 15}, {13}), 10},
               {"without positions", amf::Object({{"times", amf::Numbers({0, 15})}}), 10},
               {"an entry that is no number is passed over",
                amf::Object({{"times", amf::Array({Number(0), text, Number(15)})},
                             {"filepositions", amf::Numbers({13, 13, 13})}}),
                16},
               {"nor does a position that is none count",
                amf::Object({{"times", amf::Numbers({0, 15, 16})},
                             {"filepositions", amf::Array({Number(13), text, Number(13)})}}),
                17}};
  for (const auto& row : cases) {
    ScriptedHost host({.file = {.bytes = LongWait(row.keyFrames).File(), .stat = Stat::kAbsent}});
    host.Play();
    EXPECT_EQ(row.span, SpanInSeconds(host.log)) << row.name;
  }
}

}  // namespace
}  // namespace qbflv::test
