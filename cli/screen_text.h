// The escape sequences of a full-screen display, for Linux terminals and the Windows console.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace qbflv::cli {

/// Switches to the alternate screen, hides the cursor, and turns line wrapping off, which would distort the screen when
/// the window gets narrower.
inline constexpr std::string_view kEnterScreen = "\x1b[?1049h\x1b[?25l\x1b[?7l\x1b[2J";
inline constexpr std::string_view kLeaveScreen = "\x1b[?7h\x1b[?25h\x1b[?1049l";

/// Returns the text that replaces the content of the screen by the lines.
inline std::string ScreenText(std::span<const std::string> lines) {
  std::string text = "\x1b[H";
  for (std::size_t i = 0; i < lines.size(); ++i) {
    text += lines[i];
    text += i + 1 < lines.size() ? "\x1b[K\r\n" : "\x1b[J";
  }
  return text;
}

}  // namespace qbflv::cli
