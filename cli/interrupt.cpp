// Lets a command clean up when a signal asks the process to end.
#include "cli/interrupt.h"

#include <csignal>

#include "cli/process.h"

namespace qbflv::cli {

namespace {

/// The recorded signal; 0 for none.
volatile std::sig_atomic_t g_signal = 0;

extern "C" void RecordInterrupt(int number) {
  g_signal = number;
  std::signal(number, SIG_DFL);
}

}  // namespace

void CatchInterrupts() {
  for (const int number : EndingSignals()) {
    // A signal that was ignored at the start, as under nohup, stays ignored.
    if (std::signal(number, RecordInterrupt) == SIG_IGN) std::signal(number, SIG_IGN);
  }
}

void ThrowIfInterrupted() {
  if (g_signal != 0) throw Interrupted(g_signal);
}

}  // namespace qbflv::cli
