// The command's standard output, collected into large writes.
#include "cli/output.h"

#include <unistd.h>

#include <cerrno>

#include "host/host_error.h"

namespace qbflv::cli {

Output::~Output() {
  try {
    Flush();
  } catch (const host::HostError&) {
    // The failure that is under way is the one to report.
  }
}

void Output::Flush() {
  std::string_view left(m_text.data(), m_text.size());
  while (!left.empty()) {
    const ssize_t written = write(STDOUT_FILENO, left.data(), left.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) {
      m_text.clear();
      throw host::HostError::System("cannot write the output", errno);
    }
    left.remove_prefix(static_cast<std::size_t>(written));
  }
  m_text.clear();
}

std::string Printable(std::string_view text) {
  std::string printable;
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    if (byte < 0x20 || byte == 0x7F) {
      printable += fmt::format("\\x{:02x}", byte);
    } else {
      printable += character;
    }
  }
  return printable;
}

}  // namespace qbflv::cli
