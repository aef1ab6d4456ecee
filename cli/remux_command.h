// `qbflv remux`: the delivered packets as a new FLV file.
#pragma once

#include <filesystem>

#include "cli/command.h"
#include "cli/part_writer.h"

namespace qbflv::cli {

class RemuxCommand final : public Command {
 public:
  explicit RemuxCommand(CLI::App& app);
  void Run() override;

 private:
  std::filesystem::path m_target;
  FilePart m_part;
};

}  // namespace qbflv::cli
