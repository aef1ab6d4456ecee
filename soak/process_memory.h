// What this process takes of the machine's memory, in bytes.
#pragma once

#include <cstdint>

namespace qbflv::soak {

struct ProcessMemory {
  std::uint64_t resident = 0;
  /// What the C library's heap has given out; 0 under a sanitizer with a heap of its own.
  std::uint64_t heap = 0;
};

ProcessMemory MeasureMemory();

}  // namespace qbflv::soak
