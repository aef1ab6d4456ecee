// The object's life: making it, its interfaces, its descriptors, what it refuses when, and its end.
#include <gtest/gtest.h>

#include <cstring>

#include "host/buffer.h"
#include "tests/support/scripted_host.h"

namespace qbflv::test {
namespace {

HostScript Small(Answers answers = Answers::kInline) {
  return {.file = {.bytes = SmallFile().File(), .answers = answers}};
}

TEST(Library, EveryCall_MakesAnObjectOfItsOwn_AndUnloadingWaitsForTheLast) {
  ASSERT_EQ(kOk, Exports().canUnload());
  ComPtr<IUnknown> first;
  ComPtr<IUnknown> second;
  ASSERT_EQ(kOk, Exports().createInstance(first.Out()));
  ASSERT_EQ(kOk, Exports().createInstance(second.Out()));
  EXPECT_NE(first.Get(), second.Get());
  EXPECT_EQ(kFailed, Exports().canUnload());
  first = nullptr;
  EXPECT_EQ(kFailed, Exports().canUnload());
  second = nullptr;
  EXPECT_EQ(kOk, Exports().canUnload());
}

TEST(Library, AnObjectsReferences_AreCountedFromOne_AndTheLastEndsIt) {
  IUnknown* object = nullptr;
  ASSERT_EQ(kOk, Exports().createInstance(&object));
  EXPECT_EQ(2u, object->AddRef());
  EXPECT_EQ(1u, object->Release());
  EXPECT_EQ(kFailed, Exports().canUnload());
  EXPECT_EQ(0u, object->Release());
  EXPECT_EQ(kOk, Exports().canUnload());
}

TEST(QueryInterface, FromEveryInterface_FindsTheSameOnes) {
  const ComPtr<IQBPlugin> plugin = Library().CreateInstance();
  const struct {
    const char* name;
    GUID id;
  } table[] = {{"IUnknown", IUnknown::kId},
               {"IQBPlugin", IQBPlugin::kId},
               {"IQBFileFormatObject", IQBFileFormatObject::kId},
               {"IQBFileResponse", IQBFileResponse::kId},
               {"IQBFileStatResponse", IQBFileStatResponse::kId},
               {"IQBInterruptSafe", IQBInterruptSafe::kId},
               {"IQBPacketFormat", IQBPacketFormat::kId}};
  for (const auto& from : table) {
    ComPtr<IUnknown> start;
    ASSERT_EQ(kOk, plugin->QueryInterface(from.id, start.OutVoid())) << from.name;
    EXPECT_EQ(2u, OtherReferences(start.Get()) + 1) << from.name << ": one interface, one reference";
    for (const auto& to : table) {
      ComPtr<IUnknown> direct;
      ComPtr<IUnknown> reached;
      ASSERT_EQ(kOk, plugin->QueryInterface(to.id, direct.OutVoid())) << to.name;
      ASSERT_EQ(kOk, start->QueryInterface(to.id, reached.OutVoid())) << from.name << " to " << to.name;
      EXPECT_EQ(direct.Get(), reached.Get()) << from.name << " to " << to.name;
    }
  }
  EXPECT_EQ(static_cast<void*>(plugin.Get()), plugin.Query<IUnknown>().Get())
      << "the plug-in interface is the identity";
}

TEST(QueryInterface, WithAnIdentifierThatDiffersInOneByte_StoresNullAndCountsNothing) {
  const ComPtr<IQBPlugin> plugin = Library().CreateInstance();
  for (std::size_t byte = 0; byte < sizeof(GUID); ++byte) {
    GUID id = IQBFileFormatObject::kId;
    reinterpret_cast<std::uint8_t*>(&id)[byte] ^= 0x80;
    void* object = &id;
    EXPECT_EQ(kNoInterface, plugin->QueryInterface(id, &object)) << "byte " << byte;
    EXPECT_EQ(nullptr, object) << "byte " << byte;
  }
  EXPECT_EQ(0u, OtherReferences(plugin.Get()));
}

std::vector<std::string> Texts(const char* const* list) {
  std::vector<std::string> texts;
  for (; *list != nullptr; ++list) texts.emplace_back(*list);
  return texts;
}

TEST(Descriptors, AreTheSameTextsAtAnyTime) {
  ScriptedHost host(Small());
  const char* texts[2][3] = {};
  for (auto& round : texts) {
    std::uint32_t flag = 0;
    std::uint32_t version = 0;
    EXPECT_EQ(kOk, host.plugin->GetPluginInfo(&flag, &round[0], &round[1], &round[2], &version));
    EXPECT_EQ(1u, flag);
    EXPECT_EQ(0xE03000DEu, version);
    EXPECT_STREQ("Quelbar FLV File Format Plugin", round[0]);
    EXPECT_NE('\0', round[1][0]);
    EXPECT_NE('\0', round[2][0]);
    host.Play();
  }
  EXPECT_TRUE(std::equal(std::begin(texts[0]), std::end(texts[0]), std::begin(texts[1])));

  const char* const* lists[3] = {};
  EXPECT_EQ(kOk, host.format->GetFileFormatInfo(&lists[0], &lists[1], &lists[2]));
  EXPECT_EQ((std::vector<std::string>{"video/x-flv"}), Texts(lists[0]));
  EXPECT_EQ((std::vector<std::string>{"flv"}), Texts(lists[1]));
  EXPECT_EQ((std::vector<std::string>{"Flash Video Files (*.flv)"}), Texts(lists[2]));
  EXPECT_EQ(1, host.plugin.Query<IQBInterruptSafe>()->IsInterruptSafe());
}

TEST(PacketFormat, WhateverIsSet_StaysRtmp) {
  ScriptedHost host(Small());
  const auto packetFormat = host.plugin.Query<IQBPacketFormat>();
  const char* const* formats = nullptr;
  EXPECT_EQ(kOk, packetFormat->GetSupportedPacketFormats(&formats));
  EXPECT_EQ((std::vector<std::string>{"rtmp"}), Texts(formats));
  EXPECT_EQ(kOk, packetFormat->SetPacketFormat("rtp"));
  EXPECT_EQ(kOk, packetFormat->SetPacketFormat(nullptr));
  ASSERT_TRUE(host.ReadHeaders());
  EXPECT_EQ("'audio/x-qb-rtmp'/16", host.StreamProperty(0, "MimeType"));
}

TEST(InitPlugin, KeepsOneContextAtATime) {
  ScriptedHost host(Small());
  EXPECT_EQ(kFailed, host.plugin->InitPlugin(nullptr));
  EXPECT_EQ(kInvalidState, host.InitFileFormat()) << "a null context leaves the object without one";
  EXPECT_EQ(kOk, host.InitPlugin());
  EXPECT_EQ(1u, OtherReferences(host.context.Get()));
  const auto other = host::MakeObject<host::Context>(host.factory.Query<IQBObjectFactory>(), nullptr);
  EXPECT_EQ(kOk, host.plugin->InitPlugin(other.Get()));
  EXPECT_EQ(0u, OtherReferences(host.context.Get()));
  EXPECT_EQ(kFailed, host.plugin->InitPlugin(nullptr));
  EXPECT_EQ(1u, OtherReferences(other.Get())) << "a null context does not replace one";
  EXPECT_EQ(kOk, host.InitFileFormat());
}

/// The steps of a session, each with those before it; the last two leave delivery out.
enum class Step { kNone, kInitPlugin, kOpen, kFileHeader, kHeaders, kSeek, kPacket, kPlay, kClose, kInitAgain };

/// A point of a session at which requests and completions are tried.
struct Stage {
  const char* name;
  Step step;
  /// How many of the step's operations are answered; -1 for all of them.
  int answers;
  /// What each request answers there.
  Status getFileHeader;
  Status getStreamHeader;
  Status getPacket;
  Status seek;
  /// The completion that is awaited there, and so is not unexpected: a letter of Init, Read, Seek or sTat.
  const char* awaited;
};

constexpr Status kNo = kInvalidState;

constexpr Stage kStages[] = {
    {"constructed", Step::kNone, -1, kNo, kNo, kNo, kNo, ""},
    {"ready", Step::kInitPlugin, -1, kNo, kNo, kNo, kNo, ""},
    {"file init pending", Step::kOpen, 0, kNo, kNo, kNo, kNo, "I"},
    {"start seek pending", Step::kOpen, 1, kNo, kNo, kNo, kNo, "S"},
    {"header read pending", Step::kOpen, 2, kNo, kNo, kNo, kNo, "R"},
    {"stat pending", Step::kOpen, 3, kNo, kNo, kNo, kNo, "T"},
    {"initialised", Step::kOpen, -1, kOk, kNo, kNo, kNo, ""},
    {"scanning a tag header", Step::kFileHeader, 0, kNo, kNo, kNo, kNo, "R"},
    {"scanning a tag body", Step::kFileHeader, 1, kNo, kNo, kNo, kNo, "R"},
    {"tail seek pending", Step::kFileHeader, 6, kNo, kNo, kNo, kNo, "S"},
    {"tail read pending", Step::kFileHeader, 7, kNo, kNo, kNo, kNo, "R"},
    {"stream headers", Step::kFileHeader, -1, kNo, kOk, kOk, kOk, ""},
    {"idle", Step::kHeaders, -1, kNo, kNo, kOk, kOk, ""},
    {"seek pending in a seek", Step::kSeek, 0, kNo, kNo, kOk, kOk, "S"},
    {"read pending in a seek", Step::kSeek, 1, kNo, kNo, kOk, kOk, "R"},
    {"restart of a seek pending", Step::kSeek, 4, kNo, kNo, kOk, kOk, "S"},
    {"behind a seek", Step::kSeek, -1, kNo, kNo, kOk, kOk, ""},
    {"header of a packet pending", Step::kPacket, 0, kNo, kNo, kOk, kOk, "R"},
    {"skip pending", Step::kPacket, 1, kNo, kNo, kOk, kOk, "S"},
    {"body of a packet pending", Step::kPacket, 3, kNo, kNo, kOk, kOk, "R"},
    {"all done", Step::kPlay, -1, kNo, kNo, kNo, kOk, ""},
    {"closed", Step::kClose, -1, kNo, kNo, kNo, kNo, ""},
    {"initialised again without a file", Step::kInitAgain, -1, kNo, kNo, kNo, kNo, ""},
};

void Reach(const Stage& stage, ScriptedHost& host) {
  const auto takes = [&](Step step) {
    if (step == stage.step && stage.answers >= 0) host.AnswerByHand();
    return step <= stage.step;
  };
  if (takes(Step::kInitPlugin)) host.InitPlugin();
  if (takes(Step::kOpen)) host.InitFileFormat();
  if (takes(Step::kFileHeader)) host.GetFileHeader();
  if (takes(Step::kHeaders)) {
    host.GetStreamHeader(0);
    host.GetStreamHeader(1);
  }
  if (stage.step >= Step::kClose) {
    host.Close();
    if (stage.step == Step::kInitAgain) host.InitPlugin();
    return;
  }
  if (stage.step == Step::kSeek && takes(Step::kSeek)) host.Seek(0);
  if (takes(Step::kPacket)) host.GetPacket(1);
  if (takes(Step::kPlay)) {
    host.RenewRequests();
    host.GetPacket(0);
  }
  for (int i = 0; i < stage.answers; ++i) host.file->Answer();
}

TEST(Requests, AtEachStage_AreAcceptedOrRefusedWithoutEffect) {
  using Request = Status (*)(IQBFileFormatObject&);
  const struct {
    const char* name;
    Request make;
    Status Stage::*expected;
  } requests[] = {
      {"GetFileHeader", [](IQBFileFormatObject& object) { return object.GetFileHeader(); }, &Stage::getFileHeader},
      {"GetStreamHeader", [](IQBFileFormatObject& object) { return object.GetStreamHeader(0); },
       &Stage::getStreamHeader},
      {"GetPacket", [](IQBFileFormatObject& object) { return object.GetPacket(0); }, &Stage::getPacket},
      {"Seek", [](IQBFileFormatObject& object) { return object.Seek(0); }, &Stage::seek}};
  for (const Stage& stage : kStages) {
    for (const auto& request : requests) {
      SCOPED_TRACE(std::string(request.name) + " when " + stage.name);
      ScriptedHost host(Small(Answers::kLater));
      Reach(stage, host);
      const std::size_t before = host.log.Size();
      const Status expected = stage.*request.expected;
      EXPECT_EQ(Hex(expected), Hex(request.make(*host.format)));
      EXPECT_TRUE(Succeeded(expected) || before == host.log.Size()) << "refused, but not without effect";
    }
  }
}

TEST(Completions, ThatNothingWaitsFor_AreRefusedWithoutEffect) {
  const struct {
    const char* name;
    char letter;
    Status (*complete)(IQBPlugin&);
  } completions[] = {
      {"InitDone", 'I', [](IQBPlugin& object) { return QueryFor<IQBFileResponse>(&object)->InitDone(kOk); }},
      {"SeekDone", 'S', [](IQBPlugin& object) { return QueryFor<IQBFileResponse>(&object)->SeekDone(kFailed); }},
      {"ReadDone", 'R',
       [](IQBPlugin& object) { return QueryFor<IQBFileResponse>(&object)->ReadDone(kFailed, nullptr); }},
      {"StatDone", 'T', [](IQBPlugin& object) { return QueryFor<IQBFileStatResponse>(&object)->StatDone(kOk, 7); }}};
  for (const Stage& stage : kStages) {
    ScriptedHost host(Small(Answers::kLater));
    Reach(stage, host);
    const std::size_t before = host.log.Size();
    for (const auto& completion : completions) {
      if (std::strchr(stage.awaited, completion.letter) != nullptr) continue;
      EXPECT_EQ(Hex(kInvalidState), Hex(completion.complete(*host.plugin)))
          << completion.name << " when " << stage.name;
    }
    EXPECT_EQ(kOk, host.plugin.Query<IQBFileResponse>()->CloseDone(kFailed)) << stage.name;
    EXPECT_EQ(kNotImplemented, host.plugin.Query<IQBFileResponse>()->WriteDone(kOk)) << stage.name;
    EXPECT_EQ(before, host.log.Size()) << stage.name;
  }
}

TEST(Completions, ThatNothingWaitsFor_StillMoveThePosition) {
  // GetFileHeader seeks only if the position is not that of the first tag.
  const struct {
    const char* name;
    void (*complete)(IQBFileResponse&);
    const char* next;
  } cases[] = {
      {"nothing", [](IQBFileResponse&) {}, "Read(15)"},
      {"a read", [](IQBFileResponse& object) { object.ReadDone(kOk, host::MakeTextBuffer("abcd").Get()); }, "Seek(9)"},
      {"a failed read", [](IQBFileResponse& object) { object.ReadDone(kFailed, host::MakeTextBuffer("abcd").Get()); },
       "Read(15)"},
      {"a read without a buffer", [](IQBFileResponse& object) { object.ReadDone(kOk, nullptr); }, "Read(15)"},
      {"a seek", [](IQBFileResponse& object) { object.SeekDone(kOk); }, "Seek(9)"},
      {"a failed seek", [](IQBFileResponse& object) { object.SeekDone(kFailed); }, "Read(15)"}};
  for (const auto& row : cases) {
    ScriptedHost host(Small(Answers::kLater));
    ASSERT_TRUE(host.Open());
    row.complete(*host.plugin.Query<IQBFileResponse>());
    host.AnswerByHand();
    EXPECT_EQ(kOk, host.GetFileHeader());
    EXPECT_EQ(row.next, host.log.All().back()) << "after " << row.name;
  }
}

TEST(InitPlugin, InTheMiddleOfASession_LeavesNothingToGoOnWith) {
  ScriptedHost host(Small());
  ASSERT_TRUE(host.OpenAndReadFileHeader());
  EXPECT_EQ(kOk, host.InitPlugin());
  EXPECT_EQ(kInvalidState, host.GetStreamHeader(0));
  EXPECT_EQ(kInvalidState, host.GetFileHeader());
  EXPECT_EQ(kOk, host.InitFileFormat());
  EXPECT_EQ("InitDone 0x00000000", host.log.All().back());
}

void ExpectEverythingGivenBack(const ScriptedHost& host, const std::string& when) {
  EXPECT_EQ(0u, OtherReferences(host.context.Get())) << "context, " << when;
  EXPECT_EQ(0u, OtherReferences(host.request.Get())) << "request, " << when;
  EXPECT_EQ(0u, OtherReferences(&host.request->Headers())) << "request headers, " << when;
  EXPECT_EQ(0u, OtherReferences(host.sink.Get())) << "sink, " << when;
  EXPECT_EQ(0u, host.FileReferences()) << "file, " << when;
  // The context and the fixture's own queries hold one each.
  EXPECT_EQ(1u, OtherReferences(host.factory.Get())) << "factory, " << when;
  EXPECT_EQ(1u, OtherReferences(host.preferences.Get())) << "preferences, " << when;
}

TEST(Close, AtEachStage_GivesEverythingBack_AndLateAnswersChangeNothing) {
  for (const Stage& stage : kStages) {
    ScriptedHost host(Small(Answers::kLater));
    Reach(stage, host);
    host.AnswerByHand();
    const std::size_t closedBefore = host.log.Count("Close");
    const bool hadFile = host.log.Count("Init(") > closedBefore;
    EXPECT_EQ(kOk, host.Close()) << stage.name;
    EXPECT_EQ(closedBefore + (hadFile ? 1 : 0), host.log.Count("Close")) << stage.name;
    EXPECT_EQ(kOk, host.Close()) << stage.name;
    const std::size_t after = host.log.Size();
    EXPECT_LE(host.file->Waiting(), 1u) << "more than one operation at a time when " << stage.name;
    host.Pump();
    EXPECT_EQ(after, host.log.Size()) << stage.name << ": " << host.log.All().back();
    EXPECT_EQ(closedBefore + (hadFile ? 1 : 0), host.log.Count("Close")) << stage.name;
    ExpectEverythingGivenBack(host, stage.name);
    EXPECT_EQ(kInvalidState, host.InitFileFormat()) << "the context went with the rest when " << stage.name;
  }
  EXPECT_EQ(kOk, Exports().canUnload());
}

TEST(Release, OfTheLastReference_Closes) {
  for (const Stage& stage : kStages) {
    {
      ScriptedHost host(Small(Answers::kLater));
      Reach(stage, host);
      const bool hadFile = host.log.Count("Init(") > host.log.Count("Close");
      const std::size_t before = host.log.Count("Close");
      host.ReleasePlugin();
      EXPECT_EQ(before + (hadFile ? 1 : 0), host.log.Count("Close")) << stage.name;
      const std::size_t after = host.log.Size();
      host.Pump();
      EXPECT_EQ(after, host.log.Size()) << stage.name;
      ExpectEverythingGivenBack(host, stage.name);
    }
    EXPECT_EQ(kOk, Exports().canUnload()) << stage.name;
  }
}

}  // namespace
}  // namespace qbflv::test
