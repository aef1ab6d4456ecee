// The URL of a local file.
#include "host/file_url.h"

#include <fmt/format.h>

#include <string_view>

namespace qbflv::host {

std::string FileUrl(const std::filesystem::path& path) {
  constexpr std::string_view kPlain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~/";
  const std::u8string absolute = std::filesystem::absolute(path).generic_u8string();
  // A Windows path begins with a drive letter and a colon.
  std::string url = absolute.starts_with(u8'/') ? "file://" : "file:///";
  for (const char8_t character : absolute) {
    const auto byte = static_cast<unsigned char>(character);
    if (kPlain.find(static_cast<char>(byte)) != std::string_view::npos) {
      url += static_cast<char>(byte);
    } else {
      url += fmt::format("%{:02X}", byte);
    }
  }
  return url;
}

}  // namespace qbflv::host
