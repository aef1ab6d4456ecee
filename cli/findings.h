// What is wrong with an FLV file, and what that means for those who play it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "flv/file_facts.h"

namespace qbflv::cli {

/// The most serious first.
enum class Severity : std::uint8_t {
  kError,    ///< A plain host loses packets or cannot open the file.
  kWarning,  ///< The file plays, but slowly, with wrong headers or with artefacts.
  kNote,     ///< Worth knowing; nobody need notice.
};

std::string_view SeverityName(Severity severity);

struct Finding {
  /// Stable, such as "empty-tag".
  std::string_view name;
  Severity severity = Severity::kNote;
  /// What was found, as a sentence without its full stop.
  std::string what;
  std::string_view consequence;
  /// Empty where there is none.
  std::string_view remedy;
  /// Of the first place, where there is one: bytes into the file, and the timestamp there in ms.
  std::optional<std::uint64_t> offset;
  std::optional<std::uint32_t> time;
  std::uint64_t count = 1;
};

/// The name of the finding of that damage.
std::string_view NameOf(flv::DamageKind kind);

/// The most serious first, and then in the order of the file.
/// Of something else than an FLV file there is one finding.
std::vector<Finding> FindFaults(const flv::FileFacts& facts);

}  // namespace qbflv::cli
