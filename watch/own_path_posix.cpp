// The path of the library that contains this code, on Linux.
#include <dlfcn.h>

#include "watch/own_path.h"

namespace qbflv::watch {

std::filesystem::path OwnPath() {
  static const char mark = 0;
  Dl_info info{};
  if (dladdr(&mark, &info) == 0 || info.dli_fname == nullptr) return {};
  return std::filesystem::absolute(info.dli_fname);
}

}  // namespace qbflv::watch
