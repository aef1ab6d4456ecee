// The terminal on Windows: a console that supports escape sequences (Windows 10 and later).
#define WIN32_LEAN_AND_MEAN
#include <unistd.h>
#include <windows.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <string_view>

#include "cli/screen_text.h"
#include "cli/terminal.h"
#include "host/host_error.h"
#include "host/system.h"

namespace qbflv::cli {

namespace {

struct ConsoleModes {
  DWORD input = 0;
  DWORD output = 0;
};

/// Shared with the handler, which runs on its own thread.
std::atomic<int> g_endingSignal{0};
HANDLE g_signalEvent = nullptr;
ConsoleModes g_before;

HANDLE Input() { return GetStdHandle(STD_INPUT_HANDLE); }
HANDLE Console() { return GetStdHandle(STD_OUTPUT_HANDLE); }

bool Write(std::string_view text) {
  return host::system::Write(STDOUT_FILENO, {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
}

void Leave() {
  Write(kLeaveScreen);
  SetConsoleMode(Input(), g_before.input);
  SetConsoleMode(Console(), g_before.output);
}

/// Records the first Ctrl-C or Ctrl-Break, so that the command ends cleanly. A second one ends the process at once.
BOOL WINAPI RecordEvent(DWORD event) {
  if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) return FALSE;
  if (g_endingSignal.exchange(SIGINT) != 0) {
    Leave();
    return FALSE;
  }
  SetEvent(g_signalEvent);
  return TRUE;
}

class WindowsTerminal final : public Terminal {
 public:
  WindowsTerminal() {
    g_signalEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    SetConsoleCtrlHandler(RecordEvent, TRUE);
    Write(kEnterScreen);
  }

  ~WindowsTerminal() override {
    Leave();
    SetConsoleCtrlHandler(RecordEvent, FALSE);
    CloseHandle(g_signalEvent);
  }

  Size GetSize() const override {
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (GetConsoleScreenBufferInfo(Console(), &info) == 0) return {80, 24};
    return {static_cast<std::size_t>(info.srWindow.Right - info.srWindow.Left + 1),
            static_cast<std::size_t>(info.srWindow.Bottom - info.srWindow.Top + 1)};
  }

  void Show(std::span<const std::string> lines) override {
    if (!Write(ScreenText(lines))) throw host::HostError::System("cannot write to the terminal", errno);
  }

  std::vector<PlayKey> WaitForKeys(std::chrono::steady_clock::time_point deadline) override {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    const std::array<HANDLE, 2> handles = {g_signalEvent, Input()};
    const DWORD timeout = left.count() > 0 ? static_cast<DWORD>(left.count()) : 0;
    WaitForMultipleObjects(static_cast<DWORD>(handles.size()), handles.data(), FALSE, timeout);
    std::vector<PlayKey> keys = ReadKeys();
    if (g_endingSignal != 0) keys.push_back(PlayKey::kQuit);
    return keys;
  }

  /// Windows has no key that suspends a process.
  void Suspend() override {}

  int EndingSignal() const override { return g_endingSignal; }

 private:
  static std::vector<PlayKey> ReadKeys() {
    std::vector<PlayKey> keys;
    std::array<INPUT_RECORD, 64> records;
    DWORD count = 0;
    // ReadConsoleInputW blocks if there is no event.
    if (GetNumberOfConsoleInputEvents(Input(), &count) == 0 || count == 0) return keys;
    if (ReadConsoleInputW(Input(), records.data(), static_cast<DWORD>(records.size()), &count) == 0) return keys;
    for (const INPUT_RECORD& record : std::span(records).first(count)) {
      if (record.EventType == KEY_EVENT && record.Event.KeyEvent.bKeyDown != 0) Append(record.Event.KeyEvent, keys);
    }
    return keys;
  }

  static void Append(const KEY_EVENT_RECORD& event, std::vector<PlayKey>& keys) {
    const std::size_t count = std::max<std::size_t>(event.wRepeatCount, 1);
    switch (event.wVirtualKeyCode) {
      case VK_LEFT:
        keys.insert(keys.end(), count, PlayKey::kLeft);
        return;
      case VK_RIGHT:
        keys.insert(keys.end(), count, PlayKey::kRight);
        return;
      case VK_SPACE:
        keys.insert(keys.end(), count, PlayKey::kSpace);
        return;
      case 'Q':
        keys.push_back(PlayKey::kQuit);
        return;
      default:
        return;
    }
  }
};

}  // namespace

std::unique_ptr<Terminal> Terminal::Open() {
  if (GetConsoleMode(Input(), &g_before.input) == 0 || GetConsoleMode(Console(), &g_before.output) == 0) return nullptr;
  // Consoles before Windows 10 refuse escape sequences.
  if (SetConsoleMode(Console(), ENABLE_PROCESSED_OUTPUT | ENABLE_VIRTUAL_TERMINAL_PROCESSING) == 0) return nullptr;
  // Turns off line input, and selection by mouse, which would stop the output. Ctrl-C remains an event.
  SetConsoleMode(Input(), ENABLE_PROCESSED_INPUT | ENABLE_EXTENDED_FLAGS);
  return std::make_unique<WindowsTerminal>();
}

}  // namespace qbflv::cli
