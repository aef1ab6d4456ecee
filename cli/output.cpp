// The command's standard output, with a large buffer, and its error messages.
#include "cli/output.h"

#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>

#include "host/host_error.h"
#include "host/system.h"

namespace qbflv::cli {

Output::~Output() {
  try {
    Flush();
  } catch (const host::HostError&) {
    // The stack is being unwound after an earlier error; report that one.
  }
}

void Output::Flush() {
  const auto* const bytes = reinterpret_cast<const std::uint8_t*>(m_text.data());
  const bool written = host::system::Write(STDOUT_FILENO, {bytes, m_text.size()});
  m_text.clear();
  if (!written) throw host::HostError::System("cannot write the output", errno);
}

void PrintError(std::string_view text) { std::fputs(fmt::format("qbflv: {}\n", Printable(text)).c_str(), stderr); }

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
