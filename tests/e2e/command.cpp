// Runs a program and keeps what it says.
#include "tests/e2e/command.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <system_error>

namespace qbflv::e2e {

namespace {

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using TemporaryFile = std::unique_ptr<std::FILE, CloseFile>;

TemporaryFile MakeTemporaryFile() {
  TemporaryFile file(std::tmpfile());
  if (!file) throw std::runtime_error("no temporary file");
  return file;
}

std::string Content(const TemporaryFile& file) {
  std::rewind(file.get());
  std::string content;
  std::array<char, 65536> block;
  while (const std::size_t count = std::fread(block.data(), 1, block.size(), file.get())) {
    content.append(block.data(), count);
  }
  return content;
}

pid_t Spawn(const Words& words, int outDescriptor, int errDescriptor) {
  std::vector<char*> arguments;
  arguments.reserve(words.size() + 1);
  for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, outDescriptor, STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, errDescriptor, STDERR_FILENO);
  pid_t child = 0;
  const int error = posix_spawnp(&child, arguments[0], &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) throw std::system_error(error, std::generic_category(), words[0]);
  return child;
}

}  // namespace

std::ostream& operator<<(std::ostream& stream, const CommandResult& result) {
  return stream << "status " << result.status << ", " << result.out.size()
                << " bytes of output, standard error: " << result.err;
}

CommandResult RunCommand(const Words& words, int outDescriptor) {
  const TemporaryFile out = MakeTemporaryFile();
  const TemporaryFile err = MakeTemporaryFile();
  const pid_t child = Spawn(words, outDescriptor >= 0 ? outDescriptor : fileno(out.get()), fileno(err.get()));
  int waited = 0;
  if (waitpid(child, &waited, 0) != child) throw std::runtime_error("lost " + words[0]);
  const int status = WIFSIGNALED(waited) ? 128 + WTERMSIG(waited) : WEXITSTATUS(waited);
  return {status, Content(out), Content(err)};
}

CommandResult RunQbflv(const Words& arguments, int outDescriptor) {
  return RunCommand(Words{QBFLV_COMMAND} + arguments, outDescriptor);
}

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
