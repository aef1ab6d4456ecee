// Reads bit fields, most significant bit first.
#pragma once

#include <cstdint>
#include <span>

namespace qbflv::flv {

/// A read past the end returns zero bits and makes HasFailed return true.
class BitReader {
 public:
  explicit BitReader(std::span<const std::uint8_t> bytes) : m_bytes(bytes) {}

  /// Returns the next count bits as a number. count: at most 32.
  std::uint32_t Bits(int count) {
    std::uint32_t value = 0;
    for (; count > 0; --count) value = value << 1 | Bit();
    return value;
  }

  bool Flag() { return Bit() != 0; }

  void Skip(std::size_t count) { m_position += count; }

  /// Returns an unsigned Exp-Golomb number, ue(v) in ISO/IEC 14496-10; 0 for a code with 32 or more leading zeros.
  std::uint32_t ExpGolomb() {
    int zeros = 0;
    while (zeros < 32 && !HasFailed() && Bit() == 0) ++zeros;
    return zeros >= 32 ? 0 : Bits(zeros) + (std::uint32_t{1} << zeros) - 1;
  }

  bool HasFailed() const { return m_position > m_bytes.size() * 8; }

 private:
  std::uint32_t Bit() {
    const std::size_t position = m_position++;
    if (position >= m_bytes.size() * 8) return 0;
    return m_bytes[position / 8] >> (7 - position % 8) & 1;
  }

  std::span<const std::uint8_t> m_bytes;
  std::size_t m_position = 0;
};

}  // namespace qbflv::flv
