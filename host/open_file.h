// Opens a file, bare or repaired.
#pragma once

#include <filesystem>
#include <memory>

#include "flv/file_source.h"
#include "flv/scan.h"
#include "flv/view.h"

namespace qbflv::host {

/// Opens the bare file. Throws HostError if the path is not a readable regular file.
std::shared_ptr<const flv::FileSource> OpenFile(const std::filesystem::path& path);

/// Opens a repaired view of the file. Reads all tag headers unless the view is cached. Throws HostError, also if the
/// file is not an FLV file.
std::shared_ptr<const flv::View> OpenRepaired(const std::filesystem::path& path, const flv::ViewOptions& options,
                                              const flv::ScanOptions& scan = {});

}  // namespace qbflv::host
