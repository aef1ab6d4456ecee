// The part of a fuzzer's bytes that is no file but a script: each decision takes the next byte.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace qbflv::fuzz {

class Decisions {
 public:
  explicit Decisions(std::span<const std::uint8_t> script) : m_script(script) {}

  bool IsOver() const { return m_script.empty(); }

  /// 0 when the script is over: what 0 stands for must be what a well-behaved host does.
  std::uint8_t Byte() {
    if (m_script.empty()) return 0;
    const std::uint8_t byte = m_script.front();
    m_script = m_script.subspan(1);
    return byte;
  }

  /// Below count, which is at most 256.
  std::size_t Choose(std::size_t count) { return count == 0 ? 0 : Byte() % count; }

  std::uint32_t Number(int bytes) {
    std::uint32_t number = 0;
    for (int i = 0; i < bytes; ++i) number = number << 8 | Byte();
    return number;
  }

 private:
  std::span<const std::uint8_t> m_script;
};

}  // namespace qbflv::fuzz
