// The base class of the commands.
#include "cli/command.h"

namespace qbflv::cli {

Command::Command(CLI::App& app, const std::string& name, const std::string& description, const std::string& example)
    : m_pParser(app.add_subcommand(name, description)) {
  m_pParser->footer("Example:\n  " + example);
  AddCommandOptions(*m_pParser, m_options);
}

}  // namespace qbflv::cli
