// Turns what a terminal sends into the keys of `qbflv play`.
#pragma once

#include <string_view>
#include <vector>

namespace qbflv::cli {

/// The last two also come as signals.
enum class PlayKey { kLeft, kRight, kSpace, kSuspend, kQuit };

/// A key may arrive in pieces; other keys are passed over whole.
class PlayKeyDecoder {
 public:
  std::vector<PlayKey> Take(std::string_view bytes);

 private:
  /// Where the decoder stands in an escape sequence: after the escape, or after the bracket of a control sequence
  /// (ESC [ parameters letter), or after the O of a function key (ESC O letter).
  enum class State { kPlain, kEscape, kControl, kFunction };

  State Next(char byte, std::vector<PlayKey>& keys) const;

  State m_state = State::kPlain;
};

}  // namespace qbflv::cli
