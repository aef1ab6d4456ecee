// The fixed values that describe the plug-in to the host. Lists end with a null pointer.
#pragma once

#include <cstdint>

#include "plugin/reader/descriptor_texts.h"

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
