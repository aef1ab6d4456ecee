// Where a seek goes: the jump by the index, the scan over the tags, and the tag at which delivery restarts.
#include <gtest/gtest.h>

#include "tests/support/seek_script.h"

namespace qbflv::test {
namespace {

struct SeekCase {
  const char* name;
  FlvBuilder flv;
  /// The requests before the seek, as Run takes them.
  const char* before;
  std::uint32_t time;
  const char* walk;
  /// What each stream gets first after it, in the order of the streams.
  const char* first;
};

SeekOutcome SeekWith(HostScript script, Answers answers, const FlvBuilder& flv, const char* before,
                     std::uint32_t time) {
  script.file.bytes = flv.File();
  script.file.answers = answers;
  ScriptedHost host(script);
  EXPECT_TRUE(host.ReadHeaders());
  Run(host, before);
  host.log.Clear();
  EXPECT_EQ(kOk, host.Seek(time));
  return FinishSeek(host, flv);
}

void ExpectOutcome(const SeekCase& row, const HostScript& script = {}) {
  SCOPED_TRACE(row.name);
  const SeekOutcome outcome = SeekWith(script, Answers::kInline, row.flv, row.before, row.time);
  EXPECT_EQ(row.walk, outcome.walk);
  EXPECT_EQ(row.first, outcome.first);
  EXPECT_EQ(outcome, SeekWith(script, Answers::kLater, row.flv, row.before, row.time)) << "answered later";
}

TEST(Seek, WithoutAnIndex_ScansFromTheFirstTag_AndRestartsAtTheEarliestKeyPosition) {
  const SeekCase cases[] = {
      {"to 0", SeekFile(), "", 0, "@0 r @1 r @1 ok", "t0 t0"},
      {"to 0, the first tag is there", FlvBuilder(kVideo).Video(0, 20).Video(40, 20), "", 0, "@0 r @0 ok", "t0"},
      {"to 1", SeekFile(), "", 1, "@0 r @1 r @2 r @3 r @1 ok", "t0 t0"},
      {"between tags", SeekFile(), "", 250, "@0 r @1 r @2 r @3 r @4 r @5 r @6 r @7 r @5 ok", "t200 t200"},
      {"to a tag's own time", SeekFile(), "", 200, "@0 r @1 r @2 r @3 r @4 r @5 r @2 ok", "t100 t0"},
      {"audio is behind", TagsOf(kBoth, "a0 k0 a100 k100 k200 k300 a300"), "", 250,
       "@0 r @1 r @2 r @3 r @4 r @5 r @6 r @3 ok", "t100 t100"},
      {"audio alone", TagsOf(kAudio, "a0 a100 a200"), "", 150, "@0 r @1 r @2 r @3 r @2 ok", "t100"},
      {"video alone", TagsOf(kVideo, "k0 p100 k200 p300 p400"), "", 350, "@0 r @1 r @2 r @3 r @4 r @5 r @3 ok", "t200"},
      {"one stream begins after the time", TagsOf(kBoth, "a0 a100 a200 k200"), "", 50, "@0 r @1 r @2 r @1 ok",
       "t0 t200"},
      {"no key frame before the time", TagsOf(kVideo, "p0 p100 k200"), "", 150, "@0 r @1 r @2 r @3 r @3 ok", "t200"},
      {"past the last tag", SeekFile(), "", 99999,
       "@0 r @1 r @2 r @3 r @4 r @5 r @6 r @7 r @8 r @9 r @10 r @11 r @12 r @13 r ok", "done done"},
      {"to the last time there is", TagsOf(kVideo, "k0 p100"), "", 0xFFFFFFFF, "@0 r @1 r @2 r @3 r ok", "done"},
  };
  for (const SeekCase& row : cases) ExpectOutcome(row);
}

TEST(Seek, WithoutAPositionToRestartAt_EndsWithTheAnswerOfTheLastFileSeek) {
  const FlvBuilder flv = SeekFile();
  const Rule failure{
      .operation = "Seek(" + std::to_string(flv.Field(1)) + ")", .occurrence = 2, .status = kOutOfMemory};
  HostScript script;
  script.file.rules = {failure};
  for (const Answers answers : {Answers::kInline, Answers::kLater}) {
    const SeekOutcome outcome = SeekWith(script, answers, flv, "", 0);
    EXPECT_EQ("@0 r @1 r @1 0x8007000E", outcome.walk);
  }
}

TEST(Seek, OverUnusualTags_TakesThemAsTheyAre) {
  const SeekCase cases[] = {
      {"script data is passed over, whatever its time", TagsOf(kVideo, "k0 s900 p100 s0 p200"), "", 150,
       "@0 r @1 r @2 r @3 r @4 r @5 r @1 ok", "t0"},
      {"so is an unknown type", TagsOf(kVideo, "k0 x900 x50 p100 p200"), "", 150, "@0 r @1 r @2 r @3 r @4 r @5 r @1 ok",
       "t0"},
      {"audio without a body is a position", TagsOf(kAudio, "a0 b100 a200"), "", 150, "@0 r @1 r @2 r @3 r @2 ok",
       "t200"},
      {"video without a body is none", TagsOf(kVideo, "k0 q100 k200"), "", 150, "@0 r @1 r @2 r @3 r @1 ok", "t0"},
      {"a tag without a body ends the scan", TagsOf(kVideo, "k0 q100 k200"), "", 50, "@0 r @1 r @2 r @1 ok", "t0"},
      {"the first of equal times stays", TagsOf(kVideo, "k0 k100 k100 p200"), "", 150, "@0 r @1 r @2 r @3 r @4 r @2 ok",
       "t100"},
      {"so for audio", TagsOf(kAudio, "a0 a100 a100 a200"), "", 150, "@0 r @1 r @2 r @3 r @4 r @2 ok", "t100"},
      {"an earlier time does not replace a later one", TagsOf(kVideo, "k0 k200 k100 p300"), "", 250,
       "@0 r @1 r @2 r @3 r @4 r @2 ok", "t200"},
      {"the first tag past the time ends the scan, though earlier ones follow", TagsOf(kVideo, "k0 k300 k100 k200"), "",
       150, "@0 r @1 r @2 r @1 ok", "t0"},
      {"times count from the first tag", TagsOf(kBoth, "a5000 k5040 a5100 k5140 a5200"), "", 150,
       "@0 r @1 r @2 r @3 r @4 r @5 r @3 ok", "t5100 t5140"},
      {"a tag before the first one's time is past every time", TagsOf(kVideo, "k5000 k5100 k4900 k5200"), "", 150,
       "@0 r @1 r @2 r @3 r @2 ok", "t5100"},
      {"times use all their bits", TagsOf(kVideo, "k16777300 k16777400 k16777500"), "", 150,
       "@0 r @1 r @2 r @3 r @2 ok", "t16777400"},
      {"audio that the header denies is no position", TagsOf(kVideo, "k0 a50 a100 p200"), "", 150,
       "@0 r @1 r @2 r @3 r @4 r @1 ok", "t0"},
      {"but ends the scan", TagsOf(kVideo, "k0 k100 a200 k200"), "", 150, "@0 r @1 r @2 r @3 r @2 ok", "t100"},
      {"so does video", TagsOf(kAudio, "a0 k50 a100 k200 a300"), "", 150, "@0 r @1 r @2 r @3 r @4 r @3 ok", "t100"},
  };
  for (const SeekCase& row : cases) ExpectOutcome(row);
}

/// A script-data tag that brings the next tag to that offset.
FlvBuilder& FillTo(FlvBuilder& flv, std::uint32_t offset) {
  return flv.Tag(kScriptTag, 0, Bytes(offset - flv.Size() - 11, 5));
}

FlvBuilder WithKeyFrames(std::string_view tags, const std::vector<std::pair<double, std::size_t>>& frames) {
  const auto build = [&](const FlvBuilder* measured) {
    std::vector<double> times;
    std::vector<double> positions;
    for (const auto& [seconds, tag] : frames) {
      times.push_back(seconds);
      positions.push_back(measured != nullptr ? measured->Field(tag) + 4 : 0);
    }
    return TagsOf(kBoth, tags, {{"keyframes", amf::KeyFrames(times, positions)}});
  };
  const FlvBuilder measured = build(nullptr);
  return build(&measured);
}

TEST(Seek, WithAnIndex_ScansFromTheLatestPositionOfAnyStream) {
  constexpr std::string_view kTags = "a0 k0 a100 p100 k200 a200 a300 p300 a400 k400 a500 p500";
  FlvBuilder padded = TagsOf(kBoth, "a0 k0");
  FillTo(padded, 80000).Video(4000, 20);
  FillTo(padded, 90000).Audio(5000, 20).Audio(6000, 20).Video(6000, 20);
  FlvBuilder close = TagsOf(kVideo, "k0 k20 k40 p60 p200");
  FlvBuilder crossed = TagsOf(kBoth, "a0 k0 a100 a200 a300 k200 a400");
  const SeekCase cases[] = {
      {"from an earlier seek", SeekFile(), "250", 250, "@6 r @7 r @5 ok", "t200 t200"},
      {"from playing", SeekFile(), "play", 250, "@6 r @7 r @5 ok", "t200 t200"},
      {"to 0", SeekFile(), "play", 0, "@2 r @1 ok", "t0 t0"},
      {"to a position's own time", SeekFile(), "play", 200, "@6 r @5 ok", "t200 t200"},
      {"from the metadata", WithKeyFrames(kTags, {{0, 2}, {0.2, 5}, {0.4, 10}}), "", 250, "@5 r @6 r @7 r @5 ok",
       "t200 t200"},
      {"from the metadata, audio only behind it", WithKeyFrames(kTags, {{0, 2}, {0.2, 5}, {0.4, 10}}), "", 350,
       "@5 r @6 r @7 r @8 r @9 r @5 ok", "t200 t200"},
      {"from metadata that is out of order", WithKeyFrames(kTags, {{0.2, 5}, {0, 2}, {0.4, 10}}), "", 450,
       "@10 r @11 r @10 ok", "t500 t400"},
      {"from metadata that begins after the time", WithKeyFrames(kTags, {{0.4, 10}}), "", 150,
       "@0 r @1 r @2 r @3 r @4 r @5 r @2 ok", "t100 t0"},
      {"80 000 and 90 000 bytes into the file", padded, "5500", 5500, "@6 r @7 r @4 ok", "t5000 t4000"},
      {"beyond what was seen", SeekFile(), "250", 450, "@6 r @7 r @8 r @9 r @10 r @11 r @9 ok", "t400 t400"},
      {"beyond what one stream was seen up to", TagsOf(kBoth, "a0 k0 p100 p200 a300"), "150", 90, "@2 r @3 r @1 ok",
       "t0 t0"},
      {"before one stream begins", TagsOf(kBoth, "a0 a100 a200 k200 a300"), "250", 50, "@1 r @2 r @1 ok", "t0 t200"},
      {"past the last tag", SeekFile(), "play", 99999, "@11 r @12 r @13 r ok", "done done"},
      {"a position that is too close to be kept restarts all the same", close, "", 50, "@0 r @1 r @2 r @3 r @4 r @3 ok",
       "t40"},
      {"and the next time too", close, "50", 50, "@1 r @2 r @3 r @4 r @3 ok", "t40"},
      {"after a seek further back", SeekFile(), "450 0", 450, "@10 r @11 r @9 ok", "t400 t400"},
      {"the later offset has the earlier time", crossed, "play", 350, "@6 r @7 r @5 ok", "t300 t200"},
  };
  for (const SeekCase& row : cases) ExpectOutcome(row);
}

TEST(Seek, AfterTheStreamsWereDone_DeliversEveryPacketAgain) {
  const SeekOutcome outcome = SeekWith({}, Answers::kInline, SeekFile(), "play", 250);
  EXPECT_EQ("s0 t200 s1 t200 s0 t300 s1 t300 s0 t400 s1 t400 s0 t500 s0 done s1 t500 s1 done", outcome.delivered);
}

struct UnitsCase {
  const char* name;
  FlvBuilder flv;
  const char* before;
  /// With units but the modification disabled, and with it enabled.
  const char* disabled;
  const char* enabled;
};

/// A request for a few units is content with the latest position known. Where none is known, it goes to the start if
/// that is allowed.
TEST(SeekForAFewUnits, GoesToAKnownPosition_OrToTheStart) {
  const FlvBuilder audio = TagsOf(kAudio, "a0 a100 a200 a300 a400");
  const FlvBuilder video = TagsOf(kVideo, "k0 p100 k200 p300 k400");
  const FlvBuilder crossed = TagsOf(kBoth, "a0 k0 a100 a200 k100 a300 k300");
  const UnitsCase cases[] = {
      {"both, nothing known", SeekFile(), "", "@0 r @1 r @2 r @3 r @4 r @5 r @6 r @7 r @5 ok", "@0 r @1 r @0 ok"},
      {"both, all known", SeekFile(), "play", "@6 r @6 ok", "@6 r @6 ok"},
      {"audio, nothing known", audio, "", "@0 r @1 r @2 r @3 r @4 r @3 ok", "@0 r @1 r @1 ok"},
      {"audio, all known", audio, "play", "@3 r @3 ok", "@3 r @3 ok"},
      {"video, nothing known", video, "", "@0 r @1 r @2 r @3 r @4 r @3 ok", "@0 r @1 r @0 ok"},
      {"video, all known", video, "play", "@3 r @3 ok", "@3 r @3 ok"},
      {"video from its first tag", FlvBuilder(kVideo).Video(0, 20).Video(100, 20).Video(300, 20), "",
       "@0 r @1 r @2 r @1 ok", "@0 r @0 ok"},
      // The time of one stream's position and the offset of the other's: tag 5 stands there and is before that time.
      {"the later offset has the earlier time", crossed, "play", "@5 r @6 r @4 ok", "@5 r @6 r @4 ok"},
  };
  for (const UnitsCase& row : cases) {
    for (const char* preference : {"", "1", "0", "none of the digits"}) {
      HostScript script{.file = {}, .url = "http://h/?ProcessTimeUnits=2"};
      const std::string value = preference;
      if (!value.empty()) script.preferences = {{"DisableFLVThumbnailSeekModification", preference}};
      const bool enabled = value == "0" || value == "none of the digits";
      SCOPED_TRACE(std::string(row.name) + ", preference '" + value + "'");
      const SeekOutcome outcome = SeekWith(script, Answers::kInline, row.flv, row.before, 250);
      EXPECT_EQ(enabled ? row.enabled : row.disabled, outcome.walk);
      EXPECT_EQ(outcome, SeekWith(script, Answers::kLater, row.flv, row.before, 250)) << "answered later";
      // Without units the preference means nothing.
      script.url = "http://h/";
      EXPECT_EQ(SeekWith({}, Answers::kInline, row.flv, row.before, 250),
                SeekWith(script, Answers::kInline, row.flv, row.before, 250));
    }
  }
}

TEST(SeekForAFewUnits, CountsThemAnew) {
  const HostScript script{.file = {}, .url = "http://h/?ProcessTimeUnits=2"};
  EXPECT_EQ("s0 t200 s0 t300 s0 done s1 t300 s1 t400 s1 done",
            SeekWith(script, Answers::kInline, SeekFile(), "play", 250).delivered);
  EXPECT_EQ("s0 t0 s1 t0 s0 t100 s0 done s1 t100 s1 done",
            SeekWith(script, Answers::kLater, SeekFile(), "play 450 play", 0).delivered);
}

}  // namespace
}  // namespace qbflv::test
