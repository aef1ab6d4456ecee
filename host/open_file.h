// Opens a file as it is, or repaired.
#pragma once

#include <filesystem>
#include <memory>

#include "flv/file_source.h"
#include "flv/scan.h"
#include "flv/view.h"

namespace qbflv::host {

/// Throws HostError if the path is not a readable regular file.
std::shared_ptr<const flv::FileSource> OpenFile(const std::filesystem::path& path);

/// Opens the file as the well-formed file that it should have been. Reads through all tag headers. Throws HostError,
/// also if the file is not an FLV file.
std::shared_ptr<const flv::View> OpenRepaired(const std::filesystem::path& path, const flv::ViewOptions& options,
                                              const flv::ScanOptions& scan = {});

}  // namespace qbflv::host
