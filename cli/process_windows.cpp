// The command as a process of Windows.
#include <fcntl.h>
#include <io.h>
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

// Needs the one above.
#include <shellapi.h>

#include <csignal>
#include <cstdio>
#include <filesystem>

#include "cli/process.h"

namespace qbflv::cli {

void PrepareProcess() {
  _setmode(_fileno(stdout), _O_BINARY);
  _setmode(_fileno(stderr), _O_BINARY);
  SetConsoleOutputCP(CP_UTF8);
}

// The arguments that main gets went through a code page, and may have lost characters there.
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

std::span<const int> EndingSignals() {
  static constexpr int kSignals[] = {SIGINT, SIGTERM};
  return kSignals;
}

}  // namespace qbflv::cli
