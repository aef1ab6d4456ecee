// What the file's metadata tells, as it shows in the headers and in how far one stream is read ahead of another.
#include <gtest/gtest.h>

#include <limits>

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

struct TextCase {
  const char* name;
  std::vector<Bytes> metadata;
  bool acceptsAll;
  const char* expected;
};

TEST(Metadata, GivesTheFileHeaderItsTexts) {
  const amf::Entries all{{"title", amf::String("T")},
                         {"author", amf::String("A")},
                         {"copyright", amf::String("")},
                         {"creator", amf::String("C")},
                         {"metadatacreator", amf::String("M")}};
  const TextCase cases[] = {
      {"none", {}, true, "{StreamCount=2}"},
      {"all", {amf::MixedArray(all)}, false, "{Author='A'/2 Copyright=''/1 StreamCount=2 Title='T'/2}"},
      {"all, everything accepted",
       {amf::MixedArray(all)},
       true,
       "{Author='A'/2 Copyright=''/1 Creator='C'/2 MetaDataCreator='M'/2 StreamCount=2 Title='T'/2}"},
      {"an object gives none", {amf::Object(all)}, true, "{StreamCount=2}"},
      {"numbers and truth values",
       {amf::MixedArray({{"title", Number(7.9)}, {"author", amf::Boolean(true)}, {"copyright", amf::Boolean(false)}})},
       false,
       "{Author=1 Copyright=0 StreamCount=2 Title=7}"},
      {"a negative number", {amf::MixedArray({{"title", Number(-1.5)}})}, false, "{StreamCount=2 Title=4294967295}"},
      {"other types give none",
       {amf::MixedArray({{"title", amf::Null()}, {"author", amf::Object({})}, {"copyright", amf::Array({})}})},
       false,
       "{StreamCount=2}"},
      {"names are case-sensitive", {amf::MixedArray({{"Title", amf::String("T")}})}, false, "{StreamCount=2}"},
      {"the later of two wins",
       {amf::MixedArray({{"title", amf::String("1st")}, {"title", amf::String("2nd")}})},
       false,
       "{StreamCount=2 Title='2nd'/4}"},
      {"the later of two wins over another type",
       {amf::MixedArray({{"title", amf::String("1st")}, {"title", Number(2)}})},
       false,
       "{StreamCount=2 Title=2}"},
      {"the later tag replaces the tree",
       {amf::MixedArray({{"title", amf::String("1st")}}), amf::MixedArray({{"author", amf::String("A")}})},
       false,
       "{Author='A'/2 StreamCount=2}"},
      {"nothing declared, nothing taken",
       {amf::MixedArray({{"title", amf::String("T")}}, 0)},
       false,
       "{StreamCount=2}"},
      {"fewer declared",
       {amf::MixedArray({{"title", amf::String("T")}, {"author", amf::String("A")}}, 1)},
       false,
       "{StreamCount=2 Title='T'/2}"},
      {"more declared", {amf::MixedArray({{"title", amf::String("T")}}, 9)}, false, "{StreamCount=2 Title='T'/2}"},
      {"4 billion declared",
       {amf::MixedArray({{"title", amf::String("T")}}, 0xFFFFFFFF)},
       false,
       "{StreamCount=2 Title='T'/2}"},
  };
  for (const TextCase& row : cases) {
    HostScript script{.file = Described(kBoth, row.metadata)};
    if (row.acceptsAll) script.headers.emplace_back("AcceptMetaInfo", "*");
    ScriptedHost host(script);
    EXPECT_TRUE(host.OpenAndReadFileHeader()) << row.name;
    EXPECT_EQ(std::string("FileHeaderReady 0x00000000 ") + row.expected, host.log.All().back()) << row.name;
  }
}

struct NumberCase {
  const char* name;
  const char* key;
  Bytes value;
  std::size_t stream;
  const char* property;
  const char* expected;
};

