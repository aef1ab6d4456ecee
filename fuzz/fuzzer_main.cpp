// A program of clang's libFuzzer for the target that the build names as QBFLV_TARGET.
#include "fuzz/target.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  qbflv::fuzz::RunBounded(&qbflv::fuzz::QBFLV_TARGET, {data, size});
  return 0;
}
