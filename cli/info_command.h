// `qbflv info`: shows the plug-in's description, the file header and the stream headers.
#pragma once

#include "cli/command.h"

namespace qbflv::cli {

class InfoCommand final : public FileCommand {
 public:
  explicit InfoCommand(CLI::App& app);
  int Run() override;

 private:
  bool m_json = false;
};

}  // namespace qbflv::cli
