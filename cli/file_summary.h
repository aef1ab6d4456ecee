// What is in an FLV file, as text and as JSON.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "flv/file_facts.h"

namespace qbflv::cli {

/// Lines without their ends: the file's length, each stream, and the key frames.
std::vector<std::string> SummaryLines(const flv::FileFacts& facts);

/// The metadata as an indented tree, the list of key frames as its length.
std::vector<std::string> MetadataLines(const flv::OwnMetadata& metadata);

/// Of a stream that is absent, null. README.md lists the fields.
nlohmann::ordered_json AudioAsJson(const flv::AudioFacts& audio);
nlohmann::ordered_json VideoAsJson(const flv::VideoFacts& video);

}  // namespace qbflv::cli
