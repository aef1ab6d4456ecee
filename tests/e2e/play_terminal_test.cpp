// `qbflv play` in a real terminal: keys are sent, the screen is read.
#include <gtest/gtest.h>

#include <csignal>
#include <fstream>
#include <optional>
#include <regex>
#include <thread>

#include "tests/e2e/fixture.h"
#include "tests/e2e/flv_file.h"
#include "tests/e2e/tmux.h"

namespace qbflv::e2e {
namespace {

/// What the screen's first row says.
struct Shown {
  std::string condition;
  /// In tenths of a second.
  long position = 0;
};

std::optional<Shown> ReadScreen(const std::string& screen) {
  static const std::regex kFirstRow("^(playing|paused|the end) +([0-9]+):([0-9]+)\\.([0-9]) / ");
  std::smatch match;
  if (!std::regex_search(screen, match, kFirstRow)) return std::nullopt;
  return Shown{match[1], (std::stol(match[2]) * 60 + std::stol(match[3])) * 10 + std::stol(match[4])};
}

/// Two minutes: the tour, again and again.
std::string LongFlv() {
  constexpr std::uint32_t kTourTime = 10'000;
  const FlvFile tour = ParseFlv(ReadBytes(Sample("tour.flv")));
  FlvFile file{tour.hasAudio, tour.hasVideo, {}};
  for (std::uint32_t round = 0; round < 12; ++round) {
    for (Tag tag : tour.tags) {
      if (!tag.IsMedia() || tag.time >= kTourTime) continue;
      tag.time += round * kTourTime;
      file.tags.push_back(std::move(tag));
    }
  }
  return FormatFlv(file);
}

class PlayTerminal : public testing::Test {
 protected:
  void SetUp() override {
    if (!Tmux::IsInstalled()) GTEST_SKIP() << "there is no tmux; scripts/setup test installs it";
    WriteBytes(m_folder / "long.flv", LongFlv());
    m_terminal.emplace();
  }

  void Start(const std::string& options = {}) {
    m_terminal->Enter("sh -c 'echo $$ >" + PidFile() + "; exec \"$@\"' - " QBFLV_COMMAND " play " + options + " " +
                      std::string(m_folder / "long.flv") + "; echo status=$?");
    EXPECT_TRUE(WaitUntil([](const Shown& shown) { return shown.condition == "playing"; })) << m_terminal->Screen();
  }

  std::string PidFile() const { return m_folder / "pid"; }

  pid_t Pid() const {
    pid_t pid = 0;
    std::ifstream(PidFile()) >> pid;
    return pid;
  }

  bool WaitUntil(const std::function<bool(const Shown&)>& condition) {
    return m_terminal->WaitFor([&](const std::string& screen) {
      const auto shown = ReadScreen(screen);
      return shown && condition(*shown);
    });
  }

  bool WaitForPosition(long tenths) {
    return WaitUntil([&](const Shown& shown) { return shown.position == tenths; });
  }

  Shown Read() {
    const auto shown = ReadScreen(m_terminal->Screen());
    if (!shown) throw std::runtime_error("nothing is playing:\n" + m_terminal->Screen());
    return *shown;
  }

  /// The shell has its terminal back: its keys show, its lines wrap, its cursor is there.
  void ExpectSaneTerminal(const std::string& when) {
    EXPECT_EQ(m_terminal->Flags(), "1 0 1") << when;
    m_terminal->Enter("echo s''ane; stty -a | grep -wo -e '-*icanon' -e '-*echo'");
    EXPECT_TRUE(m_terminal->WaitFor([](const std::string& screen) {
      return screen.find("> echo s''ane") != std::string::npos &&
             screen.find("\nsane\nicanon\necho\n") != std::string::npos;
    })) << when
        << ":\n"
        << m_terminal->Screen();
    m_terminal->Enter("clear");
    EXPECT_TRUE(m_terminal->WaitFor([](const std::string& screen) { return screen.starts_with("ready>\n"); })) << when;
  }

