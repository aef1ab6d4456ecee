// A film's description for programs.
#pragma once

#include <string>

#include "nginx/playback/playback.h"

namespace qbflv::server {

/// JSON: "duration" (seconds), "file" and "streams" (the plug-in's headers), "key_frames" (seconds). playback: has
/// returned its first tag.
std::string FilmInfo(const Part& part, const Playback& playback);

}  // namespace qbflv::server
