// The most memory that an execution takes at once. It is known in builds with AddressSanitizer, and 0 elsewhere.
#pragma once

#include <cstdint>

namespace qbflv::fuzz {

class HeapPeak {
 public:
  HeapPeak();
  /// In bytes, beyond what was taken when this object was made.
  std::int64_t Taken() const;

 private:
  std::int64_t m_before;
};

}  // namespace qbflv::fuzz
