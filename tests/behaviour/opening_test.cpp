// InitFileFormat and what follows it up to InitDone: the chain of operations, its failures, and the settings that are
// taken from the request and the preferences. And that nothing is opened inside the last release.
#include <gtest/gtest.h>

#include "tests/support/scripted_host.h"

namespace qbflv::test {
namespace {

using Lines = CallLog::Lines;

const Bytes kSmall = SmallFile().File();

TEST(InitFileFormat, WithoutContextOrArgument_IsRefusedWithoutEffect) {
  ScriptedHost host({.file = {.bytes = kSmall}});
  EXPECT_EQ(kInvalidState, host.InitFileFormat()) << "before InitPlugin";
  host.InitPlugin();
  EXPECT_EQ(kInvalidState, host.format->InitFileFormat(nullptr, host.sink.Get(), host.file.Get()));
  EXPECT_EQ(kInvalidState, host.format->InitFileFormat(host.request.Get(), nullptr, host.file.Get()));
  EXPECT_EQ(kInvalidState, host.format->InitFileFormat(host.request.Get(), host.sink.Get(), nullptr));
  EXPECT_EQ(Lines{}, host.log.All());
}

TEST(InitPlugin, WhileAFileIsOpen_EndsItsDelivery) {
  ScriptedHost host({.file = {.bytes = kSmall}});
  ASSERT_TRUE(host.ReadHeaders());
  EXPECT_EQ(kOk, host.InitPlugin());
  host.log.Clear();
  EXPECT_EQ(kOk, host.GetPacket(0));
  EXPECT_EQ(Lines{}, host.log.All());
}

Bytes WithByte(Bytes bytes, std::size_t at, std::uint8_t value) {
  bytes.at(at) = value;
  return bytes;
}

TEST(Opening, GoesThroughItsChainAndTellsTheSink) {
  const Lines whole{"Init(5)", "Seek(0)", "Read(9)", "Stat", "InitDone 0x00000000"};
  const Lines badHeader{"Init(5)", "Seek(0)", "Read(9)", "InitDone 0x80004005"};
  const struct {
    const char* name;
    FileScript file;
    Lines expected;
  } cases[] = {
      {"whole", {.bytes = kSmall}, whole},
      {"no stat", {.bytes = kSmall, .stat = Stat::kAbsent}, {"Init(5)", "Seek(0)", "Read(9)", "InitDone 0x00000000"}},
      {"failed stat", {.bytes = kSmall, .stat = Stat::kFailing}, whole},
      {"stat refused",
       {.bytes = kSmall, .rules = {{.operation = "Stat", .silent = true, .result = kNotImplemented}}},
       {"Init(5)", "Seek(0)", "Read(9)", "Stat", "InitDone 0x80004001"}},
      {"failed init", {.bytes = kSmall, .rules = {{"Init(5)", 0, kOutOfMemory}}}, {"Init(5)", "InitDone 0x8007000E"}},
      {"failed seek",
       {.bytes = kSmall, .rules = {{"Seek(0)", 0, kNotImplemented}}},
       {"Init(5)", "Seek(0)", "InitDone 0x80004001"}},
      {"failed read",
       {.bytes = kSmall, .rules = {{"Read(9)", 0, kInvalidArgument}}},
       {"Init(5)", "Seek(0)", "Read(9)", "InitDone 0x80070057"}},
      {"8 bytes", {.bytes = {kSmall.begin(), kSmall.begin() + 8}}, whole},
      {"first byte of the signature", {.bytes = WithByte(kSmall, 0, 'f')}, badHeader},
      {"second byte of the signature", {.bytes = WithByte(kSmall, 1, 'l')}, badHeader},
      {"third byte of the signature", {.bytes = WithByte(kSmall, 2, 'W')}, badHeader},
      {"version 0", {.bytes = WithByte(kSmall, 3, 0)}, whole}};
  for (const auto& row : cases) {
    for (const Completes completes : {Completes::kInline, Completes::kLater}) {
      SCOPED_TRACE(row.name);
      HostScript script{.file = row.file};
      script.file.completes = completes;
      ScriptedHost host(script);
      const bool opens = row.expected.back() == "InitDone 0x00000000";
      EXPECT_EQ(opens, host.Open());
      EXPECT_EQ(row.expected, host.log.All());
      host.log.Clear();
      EXPECT_EQ(opens ? kOk : kInvalidState, host.GetFileHeader());
      // A header that is cut short leaves the offset of the first tag 0.
      const std::string first = row.file.bytes.size() < 9 ? "Seek(0)" : "Read(15)";
      EXPECT_EQ(opens ? first : "", host.log.All().empty() ? "" : host.log.All().front());
      // Whatever became of it, the object is ready for another file.
      host.log.Clear();
      host.UseFile({.bytes = kSmall, .completes = completes});
      EXPECT_EQ(kOk, host.InitFileFormat());
      EXPECT_EQ(whole, host.log.All());
    }
  }
}

/// Ten audio packets, of a file whose end is not known beforehand.
FileScript TenPackets() {
  FlvBuilder audio(kAudio);
  audio.Metadata(amf::MixedArray({{"audiodatarate", amf::Number(64)}}));
  for (std::uint32_t i = 0; i < 10; ++i) audio.Audio(i * 20, 10);
  return {.bytes = audio.File(), .stat = Stat::kAbsent};
}

TEST(ProcessTimeUnits, IsTakenFromTheUrlOrElseTheHeaders_AndOnlyAsANumber) {
  constexpr char kNumber[] = "a number: 2";
  constexpr char kBytes[] = "bytes: 4";
  const struct {
    const char* url;
    /// A text, a number or bytes; null for none.
    const char* header;
    std::size_t packets;
    const char* ignoreUrlOptions = "0";
  } cases[] = {{"http://host/clip.flv", nullptr, 10},
               {"file:///clip.flv?a=b&ProcessTimeUnits=3", nullptr, 3},
               {"http://host/clip.flv?ProcessTimeUnits=3", kNumber, 3},
               {"http://host/clip.flv?ProcessTimeUnits=x", kNumber, 10},
               {R"(http://host/clip.flv?ProcessTimeUnits="3")", kNumber, 10},
               {"http://host/clip.flv?ProcessTimeUnits", kNumber, 10},
               {"http://host/clip.flv?ProcessTimeUnits=0", kNumber, 10},
               {"http://host/clip.flv?start=1", kNumber, 2},
               {"http:clip.flv?ProcessTimeUnits=3", kNumber, 2},
               {"http://host/clip.flv?ProcessTimeUnits=3", kNumber, 2, "1"},
               {"http://host/", "4", 4},
               {"http://host/", "", 10},
               {"http://host/", "4 ", 10},
               {"http://host/", kBytes, 10}};
  for (const auto& row : cases) {
    SCOPED_TRACE(std::string(row.url) + ", header " + (row.header == nullptr ? "absent" : row.header));
    ScriptedHost host(
        {.file = TenPackets(), .url = row.url, .preferences = {{"IgnoreURLOptions", row.ignoreUrlOptions}}});
    host::PropertyList& headers = host.request->Headers();
    if (row.header == kNumber) {
      static_cast<void>(headers.SetULONG32("ProcessTimeUnits", 2));
    } else if (row.header == kBytes) {
      static_cast<void>(headers.SetBuffer("ProcessTimeUnits", host::MakeTextBuffer("4").Get()));
    } else if (row.header != nullptr) {
      static_cast<void>(headers.SetText("ProcessTimeUnits", row.header));
    }
    host.Play();
    EXPECT_EQ(row.packets, host.log.Count("PacketReady"));
    EXPECT_EQ(1U, host.log.Count("StreamDone"));
  }
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
               {"names after a star", {"*", "title"}, false},
               {"nothing but separators keeps the star", {"*", " ;"}, true},
               {"star after names", {"title", "*"}, true}};
  FlvBuilder builder(kBoth);
  builder.Metadata(QuickMetadata({{"creator", amf::String("me")}})).Audio(0, 10).Video(0, 20);
  for (const auto& row : cases) {
    ScriptedHost host({.file = {.bytes = builder.File()}});
    for (const char* const value : row.values) {
      host.UseRequest("http://host/clip.flv");
      if (value != nullptr) static_cast<void>(host.request->Headers().SetText("AcceptMetaInfo", value));
      host.UseFile({.bytes = builder.File()});
      ASSERT_TRUE(host.ReadHeaders()) << row.name;
    }
    EXPECT_EQ(row.acceptsAll ? "'me'/3" : "absent", host.FileProperty("Creator")) << row.name;
    EXPECT_EQ(row.acceptsAll ? "64000" : "absent", host.StreamProperty(0, "SrcBitRate")) << row.name;
    EXPECT_EQ(row.acceptsAll ? "320" : "absent", host.StreamProperty(1, "SrcWidth")) << row.name;
  }
}

/// The headers are read also when the URL cannot be.
TEST(Opening, OfARequestWithoutAURL_AsksForItsHeadersAllTheSame) {
  ScriptedHost host({.file = {.bytes = kSmall}, .fault = {{Asked::kRequest}, Failing::kRefuses, 2}});
  ASSERT_EQ(kOk, host.InitPlugin());
  int calls = 0;
  host.faults.OnAsked([&](Asked asked) { calls += asked == Asked::kRequest ? 1 : 0; });
  EXPECT_EQ(kInvalidState, host.InitFileFormat());
  EXPECT_EQ(3, calls) << "headers for AcceptMetaInfo, URL, headers";
}

/// The object is still whole when it closes its file for the last time, and refuses to start anew.
TEST(LastRelease, RequestsInsideItsClose_AreRefused) {
  ScriptedHost host({.file = {.bytes = kSmall}});
  const std::uint32_t references = OtherReferences(host.file.Get());
  ASSERT_TRUE(host.ReadHeaders());
  IQBPlugin* const plugin = host.plugin.Get();
  IQBFileFormatObject* const format = host.format.Get();
  int calls = 0;
  host.faults.OnAsked([&](Asked asked) {
    if (asked != Asked::kClose) return;
    ++calls;
    const char* description = nullptr;
    const char* const* types = nullptr;
    EXPECT_EQ(kOk, plugin->GetPluginInfo(nullptr, &description, nullptr, nullptr, nullptr));
    EXPECT_STREQ("Quelbar FLV File Format Plugin", description);
    EXPECT_EQ(kOk, format->GetFileFormatInfo(&types, nullptr, nullptr));
    EXPECT_EQ(kInvalidState, plugin->InitPlugin(host.context->AsUnknown()));
    EXPECT_EQ(kInvalidState, format->InitFileFormat(host.request.Get(), host.sink.Get(), host.file.Get()));
  });
  host.ReleasePlugin();
  EXPECT_EQ(1, calls);
  EXPECT_EQ(references, OtherReferences(host.file.Get()));
}

}  // namespace
}  // namespace qbflv::test
