// Seeks whose scan or restart fails: they end with the status of what failed, once, and leave the next one undisturbed.
#include <gtest/gtest.h>

#include <map>

#include "host/buffer.h"
#include "tests/support/library_heap.h"
#include "tests/support/seek_script.h"

namespace qbflv::test {
namespace {

using Lines = CallLog::Lines;

/// No tag: the seek ends without a restart position.
constexpr std::size_t kNone = 1000;

std::string SeekTo(std::uint32_t offset) { return "Seek(" + std::to_string(offset) + ")"; }

/// Video is tags 1, 3, 5, 7 and 9 at 0, 500, 1000, 1500 and 2000 ms, every second one a key frame; audio the others.
FlvBuilder Film() {
  FlvBuilder flv = FlvBuilder(kBoth).Metadata(QuickMetadata());
  flv.Video(0, 40).Audio(0, 30).Video(500, 41, false).Audio(600, 31).Video(1000, 42).Audio(1200, 32);
  return flv.Video(1500, 43, false).Audio(1800, 33).Video(2000, 44).Audio(2400, 34);
}

/// The operations of a seek that scans from tag 0.
Lines Scan(const FlvBuilder& flv, std::size_t last, std::size_t restart, Status status = kOk) {
  Lines lines;
  for (std::size_t tag = 0; tag <= last; ++tag) {
    lines.push_back(SeekTo(flv.Field(tag)));
    lines.push_back("Read(16)");
  }
  if (restart != kNone) lines.push_back(SeekTo(flv.Field(restart)));
  lines.push_back("SeekDone " + Hex(status));
  return lines;
}

std::string DeliveredFrom(ScriptedHost& host, std::size_t first) {
  host.RenewRequests();
  for (std::uint16_t stream = 0; stream < host.StreamCount(); ++stream) host.GetPacket(stream);
  std::string text;
  const Lines before = host.log.Delivered();
  for (std::size_t i = first; i < before.size(); ++i) text += before[i] + (i + 1 < before.size() ? ", " : "");
  return text;
}

TEST(SeekFailure, OfAReadOrTheRestart_EndsTheSeekWithItsStatus) {
  const FlvBuilder flv = Film();
  const std::string fifth = SeekTo(flv.Field(5));
  constexpr Status kNote = MakeStatus(0x00040001);
  const struct {
    const char* name;
    Rule rule;
    std::size_t last;
    std::size_t restart;
    Status status;
  } cases[] = {
      {"failed read", {.operation = "Read(16)", .occurrence = 6, .status = kOutOfMemory}, 5, kNone, kOutOfMemory},
      {"short read", {.operation = "Read(16)", .occurrence = 6, .size = 15}, 5, kNone, kOk},
      {"empty read", {.operation = "Read(16)", .occurrence = 6, .status = kNote, .size = 0}, 5, kNone, kNote},
      {"successful read with a note", {.operation = "Read(16)", .occurrence = 9, .status = kNote}, 8, 5, kOk},
      {"failed restart", {.operation = fifth, .occurrence = 2, .status = kFailed}, 8, 5, kFailed},
      {"restart with a note", {.operation = fifth, .occurrence = 2, .status = kNote}, 8, 5, kNote},
  };
  for (const auto& row : cases) {
    for (const Answers answers : {Answers::kInline, Answers::kLater}) {
      SCOPED_TRACE(std::string(row.name) + (answers == Answers::kInline ? ", inline" : ", later"));
      ScriptedHost host({.file = {.bytes = flv.File(), .answers = answers, .rules = {row.rule}}});
      ASSERT_TRUE(host.ReadHeaders());
      std::size_t before = host.log.Size();
      EXPECT_EQ(kOk, host.Seek(1600));
      EXPECT_EQ(Scan(flv, row.last, row.restart, row.status), host.log.From(before));
      // The next seek finds what the first one passed, and ends as if there had been no failure.
      before = host.log.Delivered().size();
      EXPECT_EQ(kOk, host.Seek(1600));
      EXPECT_TRUE(DeliveredFrom(host, before).starts_with("s1 t1000, s0 t1200"));
    }
  }
}

TEST(SeekFailure, OfAFileSeek_EndsTheSeekWithItsStatus) {
  const FlvBuilder flv = Film();
  for (const std::size_t tag : {1U, 3U, 8U}) {
    for (const Answers answers : {Answers::kInline, Answers::kLater}) {
      ScriptedHost host({.file = {.bytes = flv.File(),
                                  .answers = answers,
                                  .rules = {{.operation = SeekTo(flv.Field(tag)), .status = kNotImplemented}}}});
      ASSERT_TRUE(host.ReadHeaders());
      const std::size_t before = host.log.Size();
      EXPECT_EQ(kOk, host.Seek(1600));
      Lines expected = Scan(flv, tag - 1, kNone);
      expected.insert(expected.end() - 1, SeekTo(flv.Field(tag)));
      expected.back() = "SeekDone 0x80004001";
      EXPECT_EQ(expected, host.log.From(before)) << "tag " << tag;
    }
  }
}

TEST(SeekFailure, OfAReadThatGivesNotExactly16Bytes_EndsTheSeekWithTheReadsStatus) {
  // The text's NUL is the last byte.
  const auto bytes = [](std::size_t size) {
    return host::MakeTextBuffer(std::string(size - 1, 'x')).Query<IQBBuffer>();
  };
  const struct {
    const char* name;
    Status status;
    ComPtr<IQBBuffer> buffer;
  } cases[] = {{"no buffer", kOk, nullptr},  {"a note and no buffer", MakeStatus(0x00040001), nullptr},
               {"one byte", kOk, bytes(1)},  {"15 bytes", kOk, bytes(15)},
               {"17 bytes", kOk, bytes(17)}, {"a failure with 16 bytes", kFailed, bytes(16)}};
  for (const auto& row : cases) {
    SCOPED_TRACE(row.name);
    ScriptedHost host({.file = {.bytes = Film().File(), .answers = Answers::kLater}});
    ASSERT_TRUE(host.ReadHeaders());
    host.AnswerByHand();
    host.Seek(1600);
    host.file->Answer();
    ASSERT_EQ("Read(16)", host.log.All().back());
    host.file->DropWaiting();
    EXPECT_EQ(kOk, host.plugin.Query<IQBFileResponse>()->ReadDone(row.status, row.buffer.Get()));
    EXPECT_EQ("SeekDone " + Hex(row.status), host.log.All().back());
  }
}

/// Without a position the last seek goes back to the tag just found; refused at once, it still ends the seek, once.
TEST(SeekFailure, OfARestartThatIsRefusedAtOnce_EndsTheSeekOnlyWithoutAPosition) {
  const FlvBuilder flv = Film();
  const struct {
    const char* name;
    std::size_t last;
    std::size_t restart;
    std::uint32_t time;
    bool silent;
    bool ends;
  } cases[] = {{"without a position", 1, 1, 0, true, true},
               {"without a position, answered all the same", 1, 1, 0, false, true},
               {"with one, answered all the same", 8, 5, 1600, false, true},
               {"with one", 8, 5, 1600, true, false}};
  for (const auto& row : cases) {
    for (const Answers answers : {Answers::kInline, Answers::kLater}) {
      SCOPED_TRACE(std::string(row.name) + (answers == Answers::kInline ? ", inline" : ", later"));
      const Rule refusal{
          .operation = SeekTo(flv.Field(row.restart)), .occurrence = 2, .silent = row.silent, .result = kOutOfMemory};
      ScriptedHost host({.file = {.bytes = flv.File(), .answers = answers, .rules = {refusal}}});
      ASSERT_TRUE(host.ReadHeaders());
      const std::size_t before = host.log.Size();
      EXPECT_EQ(kOk, host.Seek(row.time));
      Lines expected = Scan(flv, row.last, row.restart);
      if (!row.ends) expected.pop_back();
      EXPECT_EQ(expected, host.log.From(before));
      const std::size_t packets = host.log.Delivered().size();
      EXPECT_EQ(kOk, host.Seek(1600)) << "the next one is not disturbed";
      EXPECT_EQ(row.ends ? 2U : 1U, host.log.Count("SeekDone 0x00000000"));
      EXPECT_TRUE(DeliveredFrom(host, packets).starts_with("s1 t1000, s0 t1200"));
    }
  }
}

/// A refusal is known only when the file's call returns, and the seek that is made inside the call waits for its own.
TEST(SeekFailure, OfAnOperationInWhichTheHostSeeks_LeavesThatSeekItsAnswers) {
  const auto attend = [](ScriptedHost& host, const bool& hasSought) {
    host.ReadHeaders();
    if (!hasSought) host.Seek(1600);
    if (!hasSought) AskForAll(host);
  };
  ScriptedHost whole({.file = {.bytes = Film().File()}});
  attend(whole, false);
  int number = 0;
  int sought = 0;
  std::map<std::string, int> seen;
  for (const std::string& line : whole.log.All()) {
    if (!line.starts_with("Seek(") && !line.starts_with("Read(")) continue;
    ++number;
    const Rule refusal{.operation = line, .occurrence = ++seen[line], .silent = true, .result = kFailed};
    for (const Answers answers : {Answers::kInline, Answers::kLater}) {
      // A seek that is refused only after a later one was answered cannot be told from one that was answered.
      if (answers == Answers::kInline && line.starts_with("Seek(")) continue;
      SCOPED_TRACE("operation " + std::to_string(number) + ", " + line +
                   (answers == Answers::kInline ? ", inline" : ", later"));
      ScriptedHost host({.file = {.bytes = Film().File(), .answers = answers, .rules = {refusal}}});
      bool hasSought = false;
      int calls = 0;
      host.file->OnOperation([&] {
        if (++calls != number || host.log.Count("FileHeaderReady") == 0) return;
        hasSought = true;
        ++sought;
        host.log.Clear();
        EXPECT_EQ(kOk, host.format->Seek(1600));
      });
      attend(host, hasSought);
      if (!hasSought) continue;
      const SeekOutcome outcome = FinishSeek(host, Film());
      EXPECT_TRUE(outcome.walk.ends_with(" r @5 ok")) << outcome.walk;
      EXPECT_EQ("t1200 t1000", outcome.first);
    }
  }
  EXPECT_GT(sought, 30);
}

/// A shortage keeps positions out of the index only; the seek scans and restarts as with plenty.
TEST(SeekFailure, OfMemory_DoesNotChangeTheSeek) {
  static_cast<void>(Exports());  // from here on the library is watched
  const FlvBuilder flv = Film();
  for (const Shortage shortage : {Shortage::kThrows, Shortage::kReturnsNull}) {
    for (const bool everyAfter : {false, true}) {
      std::int64_t nth = 0;
      for (bool hasStruck = true; hasStruck;) {
        SCOPED_TRACE(++nth);
        ScriptedHost host({.file = {.bytes = flv.File()}});
        ASSERT_TRUE(host.ReadHeaders());
        host.log.Clear();
        {
          const HeapShortage heapShortage(nth, shortage, everyAfter);
          EXPECT_EQ(kOk, host.Seek(1600));
          hasStruck = heapShortage.Struck();
        }
        EXPECT_EQ(Scan(flv, 8, 5), host.log.All());
        EXPECT_EQ("t1200 t1000", FinishSeek(host, flv).first);
      }
      EXPECT_GT(nth, 2) << "the index is made during the seek";
    }
  }
}

}  // namespace
}  // namespace qbflv::test
