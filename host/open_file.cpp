// Opens a file, bare or repaired.
#include "host/open_file.h"

#include <cerrno>
#include <utility>

#include "flv/view_cache.h"
#include "host/host_error.h"

namespace qbflv::host {

std::shared_ptr<const flv::FileSource> OpenFile(const std::filesystem::path& path) {
  std::shared_ptr<const flv::FileSource> file = flv::FileSource::Open(path);
  if (!file && path == "-") throw HostError("standard input is not supported: a regular file is required");
  if (!file) throw HostError::System("cannot open the file", errno);
  flv::FileIdentity identity;
  flv::FileKind kind{};
  if (!file->GetIdentity(identity, kind)) throw HostError::System("cannot get the file's status", errno);
  if (kind == flv::FileKind::kDirectory) throw HostError("it is a directory");
  if (kind != flv::FileKind::kRegular) throw HostError("it is not a regular file");
  return file;
}

std::shared_ptr<const flv::View> OpenRepaired(const std::filesystem::path& path, const flv::ViewOptions& options,
                                              const flv::ScanOptions& scan) {
  std::shared_ptr<const flv::FileSource> file = OpenFile(path);
  auto layout = flv::MakeLayout(*file, options, scan);
  if (!layout) throw HostError("it is not an FLV file");
  if (layout->Facts().readFailed) throw HostError("cannot read the file");
  if (layout->TagCount() == 0) throw HostError("the file has no audio or video");
  return std::make_shared<flv::View>(std::move(file), std::move(layout));
}

}  // namespace qbflv::host
