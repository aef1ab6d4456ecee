// The header scan: which tags it reads, when it has seen enough, what it makes of them, and how it fails.
#include <gtest/gtest.h>

#include "tests/support/scripted_host.h"

namespace qbflv::test {
namespace {

using Lines = CallLog::Lines;

constexpr char kMalformed[] = "FileHeaderReady 0x80004005 null";

/// Metadata for one stream, so that the scan needs only a tag of it.
Bytes AudioMetadata() { return amf::MixedArray({{"audiodatarate", amf::Number(64)}}); }
Bytes VideoMetadata() {
  return amf::MixedArray({{"width", amf::Number(320)}, {"height", amf::Number(240)}, {"framerate", amf::Number(25)}});
}

FlvBuilder Tags(std::uint8_t type, FlvBuilder flv, std::initializer_list<std::uint32_t> times) {
  for (const std::uint32_t time : times) type == kAudioTag ? flv.Audio(time, 20) : flv.Video(time, 20);
  return flv;
}

TEST(HeaderScan, EndsAtTheTagThatCompletesIt) {
  const FlvBuilder audio = FlvBuilder(kAudio).Metadata(AudioMetadata());
  const FlvBuilder video = FlvBuilder(kVideo).Metadata(VideoMetadata());
  const Bytes both = QuickMetadata();
  const struct {
    const char* name;
    FlvBuilder flv;
    /// The tags that the scan reads before it asks for the access hint.
    std::size_t tags;
  } cases[] = {
      {"metadata for both", FlvBuilder(kBoth).Metadata(both).Audio(0, 9).Audio(20, 9).Video(0, 20).Video(40, 20), 4},
      {"metadata after the tags", FlvBuilder(kBoth).Audio(0, 9).Video(0, 20).Metadata(both).Video(40, 20), 3},
      {"a tag of audio is needed all the same", FlvBuilder(audio).Metadata(AudioMetadata()).Audio(0, 9).Audio(9, 9), 3},
      {"999 ms of video", Tags(kVideoTag, FlvBuilder(kVideo), {100, 600, 1099, 1200, 1300}), 4},
      {"1000 ms of video", Tags(kVideoTag, FlvBuilder(kVideo), {100, 600, 1100, 1200, 1300}), 3},
      {"5000 ms of audio", Tags(kAudioTag, FlvBuilder(kAudio), {100, 5100, 5200}), 3},
      {"5001 ms of audio", Tags(kAudioTag, FlvBuilder(kAudio), {100, 5101, 5200}), 2},
      {"an announced stream only", FlvBuilder(video).Audio(0, 20).Video(0, 20).Video(9, 20), 3},
      {"audio without a byte after its header", FlvBuilder(audio).Audio(0, 1).Audio(5, 2).Audio(9, 2), 3},
      {"AAC without a byte after its header",
       FlvBuilder(audio).Tag(8, 0, {0xAF, 0}).Tag(8, 0, {0xAF, 1, 7}).Audio(9, 2), 3},
      {"video without a byte after its header", FlvBuilder(video).Tag(9, 0, {0x12}).Tag(9, 0, {0x12, 0}).Video(9, 20),
       3},
      {"AVC without a byte after its header",
       FlvBuilder(video).Tag(9, 0, {0x17, 1, 0, 0, 0}).Tag(9, 0, {0x17, 1, 0, 0}).Video(9, 20), 3},
      {"no stream announced", FlvBuilder(0).Audio(0, 20).Video(0, 20), 1}};
  for (const auto& row : cases) {
    ScriptedHost host({.file = {.bytes = row.flv.File(), .accessHint = kPrefersLinearAccess}});
    host.OpenAndReadFileHeader();
    EXPECT_EQ(row.tags, host.log.Count("Read(15)")) << row.name;
    EXPECT_EQ(1U, host.log.Count("SetAccessHint(1)")) << row.name;
    EXPECT_EQ("Seek(9)", host.log.Last("Seek")) << row.name;
  }
}

/// A file that is over before the scan is complete, on hosts where the read there fails or comes short.
TEST(HeaderScan, AtTheEndOfTheFile_TakesWhatTheReadThereAllows) {
  constexpr char kOneStream[] = "FileHeaderReady 0x00000000 {StreamCount=1}";
  constexpr char kTwoStreams[] = "FileHeaderReady 0x00000000 {StreamCount=2}";
  const FlvBuilder audio = FlvBuilder(kAudio).Audio(0, 51).Audio(100, 51).Audio(200, 51);
  const Bytes avc = VideoBody(20, 0x17);
  const struct {
    const char* name;
    FlvBuilder flv;
    const char* fileHeader;
    bool failsAtEnd = true;
    /// Of audio; null for no header.
    const char* bitRate = nullptr;
    const char* duration = nullptr;
  } cases[] = {{"audio, short read", audio, kOneStream, false},
               // 150 bytes; 300 ms, as the last tag is taken to be as long as the one before it.
               {"audio", audio, kOneStream, true, "4000", "300"},
               // The first time is subtracted once more than it is in: hosts see the result, modulo 2^32.
               {"audio from 1000 ms on", FlvBuilder(kAudio).Audio(1000, 51).Audio(1100, 51).Audio(1200, 51), kOneStream,
                true, "0", "4294966596"},
               {"audio, one tag", FlvBuilder(kAudio).Audio(0, 51), kMalformed},
               {"audio, first time equals the sum", FlvBuilder(kAudio).Audio(200, 51).Audio(300, 51), kMalformed},
               {"no audio tag", FlvBuilder(kAudio).Video(0, 20), kMalformed},
               {"audio without data", FlvBuilder(kAudio).Audio(0, 1).Audio(100, 1), kMalformed},
               {"AAC without data", FlvBuilder(kAudio).Tag(8, 0, {0xAF, 0}).Tag(8, 100, {0xAF, 1}), kMalformed},
               {"video", FlvBuilder(kVideo).Video(0, 20).Video(40, 20), kMalformed},
               {"both, video unknown", FlvBuilder(kBoth).Audio(0, 51).Audio(100, 51).Tag(9, 0, avc), kMalformed},
               {"both, video known", FlvBuilder(kBoth).Audio(0, 51).Audio(100, 51).Video(0, 20), kTwoStreams, true,
                "4000", "200"},
               {"nothing, short read", FlvBuilder(kBoth), kTwoStreams, false}};
  for (const auto& row : cases) {
    // Without its last field the file ends where a tag header would begin, so that the read there has nothing left.
    Bytes bytes = row.flv.File();
    if (row.failsAtEnd) bytes.resize(bytes.size() - 4);
    ScriptedHost host({.file = {.bytes = bytes, .failsAtEnd = row.failsAtEnd}});
    ASSERT_TRUE(host.Open()) << row.name;
    host.GetFileHeader();
    EXPECT_EQ(row.fileHeader, host.log.Last("FileHeaderReady")) << row.name;
    EXPECT_EQ(0U, host.log.Count("SetAccessHint")) << row.name << ": there is no tail scan after an early end";
    if (host.StreamCount() == 0) continue;
    host.GetStreamHeader(0);
    EXPECT_EQ(row.bitRate == nullptr ? "no list" : row.bitRate, host.StreamProperty(0, "AvgBitRate")) << row.name;
    EXPECT_EQ(row.duration == nullptr ? "no list" : row.duration, host.StreamProperty(0, "Duration")) << row.name;
  }
}

TEST(HeaderScan, OfATagWhoseBodyIsCut_Fails) {
  Bytes bytes = FlvBuilder(kBoth).Audio(0, 51).Audio(100, 51).File();
  bytes.resize(bytes.size() - 5);
  ScriptedHost host({.file = {.bytes = bytes}});
  EXPECT_FALSE(host.OpenAndReadFileHeader());
  EXPECT_EQ(kMalformed, host.log.Last("FileHeaderReady"));
}

TEST(HeaderScan, FindsThePictureSizeInTheFirstFrameThatTellsIt) {
  const Bytes vp6{0x14, 0x12, 0xAA, 0xBB, 0x12, 0x16};
  const auto cut = [](Bytes body, std::size_t size) {
    body.resize(size);
    return body;
  };
  Bytes wrongStart = SorensenBody(3);
  wrongStart[3] = static_cast<std::uint8_t>(wrongStart[3] ^ 0x80U);
  const struct {
    const char* name;
    std::vector<Bytes> frames;
    const char* width;
    const char* height;
  } cases[] = {{"Sorensen code 0", {SorensenBody(0, 200, 99)}, "200", "99"},
               {"Sorensen code 1", {SorensenBody(1, 1920, 1080)}, "1920", "1080"},
               {"Sorensen code 2", {SorensenBody(2)}, "352", "288"},
               {"Sorensen code 3", {SorensenBody(3)}, "176", "144"},
               {"Sorensen code 4", {SorensenBody(4)}, "128", "96"},
               {"Sorensen code 5", {SorensenBody(5)}, "320", "240"},
               {"Sorensen code 6", {SorensenBody(6)}, "160", "120"},
               {"Sorensen code 7", {SorensenBody(7)}, "absent", "absent"},
               {"Sorensen, wrong start code", {wrongStart}, "absent", "absent"},
               {"Sorensen, 9 bytes", {cut(SorensenBody(1, 640, 480), 10)}, "640", "480"},
               {"Sorensen, 8 bytes", {cut(SorensenBody(3), 9)}, "absent", "absent"},
               {"VP6", {vp6}, "351", "286"},
               {"VP6, 4 bytes", {cut(vp6, 5)}, "absent", "absent"},
               {"VP6 with alpha is another codec", {VideoBody(20, 0x15)}, "absent", "absent"},
               {"AVC", {VideoBody(20, 0x17)}, "absent", "absent"},
               {"the second frame", {SorensenBody(7), SorensenBody(4), SorensenBody(5)}, "128", "96"}};
  for (const auto& row : cases) {
    FlvBuilder flv(kVideo);
    std::uint32_t time = 0;
    for (const Bytes& frame : row.frames) flv.Tag(9, std::exchange(time, time + 2000), frame);
    ScriptedHost host({.file = {.bytes = flv.File()}});
    ASSERT_TRUE(host.ReadHeaders()) << row.name;
    EXPECT_EQ(row.width, host.StreamProperty(0, "Width")) << row.name;
    EXPECT_EQ(row.height, host.StreamProperty(0, "Height")) << row.name;
  }
}

TEST(HeaderScan, TakesTheAudioFormatOfTheLastTagThatItReads) {
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
    flv.Tag(8, 0, AudioBody(101)).Tag(8, 5500, AudioBody(20, row.first));
    ScriptedHost host({.file = {.bytes = flv.File()}});
    ASSERT_TRUE(host.ReadHeaders());
    EXPECT_EQ(row.rate, host.StreamProperty(0, "SamplesPerSecond")) << Hex(row.first);
    EXPECT_EQ(row.bits, host.StreamProperty(0, "BitsPerSample")) << Hex(row.first);
    EXPECT_EQ(row.channels, host.StreamProperty(0, "Channels")) << Hex(row.first);
    // 100 bytes in 5500 ms: the tag that ends the measurement is not counted.
    EXPECT_EQ("145", host.StreamProperty(0, "AvgBitRate")) << Hex(row.first);
  }
}

}  // namespace
}  // namespace qbflv::test
