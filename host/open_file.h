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

/// Opens a repaired view of the file. Reads all tag headers. Throws HostError, also if the file is not an FLV file or
/// has no audio or video.
std::shared_ptr<const flv::View> OpenRepaired(const std::filesystem::path& path, const flv::ViewOptions& options,
                                              const flv::ScanOptions& scan = {});

}  // namespace qbflv::host
