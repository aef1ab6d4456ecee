// Trace points: printf-style messages on requests and notable steps, discarded unless the build asks for them.
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

/// A 32-bit number as the %lu of the messages takes it.
constexpr unsigned long TraceNumber(std::uint32_t value) { return value; }

}  // namespace qbflv

/// A macro for one reason: the arguments of a trace point that is off must not be evaluated, but must still compile.
#define QBFLV_TRACE_POINT(...)                                                                       \
  do {                                                                                               \
    if constexpr (::qbflv::kTraceEnabled) ::qbflv::WriteTrace(::qbflv::kTraceCategory, __VA_ARGS__); \
  } while (false)
