// `qbflv play` where there is no terminal.
#include <gtest/gtest.h>

#include <regex>

#include "tests/e2e/command.h"
#include "tests/e2e/fixture.h"
#include "tests/e2e/flv_file.h"
#include "tests/e2e/host_mode.h"

namespace qbflv::e2e {
namespace {

/// The packets of each stream that a line says were sent.
std::vector<std::uint64_t> SentPackets(const std::string& line) {
  static const std::regex kSent("([0-9]+) sent");
  std::vector<std::uint64_t> sent;
  for (std::sregex_iterator it(line.begin(), line.end(), kSent); it != std::sregex_iterator(); ++it) {
    sent.push_back(std::stoull((*it)[1]));
  }
  return sent;
}

/// The same of `packets --count`.
std::vector<std::uint64_t> CountedPackets(const Words& options) {
  std::vector<std::uint64_t> counts;
  const CommandResult result = RunQbflv(Words{"packets", "--count"} + options);
  EXPECT_EQ(result.status, 0) << result;
  const std::vector<std::string> lines = Lines(result.out);
  for (std::size_t i = 1; i < lines.size(); ++i) {
    std::istringstream words(lines[i]);
    std::uint64_t stream = 0;
    words >> stream >> counts.emplace_back();
  }
  return counts;
}

TEST(Play, WithoutATerminal_PrintsLinesAndEndsWithTheFile) {
  const CommandResult result = RunQbflv({"play", "--speed", "8", Sample("tour.flv")});
  EXPECT_EQ(result.status, 0) << result;
  const std::vector<std::string> lines = Lines(result.out);
  ASSERT_GE(lines.size(), 2u) << result.out;
  const std::regex first("playing  0:0[0-9]\\.[0-9] / 0:10\\.0  8x  audio .* kb/s, .*  video .* kb/s, .* ms");
  EXPECT_TRUE(std::regex_match(lines.front(), first)) << lines.front();
  EXPECT_TRUE(lines.back().starts_with("the end  0:10.0 / 0:10.0  8x  audio ")) << lines.back();
}

TEST(Play, InEveryHostMode_SendsWhatIsDelivered) {
  for (const HostMode& mode : AllHostModes()) {
    for (const char* const answers : {"inline", "queued"}) {
      for (const Words& start : {Words{}, Words{"--start", "0"}, Words{"--start", "4500"}}) {
        const Words options = mode.Options() + Words{"--host-io", answers, Sample("tour.flv")} + start;
        const CommandResult result = RunQbflv(Words{"play", "--speed", "1000"} + options);
        const std::string which = mode.Name() + ", " + answers + (start.empty() ? "" : ", start " + start[1]);
        EXPECT_EQ(result.status, 0) << which << ": " << result;
        const std::vector<std::string> lines = Lines(result.out);
        ASSERT_FALSE(lines.empty()) << which;
        EXPECT_EQ(SentPackets(lines.back()), CountedPackets(options)) << which << ": " << lines.back();
      }
    }
  }
}

/// Times that start late, as in a recording that was cut, make neither a long wait nor another position.
TEST(Play, FileThatStartsLate_CountsFromItsFirstPacket) {
  const WorkFolder folder;
  const std::string late = folder / "late.flv";
  ASSERT_EQ(RunQbflv({"remux", "--start", "6000", Sample("tour.flv"), late}).status, 0);
  const CommandResult result = RunQbflv({"play", "--speed", "10", late});
  EXPECT_EQ(result.status, 0) << result;
  const std::vector<std::string> lines = Lines(result.out);
  ASSERT_GE(lines.size(), 2u) << result.out;
  EXPECT_TRUE(lines.front().starts_with("playing  0:00.")) << lines.front();
  EXPECT_EQ(SentPackets(lines.back()), CountedPackets({late}));
}

TEST(Play, StartPastTheEnd_IsTheEndAtOnce) {
  const CommandResult result = RunQbflv({"play", "--speed", "0.01", "--start", "99999999", Sample("tour.flv")});
  EXPECT_EQ(result.status, 0) << result;
  const std::vector<std::string> lines = Lines(result.out);
  ASSERT_EQ(lines.size(), 1u) << result.out;
  EXPECT_TRUE(lines[0].starts_with("the end  0:10.0 / 0:10.0")) << lines[0];
}

TEST(Play, SeekThatFails_FailsTheCommand) {
  // Without the last tag's size the scan meets the end of the file with nothing to read, and that fails here.
  const WorkFolder folder;
  const std::string cut = folder / "cut.flv";
  const std::string bytes = ReadBytes(Sample("tour.flv"));
  WriteBytes(cut, bytes.substr(0, bytes.size() - 4));
  const CommandResult result = RunQbflv({"play", "--host-eof", "fail", "--start", "99999999", cut});
  EXPECT_EQ(result.status, 1) << result;
  EXPECT_EQ(result.out, "");
  EXPECT_NE(result.err.find("cannot seek to 99999999 ms: 0x"), std::string::npos) << result.err;
}

TEST(Play, BadOptions_AreBadUsage) {
  for (const Words& options : {Words{"--speed", "0"}, Words{"--speed", "-1"}, Words{"--speed", "nan"},
                               Words{"--speed", "inf"}, Words{"--speed", "2x"}, Words{"--speed", "1e9"},
                               Words{"--speed", ""}, Words{"--start", "-5"}, Words{"--start", "4294967296"}}) {
    const CommandResult result = RunQbflv(Words{"play"} + options + Words{Sample("tour.flv")});
    EXPECT_EQ(result.status, 2) << options[0] << ' ' << options[1] << ": " << result;
  }
}

}  // namespace
}  // namespace qbflv::e2e
