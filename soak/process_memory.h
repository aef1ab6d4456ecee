// The memory use of this process, in bytes.
#pragma once

#include <cstdint>

namespace qbflv::soak {

struct ProcessMemory {
  std::uint64_t resident = 0;
  /// Memory that is allocated from the C library's heap; 0 under a sanitizer that has its own heap.
  std::uint64_t heap = 0;
};

ProcessMemory MeasureMemory();

}  // namespace qbflv::soak
