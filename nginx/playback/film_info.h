// The description of a film as JSON.
#pragma once

#include <string>

#include "nginx/playback/playback.h"

namespace qbflv::server {

/// Returns an object with "duration" (s), "size" (bytes), "file" and "streams" (the plug-in's headers) and "key_frames"
/// (s; at most 4096, evenly thinned out). REQUIRES: playback has returned its first tag.
std::string FilmInfo(const Part& part, const Playback& playback);

}  // namespace qbflv::server
