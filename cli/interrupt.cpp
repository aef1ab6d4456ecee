// Lets a job that has something to clean up notice that it is to end.
#include "cli/interrupt.h"

#include <csignal>
#include <initializer_list>

namespace qbflv::cli {

namespace {

volatile std::sig_atomic_t g_interrupted = 0;

extern "C" void NoteInterrupt(int /*signal*/) { g_interrupted = 1; }

}  // namespace

void CatchInterrupts() {
  struct sigaction action {};
  action.sa_handler = NoteInterrupt;
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction old {};
    // A signal that was to be ignored, as under nohup, stays ignored.
    if (sigaction(number, nullptr, &old) == 0 && old.sa_handler != SIG_IGN) sigaction(number, &action, nullptr);
  }
}

bool IsInterrupted() { return g_interrupted != 0; }

}  // namespace qbflv::cli
