// No terminal yet on Windows: what would use one prints plain lines there.
#include "cli/terminal.h"

namespace qbflv::cli {

std::unique_ptr<Terminal> Terminal::Open() { return nullptr; }

}  // namespace qbflv::cli
