// The command as a process of Linux.
#include <csignal>

#include "cli/process.h"

namespace qbflv::cli {

void PrepareProcess() {
  // Whoever reads the output may stop (as `head` does): that ends the command quietly, even if started otherwise.
  std::signal(SIGPIPE, SIG_DFL);
  // A file that may not grow further is a failure like others, and cleaned up after.
  std::signal(SIGXFSZ, SIG_IGN);
}

std::vector<std::string> Arguments(int count, char** arguments) {
  return {arguments + (count > 0 ? 1 : 0), arguments + count};
}

std::span<const int> EndingSignals() {
  static constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};
  return kSignals;
}

}  // namespace qbflv::cli
