// The command's standard output, with a large buffer, and its error messages.
#pragma once

#include <fmt/format.h>

#include <iterator>
#include <string>
#include <string_view>
#include <utility>

namespace qbflv::cli {

class Output {
 public:
  Output() = default;
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;
  /// Writes the rest of the buffer, so that a failing command shows its output up to the error.
  ~Output();

  template <typename... Arguments>
  void Print(fmt::format_string<Arguments...> format, Arguments&&... arguments) {
    fmt::format_to(std::back_inserter(m_text), format, std::forward<Arguments>(arguments)...);
    if (m_text.size() >= kWriteSize) Flush();
  }

  /// Throws HostError when the output cannot be written.
  void Flush();

 private:
  static constexpr std::size_t kWriteSize = 64 * 1024;

  fmt::memory_buffer m_text;
};

/// Writes "qbflv: ", the text and a line end to standard error. Ignores failures, which cannot be reported anywhere.
void PrintError(std::string_view text);

/// Returns the text with control characters written as \xNN, so that it is safe to show on a terminal.
std::string Printable(std::string_view text);

}  // namespace qbflv::cli
