// A set of the streams of one file.
#pragma once

#include <cstdint>

namespace qbflv {

/// One bit for each stream. A payload format numbers two streams at most.
class StreamSet {
 public:
  StreamSet() = default;
  /// The streams below count, which is at most kMaxStreams.
  static StreamSet OfFirst(std::uint32_t count) {
    StreamSet set;
    if (count > 0) set.m_ulBits = ~std::uint32_t{0} >> (kMaxStreams - count);
    return set;
  }

  [[nodiscard]] bool IsEmpty() const { return m_ulBits == 0; }

  // stream must be below kMaxStreams.

  [[nodiscard]] bool Has(std::uint32_t stream) const { return (m_ulBits & Bit(stream)) != 0; }
  void Add(std::uint32_t stream) { m_ulBits |= Bit(stream); }
  void Remove(std::uint32_t stream) { m_ulBits &= ~Bit(stream); }

 private:
  static constexpr std::uint32_t kMaxStreams = 32;

  static std::uint32_t Bit(std::uint32_t stream) { return std::uint32_t{1} << stream; }

  std::uint32_t m_ulBits = 0;
};

}  // namespace qbflv
