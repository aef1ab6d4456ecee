// The terminal on Linux, controlled with common escape sequences.
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <utility>

#include "cli/process.h"
#include "cli/screen_text.h"
#include "cli/terminal.h"
#include "host/host_error.h"
#include "host/system.h"

namespace qbflv::cli {

namespace {

volatile std::sig_atomic_t g_endingSignal = 0;
volatile std::sig_atomic_t g_suspendWanted = 0;
volatile std::sig_atomic_t g_continued = 0;
/// 1 between Enter and Leave.
volatile std::sig_atomic_t g_entered = 0;
/// The terminal's settings before Enter.
termios g_before;

bool Write(std::string_view text) {
  return host::system::Write(STDOUT_FILENO, {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
}

/// Async-signal-safe. A signal handler that interrupts it runs it again from the start.
void Leave() {
  if (g_entered == 0) return;
  Write(kLeaveScreen);
  tcsetattr(STDIN_FILENO, TCSANOW, &g_before);
  g_entered = 0;
}

/// Leaves ISIG on, so that Ctrl-C and Ctrl-Z still produce signals.
void Enter() {
  g_entered = 1;
  termios now = g_before;
  now.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
  now.c_cc[VMIN] = 1;
  now.c_cc[VTIME] = 0;
  tcsetattr(STDIN_FILENO, TCSANOW, &now);
  Write(kEnterScreen);
}

/// Records the first signal, so that the command ends cleanly. A second one ends the process at once.
extern "C" void RecordEndingSignal(int number) {
  if (g_endingSignal != 0) {
    Leave();
    std::signal(number, SIG_DFL);
    std::raise(number);
  }
  g_endingSignal = number;
}

extern "C" void RecordSuspendSignal(int /*number*/) { g_suspendWanted = 1; }
extern "C" void RecordContinueSignal(int /*number*/) { g_continued = 1; }

/// Installs a handler without SA_RESTART, so that a signal interrupts poll. An ignored signal stays ignored. Returns
/// the previous action.
struct sigaction Handle(int number, void (*handler)(int)) {
  struct sigaction action {};
  struct sigaction before {};
  action.sa_handler = handler;
  sigaction(number, nullptr, &before);
  if (before.sa_handler != SIG_IGN) sigaction(number, &action, nullptr);
  return before;
}

class PosixTerminal final : public Terminal {
 public:
  PosixTerminal() {
    for (const int number : EndingSignals()) m_handlers.push_back({number, Handle(number, RecordEndingSignal)});
    // The default action of Ctrl-\ does not restore the terminal.
    m_handlers.push_back({SIGQUIT, Handle(SIGQUIT, RecordEndingSignal)});
    m_handlers.push_back({SIGTSTP, Handle(SIGTSTP, RecordSuspendSignal)});
    m_handlers.push_back({SIGCONT, Handle(SIGCONT, RecordContinueSignal)});
    Enter();
  }

  ~PosixTerminal() override {
    Leave();
    for (const Handler& handler : m_handlers) sigaction(handler.number, &handler.before, nullptr);
  }

  Size GetSize() const override {
    winsize size{};
    // The size of a serial line, for example, is unknown.
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) return {80, 24};
    return {size.ws_col, size.ws_row};
  }

  void Show(std::span<const std::string> lines) override {
    // A suspended process that is about to end must not draw again: the shell owns the terminal.
    if (g_entered == 0 && g_endingSignal != 0) return;
    // The shell may have changed the terminal while the process was stopped.
    if (std::exchange(g_continued, 0) != 0 || g_entered == 0) Enter();
    if (!Write(ScreenText(lines))) throw host::HostError::System("cannot write to the terminal", errno);
  }

  std::vector<PlayKey> WaitForKeys(std::chrono::steady_clock::time_point deadline) override {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    pollfd input{STDIN_FILENO, POLLIN, 0};
    const int ready = poll(&input, 1, left.count() > 0 ? static_cast<int>(left.count()) : 0);
    std::vector<PlayKey> keys = ready > 0 ? ReadKeys() : std::vector<PlayKey>();
    if (std::exchange(g_suspendWanted, 0) != 0) keys.push_back(PlayKey::kSuspend);
    if (g_endingSignal != 0) keys.push_back(PlayKey::kQuit);
    return keys;
  }

  void Suspend() override {
    Leave();
    std::raise(SIGSTOP);
  }

  int EndingSignal() const override { return g_endingSignal; }

 private:
  struct Handler {
    int number;
    struct sigaction before;
  };

  std::vector<PlayKey> ReadKeys() {
    std::array<char, 256> bytes;
    const ssize_t count = read(STDIN_FILENO, bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) return {};
    if (count <= 0) return {PlayKey::kQuit};  // the terminal was closed
    return m_decoder.Decode({bytes.data(), static_cast<std::size_t>(count)});
  }

  std::vector<Handler> m_handlers;
  PlayKeyDecoder m_decoder;
};

}  // namespace

std::unique_ptr<Terminal> Terminal::Open() {
  const char* const kind = std::getenv("TERM");
  const bool canDraw = kind != nullptr && *kind != '\0' && std::string_view(kind) != "dumb";
  if (!canDraw || isatty(STDOUT_FILENO) == 0 || tcgetattr(STDIN_FILENO, &g_before) != 0) return nullptr;
  return std::make_unique<PosixTerminal>();
}

}  // namespace qbflv::cli
