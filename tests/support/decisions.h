// Decisions taken from bytes, a fuzzer's or random ones: each takes the next byte, or four of them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>

namespace qbflv::test {

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

  std::uint32_t Number(int bytes) {
    std::uint32_t number = 0;
    for (int i = 0; i < bytes; ++i) number = number << 8 | Byte();
    return number;
  }

  std::size_t Choose(std::size_t count) {
    if (count == 0) return 0;
    return (count <= 256 ? Byte() : Number(4)) % count;
  }

  std::uint32_t Below(std::uint32_t count) { return static_cast<std::uint32_t>(Choose(count)); }
  bool OneIn(std::uint32_t count) { return Below(count) == count - 1; }
  template <typename Item>
  Item Of(std::initializer_list<Item> items) {
    return items.begin()[Choose(items.size())];
  }

 private:
  std::span<const std::uint8_t> m_script;
};

}  // namespace qbflv::test
