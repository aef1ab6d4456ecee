// What every fuzzer's target is: a function of the input's bytes, run within bounds.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <span>

namespace qbflv::fuzz {

/// Ends the program, so that the fuzzer keeps the input.
inline void Require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s\n", what);
  __builtin_trap();
}

/// Each program defines its own.
void Try(std::span<const std::uint8_t> input);

}  // namespace qbflv::fuzz
