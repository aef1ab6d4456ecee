// Lets a job that has something to clean up notice that it is to end.
#include "cli/interrupt.h"

#include <csignal>

#include "cli/process.h"

namespace qbflv::cli {

namespace {

volatile std::sig_atomic_t g_interrupted = 0;

extern "C" void NoteInterrupt(int number) {
  g_interrupted = 1;
  std::signal(number, SIG_DFL);
}

}  // namespace

void CatchInterrupts() {
  for (const int number : EndingSignals()) {
    // A signal that was to be ignored, as under nohup, stays ignored.
    if (std::signal(number, NoteInterrupt) == SIG_IGN) std::signal(number, SIG_IGN);
  }
}

bool IsInterrupted() { return g_interrupted != 0; }

}  // namespace qbflv::cli
