// A terminal with a shell in it, to type at and to read.
#pragma once

#include <chrono>
#include <functional>
#include <string>

#include "tests/e2e/command.h"

namespace qbflv::e2e {

class Tmux {
 public:
  static bool IsInstalled();

  /// Its own server, with an interactive shell that was told nothing by anybody's settings.
  Tmux();
  Tmux(const Tmux&) = delete;
  Tmux& operator=(const Tmux&) = delete;
  ~Tmux();

  /// Names of keys, as "Left" or "C-c".
  void Press(const Words& keys);
  /// A line for the shell.
  void Enter(const std::string& line);
  void Resize(int columns, int rows);

  /// The rows, without the spaces at their ends.
  std::string Screen();
  /// Whether the cursor is visible, the other screen shown, and long lines wrap, as "1 0 1".
  std::string Flags();

  /// Reads the screen until the condition holds or half a minute is over; answers whether it came to hold.
  bool WaitFor(const std::function<bool(const std::string& screen)>& condition);
  bool WaitForText(const std::string& text);

 private:
  std::string Run(const Words& words);

  std::string m_socket;
};

}  // namespace qbflv::e2e
