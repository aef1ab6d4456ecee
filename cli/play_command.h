// `qbflv play`: delivers the packets in real time, with a display and keys.
#pragma once

#include <cstdint>
#include <optional>

#include "cli/command.h"

namespace qbflv::cli {

class PlayDelivery;
class Terminal;

class PlayCommand final : public FileCommand {
 public:
  explicit PlayCommand(CLI::App& app);
  int Run() override;

 private:
  /// Returns when the user quits.
  void PlayOnTerminal(PlayDelivery& delivery, Terminal& terminal) const;
  /// Returns at the end of the file.
  static void PlayAsLines(PlayDelivery& delivery);

  double m_speed = 1;
  std::optional<std::uint32_t> m_start;
};

}  // namespace qbflv::cli
