// `qbflv remux`: writes the delivered packets to a new FLV file.
#pragma once

#include <filesystem>

#include "cli/command.h"
#include "cli/part_writer.h"
#include "cli/played_file.h"

namespace qbflv::cli {

class RemuxCommand final : public FileCommand {
 public:
  explicit RemuxCommand(CLI::App& app);
  int Run() override;

 private:
  void CheckArguments();
  void CheckTarget() const;
  void Prepare(PartWriter& part, const PlayedFile& file) const;
  std::string DescribeMissing(const PartWriter& part, const PlayedFile& file) const;
  void PrintTotals(const PartWriter& part, const PlayedFile& file, std::uint64_t size) const;

  /// "-" is standard output.
  std::filesystem::path m_target;
  FilePart m_part;
  bool m_rebase = false;
  bool m_noIndex = false;
  bool m_strict = false;
  bool m_inPlace = false;
  bool m_json = false;
};

}  // namespace qbflv::cli
