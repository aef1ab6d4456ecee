// The description of a film as JSON.
#include "nginx/playback/film_info.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "host/buffer.h"

namespace qbflv::server {

namespace {

/// Preserves the order of the properties.
using Json = nlohmann::ordered_json;

Json ValueAsJson(const host::Property& property) {
  if (property.kind == host::Property::Kind::kNumber) return property.number;
  if (property.kind == host::Property::Kind::kText) return host::BufferText(property.buffer.Get());
  std::string hex;
  for (const std::uint8_t byte : host::BufferBytes(property.buffer.Get())) hex += fmt::format("{:02x}", byte);
  return hex;
}

Json ListAsJson(const host::PropertyList* list) {
  Json object = Json::object();
  if (list == nullptr) return object;
  for (const host::Property& property : list->Properties()) object[property.name] = ValueAsJson(property);
  return object;
}

}  // namespace

std::string FilmInfo(const Part& part, const Playback& playback) {
  Json streams = Json::array();
  for (const auto& header : playback.StreamHeaders()) streams.push_back(ListAsJson(header.Get()));
  Json keyFrames = Json::array();
  for (const flv::KeyPosition& key : part.film->Facts().keyPositions) {
    if (key.isKeyFrame) keyFrames.push_back(part.film->TimeIn(part.film->PieceOf(key.tag), key.time) / 1000.0);
  }
  const Json info = {{"duration", part.FilmDuration() / 1000.0},
                     {"size", part.film->Facts().fileSize},
                     {"file", ListAsJson(playback.FileHeader())},
                     {"streams", std::move(streams)},
                     {"key_frames", std::move(keyFrames)}};
  // Strings from the file may be invalid UTF-8.
  return info.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace qbflv::server
