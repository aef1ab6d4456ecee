// The faults of an FLV file, with their consequences and remedies.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "flv/file_facts.h"

namespace qbflv::cli {

/// In order of decreasing severity.
enum class Severity : std::uint8_t {
  kError,    ///< A plain host loses packets or cannot open the file.
  kWarning,  ///< The file plays, but slowly, with wrong headers or with artefacts.
  kNote,     ///< The file plays without visible faults.
};

std::string_view SeverityName(Severity severity);

struct Finding {
  /// A stable identifier, such as "empty-tag".
  std::string_view name;
  Severity severity = Severity::kNote;
  /// The fault, as a sentence without its full stop.
  std::string what;
  std::string_view consequence;
  /// Empty if there is no remedy.
  std::string_view remedy;
  /// File offset and timestamp (ms) of the first occurrence, if it has a place.
  std::optional<std::uint64_t> offset;
  std::optional<std::uint32_t> time;
  std::uint64_t count = 1;
};

/// Returns the name of the finding that reports this kind of damage.
std::string_view NameOf(flv::DamageKind kind);

/// Returns the findings, ordered by severity, then by file offset. A file that is not an FLV file has one finding.
std::vector<Finding> FindFaults(const flv::FileFacts& facts);

}  // namespace qbflv::cli
