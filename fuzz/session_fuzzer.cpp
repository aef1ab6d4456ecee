// A whole session: the bytes are the script of the host's behaviour and calls, and the file. The first two say how long
// the script is.
#include <algorithm>

#include "fuzz/session_host.h"
#include "fuzz/target.h"

extern "C" qbflv::Status CanUnload2();

namespace qbflv::fuzz {

void Try(std::span<const std::uint8_t> input) {
  if (input.size() < 2) return;
  const std::span<const std::uint8_t> bytes = input.subspan(2);
  const std::size_t scriptSize = std::min(std::size_t{input[0]} << 8U | input[1], bytes.size());
  {
    SessionHost host(bytes.first(scriptSize), bytes.subspan(scriptSize));
    host.FollowScript();
    host.PlayWell();
  }
  Require(CanUnload2() == kOk, "no object is left");
}

}  // namespace qbflv::fuzz
