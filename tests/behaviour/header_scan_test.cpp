// The header scan: which tags it reads, when it has seen enough, what it makes of them, and how it fails.
#include <gtest/gtest.h>

#include "tests/support/scripted_host.h"

namespace qbflv::test {
namespace {

using Lines = CallLog::Lines;
using Properties = std::vector<std::pair<const char*, const char*>>;

constexpr char kNoStream[] = "FileHeaderReady 0x80040009 null";
constexpr char kMalformed[] = "FileHeaderReady 0x80004005 null";

/// Metadata for one stream, so that the scan needs only a tag of it.
Bytes AudioMetadata() { return amf::MixedArray({{"audiodatarate", amf::Number(64)}}); }
Bytes VideoMetadata() {
  return amf::MixedArray({{"width", amf::Number(320)}, {"height", amf::Number(240)}, {"framerate", amf::Number(25)}});
}

TEST(HeaderScan, ReadsTagByTagUntilEverythingIsKnown) {
  // Without metadata: audio until a tag more than 5000 ms after the first, video until 1000 ms after the first.
  FlvBuilder flv(kBoth);
  for (std::uint32_t time = 0; time <= 8000; time += 500) flv.Audio(time, 101).Video(time, 50);
  ScriptedHost host({.file = {.bytes = flv.File(), .accessHint = kPrefersLinearAccess}});
  ASSERT_TRUE(host.ReadHeaders());
  // Audio at 5000 does not end it; the tag at 5500 does, and is not counted: 11 tags of 100 bytes in 5500 ms.
  EXPECT_EQ(12u, host.log.Count("Read(101)"));
  EXPECT_EQ(11u, host.log.Count("Read(50)"));
  EXPECT_EQ("1600", host.StreamProperty(0, "AvgBitRate"));
  EXPECT_EQ("176", host.StreamProperty(1, "Width"));
}

struct ScanLength {
  const char* name;
  FlvBuilder flv;
  /// How many tags the scan reads before it asks for the access hint.
  std::size_t tags;
};

TEST(HeaderScan, EndsAtTheTagThatCompletesIt) {
  const auto video = [](FlvBuilder flv, std::initializer_list<std::uint32_t> times) {
    for (const std::uint32_t time : times) flv.Video(time, 20);
    return flv;
  };
  const auto audio = [](FlvBuilder flv, std::initializer_list<std::uint32_t> times) {
    for (const std::uint32_t time : times) flv.Audio(time, 20);
    return flv;
  };
  const ScanLength cases[] = {
      {"metadata for both",
       FlvBuilder(kBoth).Metadata(QuickMetadata()).Audio(0, 9).Audio(20, 9).Video(0, 20).Video(40, 20), 4},
      {"metadata behind the tags", FlvBuilder(kBoth).Audio(0, 9).Video(0, 20).Metadata(QuickMetadata()).Video(40, 20),
       3},
      {"audio is not left out",
       FlvBuilder(kAudio).Metadata(AudioMetadata()).Metadata(AudioMetadata()).Audio(0, 9).Audio(9, 9), 3},
      {"999 ms of video", video(FlvBuilder(kVideo), {100, 600, 1099, 1200, 1300}), 4},
      {"1000 ms of video", video(FlvBuilder(kVideo), {100, 600, 1100, 1200, 1300}), 3},
      {"5000 ms of audio", audio(FlvBuilder(kAudio), {100, 5100, 5200}), 3},
      {"5001 ms of audio", audio(FlvBuilder(kAudio), {100, 5101, 5200}), 2},
      {"an announced stream only", audio(FlvBuilder(kVideo).Metadata(VideoMetadata()), {0}).Video(0, 20).Video(9, 20),
       3},
      {"an audio tag without a byte behind its header",
       FlvBuilder(kAudio).Metadata(AudioMetadata()).Audio(0, 1).Audio(5, 2).Audio(9, 2), 3},
      {"an AAC tag without a byte behind its header",
       FlvBuilder(kAudio).Metadata(AudioMetadata()).Tag(8, 0, {0xAF, 0}).Tag(8, 0, {0xAF, 1, 7}).Audio(9, 2), 3},
      {"a video tag without a byte behind its header",
       FlvBuilder(kVideo).Metadata(VideoMetadata()).Tag(9, 0, {0x12}).Tag(9, 0, {0x12, 0}).Video(9, 20), 3},
      {"an AVC tag without a byte behind its header",
       FlvBuilder(kVideo)
           .Metadata(VideoMetadata())
           .Tag(9, 0, {0x17, 1, 0, 0, 0})
           .Tag(9, 0, {0x17, 1, 0, 0})
           .Video(9, 20),
       3},
      {"no stream announced", FlvBuilder(0).Audio(0, 20).Video(0, 20), 1}};
  for (const ScanLength& row : cases) {
    ScriptedHost host({.file = {.bytes = row.flv.File(), .accessHint = kPrefersLinearAccess}});
    host.OpenAndReadFileHeader();
    EXPECT_EQ(row.tags, host.log.Count("Read(15)")) << row.name;
    EXPECT_EQ(1u, host.log.Count("SetAccessHint(1)")) << row.name;
    EXPECT_EQ("Seek(9)", host.log.Last("Seek")) << row.name;
  }
}

struct ScanFailure {
  const char* name;
  FileScript file;
  const char* expected;
};

TEST(HeaderScan, Failing_TellsTheSinkAndMayBeAskedAgain) {
  const Bytes audio = AudioBody(10);
  const auto one = [](std::uint8_t type, const Bytes& body, const Lies& lies = {}) {
    return FlvBuilder(kBoth).Tag(type, 0, body, lies).File();
  };
  const Bytes whole = SmallFile().File();
  const ScanFailure cases[] = {
      {"no stream, after an audio tag", {.bytes = FlvBuilder(0).Audio(0, 9).File()}, kNoStream},
      {"no stream, after a video tag", {.bytes = FlvBuilder(0).Video(0, 19).File()}, kNoStream},
      {"no stream, after metadata", {.bytes = FlvBuilder(0).Metadata(QuickMetadata()).File()}, kNoStream},
      {"other bits announce no stream", {.bytes = FlvBuilder(0xFA).Audio(0, 9).File()}, kNoStream},
      {"no stream and no tag", {.bytes = FlvBuilder(0).File()}, kNoStream},
      {"type 15", {.bytes = one(15, audio)}, "FileHeaderReady 0x80040009 null"},
      {"type 8 with a bit around it", {.bytes = one(0x28, audio)}, "FileHeaderReady 0x80040009 null"},
      {"type 9 with a bit around it", {.bytes = one(0x49, audio)}, "FileHeaderReady 0x80040009 null"},
      {"type 18 with a bit around it", {.bytes = one(0x92, audio)}, "FileHeaderReady 0x80040009 null"},
      {"a body shorter than it says", {.bytes = one(8, audio, {.dataSize = 15})}, kMalformed},
      {"a body of 16 MiB in a small file", {.bytes = one(8, audio, {.dataSize = 0xFFFFFF})}, kMalformed},
      {"a failed body", {.bytes = whole, .rules = {{"Read(10)", 0, kOutOfMemory}}}, kMalformed},
      {"an empty audio tag", {.bytes = one(8, {})}, kMalformed},
      {"an empty video tag", {.bytes = one(9, {})}, kMalformed},
      {"an empty script tag", {.bytes = one(18, {})}, kMalformed},
      {"malformed metadata", {.bytes = one(18, {2, 0, 9, 'x'})}, kMalformed},
      {"a failed rewind",
       {.bytes = whole, .rules = {{"Seek(9)", 1, kInvalidArgument}}},
       "FileHeaderReady 0x80070057 null"},
      {"a failed tag header",
       {.bytes = whole, .rules = {{"Read(15)", 0, kNotImplemented}}},
       "FileHeaderReady 0x80004001 null"}};
  for (const ScanFailure& row : cases) {
    ScriptedHost host({.file = row.file});
    ASSERT_TRUE(host.Open()) << row.name;
    EXPECT_EQ(kOk, host.GetFileHeader()) << row.name;
    EXPECT_EQ(row.expected, host.log.All().back()) << row.name;
    EXPECT_EQ(kInvalidState, host.GetStreamHeader(0)) << row.name;
    const std::size_t before = host.log.Size();
    EXPECT_EQ(kOk, host.GetFileHeader()) << row.name << ", asked again";
    EXPECT_LT(before, host.log.Size()) << row.name << ", asked again";
  }
}

TEST(HeaderScan, AfterAFailedAttempt_BeginsAtTheFirstTagAgain) {
  const Bytes whole = SmallFile().File();
  const struct {
    const char* name;
    Rule rule;
    Lines again;
  } cases[] = {{"failed tag", {"Read(20)", 1, kFailed}, {"Seek(9)", "Read(15)"}},
               {"failed first tag", {"Read(15)", 1, kFailed}, {"Read(15)"}}};
  for (const auto& row : cases) {
    ScriptedHost host({.file = {.bytes = whole, .rules = {row.rule}}});
    ASSERT_TRUE(host.Open());
    host.GetFileHeader();
    const std::size_t before = host.log.Size();
    host.GetFileHeader();
    const Lines again = host.log.From(before);
    EXPECT_EQ(row.again, Lines(again.begin(), again.begin() + static_cast<std::ptrdiff_t>(row.again.size())))
        << row.name;
    EXPECT_EQ("FileHeaderReady 0x00000000 {StreamCount=2 Title='Small'/6}", again.back()) << row.name;
  }
}

TEST(HeaderScan, AFailedFirstSeek_EndsIt) {
  ScriptedHost host({.file = {.bytes = FlvBuilder(kBoth, 13).File(), .rules = {{"Seek(13)", 1, kOutOfMemory}}}});
  ASSERT_TRUE(host.Open());
  EXPECT_EQ(kOk, host.GetFileHeader());
  EXPECT_EQ("FileHeaderReady 0x8007000E null", host.log.All().back());
  EXPECT_EQ(kOk, host.GetFileHeader());
  EXPECT_EQ("FileHeaderReady 0x00000000 {StreamCount=2}", host.log.All().back());
}

/// A file that is over before the scan is complete, on hosts that give a short read there or a failed one.
struct EarlyEnd {
  const char* name;
  FlvBuilder flv;
  bool failsAtEnd;
  const char* fileHeader;
  Properties audio;
};

TEST(HeaderScan, AtTheEndOfTheFile_TakesWhatTheReadThereAllows) {
  constexpr char kOneStream[] = "FileHeaderReady 0x00000000 {StreamCount=1}";
  const FlvBuilder audio = FlvBuilder(kAudio).Audio(0, 51).Audio(100, 51).Audio(200, 51);
  const EarlyEnd cases[] = {
      {"audio, short read", audio, false, kOneStream, {{"AvgBitRate", "no header"}}},
      // 150 bytes; 300 ms, as the last tag is taken to be as long as the one before it.
      {"audio, failed read", audio, true, kOneStream, {{"AvgBitRate", "4000"}, {"Duration", "300"}}},
      // The first time is subtracted once more than it is in: what comes of it, modulo 2^32, is what hosts see.
      {"audio from 1000 ms on, failed read",
       FlvBuilder(kAudio).Audio(1000, 51).Audio(1100, 51).Audio(1200, 51),
       true,
       kOneStream,
       {{"AvgBitRate", "0"}, {"Duration", "4294966596"}}},
      {"audio, one tag, failed read", FlvBuilder(kAudio).Audio(0, 51), true, kMalformed, {}},
      {"audio, first time equals the sum, failed read",
       FlvBuilder(kAudio).Audio(200, 51).Audio(300, 51),
       true,
       kMalformed,
       {}},
      {"no audio tag, failed read", FlvBuilder(kAudio).Video(0, 20), true, kMalformed, {}},
      {"audio without data, failed read", FlvBuilder(kAudio).Audio(0, 1).Audio(100, 1), true, kMalformed, {}},
      {"AAC without data, failed read",
       FlvBuilder(kAudio).Tag(8, 0, {0xAF, 0}).Tag(8, 100, {0xAF, 1}),
       true,
       kMalformed,
       {}},
      {"video, failed read", FlvBuilder(kVideo).Video(0, 20).Video(40, 20), true, kMalformed, {}},
      {"both, video unknown, failed read",
       FlvBuilder(kBoth).Audio(0, 51).Audio(100, 51).Tag(9, 0, VideoBody(20, 0x17)),
       true,
       kMalformed,
       {}},
      {"both, video known, failed read",
       FlvBuilder(kBoth).Audio(0, 51).Audio(100, 51).Video(0, 20),
       true,
       "FileHeaderReady 0x00000000 {StreamCount=2}",
       {{"AvgBitRate", "4000"}, {"Duration", "200"}}},
      {"nothing, short read", FlvBuilder(kBoth), false, "FileHeaderReady 0x00000000 {StreamCount=2}", {}},
  };
  for (const EarlyEnd& row : cases) {
    // Without its last field the file ends where a tag header would begin, so that the read there has nothing left.
    Bytes bytes = row.flv.File();
    if (row.failsAtEnd) bytes.resize(bytes.size() - 4);
    ScriptedHost host({.file = {.bytes = bytes, .failsAtEnd = row.failsAtEnd}});
    ASSERT_TRUE(host.Open()) << row.name;
    host.GetFileHeader();
    EXPECT_EQ(row.fileHeader, host.log.Last("FileHeaderReady")) << row.name;
    EXPECT_EQ(0u, host.log.Count("SetAccessHint")) << row.name << ": there is no tail scan after an early end";
    host.GetStreamHeader(0);
    for (const auto& [name, value] : row.audio) {
      const bool none = std::string(value) == "no header";
      if (none)
        EXPECT_EQ("StreamHeaderReady 0x80040009 null", host.log.All().back()) << row.name;
      else
        EXPECT_EQ(value, host.StreamProperty(0, name)) << row.name << ", " << name;
    }
  }
}

struct PictureCase {
  const char* name;
  Bytes frame;
  const char* width;
  const char* height;
};

TEST(HeaderScan, FindsThePictureSizeInTheFirstFrames) {
  const Bytes vp6{0x14, 0x12, 0xAA, 0xBB, 0x12, 0x16};
  const auto cut = [](Bytes body, std::size_t size) {
    body.resize(size);
    return body;
  };
  Bytes wrongStart = SorensenBody(3);
  wrongStart[3] = static_cast<std::uint8_t>(wrongStart[3] ^ 0x80);
  const PictureCase cases[] = {
      {"Sorensen code 0", SorensenBody(0, 200, 99), "200", "99"},
      {"Sorensen code 1", SorensenBody(1, 1920, 1080), "1920", "1080"},
      {"Sorensen code 2", SorensenBody(2), "352", "288"},
      {"Sorensen code 3", SorensenBody(3), "176", "144"},
      {"Sorensen code 4", SorensenBody(4), "128", "96"},
      {"Sorensen code 5", SorensenBody(5), "320", "240"},
      {"Sorensen code 6", SorensenBody(6), "160", "120"},
      {"Sorensen code 7", SorensenBody(7), "absent", "absent"},
      {"Sorensen, wrong start code", wrongStart, "absent", "absent"},
      {"Sorensen, 9 bytes", cut(SorensenBody(1, 640, 480), 10), "640", "480"},
      {"Sorensen, 8 bytes", cut(SorensenBody(3), 9), "absent", "absent"},
      {"VP6", vp6, "351", "286"},
      {"VP6, 4 bytes", cut(vp6, 5), "absent", "absent"},
      {"VP6 with alpha is another codec", VideoBody(20, 0x15), "absent", "absent"},
      {"AVC", VideoBody(20, 0x17), "absent", "absent"},
  };
  for (const PictureCase& row : cases) {
    ScriptedHost host({.file = {.bytes = FlvBuilder(kVideo).Tag(9, 0, row.frame).Tag(9, 500, row.frame).File()}});
    ASSERT_TRUE(host.ReadHeaders()) << row.name;
    EXPECT_EQ(row.width, host.StreamProperty(0, "Width")) << row.name;
    EXPECT_EQ(row.height, host.StreamProperty(0, "Height")) << row.name;
  }
}

TEST(HeaderScan, AnUnknownPictureSize_IsLookedForInEveryFrame) {
  FlvBuilder flv(kVideo);
  flv.Tag(9, 0, SorensenBody(7)).Tag(9, 2000, SorensenBody(4)).Tag(9, 3000, SorensenBody(5));
  ScriptedHost host({.file = {.bytes = flv.File()}});
  ASSERT_TRUE(host.ReadHeaders());
  EXPECT_EQ("128", host.StreamProperty(0, "Width")) << "of the first frame that tells it";
}

TEST(HeaderScan, OfAvcWithoutMetadata_RunsToTheEndOfTheFile) {
  FlvBuilder flv(kVideo);
  for (std::uint32_t i = 0; i < 100; ++i) flv.Tag(9, i * 40, VideoBody(30, 0x17));
  ScriptedHost host({.file = {.bytes = flv.File()}});
  ASSERT_TRUE(host.ReadHeaders());
  EXPECT_EQ(101u, host.log.Count("Read(15)"));
  EXPECT_EQ("absent", host.StreamProperty(0, "Width"));
  EXPECT_EQ("10000", host.StreamProperty(0, "Duration"));
}

TEST(HeaderScan, TheAudioFormat_IsThatOfTheLastTagRead) {
  const struct {
    std::uint8_t first;
    const char* rate;
    const char* bits;
    const char* channels;
  } cases[] = {{0xAF, "44100", "16", "2"},
               {0x2A, "22050", "16", "1"},
               {0x00, "5512", "8", "1"},
               {0x05, "11025", "8", "2"},
               {0x5E, "44100", "16", "1"}};
  for (const auto& row : cases) {
    FlvBuilder flv(kAudio);
    flv.Tag(8, 0, AudioBody(20)).Tag(8, 6000, AudioBody(20, row.first));
    ScriptedHost host({.file = {.bytes = flv.File()}});
    ASSERT_TRUE(host.ReadHeaders());
    EXPECT_EQ(row.rate, host.StreamProperty(0, "SamplesPerSecond")) << Hex(row.first);
    EXPECT_EQ(row.bits, host.StreamProperty(0, "BitsPerSample")) << Hex(row.first);
    EXPECT_EQ(row.channels, host.StreamProperty(0, "Channels")) << Hex(row.first);
  }
}

}  // namespace
}  // namespace qbflv::test
