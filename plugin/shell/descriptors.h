// What the plug-in says of itself. Lists end with a null pointer.
#pragma once

#include <cstdint>

namespace qbflv {

inline constexpr std::uint32_t kPluginFlag = 1;
inline constexpr std::uint32_t kVersion = 0xE03000DE;
inline constexpr const char* kDescription = "Quelbar FLV File Format Plugin";
inline constexpr const char* kCopyright = "Copyright (c) 2026 the qbflvplus authors. All rights reserved.";
inline constexpr const char* kMoreInfo = "https://qbflvplus.example/";

inline constexpr const char* kMimeTypes[] = {"video/x-flv", nullptr};
inline constexpr const char* kExtensions[] = {"flv", nullptr};
inline constexpr const char* kOpenNames[] = {"Flash Video Files (*.flv)", nullptr};
inline constexpr const char* kPacketFormats[] = {"rtmp", nullptr};

}  // namespace qbflv
