// Files that are broken in every way that is known, and what becomes of each.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <limits>

#include "tests/support/library_heap.h"
#include "tests/support/seek_script.h"

namespace qbflv::test {
namespace {

using Lines = CallLog::Lines;

/// Operations for each byte of a file, and of the least file.
constexpr std::size_t kMaxOperations = 64;
constexpr std::size_t kLeastFile = 64;
constexpr std::int64_t kMaxMemory = 64 << 20;

/// The status in a line such as "InitDone 0x80004005".
std::string StatusIn(const std::string& line) { return line.substr(line.find("0x"), 10); }

/// Asks every stream to its end.
void PlayToTheEnd(ScriptedHost& host) {
  const std::size_t before = host.log.Count("StreamDone");
  host.AskForAll();
  EXPECT_EQ(before + host.StreamCount(), host.log.Count("StreamDone"));
  EXPECT_EQ(0U, host.OpenRequests());
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
  if (std::ranges::count(statuses, Hex(kOk)) == std::ssize(statuses)) PlayToTheEnd(host);
  Lines streams;
  for (std::uint32_t stream = 0; stream < host.StreamCount(); ++stream) {
    const bool isAudio = host.StreamProperty(stream, "PayloadType") == "8" || (stream == 0 && host.StreamCount() == 2);
    const bool isReady = statuses[stream] == Hex(kOk);
    streams.push_back((isAudio ? "a " : "v ") + (isReady ? Packets(host.log.Delivered(), stream) : statuses[stream]));
  }
  return fmt::format("{}", fmt::join(streams, ", "));
}

std::string ExerciseOnce(const FileScript& file) {
  std::string outcome;
  {
    ForgetPeak();
    ScriptedHost host({.file = file});
    outcome = PlayOnce(host);
    for (const std::uint32_t time : {20U, 0U, 0xFFFFFFF0U, 1U}) {
      if (host.StreamCount() == 0) break;
      EXPECT_EQ(kOk, host.Seek(time));
      PlayToTheEnd(host);
    }
    EXPECT_LE(host.file->Operations(), kMaxOperations * (file.bytes.size() + kLeastFile));
    EXPECT_LE(ReadLibraryHeap().peakBytes, kMaxMemory);
    EXPECT_EQ(Lines(), host.Unasked());
    host.Close();
  }
  EXPECT_EQ(0, ReadLibraryHeap().live);
  EXPECT_EQ(kOk, Exports().canUnload());
  return outcome;
}

/// Opens, plays to the end, seeks and plays on, in every combination of completing inline or later, with and without a
/// known size, jumping or front to back, short or failing at the end. Each time every request must be completed, the
/// work and the memory must be bounded, and nothing may be left.
///
/// Returns the outcome of the first play, inline, with a known size, jumping, short at the end: "open 0x80004005" or
/// "header 0x80004005" when that failed; otherwise each stream's number of packets with the first and the last time,
/// as in "a 3: 0-46, v 2: 0-40"; "a -" for no packets, "a 0x80040009" for no header.
std::string Exercise(const Bytes& file) {
  std::string reference;
  for (const Stat stat : {Stat::kPresent, Stat::kAbsent}) {
    for (const Status hint : {kOk, kPrefersLinearAccess}) {
      for (const bool failsAtEnd : {false, true}) {
        SCOPED_TRACE(fmt::format("{} size, {}, {} at the end", stat == Stat::kPresent ? "known" : "unknown",
                                 hint == kOk ? "jumping" : "front to back", failsAtEnd ? "failing" : "short"));
        FileScript script{.bytes = file, .stat = stat, .failsAtEnd = failsAtEnd, .accessHint = hint};
        const std::string outcome = ExerciseOnce(script);
        script.completes = Completes::kLater;
        EXPECT_EQ(outcome, ExerciseOnce(script)) << "completed later";
        if (reference.empty()) reference = outcome;
      }
    }
  }
  return reference;
}

struct BadFile {
  std::string name;
  Bytes bytes;
  /// As Exercise tells it.
  std::string outcome;
};

void Try(const std::vector<BadFile>& files) {
  for (const BadFile& file : files) {
    SCOPED_TRACE(file.name);
    EXPECT_EQ(file.outcome, Exercise(file.bytes)) << file.name;
  }
}

// Ten tags at 0, 40, 80 … ms, audio and video in turn, a key frame every other time: in short, and behind other tags.
constexpr char kFilm[] = "a0 k0 a40 p40 a80 k80 a120 p120 a160 k160";
constexpr char kWhole[] = "a 5: 0-160, v 5: 0-160";

FlvBuilder Film(FlvBuilder flv) {
  for (std::uint32_t i = 0; i < 5; ++i) flv.Audio(i * 40, 30).Video(i * 40, 40, i % 2 == 0);
  return flv;
}

Bytes FilmWith(const Bytes& metadata) { return Film(FlvBuilder(kBoth).Metadata(metadata)).File(); }

Bytes Cut(Bytes bytes, std::size_t size) {
  bytes.resize(size);
  return bytes;
}

TEST(BadFile, WithABrokenHeader_HasThisOutcome) {
  const auto patched = [](std::uint32_t at, std::uint32_t value) { return TagsOf(kFilm).Patch(at, value).File(); };
  Try({{"empty", {}, "header 0x80040009"},
       {"10 bytes", Cut(TagsOf(kFilm).File(), 10), "a 0x80040009, v -"},
       {"13 bytes", Cut(TagsOf(kFilm).File(), 13), "a 0x80040009, v -"},
       {"another signature", patched(0, 0x664C5601), "open 0x80004005"},
       {"data offset 0", patched(5, 0), "header 0x80040009"},
       {"data offset inside the header", patched(5, 5), "header 0x80040009"},
       {"data offset after the start of the metadata", patched(5, 13), "header 0x80040009"},
       {"data offset beyond the file", patched(5, 100000), "a 0x80040009, v -"},
       {"data offset at the last offset", patched(5, 0xFFFFFFFF), "a 0x80040009, v -"}});
}

TEST(BadFile, WhoseFlagsLie_HasThisOutcome) {
  // The three bytes behind the flags are zero in every file here.
  const auto with = [](std::uint32_t flags, std::string_view tags) {
    return TagsOf(tags).Patch(4, flags << 24U).File();
  };
  constexpr char kSound[] = "a0 a40 a80 a120 a160";
  constexpr char kPictures[] = "k0 k40 k80 k120 k160";
  Try({{"audio alone, as announced", with(kAudio, kSound), "a -, v -"},
       {"video alone, as announced", with(kVideo, kPictures), "v 5: 0-160"},
       {"both announced, audio there", with(kBoth, kSound), "a -, v -"},
       {"both announced, video there", with(kBoth, kPictures), "a -, v -"},
       {"both announced, nothing there", with(kBoth, ""), "a -, v -"},
       {"nothing announced, both there", with(0, kFilm), "header 0x80040009"},
       {"nothing announced, nothing there", with(0, ""), "header 0x80040009"},
       {"audio announced, both there", with(kAudio, kFilm), kWhole},
       {"video announced, both there", with(kVideo, kFilm), "v 5: 0-160"},
       {"audio announced, video there", with(kAudio, kPictures), "a -, v -"},
       {"video announced, audio there", with(kVideo, kSound), "v -"},
       {"every flag", with(0xFF, kFilm), kWhole}});
}

TEST(BadFile, WhosePreviousSizesLie_HasThisOutcome) {
  // A video tag takes 40 + 15 bytes with its field, an audio tag 30 + 15; the size leaves out the field.
  const auto patched = [](const std::vector<std::uint32_t>& sizes) {
    FlvBuilder flv = Film(FlvBuilder(kBoth).Metadata(QuickMetadata()));
    for (std::size_t i = 0; i < sizes.size(); ++i) flv.Patch(flv.Field(flv.Tags() - i), sizes[i]);
    return flv.File();
  };
  const auto all = [&](std::uint32_t size) { return patched(std::vector<std::uint32_t>(11, size)); };
  Try({{"all zero", all(0), "a 5: 0-160, v 4: 0-120"},
       {"all one", all(1), "a 5: 0-160, v 4: 0-120"},
       {"all huge", all(0xFFFFFFFF), "a 5: 0-160, v 4: 0-120"},
       {"a circle of one", patched({51, 0xFFFFFFFC}), "a 5: 0-160, v 4: 0-120"},
       {"a circle of two", patched({51, 41, 0U - 45 - 4}), kWhole},
       {"a circle of many", patched({51, 41, 51, 41, 51, 41, 0U - 4 * 50 - 55}), kWhole}});
}

TEST(BadFile, WhoseTagsLie_HasThisOutcome) {
  const auto tag = [](std::uint8_t type, const Bytes& body, std::optional<std::uint32_t> claimedSize = {}) {
    return TagsOf("a0 k0").Tag(type, 20, body, claimedSize).Audio(40, 30).Video(40, 40).File();
  };
  const Bytes body = AudioBody(20);
  const Bytes last = TagsOf(kFilm).Tag(kVideoTag, 200, VideoBody(20, 0x22), 0xFFFFFF).File();
  const Bytes once = TagsOf(kFilm).File();
  Bytes twice = once;
  twice.insert(twice.end(), once.begin(), once.end());
  Try({{"a size past the end, in the middle", tag(kAudioTag, body, 5000), "a 1: 0-0, v -"},
       {"the largest size, in the middle", tag(kAudioTag, body, 0xFFFFFF), "a 1: 0-0, v -"},
       {"the largest size, in the last tag", last, kWhole},
       {"the largest size, in a tag to skip", tag(0x55, body, 0xFFFFFF), "a 1: 0-0, v -"},
       {"a size that is too small", tag(kVideoTag, body, 1), "a 1: 0-0, v -"},
       {"an audio tag of size 0", tag(kAudioTag, {}), "a 2: 0-40, v 2: 0-40"},
       {"a video tag of size 0", tag(kVideoTag, {}), "a 2: 0-40, v 2: 0-40"},
       {"a script tag of size 0", tag(kScriptTag, {}), "a 2: 0-40, v 2: 0-40"},
       {"an unknown tag of size 0", tag(0x55, {}), "a 2: 0-40, v 2: 0-40"},
       {"an unknown tag", tag(0x55, body), "a 2: 0-40, v 2: 0-40"},
       {"type 0", tag(0, body), "a 2: 0-40, v 2: 0-40"},
       {"encrypted audio", tag(0x28, body), "a 2: 0-40, v 2: 0-40"},
       {"encrypted video", tag(0x29, body), "a 2: 0-40, v 2: 0-40"},
       {"type 255", tag(0xFF, body), "a 2: 0-40, v 2: 0-40"},
       {"one byte of audio", tag(kAudioTag, {0x2A}), "a 3: 0-40, v 2: 0-40"},
       {"one byte of video", tag(kVideoTag, {0x12}), "a 2: 0-40, v 3: 0-40"},
       {"one byte of AAC", tag(kAudioTag, {0xAF}), "a 3: 0-40, v 2: 0-40"},
       {"one byte of AVC", tag(kVideoTag, {0x17}), "a 2: 0-40, v 3: 0-40"},
       {"two files in one", twice, kWhole}});
}

TEST(BadFile, WhoseTimesLie_HasThisOutcome) {
  Try({{"standing still", TagsOf("a7 k7 a7 k7 a7 k7 a7 k7").File(), "a 1: 7-7, v 1: 7-7"},
       {"jumping ahead", TagsOf("a0 k0 a40 k40 a100000000 k100000000 a100000040 k100000040").File(),
        "a 4: 0-100000040, v 4: 0-100000040"},
       {"jumping by half of all", TagsOf("a0 k0 a40 k40 a2147483648 k2147483648 a2147483688 k2147483688").File(),
        "a 4: 0-2147483688, v 4: 0-2147483688"},
       {"going back", TagsOf("a1000 k1000 a1040 k1040 a500 k500 a540 k540 a1080 k1080").File(),
        "a 5: 1000-1080, v 5: 1000-1080"},
       {"falling", TagsOf("a400 k400 a300 k300 a200 k200 a100 k100 a0 k0").File(), "a 5: 400-0, v 5: 400-0"},
       {"wrapping", TagsOf("a4294967232 k4294967232 a4294967272 k4294967272 a16 k16 a56 k56").File(),
        "a 4: 4294967232-56, v 4: 4294967232-56"},
       {"from the middle of all",
        TagsOf("a2147483648 k2147483648 a2147483688 k2147483688 a2147483728 k2147483728").File(),
        "a 3: 2147483648-2147483728, v 3: 2147483648-2147483728"},
       {"at the last time", TagsOf("a4294967295 k4294967295 a4294967295 k4294967295").File(),
        "a 1: 4294967295-4294967295, v 1: 4294967295-4294967295"}});
}

Bytes NestedMetadata(std::size_t levels) {
  Bytes value;
  for (std::size_t i = 0; i < levels; ++i) value.insert(value.end(), {10, 0, 0, 0, 1});
  value.push_back(5);
  return value;
}

TEST(BadFile, WhoseMetadataLies_HasThisOutcome) {
  // Each stands before metadata that is well-formed.
  const auto with = [](const Bytes& body) {
    return Film(FlvBuilder(kBoth).Tag(kScriptTag, 0, body).Metadata(QuickMetadata())).File();
  };
  const Bytes name = amf::String("onMetaData");
  const auto named = [&](const Bytes& value) {
    Bytes body = name;
    body.insert(body.end(), value.begin(), value.end());
    return with(body);
  };
  FlvBuilder none(kBoth);
  for (std::uint32_t i = 0; i < 14; ++i) none.Audio(i * 500, 30).Video(i * 500, 40, i % 2 == 0);
  Try({{"absent", none.File(), "a 14: 0-6500, v 14: 0-6500"},
       {"repeated", named(QuickMetadata()), kWhole},
       {"without a value", with(name), kWhole},
       {"of another name", with(amf::String("onCuePoint")), kWhole},
       {"without a name", with(QuickMetadata()), "header 0x80004005"},
       {"100 000 levels deep", named(NestedMetadata(100000)), "header 0x80004005"},
       {"4 billion values", named({10, 0xFF, 0xFF, 0xFF, 0xFF, 5}), "header 0x80004005"},
       {"4 billion entries", named(amf::MixedArray({{"a", amf::Null()}}, 0xFFFFFFFF)), kWhole},
       {"a text of 4 billion bytes", named({12, 0xFF, 0xFF, 0xFF, 0xFF, 'x'}), "header 0x80004005"},
       {"an unknown type", named({99}), "header 0x80004005"}});
}

TEST(BadFile, WithMetadataCutAnywhere_PlaysOrFailsInItsHeader) {
  const Bytes value = QuickMetadata({{"keyframes", amf::KeyFrames({0, 0.08, 0.16}, {300, 400, 500})}});
  for (std::size_t size = 1; size < value.size(); ++size) {
    const std::string outcome = Exercise(FilmWith(Cut(value, size)));
    EXPECT_TRUE(outcome == kWhole || outcome == "header 0x80004005") << size << ": " << outcome;
  }
  EXPECT_EQ(kWhole, Exercise(FilmWith(value)));
  // Without a value it is as good as absent, and the file too short for an audio rate of its own.
  EXPECT_EQ("a 0x80040009, v -", Exercise(FilmWith({})));
}

TEST(BadFile, WithUnthinkableNumbers_PlaysToItsEnd) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  const std::string_view names[] = {"width",    "height",   "framerate", "audiodatarate",   "videodatarate",
                                    "duration", "filesize", "stereo",    "audiosamplerate", "videocodecid"};
  for (const double number : {std::numeric_limits<double>::quiet_NaN(), kInfinity, -kInfinity, 1e300, -1e300, 0x1p63,
                              0x1p64, -0x1p63, -1.0, 0.0, 1e-300, 4294967296.0}) {
    SCOPED_TRACE(number);
    for (const std::string_view name : names) {
      const std::string outcome = Exercise(FilmWith(QuickMetadata({{name, amf::Number(number)}})));
      EXPECT_EQ(kWhole, outcome) << name;
    }
    const std::vector<double> numbers(4, number);
    EXPECT_EQ(kWhole, Exercise(FilmWith(QuickMetadata({{"keyframes", amf::KeyFrames(numbers, {13, 14, 15, 16})}}))));
    EXPECT_EQ(kWhole, Exercise(FilmWith(QuickMetadata({{"keyframes", amf::KeyFrames({0, 1, 2, 3}, numbers)}}))));
  }
}

TEST(BadFile, WhoseKeyFrameListLies_PlaysAllTheSame) {
  const auto with = [](const std::vector<double>& times, const std::vector<double>& positions) {
    return FilmWith(QuickMetadata({{"keyframes", amf::KeyFrames(times, positions)}}));
  };
  std::vector<double> many(1000000);
  for (std::size_t i = 0; i < many.size(); ++i) many[i] = static_cast<double>(i) * 0.001;
  const std::vector<double> quarter(many.begin(), many.begin() + 250000);
  Try({{"unsorted", with({0.16, 0, 0.08}, {500, 300, 400}), kWhole},
       {"doubled", with({0, 0, 0.08, 0.08}, {300, 300, 400, 400}), kWhole},
       {"beyond the file", with({0, 0.08, 0.16}, {1e6, 2e6, 4e9}), kWhole},
       {"in the middle of tags", with({0, 0.08, 0.16}, {303, 404, 505}), kWhole},
       {"of different lengths", with({0, 0.08, 0.16}, {300}), kWhole},
       {"empty", with({}, {}), kWhole},
       {"of a quarter of a million entries", with(quarter, quarter), kWhole},
       // A tag's tree beyond 64 MiB fails. Two lists of a million do not fit into a tag.
       {"of a million times", with(many, {13, 14, 15}), "header 0x8007000E"}});
}

/// What waits for another packet when the file breaks off is dropped: one of the other stream, and one behind it.
TEST(BadFile, CutAnywhere_DeliversNearlyAllOfItsWholeTags) {
  const FlvBuilder flv = TagsOf(kFilm);
  const Bytes& whole = flv.File();
  for (std::size_t size = 0, tags = 0; size < whole.size(); ++size) {
    const std::string outcome = Exercise(Cut(whole, size));
    if (tags + 2 <= flv.Tags() && flv.Field(tags + 2) <= size) ++tags;
    std::size_t audio = 0;
    std::size_t video = 0;
    // "a 3: 0-80, v 2: 0-40"
    static_cast<void>(std::sscanf(outcome.c_str(), "a %zu: %*u-%*u, v %zu", &audio, &video));
    if (audio > 0) {
      EXPECT_TRUE(outcome.starts_with(fmt::format("a {}: 0-{}", audio, (audio - 1) * 40))) << size << ": " << outcome;
    }
    EXPECT_LE(audio + video, tags) << size << ": " << outcome;
    EXPECT_GE(audio + video + 2, tags) << size << ": " << outcome;
  }
}

}  // namespace
}  // namespace qbflv::test
