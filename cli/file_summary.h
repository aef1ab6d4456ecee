// The content of an FLV file, as text and as JSON.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "flv/file_facts.h"

namespace qbflv::cli {

/// Returns lines without their ends: the file's length, each stream, and the key frames.
std::vector<std::string> SummaryLines(const flv::FileFacts& facts);

/// Returns the metadata as an indented tree, with only the length of the key-frame list.
std::vector<std::string> MetadataLines(const flv::OwnMetadata& metadata);

/// Both return null for an absent stream. README.md lists the fields.
nlohmann::ordered_json AudioAsJson(const flv::AudioFacts& audio);
nlohmann::ordered_json VideoAsJson(const flv::VideoFacts& video);

}  // namespace qbflv::cli
