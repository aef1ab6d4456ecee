// What the plug-in says of itself. Lists end with a null pointer.
#pragma once

#include <cstdint>

#include "plugin/shell/descriptor_texts.h"

namespace qbflv {

inline constexpr std::uint32_t kPluginFlag = 1;
inline constexpr std::uint32_t kVersion = std::uint32_t{QBFLV_VERSION_HIGH} << 16 | QBFLV_VERSION_LOW;
inline constexpr const char* kDescription = QBFLV_DESCRIPTION;
inline constexpr const char* kCopyright = QBFLV_COPYRIGHT;
inline constexpr const char* kMoreInfo = QBFLV_MORE_INFO;

inline constexpr const char* kMimeTypes[] = {"video/x-flv", nullptr};
inline constexpr const char* kExtensions[] = {"flv", nullptr};
inline constexpr const char* kOpenNames[] = {"Flash Video Files (*.flv)", nullptr};
inline constexpr const char* kPacketFormats[] = {"rtmp", nullptr};

}  // namespace qbflv
