// The last calls across the boundary between host and plug-in.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace qbflv::watch {

struct PastCall {
  /// A literal, such as "IQBSourceFile::Read".
  const char* name = nullptr;
  std::uint32_t argument = 0;
  /// Number of calls that it was nested in.
  std::uint32_t depth = 0;
};

class History {
 public:
  void Add(const char* name, std::uint32_t argument, std::uint32_t depth) {
    m_calls[m_count++ % kMaxKept] = {name, argument, depth};
  }

  /// Returns the kept calls, the oldest first.
  std::vector<PastCall> Calls() const {
    std::vector<PastCall> calls;
    const std::size_t first = m_count > kMaxKept ? m_count - kMaxKept : 0;
    calls.reserve(kMaxKept);
    for (std::size_t i = first; i < m_count; ++i) calls.push_back(m_calls[i % kMaxKept]);
    return calls;
  }

 private:
  static constexpr std::size_t kMaxKept = 16;

  std::array<PastCall, kMaxKept> m_calls;
  std::size_t m_count = 0;
};

}  // namespace qbflv::watch
