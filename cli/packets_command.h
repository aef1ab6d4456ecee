// `qbflv packets`: shows every packet in the order of delivery.
#pragma once

#include <cstdint>
#include <optional>

#include "cli/command.h"

namespace qbflv::cli {

class PacketsCommand final : public FileCommand {
 public:
  explicit PacketsCommand(CLI::App& app);
  int Run() override;

 private:
  bool m_json = false;
  bool m_count = false;
  std::optional<std::uint16_t> m_stream;
  std::optional<std::uint64_t> m_limit;
  std::optional<std::uint32_t> m_start;
};

}  // namespace qbflv::cli
