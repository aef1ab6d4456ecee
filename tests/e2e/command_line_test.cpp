// How qbflv ends: exit statuses and what it says when it cannot do its job.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>

#include "tests/e2e/command.h"
#include "tests/e2e/fixture.h"
#include "tests/e2e/flv_file.h"

namespace qbflv::e2e {
namespace {

TEST(CommandLine, BadUsage_Ends2AndPointsToTheHelp) {
  const std::string tour = Sample("tour.flv");
  const Words cases[] = {
      {},
      {"watch", tour},
      {"info"},
      {"info", tour, "another"},
      {"info", tour, "--no-such-option"},
      {"packets", tour, "--limit", "few"},
      {"packets", tour, "--limit", "-1"},
      {"packets", tour, "--stream", "audio"},
      {"packets", tour, "--host-io", "sometimes"},
      {"packets", tour, "--host-eof", "long"},
      {"packets", tour, "--pref", "without-a-value"},
      {"packets", tour, "--header", "=nameless"},
      {"seek", tour},
      {"play", tour, "--speed", "0"},
      {"remux", tour},
  };
  for (const Words& words : cases) {
    SCOPED_TRACE(testing::PrintToString(words));
    const CommandResult result = RunQbflv(words);
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_NE(result.err.find("--help"), std::string::npos) << result.err;
  }
}

TEST(CommandLine, HelpOfEveryCommand_ShowsAnExample) {
  for (const Words& words : {Words{"--help"}, Words{"info", "--help"}, Words{"packets", "--help"},
                             Words{"seek", "--help"}, Words{"play", "--help"}, Words{"remux", "--help"}}) {
    SCOPED_TRACE(testing::PrintToString(words));
    const CommandResult result = RunQbflv(words);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_NE(result.out.find("Example:\n  qbflv "), std::string::npos) << result.out;
  }
}

class Failure : public testing::Test {
 protected:
  /// Asserts the one line: it names the file and says what failed.
  static void ExpectFailure(const CommandResult& result, const std::string& file, const std::string& reason) {
    EXPECT_EQ(result.status, 1);
    ASSERT_EQ(Lines(result.err).size(), 1U) << result.err;
    EXPECT_NE(result.err.find(file), std::string::npos) << result.err;
    EXPECT_NE(result.err.find(reason), std::string::npos) << result.err;
  }

  const WorkFolder m_folder;
};

TEST_F(Failure, OfTheJob_Ends1WithOneLine) {
  const std::string notFlv = m_folder / "not.flv";
  const std::string tooLarge = m_folder / "large.flv";
  const std::string empty = m_folder / "empty.flv";
  const std::string nothingAnnounced = m_folder / "nothing.flv";
  const std::string unknownTag = m_folder / "unknown.flv";
  WriteBytes(notFlv, "FLW\x01\x05 and more");
  WriteBytes(tooLarge, "FLV");
  std::filesystem::resize_file(tooLarge, std::uintmax_t{1} << 32);
  WriteBytes(empty, "");
  WriteBytes(nothingAnnounced, FormatFlv({}));
  WriteBytes(unknownTag, FormatFlv({true, true, {Tag{15, 0, "?"}}}));
  const std::string tour = Sample("tour.flv");
  const struct {
    Words words;
    std::string file;
    const char* reason;
  } cases[] = {
      {{"info", m_folder / "absent.flv"}, "absent.flv", "No such file"},
      {{"info", m_folder / "."}, m_folder / ".", "directory"},
      {{"info", "/dev/null"}, "/dev/null", "regular file"},
      {{"info", tooLarge}, tooLarge, "4 GiB"},
      {{"info", notFlv}, notFlv, "0x80004005"},
      // A short first read is no failure: it is the file header that is missing then.
      {{"info", empty}, empty, "0x80040009"},
      {{"info", empty, "--host-eof", "fail"}, empty, "0x80004005"},
      {{"info", nothingAnnounced}, nothingAnnounced, "0x80040009"},
      {{"info", unknownTag}, unknownTag, "0x80040009"},
      {{"packets", tour, "--stream", "2"}, tour, "no stream 2"},
      {{"info", tour, "--plugin", m_folder / "absent.so"}, tour, "absent.so"},
      {{"info", tour, "--plugin", notFlv}, tour, notFlv.c_str()},
      {{"remux", tour, m_folder / "absent/out.flv"}, tour, "absent/out.flv"},
  };
  for (const auto& [words, file, reason] : cases) {
    for (const char* const io : {"inline", "queued"}) {
      SCOPED_TRACE(testing::PrintToString(words) + io);
      const CommandResult result = RunQbflv(words + Words{"--host-io", io});
      EXPECT_EQ(result.out, "");
      ExpectFailure(result, file, reason);
    }
  }
}

TEST_F(Failure, ToWriteTheOutput_IsNotOverlooked) {
  const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
  ASSERT_GE(full, 0);
  for (const char* const command : {"info", "packets"}) {
    SCOPED_TRACE(command);
    ExpectFailure(RunQbflv({command, Sample("tour.flv")}, full), "tour.flv", "No space left");
  }
  close(full);
}

TEST(CommandLine, AReaderThatStops_EndsItQuietly) {
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  close(ends[0]);
  const CommandResult result = RunQbflv({"packets", Sample("tour.flv")}, ends[1]);
  close(ends[1]);
  EXPECT_EQ(result.status, 128 + SIGPIPE);
  EXPECT_EQ(result.err, "");
}

}  // namespace
}  // namespace qbflv::e2e
