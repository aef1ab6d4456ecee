// The description of a film as JSON.
#include "nginx/playback/film_info.h"

#include <nlohmann/json.hpp>

#include "host/property_json.h"

namespace qbflv::server {

namespace {

/// Preserves the order of the properties.
using Json = nlohmann::ordered_json;

/// Returns the times of the key frames in s. A longer list is thinned out evenly.
Json KeyFrameTimes(const flv::ViewLayout& film) {
  constexpr std::uint64_t kMostTimes = 4096;
  const std::uint64_t stride = film.Facts().video.keyFrames / (kMostTimes + 1) + 1;
  Json times = Json::array();
  std::uint64_t number = 0;
  for (const flv::KeyPosition& key : film.Facts().keyPositions) {
    if (!key.isKeyFrame || number++ % stride != 0) continue;
    times.push_back(film.TimeIn(film.PieceOf(key.tag), key.time) / 1000.0);
  }
  return times;
}

}  // namespace

std::string FilmInfo(const Part& part, const Playback& playback) {
  Json streams = Json::array();
  for (const auto& header : playback.StreamHeaders()) streams.push_back(host::ListAsJson(header.Get()));
  const Json info = {{"duration", part.FilmDuration() / 1000.0},
                     {"size", part.film->Facts().fileSize},
                     {"file", host::ListAsJson(playback.FileHeader())},
                     {"streams", std::move(streams)},
                     {"key_frames", KeyFrameTimes(*part.film)}};
  // Strings from the file may be invalid UTF-8.
  return info.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace qbflv::server
