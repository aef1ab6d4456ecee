// The URL of a local file.
#include "host/file_url.h"

#include <fmt/format.h>

#include <string_view>

namespace qbflv::host {

std::string FileUrl(const std::filesystem::path& path) {
  constexpr std::string_view kPlain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~/";
  const std::string absolute = std::filesystem::absolute(path).native();
  std::string url = "file://";
  for (const char character : absolute) {
    if (kPlain.find(character) != std::string_view::npos) {
      url += character;
    } else {
      url += fmt::format("%{:02X}", static_cast<unsigned char>(character));
    }
  }
  return url;
}

}  // namespace qbflv::host
