// Recognises FLV files, and files that are something else, before the plug-in reads them.
#pragma once

#include <filesystem>
#include <string>

#include "flv/byte_source.h"

namespace qbflv::cli {

/// Returns true if the name ends with .flv, in upper or lower case.
bool HasFlvExtension(const std::filesystem::path& path);

/// Returns the reason why the file is not an FLV file, such as "not an FLV file: it is empty". Returns an empty text if
/// it begins with "FLV" or cannot be read.
std::string WhyNotFlv(const flv::ByteSource& file);

/// Throws HostError if the path is not a readable regular file, or if the file does not begin with "FLV". The message
/// says what the file looks like.
void RequireFlvFile(const std::filesystem::path& path);

}  // namespace qbflv::cli
