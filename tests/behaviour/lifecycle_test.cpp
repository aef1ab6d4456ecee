// The object's life: its interfaces, its context, and what it accepts, refuses and gives back at each stage of a
// session.
#include <gtest/gtest.h>

#include "host/context.h"
#include "tests/support/scripted_host.h"

namespace qbflv::test {
namespace {

HostScript Small(Completes completes = Completes::kInline) {
  return {.file = {.bytes = SmallFile().File(), .completes = completes}};
}

TEST(QueryInterface, FromEveryInterface_FindsTheSameOnes) {
  const ComPtr<IQBPlugin> plugin = CreatePlugin();
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
    EXPECT_EQ(1U, OtherReferences(start.Get())) << from.name << ": one interface, one reference";
    for (const auto& to : table) {
      ComPtr<IUnknown> direct;
      ComPtr<IUnknown> reached;
      ASSERT_EQ(kOk, plugin->QueryInterface(to.id, direct.OutVoid())) << to.name;
      ASSERT_EQ(kOk, start->QueryInterface(to.id, reached.OutVoid())) << from.name << " to " << to.name;
      EXPECT_EQ(direct.Get(), reached.Get()) << from.name << " to " << to.name;
    }
  }
}

TEST(InitPlugin, KeepsOneContextAtATime) {
  ScriptedHost host(Small());
  EXPECT_EQ(kFailed, host.plugin->InitPlugin(nullptr));
  EXPECT_EQ(kInvalidState, host.InitFileFormat()) << "a null context leaves the object without one";
  EXPECT_EQ(kOk, host.InitPlugin());
  EXPECT_EQ(1U, OtherReferences(host.context.Get()));
  const auto other = host::MakeContext();
  EXPECT_EQ(kOk, host.plugin->InitPlugin(other.Get()));
  EXPECT_EQ(0U, OtherReferences(host.context.Get()));
  EXPECT_EQ(kFailed, host.plugin->InitPlugin(nullptr));
  EXPECT_EQ(1U, OtherReferences(other.Get())) << "a null context does not replace one";
  EXPECT_EQ(kOk, host.InitFileFormat());
}

TEST(WithoutAFile, EveryRequestAndCompletionIsRefused) {
  const struct {
    const char* name;
    void (*reach)(ScriptedHost&);
  } stages[] = {{"constructed", [](ScriptedHost&) {}},
                {"ready", [](ScriptedHost& host) { host.InitPlugin(); }},
                {"closed",
                 [](ScriptedHost& host) {
                   host.Play();
                   host.Close();
                 }},
                {"ready again", [](ScriptedHost& host) {
                   host.Play();
                   host.Close();
                   host.InitPlugin();
                 }}};
  for (const auto& stage : stages) {
    SCOPED_TRACE(stage.name);
    ScriptedHost host(Small());
    stage.reach(host);
    host.log.Clear();
    const auto response = host.plugin.Query<IQBFileResponse>();
    const Status results[] = {host.GetFileHeader(),
                              host.GetStreamHeader(0),
                              host.GetPacket(0),
                              host.Seek(0),
                              response->InitDone(kOk),
                              response->SeekDone(kOk),
                              response->ReadDone(kOk, nullptr),
                              host.plugin.Query<IQBFileStatResponse>()->StatDone(kOk, 7)};
    for (const Status result : results) EXPECT_EQ(Hex(kInvalidState), Hex(result)) << &result - results;
    EXPECT_EQ(kOk, response->CloseDone(kFailed));
    EXPECT_EQ(kNotImplemented, response->WriteDone(kOk));
    EXPECT_EQ(CallLog::Lines(), host.log.All());
  }
}

TEST(Close, AtAnyPointOfASession_GivesEverythingBack) {
  int operations = 0;
  for (bool isPlaying = true; isPlaying; ++operations) {
    SCOPED_TRACE(operations);
    ScriptedHost host(Small(Completes::kLater));
    host.CompleteByHand();
    host.PlayNested(20);
    for (int i = 0; i < operations && host.file->Pending() > 0; ++i) host.file->Complete();
    isPlaying = host.file->Pending() > 0;
    EXPECT_LE(host.file->Pending(), 1U) << "more than one operation at a time";
    EXPECT_EQ(kOk, host.Close());
    EXPECT_EQ(kOk, host.Close());
    EXPECT_EQ(1U, host.log.Count("Close")) << "the file is closed once";
    const std::size_t after = host.log.Size();
    host.Pump();
    EXPECT_EQ(after, host.log.Size()) << host.log.All().back();
    EXPECT_EQ(kInvalidState, host.InitFileFormat()) << "the context went with the rest";
    EXPECT_EQ(0, host.Abandon()) << "objects and references that are left";
  }
  EXPECT_GT(operations, 40) << "every operation of the small file";
  EXPECT_EQ(kOk, Exports().canUnload());
}

}  // namespace
}  // namespace qbflv::test
