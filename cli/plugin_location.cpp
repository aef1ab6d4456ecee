// Finds the plug-in.
#include "cli/plugin_location.h"

#include <string>
#include <system_error>

#include "host/host_error.h"
#include "host/system.h"

namespace qbflv::cli {

namespace {

std::filesystem::path Find(const std::string& name, const std::string& what, const std::string& remedy) {
  const std::filesystem::path folder = host::system::ProgramPath().parent_path();
  std::error_code error;
  // QBFLV_LIBRARY_FOLDER is the relative path from the installed command to the installed library. A package may use
  // ../lib instead.
  for (const char* const location : {".", "../lib", QBFLV_LIBRARY_FOLDER}) {
    std::filesystem::path library = (folder / location / name).lexically_normal();
    if (std::filesystem::exists(library, error)) return library;
  }
  throw host::HostError("cannot find " + what + ": there is no " + name + " in " + folder.string() +
                        " or in the installation folder" + remedy);
}

}  // namespace

std::filesystem::path FindPlugin() { return Find(QBFLV_LIBRARY_NAME, "the plug-in", "; use --plugin"); }

std::filesystem::path FindWatchLayer() {
  return Find(QBFLV_WATCH_LIBRARY_NAME, "the watch layer", "; the package qbflvplus-watch has it");
}

}  // namespace qbflv::cli
