// Decodes the bytes of a terminal into the keys of `qbflv play`.
#pragma once

#include <string_view>
#include <vector>

namespace qbflv::cli {

/// Signals also produce kSuspend and kQuit.
enum class PlayKey { kLeft, kRight, kSpace, kSuspend, kQuit };

/// Accepts a key that is split between calls. Ignores other keys.
class PlayKeyDecoder {
 public:
  std::vector<PlayKey> Decode(std::string_view bytes);

 private:
  /// The position in an escape sequence: after the escape, after the bracket of a control sequence (ESC [ parameters
  /// letter), or after the O of a function key (ESC O letter).
  enum class State { kPlain, kEscape, kControl, kFunction };

  State Next(char byte, std::vector<PlayKey>& keys) const;

  State m_state = State::kPlain;
};

}  // namespace qbflv::cli
