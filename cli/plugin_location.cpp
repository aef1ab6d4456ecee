// Where the command finds its plug-in.
#include "cli/plugin_location.h"

#include <system_error>

#include "host/host_error.h"
#include "host/system.h"

namespace qbflv::cli {

std::filesystem::path FindPlugin() {
  constexpr char kLibraryName[] = QBFLV_LIBRARY_NAME;
  const std::filesystem::path folder = host::system::ProgramPath().parent_path();
  std::error_code error;
  // QBFLV_LIBRARY_FOLDER leads from the installed command to the installed library. A package may have moved it.
  for (const char* const place : {".", "../lib", QBFLV_LIBRARY_FOLDER}) {
    std::filesystem::path library = (folder / place / kLibraryName).lexically_normal();
    if (std::filesystem::exists(library, error)) return library;
  }
  throw host::HostError(std::string("cannot find the plug-in: there is no ") + kLibraryName + " in " + folder.string() +
                        " or where it would be installed; name it with --plugin");
}

}  // namespace qbflv::cli
