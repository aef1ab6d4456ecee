// `qbflv play`: the packets in real time, watched and steered.
#pragma once

#include <cstdint>
#include <optional>

#include "cli/command.h"

namespace qbflv::cli {

class PlayDelivery;
class Terminal;

class PlayCommand final : public Command {
 public:
  explicit PlayCommand(CLI::App& app);
  void Run() override;

 private:
  /// Ends when the user wants it to.
  void PlayOnTerminal(PlayDelivery& delivery, Terminal& terminal) const;
  /// Ends at the end of the file.
  static void PlayAsLines(PlayDelivery& delivery);

  double m_speed = 1;
  std::optional<std::uint32_t> m_start;
};

}  // namespace qbflv::cli