  WorkFolder m_folder;
  std::optional<Tmux> m_terminal;
};

TEST_F(PlayTerminal, Keys_PauseAndSeek) {
  Start();
  EXPECT_EQ(m_terminal->Flags(), "0 1 0");
  const long first = Read().position;
  EXPECT_TRUE(WaitUntil([&](const Shown& shown) { return shown.position >= first + 5; })) << "it does not move";

  m_terminal->Press({"Space"});
  EXPECT_TRUE(WaitUntil([](const Shown& shown) { return shown.condition == "paused"; }));
  const long paused = Read().position;
  std::this_thread::sleep_for(std::chrono::milliseconds(500));
  EXPECT_EQ(Read().position, paused) << "the pause is none";
  EXPECT_EQ(Read().condition, "paused");

  m_terminal->Press({"Right", "Right", "Right"});
  EXPECT_TRUE(WaitForPosition(paused + 300)) << "three times right:\n" << m_terminal->Screen();
  m_terminal->Press({"Left"});
  EXPECT_TRUE(WaitForPosition(paused + 200)) << "left:\n" << m_terminal->Screen();
  m_terminal->Press({"Left", "Left", "Left", "Left", "Left", "Left"});
  EXPECT_TRUE(WaitForPosition(0)) << "left beyond the start:\n" << m_terminal->Screen();
  m_terminal->Press({"Right"});
  EXPECT_TRUE(WaitForPosition(100)) << "right from the start:\n" << m_terminal->Screen();

  m_terminal->Press({"Space"});
  EXPECT_TRUE(WaitUntil([](const Shown& shown) { return shown.condition == "playing" && shown.position >= 105; }))
      << m_terminal->Screen();
  m_terminal->Press({"q"});
  EXPECT_TRUE(m_terminal->WaitForText("status=0")) << m_terminal->Screen();
}

TEST_F(PlayTerminal, AtTheEnd_WaitsForASeekBack) {
  Start("--start 115000 --speed 10");
  EXPECT_TRUE(WaitUntil([](const Shown& shown) { return shown.condition == "the end"; })) << m_terminal->Screen();
  m_terminal->Press({"Right", "Space"});
  m_terminal->Press({"Left", "Left", "Left"});
  EXPECT_TRUE(WaitUntil([](const Shown& shown) { return shown.condition == "playing" && shown.position < 1000; }))
      << m_terminal->Screen();
  EXPECT_TRUE(WaitUntil([](const Shown& shown) { return shown.condition == "the end"; })) << m_terminal->Screen();
  m_terminal->Press({"q"});
  EXPECT_TRUE(m_terminal->WaitForText("the end  ")) << "what was shown last is gone";
  EXPECT_TRUE(m_terminal->WaitForText("status=0")) << m_terminal->Screen();
}

TEST_F(PlayTerminal, EveryWayOut_GivesTheTerminalBack) {
  struct {
    const char* name;
    const char* key;
    int signal;
    const char* status;
  } const cases[] = {
      {"q", "q", 0, "status=0"},
      {"Ctrl-C", "C-c", 0, "status=0"},
      {"Ctrl-\\", "C-\\", 0, "status=0"},
      {"SIGTERM", nullptr, SIGTERM, "status=1"},
      {"SIGHUP", nullptr, SIGHUP, "status=1"},
  };
  for (const auto& c : cases) {
    Start();
    if (c.key != nullptr) {
      m_terminal->Press({c.key});
    } else {
      ASSERT_EQ(kill(Pid(), c.signal), 0) << c.name;
    }
    EXPECT_TRUE(m_terminal->WaitForText(c.status)) << c.name << ":\n" << m_terminal->Screen();
    ExpectSaneTerminal(c.name);
  }
}

/// As when somebody presses Ctrl-C again and again while a disk does not answer.
TEST_F(PlayTerminal, SeveralSignalsAtOnce_GiveTheTerminalBack) {
  Start();
  const pid_t pid = Pid();
  kill(pid, SIGINT);
  kill(pid, SIGTERM);
  kill(pid, SIGHUP);
  EXPECT_TRUE(m_terminal->WaitForText("status=")) << m_terminal->Screen();
  ExpectSaneTerminal("after three signals");
}

TEST_F(PlayTerminal, Suspension_LendsTheTerminal) {
  Start();
  const auto suspend = [&] {
    m_terminal->Press({"C-z"});
    EXPECT_TRUE(m_terminal->WaitForText("Stopped")) << m_terminal->Screen();
    ExpectSaneTerminal("while suspended");
  };
  suspend();
  m_terminal->Enter("fg");
  EXPECT_TRUE(WaitUntil([](const Shown& shown) { return shown.condition == "playing"; })) << m_terminal->Screen();
  EXPECT_EQ(m_terminal->Flags(), "0 1 0");
  suspend();
  m_terminal->Enter("kill -s TERM %1; kill -s CONT %1");
  EXPECT_TRUE(m_terminal->WaitForText("interrupted")) << "it did not end:\n" << m_terminal->Screen();
  m_terminal->Enter("");
  ExpectSaneTerminal("when it ended while suspended");
}

TEST_F(PlayTerminal, Resizes_LeaveNoTrace) {
  Start();
  m_terminal->Press({"Space"});
  EXPECT_TRUE(WaitUntil([](const Shown& shown) { return shown.condition == "paused"; }));
  const auto isWhole = [](const std::string& screen) { return screen.find("q: quit") != std::string::npos; };
  EXPECT_TRUE(m_terminal->WaitFor(isWhole));
  const std::string before = m_terminal->Screen();
  m_terminal->Resize(30, 5);
  const auto cut = [](const std::string& row) { return row.substr(0, row.find_last_not_of(' ', 28) + 1); };
  EXPECT_TRUE(m_terminal->WaitFor([&](const std::string& screen) {
    const std::vector<std::string> rows = Lines(screen);
    const std::vector<std::string> whole = Lines(before);
    return rows.size() == 5 && rows[0] == cut(whole[0]) && rows[1].ends_with(" %") && rows[3] == cut(whole[3]) &&
           rows[4] == cut(whole[4]);
  })) << m_terminal->Screen();
  m_terminal->Resize(100, 24);
  EXPECT_TRUE(m_terminal->WaitFor([&](const std::string& screen) { return screen == before; })) << m_terminal->Screen();
}

}  // namespace
}  // namespace qbflv::e2e
