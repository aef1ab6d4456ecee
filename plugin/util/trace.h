// Trace points: printf-style messages about requests and notable steps. Builds without QBFLV_TRACE discard them.
#pragma once

#include <cstdint>

namespace qbflv {

#ifdef QBFLV_TRACE
inline constexpr bool kTraceEnabled = true;
#else
inline constexpr bool kTraceEnabled = false;
#endif

/// Category of all trace points: the text "FLVF".
inline constexpr std::uint32_t kTraceCategory = 0x464C5646;

/// Writes one message to standard error.
[[gnu::format(printf, 2, 3)]] void WriteTrace(std::uint32_t category, const char* format, ...);

/// Converts a number for the %lu of the messages.
constexpr unsigned long TraceNumber(std::uint32_t value) { return value; }

}  // namespace qbflv

/// A macro, because the arguments of a disabled trace point must compile but must not be evaluated.
#define QBFLV_TRACE_POINT(...)                                                                       \
  do {                                                                                               \
    if constexpr (::qbflv::kTraceEnabled) ::qbflv::WriteTrace(::qbflv::kTraceCategory, __VA_ARGS__); \
  } while (false)
