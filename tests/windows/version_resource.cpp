// The library's version resource says what the plug-in says of itself.
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include <cstdio>
#include <string>
#include <vector>

#include "host/plugin_info.h"
#include "host/plugin_library.h"

namespace {

std::string Text(const std::vector<char>& resource, const std::string& name) {
  void* text = nullptr;
  UINT length = 0;
  const std::string path = "\\StringFileInfo\\040904E4\\" + name;
  if (VerQueryValueA(resource.data(), path.c_str(), &text, &length) == 0 || length == 0) return "nothing";
  return static_cast<const char*>(text);
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 2) return 2;
  const qbflv::host::PluginLibrary library(arguments[1]);
  const qbflv::host::PluginInfo info = qbflv::host::DescribePlugin(library.CreateInstance().Get());

  DWORD unused = 0;
  std::vector<char> resource(GetFileVersionInfoSizeA(arguments[1], &unused));
  GetFileVersionInfoA(arguments[1], 0, static_cast<DWORD>(resource.size()), resource.data());
  void* fixed = nullptr;
  UINT length = 0;
  VerQueryValueA(resource.data(), "\\", &fixed, &length);
  const std::uint32_t version = fixed != nullptr ? static_cast<VS_FIXEDFILEINFO*>(fixed)->dwFileVersionLS : 0;
  const struct {
    std::string expected;
    std::string got;
  } cases[] = {
      {info.description, Text(resource, "FileDescription")}, {info.copyright, Text(resource, "LegalCopyright")},
      {info.moreInfo, Text(resource, "Comments")},           {"0xE03000DE", Text(resource, "FileVersion")},
      {QBFLV_VERSION, Text(resource, "ProductVersion")},     {std::to_string(info.version), std::to_string(version)},
  };
  int failures = 0;
  for (const auto& [expected, got] : cases) {
    if (expected == got) continue;
    std::fprintf(stderr, "expected \"%s\", got \"%s\"\n", expected.c_str(), got.c_str());
    ++failures;
  }
  return failures != 0 ? 1 : 0;
}
