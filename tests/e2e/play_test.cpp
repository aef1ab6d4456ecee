// `qbflv play`: where there is no terminal, and in one, where keys are sent and the screen is read.
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <regex>
#include <stdexcept>

#include "tests/e2e/command.h"
#include "tests/e2e/fixture.h"
#include "tests/e2e/flv_file.h"

namespace qbflv::e2e {
namespace {

TEST(Play, WithoutATerminal_PrintsLinesAndSendsEveryPacket) {
  const std::string sample = Sample("tour.flv");
  const FlvFile file = ParseFlv(ReadBytes(sample));
  const std::string sent =
      fmt::format("audio {} sent  video {} sent", file.TagsOfType(kAudioTag).size(), file.TagsOfType(kVideoTag).size());
  for (const char* const completions : {"inline", "queued"}) {
    const CommandResult result = RunQbflv({"play", "--speed", "100", "--host-io", completions, sample});
    EXPECT_EQ(result.status, 0) << result;
    ASSERT_NE(result.out, "");
    // The last packet is due at 10.09 s; a slow machine sends it later.
    const std::string last = Lines(result.out).back();
    EXPECT_TRUE(last.starts_with("the end  0:1") && last.ends_with(sent)) << last;
  }
}

/// Times that start late, as in a recording that was cut, make neither a long wait nor another position.
TEST(Play, FileThatStartsLate_CountsFromItsFirstPacket) {
  const TemporaryFolder folder;
  const std::string late = folder / "late.flv";
  ASSERT_EQ(RunQbflv({"remux", "--start", "6000", Sample("tour.flv"), late}).status, 0);
  const CommandResult result = RunQbflv({"play", "--speed", "10", late});
  EXPECT_EQ(result.status, 0) << result;
  EXPECT_TRUE(result.out.starts_with("0:00.")) << result.out;
}

/// Modes that every new terminal has.
constexpr tcflag_t kTerminalModes = ICANON | ECHO | ISIG;

/// The command in a terminal of its own.
class Terminal {
 public:
  explicit Terminal(const Words& options) {
    winsize size{24, 100, 0, 0};
    m_child = forkpty(&m_terminal, nullptr, nullptr, &size);
    if (m_child < 0) throw std::runtime_error("no terminal");
    if (m_child > 0) return;
    // Whoever runs the tests may ignore some of them.
    for (const int each : {SIGHUP, SIGINT, SIGQUIT, SIGTERM}) std::signal(each, SIG_DFL);
    std::vector<const char*> words{QBFLV_COMMAND, "play"};
    for (const std::string& option : options) words.push_back(option.c_str());
    words.push_back(nullptr);
    execv(words[0], const_cast<char* const*>(words.data()));
    _exit(127);
  }
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;
  ~Terminal() {
    close(m_terminal);
    if (m_child > 0) kill(m_child, SIGKILL);
    if (m_child > 0) waitpid(m_child, nullptr, 0);
  }

  void Press(const std::string& keys) { EXPECT_GT(write(m_terminal, keys.data(), keys.size()), 0); }
  void Signal(int signal) const { kill(m_child, signal); }

  /// Reads what is shown until the pattern comes, for half a minute at most. What was read up to its end is forgotten.
  bool WaitFor(const char* pattern) {
    const std::regex regex(pattern);
    std::smatch match;
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!std::regex_search(m_shown, match, regex)) {
      if (std::chrono::steady_clock::now() > end) return false;
      pollfd readable{m_terminal, POLLIN, 0};
      char bytes[4096];
      const ssize_t count = poll(&readable, 1, 30000) > 0 ? read(m_terminal, bytes, sizeof(bytes)) : -1;
      if (count <= 0) return false;
      m_shown.append(bytes, static_cast<std::size_t>(count));
    }
    m_shown = match.suffix();
    return true;
  }

  /// Waits for the command's end, and returns its status as a shell tells it. The terminal must have its modes and its
  /// first screen back.
  int Wait() {
    const bool hasEnded = WaitFor("\x1b\\[\\?1049l");
    EXPECT_TRUE(hasEnded) << "the first screen is not back";
    if (!hasEnded) kill(m_child, SIGKILL);
    int status = 0;
    waitpid(std::exchange(m_child, -1), &status, 0);
    termios modes{};
    tcgetattr(m_terminal, &modes);
    EXPECT_EQ(modes.c_lflag & kTerminalModes, kTerminalModes);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }

 private:
  int m_terminal = -1;
  pid_t m_child = -1;
  std::string m_shown;
};

TEST(PlayTerminal, Keys_PauseSeekAndQuit) {
  Terminal terminal({Sample("tour.flv"), "--start", "9500", "--speed", "0.5"});
  EXPECT_TRUE(terminal.WaitFor("the end"));
  terminal.Press("\x1b[D");
  EXPECT_TRUE(terminal.WaitFor("playing +0:0[0-9]"));
  terminal.Press(" ");
  EXPECT_TRUE(terminal.WaitFor("paused"));
  terminal.Press("\x1b[C");
  EXPECT_TRUE(terminal.WaitFor("0:10\\.[01] / 0:10\\.1"));
  terminal.Press("\x1b[D\x1b[D");
  EXPECT_TRUE(terminal.WaitFor("0:00\\.0 / 0:10\\.1"));
  terminal.Press(" ");
  EXPECT_TRUE(terminal.WaitFor("playing"));
  terminal.Press("q");
  EXPECT_EQ(0, terminal.Wait());
}

TEST(PlayTerminal, EverySignal_GivesTheTerminalBack) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
    SCOPED_TRACE(signal);
    Terminal terminal({Sample("tour.flv")});
    EXPECT_TRUE(terminal.WaitFor("playing"));
    terminal.Signal(signal);
    EXPECT_EQ(128 + signal, terminal.Wait());
  }
}

}  // namespace
}  // namespace qbflv::e2e
