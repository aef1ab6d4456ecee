// The fuzz targets: functions that take an input's bytes. The fuzzers and fuzz_test.cpp run them within limits.
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

/// Runs a target and requires that the input takes bounded time and memory.
void RunBounded(Target target, Input input);

/// Ends the program unless the condition holds, so that the fuzzer keeps the input.
inline void Require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "requirement failed: %s\n", what);
  __builtin_trap();
}

}  // namespace qbflv::fuzz
