// What a plain host gets of a file: the plug-in plays the file as it is, and its packets are compared with the tags.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "flv/file_facts.h"
#include "host/session.h"

namespace qbflv::cli {

/// Of one stream that the file has.
struct StreamDelivery {
  flv::TagType type = flv::TagType::kAudio;
  /// Playable tags, and those of them that came as packets.
  std::uint64_t tags = 0;
  std::uint64_t delivered = 0;
  /// Of the first tag that did not: bytes into the file, its timestamp in ms, and why it did not. The text is empty if
  /// every tag came.
  std::uint64_t missingOffset = 0;
  std::uint32_t missingTime = 0;
  std::string why;

  std::uint64_t Missing() const { return tags - delivered; }
};

struct BarePlay {
  /// Why there are no packets at all; otherwise empty.
  std::string failure;
  /// Reads of the file before the first packet is asked for.
  std::uint64_t openingReads = 0;
  std::vector<StreamDelivery> streams;
  /// Seeks to the middle and to the end, each the first request after the headers. Empty if opening failed.
  std::vector<host::SeekResult> seeks;

  std::uint64_t Tags() const;
  std::uint64_t Missing() const;
};

/// Plays the file to its end, and seeks in it. options: without a view. facts: of the same file. Throws HostError if
/// the file or the plug-in cannot be opened, and Interrupted.
BarePlay PlayBare(const host::SessionOptions& options, const flv::FileFacts& facts);

/// Lines without their ends.
std::vector<std::string> BarePlayLines(const BarePlay& play);
nlohmann::ordered_json BarePlayAsJson(const BarePlay& play);

}  // namespace qbflv::cli
