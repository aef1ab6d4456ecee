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

}  // namespace qbflv::cli