TEST(Metadata, GivesTheStreamHeadersTheirNumbers) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double infinity = std::numeric_limits<double>::infinity();
  const NumberCase cases[] = {
      {"seconds become ms", "duration", Number(12.3456), 1, "Duration", "12345"},
      {"of audio too", "duration", Number(12.3456), 0, "Duration", "12345"},
      {"absent", "Duration", Number(12), 1, "Duration", "10000"},
      {"no number", "duration", amf::String("12"), 1, "Duration", "10000"},
      {"zero is known", "duration", Number(0), 1, "Duration", "0"},
      {"negative", "duration", Number(-1), 1, "Duration", "4294966296"},
      {"low 32 bits", "duration", Number(5e6), 1, "Duration", "705032704"},
      {"not a number", "duration", Number(nan), 1, "Duration", "0"},
      {"infinite", "duration", Number(infinity), 1, "Duration", "0"},
      {"infinite below", "duration", Number(-infinity), 1, "Duration", "0"},
      {"beyond 64 bits", "duration", Number(1e17), 1, "Duration", "0"},
      {"beyond 64 bits below", "duration", Number(-1e300), 1, "Duration", "0"},
      {"kilobits become bits", "audiodatarate", Number(96), 0, "AvgBitRate", "96000"},
      {"fractions of kilobits", "audiodatarate", Number(95.9996), 0, "AvgBitRate", "95999"},
      {"video's kilobits", "videodatarate", Number(500.5), 1, "AvgBitRate", "500500"},
      {"video's absent kilobits", "videodatarate", amf::Null(), 1, "AvgBitRate", "absent"},
  };
  for (const NumberCase& row : cases) {
    // Each in a container of its own kind, behind what else the scan needs.
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

TEST(Metadata, OfAPictureSize_CountsOnlyAsAPair) {
  const struct {
    const char* name;
    amf::Entries entries;
    const char* width;
    const char* height;
  } cases[] = {{"both", {{"width", Number(640.99)}, {"height", Number(360)}}, "640", "360"},
               {"both in two tags", {}, "640", "360"},
               {"width only", {{"width", Number(640)}}, "176", "144"},
               {"height only", {{"height", Number(360)}}, "176", "144"},
               {"at the edge of 64 bits",
                {{"width", Number(9223372036854774784.0)}, {"height", Number(9223372036854775808.0)}},
                "4294966272",
                "0"},
               {"at the lower edge", {{"width", Number(-9223372036854775808.0)}, {"height", Number(-1e19)}}, "0", "0"}};
  for (const auto& row : cases) {
    amf::Entries entries{{"framerate", Number(25)}, {"audiodatarate", Number(64)}};
    entries.insert(entries.end(), row.entries.begin(), row.entries.end());
    std::vector<Bytes> metadata{amf::MixedArray(entries)};
    if (row.entries.empty()) {
      metadata.push_back(amf::MixedArray({{"width", Number(640)}}));
      metadata.push_back(amf::Object({{"height", Number(360)}}));
    }
    ScriptedHost host({.file = Described(kBoth, metadata)});
    ASSERT_TRUE(host.ReadHeaders()) << row.name;
    for (const char* const name : {"Width", "FrameWidth"})
      EXPECT_EQ(row.width, host.StreamProperty(1, name)) << row.name;
    for (const char* const name : {"Height", "FrameHeight"})
      EXPECT_EQ(row.height, host.StreamProperty(1, name)) << row.name;
  }
}

TEST(Metadata, ThatShowsAPicture_AnnouncesTheVideoThatTheHeaderLeftOut) {
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
    host.OpenAndReadFileHeader();
    EXPECT_EQ(row.streams, host.FileProperty("StreamCount")) << row.name;
    if (row.streams != std::string("2")) continue;
    host.GetStreamHeader(0);
    host.GetStreamHeader(1);
    EXPECT_EQ("'video/x-qb-rtmp'/16", host.StreamProperty(1, "MimeType")) << row.name;
    EXPECT_EQ("320", host.StreamProperty(1, "Width")) << row.name;
  }
}

