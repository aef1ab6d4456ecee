// How qbflv ends: exit statuses and what it says when it cannot do its job.
#include <gtest/gtest.h>

#include <csignal>

#include "tests/e2e/command.h"
#include "tests/e2e/fixture.h"
#include "tests/e2e/flv_file.h"

namespace qbflv::e2e {
namespace {

TEST(CommandLine, BadUsage_Ends2WithOneLineThatPointsToTheHelp) {
  const std::string tour = Sample("tour.flv");
  const struct {
    Words words;
    const char* reason;
  } cases[] = {
      {{}, "a command is required: info, "},
      {{"pakets", tour}, "unknown command 'pakets'; did you mean packets?"},
      {{"x", tour}, "unknown command 'x' ("},
      {{"info"}, "info: FILE is required"},
      {{"info", tour, "another"}, "unexpected argument 'another'"},
      {{"info", tour, "--jsn"}, "unknown option --jsn; did you mean --json?"},
      {{"--json", "info", tour}, "--json must follow the command"},
      {{"packets", tour, "--limit", "few"}, "from 0 to 18446744073709551615"},
      {{"packets", tour, "--limit", "-1"}, "from 0 to 18446744073709551615"},
      {{"packets", tour, "--stream", "65536"}, "from 0 to 65535"},
      {{"packets", tour, "--start", "1", "--start", "2"}, "--start may be given only once"},
      {{"packets", tour, "--start"}, "--start needs a value: TIME"},
      {{"packets", tour, "--host-io", "sometimes"}, "inline,queued"},
      {{"packets", tour, "--pref", "without-a-value"}, "NAME=VALUE"},
      {{"packets", tour, "--header", "=nameless"}, "NAME=VALUE"},
      {{"seek", tour, "5.5"}, "a time such as 5500, 5.5s, 1:23 or 1:02:03.5"},
      {{"seek", tour, "1:60"}, "a time such as"},
      {{"seek", tour, "1193:02:47.296"}, "from 0 to 4294967295 ms"},
      {{"seek", tour, "5124095576031:00:00"}, "from 0 to 4294967295 ms"},  // 2^64 ms and half an hour
      {{"seek", tour, "99999999999999999999"}, "from 0 to 4294967295 ms"},
      {{"play", tour, "--speed", "0"}, "from 0.01 to 1000"},
      {{"remux", tour}, "OUT is required"},
      {{"remux", tour, "out.flv", "--start", "5000", "--end", "4999"}, "--end: is before --start"},
      {{"remux", tour, "out.flv", "--end", "soon"}, "a time such as"},
  };
  for (const auto& [words, reason] : cases) {
    SCOPED_TRACE(testing::PrintToString(words));
    const CommandResult result = RunQbflv(words);
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(Lines(result.err).size(), 1U) << result.err;
    EXPECT_TRUE(result.err.starts_with("qbflv: ")) << result.err;
    EXPECT_NE(result.err.find(reason), std::string::npos) << result.err;
    EXPECT_NE(result.err.find("--help"), std::string::npos) << result.err;
  }
}

/// Asserts the one line: it names the file and says what failed.
void ExpectFailure(const CommandResult& result, const std::string& file, const std::string& reason) {
  EXPECT_EQ(result.status, 1);
  ASSERT_EQ(Lines(result.err).size(), 1U) << result.err;
  EXPECT_TRUE(result.err.starts_with("qbflv: " + file + ": ")) << result.err;
  EXPECT_NE(result.err.find(reason), std::string::npos) << result.err;
}

TEST(Failure, OfTheJob_Ends1WithOneLineAndLeavesTheOldFile) {
  const std::string tour = Sample("tour.flv");
  FlvFile fewAudio = ParseFlv(ReadBytes(Sample("sorenson.flv")));
  std::erase_if(fewAudio.tags, [](const Tag& tag) { return tag.time >= 2000; });
  const TemporaryFolder folder;
  const std::string notFlv = folder.Write("not.flv", "FLW\x01\x05 and more");
  const std::string picture = folder.Write("picture.flv", "\x89PNG\r\n\x1a\n");
  const std::string tooLarge = folder.Write("large.flv", "FLV");
  std::filesystem::resize_file(tooLarge, std::uintmax_t{1} << 32U);
  const std::string empty = folder.Write("empty.flv", "");
  const std::string nothingAnnounced = folder.Write("nothing.flv", FormatFlv({}));
  const std::string unknownTag = folder.Write("unknown.flv", FormatFlv({true, true, {Tag{15, 0, "?"}}}));
  const std::string noRate = folder.Write("short.flv", FormatFlv(fewAudio));
  // Without the last size nothing can be read after the last tag.
  const std::string cut = folder.Write("cut.flv", ReadBytes(tour).erase(std::filesystem::file_size(tour) - 4));
  const std::string out = folder.Write("out.flv", "old");
  const std::vector<std::string> before = folder.Names();
  const struct {
    Words words;
    std::string file;
    const char* reason;
  } cases[] = {
      {{"info", folder / "absent.flv"}, folder / "absent.flv", "No such file"},
      {{"info", folder / "."}, folder / ".", "it is a directory"},
      {{"info", "/dev/null"}, "/dev/null", "it is not a regular file"},
      {{"info", tooLarge}, tooLarge, "4 GiB"},
      {{"info", picture}, picture, "not an FLV file: it looks like a PNG picture"},
      {{"info", nothingAnnounced}, nothingAnnounced, "0x80040009"},
      {{"info", unknownTag}, unknownTag, "0x80040009"},
      {{"info", tour, "--plugin", folder / "absent.so"}, tour, "absent.so"},
      {{"info", tour, "--plugin", notFlv}, tour, notFlv.c_str()},
      {{"packets", noRate}, noRate, "0x80040009"},
      {{"packets", tour, "--stream", "2"}, tour, "no stream 2"},
      {{"play", "--raw", "--host-eof", "fail", "--start", "99999999", cut},
       cut,
       "cannot seek to 99999999 ms: 0x80004005"},
      {{"remux", folder / "absent.flv", out}, folder / "absent.flv", "No such file"},
      {{"remux", notFlv, out}, notFlv, "not an FLV file"},
      {{"remux", empty, out}, empty, "not an FLV file: it is empty"},
      {{"remux", nothingAnnounced, out}, nothingAnnounced, "no audio or video"},
      {{"remux", "--raw", noRate, out}, noRate, "0x80040009"},
      // The last packet is at 10065 ms.
      {{"remux", "--start", "10066", tour, out}, tour, "there are no packets in this part"},
      {{"remux", tour, folder / "absent/out.flv"}, tour, "absent/out.flv"},
      {{"remux", tour, folder.Path()}, tour, folder.Path().c_str()},
      {{"remux", tour, "/dev/null"}, tour, "/dev/null"},
  };
  for (const auto& [words, file, reason] : cases) {
    SCOPED_TRACE(testing::PrintToString(words));
    const CommandResult result = RunQbflv(words);
    EXPECT_EQ(result.out, "");
    ExpectFailure(result, file, reason);
    EXPECT_EQ(ReadBytes(out), "old");
    EXPECT_EQ(folder.Names(), before);
  }
}

/// The command with these arguments behind what a shell does first.
CommandResult RunInShell(const std::string& script, const Words& arguments) {
  return RunCommand(Words{"bash", "-c", script, "bash", QBFLV_COMMAND} + arguments);
}

TEST(Failure, ToWriteTheOutput_IsNotOverlooked) {
  const std::string tour = Sample("tour.flv");
  for (const char* const command : {"info", "packets"}) {
    SCOPED_TRACE(command);
    ExpectFailure(RunInShell("exec \"$@\" >/dev/full", {command, tour}), tour, "No space left");
  }
  // The shell's limit is 4 KiB, and writing past it fails as it would on a full disk.
  const TemporaryFolder folder;
  const std::string out = folder.Write("out.flv", "old");
  ExpectFailure(RunInShell("trap '' XFSZ; ulimit -f 8; exec \"$@\"", {"remux", tour, out}), tour, "File too large");
  EXPECT_EQ(ReadBytes(out), "old");
  EXPECT_EQ(folder.Names(), std::vector<std::string>{"out.flv"});
  EXPECT_EQ(RunInShell("exec \"$@\" >/dev/full", {"--help"}).status, 1);
  EXPECT_EQ(RunInShell("exec \"$@\" <&- >&- 2>&-", {"info", tour}).status, 1) << "not a crash";
  // A reader that has stopped: the command ends quietly, by the signal.
  const CommandResult result = RunInShell("exec 3> >(:); wait $!; exec \"$@\" >&3", {"packets", tour});
  EXPECT_EQ(result.status, 128 + SIGPIPE);
  EXPECT_EQ(result.err, "");
}

}  // namespace
}  // namespace qbflv::e2e
