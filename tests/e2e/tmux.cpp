// A terminal with a shell in it, to type at and to read.
#include "tests/e2e/tmux.h"

#include <unistd.h>

#include <stdexcept>
#include <system_error>
#include <thread>

namespace qbflv::e2e {

namespace {

constexpr std::chrono::seconds kPatience(30);
constexpr std::chrono::milliseconds kInterval(50);

}  // namespace

bool Tmux::IsInstalled() {
  try {
    return RunCommand({"tmux", "-V"}).status == 0;
  } catch (const std::system_error&) {
    return false;
  }
}

Tmux::Tmux() : m_socket("qbflv-" + std::to_string(getpid())) {
  Run({"new-session", "-d", "-x", "100", "-y", "24", "env ENV= PS1='ready> ' sh -i"});
  Run({"set-option", "-g", "status", "off"});
  if (!WaitForText("ready>")) throw std::runtime_error("no prompt in the terminal");
}

Tmux::~Tmux() { RunCommand({"tmux", "-L", m_socket, "kill-server"}); }

void Tmux::Press(const Words& keys) { Run(Words{"send-keys"} + keys); }

void Tmux::Enter(const std::string& line) {
  Run({"send-keys", "-l", line});
  Press({"Enter"});
}

void Tmux::Resize(int columns, int rows) {
  Run({"resize-window", "-x", std::to_string(columns), "-y", std::to_string(rows)});
}

std::string Tmux::Screen() { return Run({"capture-pane", "-p"}); }

std::string Tmux::Flags() {
  const std::string flags = Run({"display-message", "-p", "#{cursor_flag} #{alternate_on} #{wrap_flag}"});
  return flags.substr(0, flags.find('\n'));
}

bool Tmux::WaitFor(const std::function<bool(const std::string& screen)>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  while (!condition(Screen())) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(kInterval);
  }
  return true;
}

bool Tmux::WaitForText(const std::string& text) {
  return WaitFor([&](const std::string& screen) { return screen.find(text) != std::string::npos; });
}

std::string Tmux::Run(const Words& words) {
  const CommandResult result = RunCommand(Words{"tmux", "-L", m_socket, "-f", "/dev/null"} + words);
  if (result.status != 0) throw std::runtime_error("tmux " + words[0] + ": " + result.err);
  return result.out;
}

}  // namespace qbflv::e2e