Bytes Join(std::initializer_list<Bytes> parts) {
  Bytes all;
  for (const Bytes& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

Bytes Nested(int levels) {
  Bytes value = amf::Null();
  for (int i = 0; i < levels; ++i) value = amf::Array({value});
  return value;
}

TEST(Metadata, Malformed_FailsTheFileHeader) {
  const Bytes name = amf::String("onMetaData");
  const char* const fine = "FileHeaderReady 0x00000000";
  const char* const malformed = "FileHeaderReady 0x80004005 null";
  const Bytes openObject{3, 0, 1, 'a', 5};
  const struct {
    const char* name;
    Bytes body;
    const char* expected;
  } cases[] = {
      {"a name only", name, fine},
      {"a name that is a number", Join({Number(1), QuickMetadata()}), fine},
      {"no container", Join({name, Number(1)}), fine},
      {"something behind it", Join({name, QuickMetadata(), {0xFF, 0xFF}}), fine},
      {"an object that ends between entries", Join({name, openObject}), fine},
      {"an object without anything", Join({name, {3}}), malformed},
      {"an object that ends in a name", Join({name, openObject, {0, 5, 'a'}}), malformed},
      {"a movie clip", Join({name, {4}}), malformed},
      {"a reference", Join({name, {7, 0, 0}}), malformed},
      {"AMF3", Join({name, {17}}), malformed},
      {"a refused value in a container", Join({name, amf::MixedArray({{"a", {14}}})}), malformed},
      {"a name that is refused", {4}, malformed},
      {"a text that is cut", Join({name, {2, 0, 10, 'a', 'b'}}), malformed},
      {"a number that is cut", Join({name, {0, 1, 2, 3}}), malformed},
      {"a mixed array that is cut", Join({name, {8, 0, 0, 0, 2, 0, 1, 'a', 5}}), malformed},
      {"an array of 4 billion in 20 bytes", Join({name, amf::Array({amf::Null()}, 0xFFFFFFFF)}), malformed},
      {"a mixed array of 4 billion in 20 bytes", Join({name, {8, 0xFF, 0xFF, 0xFF, 0xFF, 0, 1, 'a', 5}}), malformed},
      {"nested a hundred times", Join({name, Nested(100)}), fine},
      {"nested a thousand times", Join({name, Nested(1000)}), malformed},
      {"nested a million times", Join({name, Bytes(1000000, 3)}), malformed},
  };
  for (const auto& row : cases) {
    FlvBuilder flv(kBoth);
    flv.Tag(kScriptTag, 0, row.body).Metadata(QuickMetadata()).Audio(0, 20).Video(0, 20);
    ScriptedHost host({.file = {.bytes = flv.File()}});
    ASSERT_TRUE(host.Open()) << row.name;
    host.GetFileHeader();
    EXPECT_TRUE(host.log.All().back().starts_with(row.expected)) << row.name << ": " << host.log.All().back();
  }
}

/// One video tag at 0, then audio every second, 11 bytes long at 1 s, 12 at 2 s and so on. While video has nothing
/// queued, an audio packet waits until the queue spans more than the limit.
FlvBuilder LongWait(const Bytes& metadata) {
  FlvBuilder flv(kBoth);
  flv.Metadata(metadata).Video(0, 200);
  for (std::uint32_t i = 0; i < 40; ++i) flv.Audio(i * 1000, 10 + i);
  return flv;
}

/// The seconds that audio was read to when the packet of 1 s came out.
std::size_t ReadAhead(const CallLog& log) {
  std::size_t seconds = 0;
  for (const std::string& line : log.All()) {
    if (line.starts_with("PacketReady s=0 t=1000 ")) return seconds;
    if (line.starts_with("Read(") && line != "Read(15)") seconds = std::stoul(line.substr(5)) - 10;
  }
  return 0;
}

TEST(KeyFrames, OfTheMetadata_SizeHowFarOneStreamIsReadAhead) {
  const auto list = [](const std::vector<double>& times) {
    return amf::KeyFrames(times, std::vector<double>(times.size(), 13));
  };
  const Bytes text = amf::String("x");
  const struct {
    const char* name;
    Bytes keyFrames;
    const char* preference;
    std::size_t spanSeconds;
  } cases[] = {
      {"none", amf::Null(), nullptr, 10},
      {"short intervals", list({0, 2, 5}), nullptr, 10},
      {"10 s", list({0, 10}), nullptr, 10},
      {"15 s", list({0, 15, 17}), nullptr, 16},
      {"later", list({0, 1, 16, 17}), nullptr, 16},
      {"at most 30 s", list({0, 35}), nullptr, 30},
      {"the preference wins", list({0, 15}), "5000", 5},
      {"a preference of 0 is none", list({0, 15}), "0", 16},
      {"falling times are no intervals", list({50, 0, 15, 0}), nullptr, 16},
      {"only falling times", list({50, 40, 20}), nullptr, 10},
      {"as a mixed array",
       amf::MixedArray({{"times", amf::Numbers({0, 15})}, {"filepositions", amf::Numbers({13, 13})}}), nullptr, 10},
      {"of different lengths", amf::KeyFrames({0, 15}, {13}), nullptr, 10},
      {"without positions", amf::Object({{"times", amf::Numbers({0, 15})}}), nullptr, 10},
      {"an entry that is no number is passed over",
       amf::Object(
           {{"times", amf::Array({Number(0), text, Number(15)})}, {"filepositions", amf::Numbers({13, 13, 13})}}),
       nullptr, 16},
      {"nor does a position that is none count",
       amf::Object(
           {{"times", amf::Numbers({0, 15, 16})}, {"filepositions", amf::Array({Number(13), text, Number(13)})}}),
       nullptr, 17},
  };
  for (const auto& row : cases) {
    HostScript script{
        .file = {.bytes = LongWait(QuickMetadata({{"keyframes", row.keyFrames}})).File(), .stat = Stat::kAbsent}};
    if (row.preference != nullptr) script.preferences.emplace_back("FLVMergeSorterMaxTimespan", row.preference);
    ScriptedHost host(script);
    host.Play();
    // The packet of 1 s waits for one that is more than the span later.
    EXPECT_EQ(row.spanSeconds + 2, ReadAhead(host.log)) << row.name;
  }
}

TEST(KeyFrames, TheLastVideoTime_EndsTheLastInterval) {
  const struct {
    double lastKeyFrame;
    std::size_t spanSeconds;
  } cases[] = {{0, 23}, {15, 16}, {21, 22}, {22, 23}, {30, 30}};
  for (const auto& row : cases) {
    FlvBuilder flv = LongWait(QuickMetadata({{"keyframes", amf::KeyFrames({0, row.lastKeyFrame}, {13, 13})}}));
    flv.Audio(41000, 60).Video(22000, 300);
    ScriptedHost host({.file = {.bytes = flv.File()}});
    host.Play();
    EXPECT_EQ(row.spanSeconds + 2, ReadAhead(host.log)) << row.lastKeyFrame;
  }
}

TEST(Preferences, CountOnlyWhenTheAnswerIsExactlySuccess) {
  for (const Status status : {kOk, Status{1}, kFailed}) {
    HostScript script{.file = {.bytes = LongWait(QuickMetadata()).File(), .stat = Stat::kAbsent},
                      .preferences = {{"FLVMergeSorterMaxTimespan", "5000"}}};
    ScriptedHost host(script);
    host.preferences->AnswerWith(status);
    host.Play();
    EXPECT_EQ(status == kOk ? 7u : 12u, ReadAhead(host.log)) << Hex(status);
  }
}

}  // namespace
}  // namespace qbflv::test
