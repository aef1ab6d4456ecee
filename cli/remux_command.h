// `qbflv remux`: the delivered packets as a new FLV file.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>

#include "cli/command.h"

namespace qbflv::cli {

class RemuxCommand final : public Command {
 public:
  explicit RemuxCommand(CLI::App& app);
  void Run() override;

 private:
  std::filesystem::path m_target;
  std::optional<std::uint32_t> m_start;
  std::optional<std::uint32_t> m_end;
  bool m_rebase = false;
};

}  // namespace qbflv::cli
