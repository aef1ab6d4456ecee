// The command as a Windows process.
#include <fcntl.h>
#include <io.h>
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

// Requires windows.h.
#include <shellapi.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "cli/process.h"

namespace qbflv::cli {

namespace {

constexpr int kSignalStatus = 128;

/// Ends the process on Ctrl-C and Ctrl-Break with the same exit status as on other systems. Handlers that are added
/// later run before this one.
BOOL WINAPI EndOnCtrlC(DWORD event) {
  if (event == CTRL_C_EVENT || event == CTRL_BREAK_EVENT) ExitProcess(kSignalStatus + SIGINT);
  return FALSE;
}

}  // namespace

void PrepareProcess() {
  SetConsoleCtrlHandler(EndOnCtrlC, TRUE);
  _setmode(_fileno(stdout), _O_BINARY);
  _setmode(_fileno(stderr), _O_BINARY);
  SetConsoleOutputCP(CP_UTF8);
}

// The arguments of main were converted to a code page, which may lose characters.
std::vector<std::string> Arguments(int /*count*/, char** /*arguments*/) {
  int count = 0;
  wchar_t** const wide = CommandLineToArgvW(GetCommandLineW(), &count);
  std::vector<std::string> arguments;
  for (int i = 1; i < count; ++i) {
    const std::u8string text = std::filesystem::path(wide[i]).u8string();
    arguments.emplace_back(text.begin(), text.end());
  }
  LocalFree(wide);
  return arguments;
}

void SetEnvironment(const char* name, const std::filesystem::path& value) {
  _wputenv_s(std::filesystem::path(name).c_str(), value.c_str());
}

std::span<const int> EndingSignals() {
  static constexpr int kSignals[] = {SIGINT, SIGTERM};
  return kSignals;
}

int EndBySignal(int number) { return kSignalStatus + number; }

}  // namespace qbflv::cli
