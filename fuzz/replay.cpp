// Runs a target on kept inputs, without a fuzzer: replay FILE-OR-FOLDER…
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "fuzz/target.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

namespace fs = std::filesystem;

bool Replay(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  // Named beforehand: what goes wrong ends the program.
  std::printf("%s\n", path.c_str());
  std::fflush(stdout);
  const std::vector<char> bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  if (!file) return false;
  LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  return true;
}

}  // namespace

int main(int count, char** arguments) {
  int replayed = 0;
  for (int i = 1; i < count; ++i) {
    const fs::path path = arguments[i];
    if (!fs::exists(path)) continue;  // no finding yet
    if (!fs::is_directory(path)) {
      replayed += Replay(path) ? 1 : 0;
      continue;
    }
    for (const auto& entry : fs::recursive_directory_iterator(path)) {
      if (entry.is_regular_file()) replayed += Replay(entry.path()) ? 1 : 0;
    }
  }
  std::printf("%d inputs, all well\n", replayed);
  return replayed > 0 ? 0 : 1;
}
