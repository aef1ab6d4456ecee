// The base classes of the commands.
#include "cli/command.h"

namespace qbflv::cli {

Command::Command(CLI::App& app, const std::string& name, const std::string& description)
    : m_parser(app.add_subcommand(name, description)) {}

FileCommand::FileCommand(CLI::App& app, const std::string& name, const std::string& description,
                         const std::string& example)
    : Command(app, name, description) {
  Parser().footer("Example:\n  " + example);
  AddCommandOptions(Parser(), m_options);
}

host::SessionOptions FileCommand::SessionOptions(Progress& progress) const {
  return MakeSessionOptions(m_options,
                            [&](std::uint64_t offset, std::uint64_t size) { progress.Update(offset, size); });
}

}  // namespace qbflv::cli
