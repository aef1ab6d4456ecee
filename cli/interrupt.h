// Lets a job that has something to clean up notice that it is to end.
#pragma once

namespace qbflv::cli {

/// From now on the first request to end (from the keyboard, a closed terminal or another process) is only noted; a
/// second one ends the process as always.
void CatchInterrupts();

bool IsInterrupted();

}  // namespace qbflv::cli
