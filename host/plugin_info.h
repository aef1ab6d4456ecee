// The plug-in's description of itself.
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

/// Reads the description of a file-format object. Leaves fields that it does not provide empty.
PluginInfo DescribePlugin(IQBPlugin* plugin);

}  // namespace qbflv::host
