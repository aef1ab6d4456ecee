// The command as a Linux process.
#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

#include "cli/process.h"

namespace qbflv::cli {

namespace {

/// Opens standard descriptors that the parent has closed, so that no file of this process gets their numbers. Reading
/// standard input and writing standard output and error still fail.
void OpenClosedDescriptors() {
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(descriptor, F_GETFD) >= 0) continue;
    // The system uses the lowest free number, which is this one.
    static_cast<void>(open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY));
  }
}

}  // namespace

void PrepareProcess() {
  OpenClosedDescriptors();
  // A reader of the output such as `head` may stop early. The command then ends silently, even if its parent ignored
  // the signal.
  std::signal(SIGPIPE, SIG_DFL);
  // A write beyond the file size limit then returns an error, and the command cleans up.
  std::signal(SIGXFSZ, SIG_IGN);
}

std::vector<std::string> Arguments(int count, char** arguments) {
  return {arguments + (count > 0 ? 1 : 0), arguments + count};
}

void SetEnvironment(const char* name, const std::filesystem::path& value) { setenv(name, value.c_str(), 1); }

std::span<const int> EndingSignals() {
  static constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};
  return kSignals;
}

int EndBySignal(int number) {
  // The default action of SIGQUIT also writes a core file.
  if (number != SIGQUIT) {
    std::signal(number, SIG_DFL);
    std::raise(number);
  }
  return 128 + number;
}

}  // namespace qbflv::cli
