// The keys of `qbflv play`, as terminals send them.
#include "cli/play_keys.h"

#include <gtest/gtest.h>

#include <string>

namespace qbflv::cli {
namespace {

/// L, R, S and Q for the keys.
std::string Decode(std::initializer_list<std::string_view> pieces) {
  PlayKeyDecoder decoder;
  std::string text;
  for (const std::string_view piece : pieces) {
    for (const PlayKey key : decoder.Decode(piece)) text += "LRS-Q"[static_cast<int>(key)];
  }
  return text;
}

TEST(PlayKeys, Sequences_GiveTheirKeysWholeAndInPieces) {
  struct {
    std::string_view bytes;
    const char* keys;
  } const cases[] = {
      {"", ""},
      {" qQ", "SQQ"},
      {"xDC[O", ""},
      {"\x1b[D\x1b[C", "LR"},
      {"\x1bOD\x1bOC", "LR"},
      {"\x1b[C\x1b[C\x1b[C", "RRR"},
      {"\x1b[1;5D\x1b[1;2C", "LR"},   // with a modifier
      {"\x1b[A\x1b[B\x1bOP ", "S"},   // other arrows, F1
      {"\x1b[3~\x1b[24~q", "Q"},      // delete, F12
      {"\x1b[M !!", "S"},             // nothing that was asked for, and no harm
      {"\x1bq", "Q"},                 // the escape key, then q
      {"\x1b\x1b[D", "L"},            // the escape key, then an arrow
      {"\x1b[1\x1b[C", "R"},          // a sequence that breaks off
      {"\xc3\xa4 \xe2\x86\x90", "S"}  // letters beyond ASCII
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Decode({c.bytes}), c.keys) << testing::PrintToString(c.bytes);
    for (std::size_t cut = 1; cut < c.bytes.size(); ++cut) {
      EXPECT_EQ(Decode({c.bytes.substr(0, cut), c.bytes.substr(cut)}), c.keys)
          << testing::PrintToString(c.bytes) << " cut at " << cut;
    }
  }
}

}  // namespace
}  // namespace qbflv::cli
