// The passes over films that viewers wait for.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "flv/file_source.h"

namespace qbflv::server {

/// A pass over a film. Each viewer that waits for it keeps a reference. Without references it is cancelled.
struct FilmPass {
  flv::FileIdentity file;
  /// Called once after the pass. They must not throw.
  std::vector<std::function<void()>> waiters;
};

/// Lets viewers of one film share a pass. Not thread-safe.
class FilmPasses {
 public:
  /// Returns the running pass over a file; null if there is none, or if the file was modified since it began.
  std::shared_ptr<FilmPass> Find(const flv::FileSource& file) const;
  /// Returns a new pass that Find returns from now on.
  std::shared_ptr<FilmPass> Begin(const flv::FileSource& file);
  /// Ends a pass, and calls its waiters.
  void End(const std::shared_ptr<FilmPass>& pass);

 private:
  std::vector<std::weak_ptr<FilmPass>> m_passes;
};

}  // namespace qbflv::server
