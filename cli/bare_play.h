// Plays a file without repair, as a plain host does, and compares the packets with the file's tags.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "flv/file_facts.h"
#include "host/session.h"

namespace qbflv::cli {

/// The delivery of one stream that is present in the file.
struct StreamDelivery {
  flv::TagType type = flv::TagType::kAudio;
  /// Number of playable tags, and number of those that were delivered as packets.
  std::uint64_t tags = 0;
  std::uint64_t delivered = 0;
  /// File offset and timestamp (ms) of the first tag that was not delivered, and the reason. The reason is empty if
  /// every tag was delivered.
  std::uint64_t missingOffset = 0;
  std::uint32_t missingTime = 0;
  std::string why;

  std::uint64_t Missing() const { return tags - delivered; }
};

struct BarePlay {
  /// The reason why the file does not play at all; otherwise empty.
  std::string failure;
  /// Number of reads before the first packet request.
  std::uint64_t openingReads = 0;
  std::vector<StreamDelivery> streams;
  /// Seeks to the middle and to the end, each the first request after the headers. Empty if opening failed.
  std::vector<host::SeekResult> seeks;

  std::uint64_t Tags() const;
  std::uint64_t Missing() const;
};

/// Plays the file to its end, then seeks in it. options: view must be null. facts: the facts of the same file. Throws
/// HostError if the file cannot be opened, and Interrupted.
BarePlay PlayBare(const host::SessionOptions& options, const flv::FileFacts& facts);

/// Returns lines without their ends; the first is a heading.
std::vector<std::string> BarePlayLines(const BarePlay& play);
nlohmann::ordered_json BarePlayAsJson(const BarePlay& play);

}  // namespace qbflv::cli
