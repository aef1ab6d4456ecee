// The terminal on Linux, by sequences that every terminal there understands.
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
#include "cli/terminal.h"
#include "host/host_error.h"
#include "host/system.h"

namespace qbflv::cli {

namespace {

/// The other screen, no cursor, and no wrapping, which would tear the picture when the window gets narrower.
constexpr std::string_view kEnter = "\x1b[?1049h\x1b[?25l\x1b[?7l\x1b[2J";
constexpr std::string_view kLeave = "\x1b[?7h\x1b[?25h\x1b[?1049l";

volatile std::sig_atomic_t g_endingSignal = 0;
volatile std::sig_atomic_t g_suspendWanted = 0;
volatile std::sig_atomic_t g_continued = 0;
/// Between Enter and Leave.
volatile std::sig_atomic_t g_entered = 0;
/// What the terminal was like before.
termios g_before;

bool Write(std::string_view text) {
  return host::system::Write(STDOUT_FILENO, {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
}

/// Calls only what a signal handler may call. A handler that comes in between does all of it again.
void Leave() {
  if (g_entered == 0) return;
  Write(kLeave);
  tcsetattr(STDIN_FILENO, TCSANOW, &g_before);
  g_entered = 0;
}

/// Keys still make signals, which end or suspend as everywhere.
void Enter() {
  g_entered = 1;
  termios now = g_before;
  now.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
  now.c_cc[VMIN] = 1;
  now.c_cc[VTIME] = 0;
  tcsetattr(STDIN_FILENO, TCSANOW, &now);
  Write(kEnter);
}

/// The first one is noted and ends the command in order. Who sends a second one does not want to wait for that.
extern "C" void NoteEndingSignal(int number) {
  if (g_endingSignal != 0) {
    Leave();
    std::signal(number, SIG_DFL);
    std::raise(number);
  }
  g_endingSignal = number;
}

extern "C" void NoteSuspendSignal(int /*number*/) { g_suspendWanted = 1; }
extern "C" void NoteContinueSignal(int /*number*/) { g_continued = 1; }

/// A signal that was to be ignored stays ignored. Waiting ends when one comes.
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
    for (const int number : EndingSignals()) m_handlers.push_back({number, Handle(number, NoteEndingSignal)});
    // A key makes it, and by default it would leave the terminal as it is.
    m_handlers.push_back({SIGQUIT, Handle(SIGQUIT, NoteEndingSignal)});
    m_handlers.push_back({SIGTSTP, Handle(SIGTSTP, NoteSuspendSignal)});
    m_handlers.push_back({SIGCONT, Handle(SIGCONT, NoteContinueSignal)});
    Enter();
  }

  ~PosixTerminal() override {
    Leave();
    for (const Handler& handler : m_handlers) sigaction(handler.number, &handler.before, nullptr);
  }

  Size GetSize() const override {
    winsize size{};
    // Some lines do not know their size.
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) return {80, 24};
    return {size.ws_col, size.ws_row};
  }

  void Show(std::span<const std::string> lines) override {
    // Who was suspended and is to end must not take the terminal back: it is the shell's.
    if (g_entered == 0 && g_endingSignal != 0) return;
    // A shell changes the terminal while the process is stopped, by whomever.
    if (std::exchange(g_continued, 0) != 0 || g_entered == 0) Enter();
    std::string picture = "\x1b[H";
    for (std::size_t i = 0; i < lines.size(); ++i) {
      picture += lines[i];
      picture += i + 1 < lines.size() ? "\x1b[K\r\n" : "\x1b[J";
    }
    if (!Write(picture)) throw host::HostError::System("cannot write to the terminal", errno);
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

  bool IsTerminated() const override {
    return g_endingSignal != 0 && g_endingSignal != SIGINT && g_endingSignal != SIGQUIT;
  }

 private:
  struct Handler {
    int number;
    struct sigaction before;
  };

  std::vector<PlayKey> ReadKeys() {
    std::array<char, 256> bytes;
    const ssize_t count = read(STDIN_FILENO, bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) return {};
    if (count <= 0) return {PlayKey::kQuit};  // the terminal went away
    return m_decoder.Take({bytes.data(), static_cast<std::size_t>(count)});
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
