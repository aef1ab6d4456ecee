// InitFileFormat and what follows it up to the sink's InitDone: the chain of operations, its failures, and the settings
// that are taken from the request and the preferences.
#include <gtest/gtest.h>

#include "host/buffer.h"
#include "tests/support/scripted_host.h"

namespace qbflv::test {
namespace {

using Lines = CallLog::Lines;

TEST(InitFileFormat, WithoutContextOrArgument_IsRefusedWithoutEffect) {
  ScriptedHost host({.file = {.bytes = SmallFile().File()}});
  EXPECT_EQ(kInvalidState, host.InitFileFormat()) << "before InitPlugin";
  host.InitPlugin();
  EXPECT_EQ(kInvalidState, host.format->InitFileFormat(nullptr, host.sink.Get(), host.file.Get()));
  EXPECT_EQ(kInvalidState, host.format->InitFileFormat(host.request.Get(), nullptr, host.file.Get()));
  EXPECT_EQ(kInvalidState, host.format->InitFileFormat(host.request.Get(), host.sink.Get(), nullptr));
  EXPECT_EQ(Lines{}, host.log.All());
}

TEST(InitFileFormat, WithoutHeadersOrUrlOrFactory_IsInvalidState) {
  const struct {
    const char* name;
    void (*arrange)(ScriptedHost&);
  } cases[] = {{"headers fail", [](ScriptedHost& host) { host.request->headersStatus = kFailed; }},
               {"headers are null", [](ScriptedHost& host) { host.request->hasHeaders = false; }},
               {"the URL fails", [](ScriptedHost& host) { host.request->urlStatus = kOutOfMemory; }},
               {"the URL is null", [](ScriptedHost& host) { host.request->hasUrl = false; }},
               {"no option list can be made",
                [](ScriptedHost& host) { host.factory->Refuse(IQBPropertyList::kId, 1, kOutOfMemory); }},
               {"the context has no factory", [](ScriptedHost& host) {
                  host.context = host::MakeObject<host::Context>(nullptr, host.preferences.Query<IQBPreferences>());
                }}};
  for (const auto& row : cases) {
    ScriptedHost host({.file = {.bytes = SmallFile().File()}});
    row.arrange(host);
    host.InitPlugin();
    EXPECT_EQ(Hex(kInvalidState), Hex(host.InitFileFormat())) << row.name;
    EXPECT_EQ(Lines{}, host.log.All()) << row.name;
  }
}

TEST(InitFileFormat, AnswersWhatTheFilesInitAnswers) {
  for (const Status status : {kFailed, kOutOfMemory, Status{1}}) {
    ScriptedHost host(
        {.file = {.bytes = SmallFile().File(), .rules = {{.operation = "Init(5)", .silent = true, .result = status}}}});
    host.InitPlugin();
    EXPECT_EQ(Hex(status), Hex(host.InitFileFormat()));
    EXPECT_EQ(Lines{"Init(5)"}, host.log.All());
  }
}

Bytes WithByte(Bytes bytes, std::size_t at, std::uint8_t value) {
  bytes.at(at) = value;
  return bytes;
}

struct OpeningCase {
  const char* name;
  FileScript file;
  Lines expected;
};

class Opening : public testing::TestWithParam<OpeningCase> {};

TEST_P(Opening, GoesThroughItsChainAndTellsTheSink) {
  for (const Answers answers : {Answers::kInline, Answers::kLater}) {
    HostScript script{.file = GetParam().file};
    script.file.answers = answers;
    ScriptedHost host(script);
    host.Open();
    EXPECT_EQ(GetParam().expected, host.log.All());
    const bool opened = GetParam().expected.back() == "InitDone 0x00000000";
    EXPECT_EQ(opened ? kOk : kInvalidState, host.GetFileHeader());
    if (!opened) {
      // The object is ready for another file.
      const std::size_t before = host.log.Size();
      host.file = host.MakeFile({.bytes = SmallFile().File(), .answers = answers});
      EXPECT_EQ(kOk, host.InitFileFormat());
      EXPECT_EQ((Lines{"Init(5)", "Seek(0)", "Read(9)", "Stat", "InitDone 0x00000000"}), host.log.From(before));
    }
  }
}

const Bytes kSmall = SmallFile().File();
const Lines kWholeChain{"Init(5)", "Seek(0)", "Read(9)", "Stat", "InitDone 0x00000000"};
const Lines kWithoutStat{"Init(5)", "Seek(0)", "Read(9)", "InitDone 0x00000000"};
const Lines kBadHeader{"Init(5)", "Seek(0)", "Read(9)", "InitDone 0x80004005"};

INSTANTIATE_TEST_SUITE_P(
    Chains, Opening,
    testing::Values(OpeningCase{"Whole", {.bytes = kSmall}, kWholeChain},
                    OpeningCase{"NoStat", {.bytes = kSmall, .stat = Stat::kAbsent}, kWithoutStat},
                    OpeningCase{"FailedStat", {.bytes = kSmall, .stat = Stat::kFailing}, kWholeChain},
                    OpeningCase{"FailedInit",
                                {.bytes = kSmall, .rules = {{"Init(5)", 0, kOutOfMemory}}},
                                {"Init(5)", "InitDone 0x8007000E"}},
                    OpeningCase{"FailedSeek",
                                {.bytes = kSmall, .rules = {{"Seek(0)", 0, kNotImplemented}}},
                                {"Init(5)", "Seek(0)", "InitDone 0x80004001"}},
                    OpeningCase{"FailedRead",
                                {.bytes = kSmall, .rules = {{"Read(9)", 0, kInvalidArgument}}},
                                {"Init(5)", "Seek(0)", "Read(9)", "InitDone 0x80070057"}},
                    OpeningCase{"ShortHeader", {.bytes = {'F', 'L', 'V', 1, 5, 0, 0, 0}}, kWholeChain},
                    OpeningCase{"ShortHeaderOfAnotherKind", {.bytes = {'R', 'I', 'F', 'F'}}, kWholeChain},
                    OpeningCase{"EmptyFile", {.bytes = {}}, kWholeChain},
                    OpeningCase{"FirstSignatureByte", {.bytes = WithByte(kSmall, 0, 'f')}, kBadHeader},
                    OpeningCase{"SecondSignatureByte", {.bytes = WithByte(kSmall, 1, 'l')}, kBadHeader},
                    OpeningCase{"ThirdSignatureByte", {.bytes = WithByte(kSmall, 2, 'W')}, kBadHeader},
                    OpeningCase{"Version0", {.bytes = WithByte(kSmall, 3, 0)}, kWholeChain},
                    OpeningCase{"Version200", {.bytes = WithByte(kSmall, 3, 200)}, kWholeChain}),
    [](const testing::TestParamInfo<OpeningCase>& row) { return std::string(row.param.name); });

TEST(GetFileHeader, FromAnotherPositionThanTheFirstTag_SeeksThere) {
  const struct {
    const char* name;
    FileScript file;
    const char* first;
  } cases[] = {{"the tags begin behind the header", {.bytes = kSmall}, "Read(15)"},
               {"the tags begin later", {.bytes = FlvBuilder(kBoth, 13).File()}, "Seek(13)"},
               {"the tags begin inside the header", {.bytes = WithByte(kSmall, 8, 5)}, "Seek(5)"},
               {"an offset of 32 bits", {.bytes = WithByte(kSmall, 5, 0xF0)}, "Seek(4026531849)"},
               {"a short header leaves the offset 0", {.bytes = {'F', 'L', 'V'}}, "Seek(0)"}};
  for (const auto& row : cases) {
    ScriptedHost host({.file = row.file});
    ASSERT_TRUE(host.Open()) << row.name;
    const std::size_t before = host.log.Size();
    EXPECT_EQ(kOk, host.GetFileHeader());
    EXPECT_EQ(row.first, host.log.From(before).front()) << row.name;
  }
}

/// Ten audio packets, of a file whose end is not known beforehand.
FileScript TenPackets() {
  FlvBuilder audio(kAudio);
  audio.Metadata(amf::MixedArray({{"audiodatarate", amf::Number(64)}}));
  for (std::uint32_t i = 0; i < 10; ++i) audio.Audio(i * 20, 10);
  return {.bytes = audio.File(), .stat = Stat::kAbsent};
}

struct UnitsCase {
  const char* name;
  const char* url;
  void (*setHeader)(host::PropertyList&);
  std::size_t packets;
  const char* ignoreUrlOptions = nullptr;
};

void NoHeader(host::PropertyList&) {}
void Number2(host::PropertyList& headers) { static_cast<void>(headers.SetULONG32("ProcessTimeUnits", 2)); }
void Text(host::PropertyList& headers, const char* text) {
  static_cast<void>(headers.SetText("ProcessTimeUnits", text));
}

TEST(ProcessTimeUnits, IsTakenFromTheUrlOrElseTheHeaders_AndOnlyAsANumber) {
  const UnitsCase cases[] = {
      {"nowhere", "http://host/clip.flv", NoHeader, 10},
      {"URL", "http://host/clip.flv?ProcessTimeUnits=3", NoHeader, 3},
      {"file URL", "file:///clip.flv?a=b&ProcessTimeUnits=3", NoHeader, 3},
      {"URL before the header", "http://host/clip.flv?ProcessTimeUnits=3", Number2, 3},
      {"a text in the URL hides the header", "http://host/clip.flv?ProcessTimeUnits=x", Number2, 10},
      {"a quoted number is a text", R"(http://host/clip.flv?ProcessTimeUnits="3")", Number2, 10},
      {"an empty option is 0, and hides the header", "http://host/clip.flv?ProcessTimeUnits", Number2, 10},
      {"0 is no limit", "http://host/clip.flv?ProcessTimeUnits=0", Number2, 10},
      {"header beside another option", "http://host/clip.flv?start=1", Number2, 2},
      {"header with an opaque URL", "http:clip.flv?ProcessTimeUnits=3", Number2, 2},
      {"header with a URL without a scheme", "clip.flv?ProcessTimeUnits=3", Number2, 2},
      {"URL options ignored", "http://host/clip.flv?ProcessTimeUnits=3", Number2, 2, "1"},
      {"URL options not ignored", "http://host/clip.flv?ProcessTimeUnits=3", Number2, 3, "0"},
      {"header as digits", "http://host/", [](host::PropertyList& headers) { Text(headers, "4"); }, 4},
      {"header as no digits", "http://host/", [](host::PropertyList& headers) { Text(headers, ""); }, 10},
      {"header as a text", "http://host/", [](host::PropertyList& headers) { Text(headers, "4 "); }, 10},
      {"header as a signed number", "http://host/", [](host::PropertyList& headers) { Text(headers, "-4"); }, 10},
      {"header as bytes", "http://host/",
       [](host::PropertyList& headers) {
         static_cast<void>(headers.SetBuffer("ProcessTimeUnits", host::MakeTextBuffer("4").Get()));
       },
       10},
  };
  for (const UnitsCase& row : cases) {
    HostScript script{.file = TenPackets(), .url = row.url};
    if (row.ignoreUrlOptions != nullptr) script.preferences.emplace_back("IgnoreURLOptions", row.ignoreUrlOptions);
    ScriptedHost host(script);
    row.setHeader(host.request->Headers());
    host.Play();
    EXPECT_EQ(row.packets, host.log.Count("PacketReady")) << row.name;
    EXPECT_EQ(1u, host.log.Count("StreamDone")) << row.name;
  }
}

TEST(ProcessTimeUnits, OfAnEarlierFile_StaysUnlessANumberIsFound) {
  ScriptedHost host({.file = TenPackets(), .url = "http://host/clip.flv?ProcessTimeUnits=3"});
  host.Play();
  EXPECT_EQ(3u, host.log.Count("PacketReady"));
  host.request = host::MakeObject<ScriptedRequest>("http://host/clip.flv");
  host.file = host.MakeFile(TenPackets());
  host.log.Clear();
  host.Play();
  EXPECT_EQ(3u, host.log.Count("PacketReady"));
}

TEST(AcceptMetaInfo, OnlyALoneStarAcceptsAll) {
  const struct {
    const char* name;
    std::vector<const char*> values;  // of one file after the other; null for no header
    bool acceptsAll;
  } cases[] = {{"absent", {nullptr}, false},
               {"star", {"*"}, true},
               {"star and space", {"* "}, false},
               {"names", {"title, width;duration"}, false},
               {"empty", {""}, false},
               {"only separators", {" ,;\t\r\n"}, false},
               {"names after a star", {"*", "title"}, false},
               {"nothing but separators keeps the star", {"*", " ;"}, true},
               {"star after names", {"title", "*"}, true}};
  FlvBuilder builder(kBoth);
  builder.Metadata(QuickMetadata({{"creator", amf::String("me")}})).Audio(0, 10).Video(0, 20);
  for (const auto& row : cases) {
    ScriptedHost host({.file = {.bytes = builder.File()}});
    for (const char* const value : row.values) {
      host.request = host::MakeObject<ScriptedRequest>("http://host/clip.flv");
      if (value != nullptr) static_cast<void>(host.request->Headers().SetText("AcceptMetaInfo", value));
      host.file = host.MakeFile({.bytes = builder.File()});
      ASSERT_TRUE(host.ReadHeaders()) << row.name;
    }
    EXPECT_EQ(row.acceptsAll ? "'me'/3" : "absent", host.FileProperty("Creator")) << row.name;
    EXPECT_EQ(row.acceptsAll ? "64000" : "absent", host.StreamProperty(0, "SrcBitRate")) << row.name;
    EXPECT_EQ(row.acceptsAll ? "320" : "absent", host.StreamProperty(1, "SrcWidth")) << row.name;
  }
}

TEST(InitFileFormat, OnASecondFile_ForgetsTheFirst) {
  // The first file tells everything in its metadata; the second has none, and must be described by its own tags alone.
  FlvBuilder rich(kBoth);
  rich.Metadata(QuickMetadata({{"title", amf::String("First")}, {"duration", amf::Number(77)}})).Audio(500, 10);
  rich.Video(500, 20);
  FlvBuilder plain(kVideo);
  for (std::uint32_t i = 0; i < 30; ++i) plain.Video(100 + i * 40, 30);

  ScriptedHost fresh({.file = {.bytes = plain.File()}});
  fresh.Play();
  for (const Answers answers : {Answers::kInline, Answers::kLater}) {
    ScriptedHost host({.file = {.bytes = rich.File(), .answers = answers}});
    host.Play();
    host.file = host.MakeFile({.bytes = plain.File(), .answers = answers});
    host.log.Clear();
    host.Play();
    EXPECT_EQ(fresh.log.All(), host.log.All());
  }
}

}  // namespace
}  // namespace qbflv::test
