// The library's version resource says what the plug-in says of itself.
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "host/plugin_info.h"
#include "host/plugin_library.h"

namespace {

int failures = 0;

void Expect(std::string_view expected, std::string_view got, const char* what) {
  if (expected == got) return;
  std::fprintf(stderr, "%s: expected \"%s\", got \"%s\"\n", what, std::string(expected).c_str(),
               std::string(got).c_str());
  ++failures;
}

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
  Expect(info.description, Text(resource, "FileDescription"), "FileDescription");
  Expect(info.copyright, Text(resource, "LegalCopyright"), "LegalCopyright");
  Expect(info.moreInfo, Text(resource, "Comments"), "Comments");
  Expect("0xE03000DE", Text(resource, "FileVersion"), "FileVersion");
  Expect(QBFLV_VERSION, Text(resource, "ProductVersion"), "ProductVersion");

  void* fixed = nullptr;
  UINT length = 0;
  VerQueryValueA(resource.data(), "\\", &fixed, &length);
  const std::uint32_t version = fixed != nullptr ? static_cast<VS_FIXEDFILEINFO*>(fixed)->dwFileVersionLS : 0;
  Expect(std::to_string(info.version), std::to_string(version), "the lower half of the file version");
  return failures != 0 ? 1 : 0;
}
