// The entry point of a libFuzzer program for the target that the build defines as QBFLV_TARGET.
#include "fuzz/target.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  qbflv::fuzz::RunBounded(&qbflv::fuzz::QBFLV_TARGET, {data, size});
  return 0;
}
