// Decodes the bytes of a terminal into the keys of `qbflv play`.
#include "cli/play_keys.h"

namespace qbflv::cli {

namespace {

constexpr char kEscapeByte = '\x1b';

void AppendArrow(char letter, std::vector<PlayKey>& keys) {
  if (letter == 'D') keys.push_back(PlayKey::kLeft);
  if (letter == 'C') keys.push_back(PlayKey::kRight);
}

void AppendPlain(char byte, std::vector<PlayKey>& keys) {
  if (byte == ' ') keys.push_back(PlayKey::kSpace);
  if (byte == 'q' || byte == 'Q') keys.push_back(PlayKey::kQuit);
}

/// Returns true for a byte that ends a control sequence.
bool IsFinal(char byte) { return byte >= '@' && byte <= '~'; }

}  // namespace

std::vector<PlayKey> PlayKeyDecoder::Decode(std::string_view bytes) {
  std::vector<PlayKey> keys;
  for (const char byte : bytes) m_state = byte == kEscapeByte ? State::kEscape : Next(byte, keys);
  return keys;
}

PlayKeyDecoder::State PlayKeyDecoder::Next(char byte, std::vector<PlayKey>& keys) const {
  switch (m_state) {
    case State::kEscape:
      if (byte == '[') return State::kControl;
      if (byte == 'O') return State::kFunction;
      break;  // the escape key alone, followed by another key
    case State::kControl:
      if (!IsFinal(byte)) return State::kControl;
      AppendArrow(byte, keys);
      return State::kPlain;
    case State::kFunction:
      AppendArrow(byte, keys);
      return State::kPlain;
    case State::kPlain:
      break;
  }
  AppendPlain(byte, keys);
  return State::kPlain;
}

}  // namespace qbflv::cli
