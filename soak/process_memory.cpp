// The memory use of this process, in bytes.
#include "soak/process_memory.h"

#include <malloc.h>
#include <unistd.h>

#include <fstream>

namespace qbflv::soak {

ProcessMemory MeasureMemory() {
  std::ifstream statm("/proc/self/statm");
  std::uint64_t pages = 0;
  std::uint64_t residentPages = 0;
  statm >> pages >> residentPages;
  const struct mallinfo2 heap = mallinfo2();
  return {residentPages * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE)), heap.uordblks + heap.hblkhd};
}

}  // namespace qbflv::soak
