// Host objects other than the sink that call back, refuse at once, or fail at awkward moments.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>

#include "tests/support/scripted_host.h"

namespace qbflv::test {
namespace {

using Lines = CallLog::Lines;
using Kind = host::SinkEvent::Kind;

/// A file that runs something in the middle of its Close.
class CallingFile final : public host::ComObject<IQBSourceFile> {
 public:
  CallingFile(ComPtr<ScriptedFile> file, std::function<void()> onClose)
      : m_file(std::move(file)), m_onClose(std::move(onClose)) {}

  Status Init(std::uint32_t flags, IQBFileResponse* response) override { return m_file->Init(flags, response); }
  Status Read(std::uint32_t count) override { return m_file->Read(count); }
  Status Seek(std::uint32_t offset, BOOL relative) override { return m_file->Seek(offset, relative); }
  Status SetAccessHint(std::uint32_t hint) override { return m_file->SetAccessHint(hint); }

  Status Close() override {
    m_file->Close();
    if (++m_closes < 5) m_onClose();
    return m_closes > 0 ? kOk : kFailed;  // reads a member: the object must still be there
  }

  int Closes() const { return m_closes; }

 private:
  ComPtr<ScriptedFile> m_file;
  std::function<void()> m_onClose;
  int m_closes = 0;
};

TEST(HostReentry, FileThatCallsBackWhileItCloses_IsClosedOnceAndAnswersNothing) {
  const char* const actions[] = {"Close", "answer", "Release"};
  for (const std::string action : actions) {
    SCOPED_TRACE(action);
    ScriptedHost host({.file = {.bytes = SmallFile().File()}});
    const auto response = host.plugin.Query<IQBFileResponse>();
    auto file = host::MakeObject<CallingFile>(host.file, [&] {
      if (action == "Close") {
        EXPECT_EQ(kOk, host.format->Close());
      }
      if (action == "answer") {
        EXPECT_EQ(kInvalidState, response->ReadDone(kOk, nullptr));
        EXPECT_EQ(kInvalidState, response->SeekDone(kOk));
      }
      if (action == "Release") host.ReleasePlugin();
    });
    ASSERT_EQ(kOk, host.InitPlugin());
    ASSERT_EQ(kOk, host.format->InitFileFormat(host.request.Get(), host.sink.Get(), file.Get()));
    const std::size_t before = host.log.Size();
    EXPECT_EQ(kOk, ComPtr<IQBFileFormatObject>(host.format)->Close());
    EXPECT_EQ(Lines{"Close"}, host.log.From(before));
    EXPECT_EQ(1, file->Closes());
    EXPECT_EQ(0U, OtherReferences(file.Get()));
  }
}

TEST(HostReentry, FileThatIsHeldByTheObjectAlone_OutlivesANestedClose) {
  ScriptedHost host({.file = {.bytes = SmallFile().File()}});
  auto file = host::MakeObject<CallingFile>(host.file, [&] { EXPECT_EQ(kOk, host.format->Close()); });
  ASSERT_EQ(kOk, host.InitPlugin());
  ASSERT_EQ(kOk, host.format->InitFileFormat(host.request.Get(), host.sink.Get(), file.Get()));
  file = nullptr;
  EXPECT_EQ(kOk, host.format->Close());
}

TEST(HostReentry, FailedSkip_EndsEveryStreamThoughAnotherOneAsksMeanwhile) {
  const FlvBuilder flv = SmallFile();
  const std::string skip = "Seek(" + std::to_string(flv.Field(1)) + ")";
  for (const Answers answers : {Answers::kInline, Answers::kLater}) {
    ScriptedHost host({.file = {.bytes = flv.File(),
                                .answers = answers,
                                .stat = Stat::kAbsent,
                                .rules = {{.operation = skip, .status = kFailed}}}});
    ASSERT_TRUE(host.ReadHeaders());
    const std::size_t before = host.log.Size();
    host.OnSinkCall([&](const host::SinkEvent& event) {
      if (event.kind == Kind::kStreamDone && event.stream == 0) {
        EXPECT_EQ(kOk, host.format->GetPacket(1));
      }
    });
    host.GetPacket(0);
    EXPECT_EQ((Lines{"Read(15)", skip, "StreamDone s=0", "StreamDone s=1"}), host.log.From(before));
  }
}

TEST(HostReentry, StatRefusedAtOnce_FailsTheOpening) {
  for (const bool silent : {true, false}) {
    ScriptedHost host({.file = {.bytes = SmallFile().File(),
                                .rules = {{.operation = "Stat", .silent = silent, .result = kNotImplemented}}}});
    EXPECT_EQ(!silent, host.Open()) << "answered all the same: " << !silent;
    EXPECT_EQ(silent ? "InitDone 0x80004001" : "InitDone 0x00000000", host.log.Last("InitDone"));
  }
}

/// A failed tag leaves a tree behind that declares four billion names; the next scan ends before it meets that tag.
TEST(HostReentry, FileHeaderAskedAgainAfterBrokenMetadata_ComesWithTheNamesThatAreThere) {
  FlvBuilder flv(kAudio);
  flv.Metadata(amf::MixedArray({{"audiodatarate", amf::Number(64)}}));
  Bytes broken = amf::String("onMetaData");
  const Bytes liar = {8, 0xFF, 0xFF, 0xFF, 0xFF, 0, 5, 't', 'i', 't', 'l', 'e', 0,
                      0, 0,    0,    0,    0,    0, 0, 0,   0,   1,   'a', 17};
  broken.insert(broken.end(), liar.begin(), liar.end());
  flv.Tag(kScriptTag, 0, broken).Audio(0, 20);
  ScriptedHost host({.file = {.bytes = flv.File(), .rules = {{.operation = "Read(15)", .occurrence = 3, .size = 4}}}});
  ASSERT_TRUE(host.Open());
  host.GetFileHeader();
  EXPECT_EQ("FileHeaderReady 0x80004005", host.log.Last("FileHeaderReady").substr(0, 26));
  host.GetFileHeader();
  EXPECT_EQ("FileHeaderReady 0x00000000", host.log.Last("FileHeaderReady").substr(0, 26));
}

}  // namespace
}  // namespace qbflv::test
