// The targets: functions of an input's bytes, run within bounds by the fuzzers and by fuzz_test.cpp.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <span>

namespace qbflv::fuzz {

using Input = std::span<const std::uint8_t>;
using Target = void (*)(Input input);

void TryAmf(Input input);
void TryModel(Input input);
void TrySession(Input input);
void TryStructures(Input input);
void TryUrl(Input input);
void TryView(Input input);

/// Runs a target, and requires that the input takes bounded time and memory.
void RunBounded(Target target, Input input);

/// Ends the program unless the condition holds, so that the fuzzer keeps the input.
inline void Require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s\n", what);
  __builtin_trap();
}

}  // namespace qbflv::fuzz
