// Runs a program and keeps what it says.
#include "tests/e2e/command.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <sstream>
#include <stdexcept>

#include "tests/support/temporary_folder.h"

namespace qbflv::e2e {

std::ostream& operator<<(std::ostream& stream, const CommandResult& result) {
  return stream << "status " << result.status << ", " << result.out.size()
                << " bytes of output, standard error: " << result.err;
}

CommandResult RunCommand(const Words& words) {
  const test::TemporaryFolder folder;
  const auto out = folder.Write("out", "");
  const auto err = folder.Write("err", "");
  std::vector<char*> arguments;
  for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  const pid_t child = fork();
  if (child < 0) throw std::runtime_error("no process for " + words[0]);
  if (child == 0) {
    dup2(open("/dev/null", O_RDONLY), STDIN_FILENO);
    dup2(open(out.c_str(), O_WRONLY), STDOUT_FILENO);
    dup2(open(err.c_str(), O_WRONLY), STDERR_FILENO);
    execvp(arguments[0], arguments.data());
    _exit(127);
  }
  int waited = 0;
  if (waitpid(child, &waited, 0) != child) throw std::runtime_error("lost " + words[0]);
  const int status = WIFSIGNALED(waited) ? 128 + WTERMSIG(waited) : WEXITSTATUS(waited);
  return {status, test::ReadBytes(out), test::ReadBytes(err)};
}

CommandResult RunQbflv(const Words& arguments) { return RunCommand(Words{QBFLV_COMMAND} + arguments); }

Words operator+(Words left, const Words& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

}  // namespace qbflv::e2e
