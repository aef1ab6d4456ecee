// A whole session: the bytes are the script of the host's behaviour and calls, and the file. The first two say how long
// the script is.
#include <algorithm>

#include "fuzz/session_host.h"

extern "C" qbflv::Status CanUnload2();

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  const std::span<const std::uint8_t> bytes(data + 2, size - 2);
  const std::size_t scriptSize = std::min(std::size_t{data[0]} << 8U | data[1], bytes.size());
  {
    qbflv::fuzz::SessionHost host(bytes.first(scriptSize), bytes.subspan(scriptSize));
    host.FollowScript();
    host.PlayWell();
  }
  qbflv::fuzz::Require(CanUnload2() == qbflv::kOk, "no object is left");
  return 0;
}
