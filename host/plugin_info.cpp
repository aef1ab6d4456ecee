// The plug-in's description of itself.
#include "host/plugin_info.h"

#include "plugin/util/com_ptr.h"

namespace qbflv::host {

namespace {

std::string Text(const char* text) { return text == nullptr ? std::string() : std::string(text); }

std::vector<std::string> Texts(const char* const* list) {
  std::vector<std::string> texts;
  for (; list != nullptr && *list != nullptr; ++list) texts.emplace_back(*list);
  return texts;
}

}  // namespace

PluginInfo DescribePlugin(IQBPlugin* plugin) {
  PluginInfo info;
  std::uint32_t flag = 0;
  const char* description = nullptr;
  const char* copyright = nullptr;
  const char* moreInfo = nullptr;
  plugin->GetPluginInfo(&flag, &description, &copyright, &moreInfo, &info.version);
  info.description = Text(description);
  info.copyright = Text(copyright);
  info.moreInfo = Text(moreInfo);

  if (const auto format = QueryFor<IQBFileFormatObject>(plugin)) {
    const char* const* mimeTypes = nullptr;
    const char* const* extensions = nullptr;
    const char* const* openNames = nullptr;
    format->GetFileFormatInfo(&mimeTypes, &extensions, &openNames);
    info.mimeTypes = Texts(mimeTypes);
    info.extensions = Texts(extensions);
    info.openNames = Texts(openNames);
  }
  if (const auto packetFormat = QueryFor<IQBPacketFormat>(plugin)) {
    const char* const* formats = nullptr;
    packetFormat->GetSupportedPacketFormats(&formats);
    info.packetFormats = Texts(formats);
  }
  return info;
}

}  // namespace qbflv::host
