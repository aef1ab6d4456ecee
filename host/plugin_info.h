// What a plug-in says about itself.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "plugin/shell/host_interfaces.h"

namespace qbflv::host {

struct PluginInfo {
  std::string description;
  std::string copyright;
  std::string moreInfo;
  std::uint32_t version = 0;
  std::vector<std::string> mimeTypes;
  std::vector<std::string> extensions;
  std::vector<std::string> openNames;
  std::vector<std::string> packetFormats;
};

/// Asks a file-format object; what it does not offer stays empty.
PluginInfo DescribePlugin(IQBPlugin* plugin);

}  // namespace qbflv::host
