// `qbflv seek`: shows the file operations of seeks and the first packets after them.
#pragma once

#include <cstdint>
#include <vector>

#include "cli/command.h"

namespace qbflv::cli {

class SeekCommand final : public FileCommand {
 public:
  explicit SeekCommand(CLI::App& app);
  int Run() override;

 private:
  std::vector<std::uint32_t> m_times;
  bool m_afterPlay = false;
  bool m_json = false;
};

}  // namespace qbflv::cli
