// Takes entries out of a file's metadata that do not hold for what is made of the file.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace qbflv::host {

/// body: of a script-data tag, a name and then an AMF0 mixed array or object. Answers it without the entries of those
/// names, or nothing if it cannot be made sense of.
std::vector<std::uint8_t> WithoutEntries(std::span<const std::uint8_t> body, std::span<const std::string_view> names);

}  // namespace qbflv::host
