// The watch layer itself: loads the plug-in, creates the wrapped objects, and keeps what all sessions share.
#pragma once

#include <deque>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>

#include "plugin/shell/host_interfaces.h"
#include "watch/exposed_object.h"
#include "watch/log.h"

namespace qbflv::watch {

class Layer {
 public:
  /// Returns the only instance. The first call creates it; unloading the library or the end of the process destroys it.
  static Layer& Get();

  Layer();
  Layer(const Layer&) = delete;
  Layer& operator=(const Layer&) = delete;
  /// Reports the references that the host has not released, and writes the totals.
  ~Layer();

  Status CreateInstance(IUnknown** object);
  Status CanUnload() const;

  Log& Reports() { return m_log; }
  /// Number of seconds after which an operation counts as never completed.
  double Patience() const { return m_patience; }
  void AddTotals(const Totals& totals);

  /// Keeps an object in memory, so that calls after its last Release can be reported. Deletes the oldest released
  /// objects when there are many.
  void Keep(const std::shared_ptr<ExposedObject>& object);

  /// Records that a session reads a file. Returns false if another session already does.
  bool AttachFile(const void* file, const Session* reader);
  void DetachFile(const void* file, const Session* reader);

 private:
  void LoadPlugin();

  Log m_log;
  double m_patience;
  void* m_library = nullptr;
  CreateInstanceFunction m_createInstance = nullptr;
  CanUnloadFunction m_canUnload = nullptr;

  std::mutex m_mutex;
  Totals m_totals;
  std::deque<std::shared_ptr<ExposedObject>> m_objects;
  std::multimap<const void*, const Session*> m_files;
};

}  // namespace qbflv::watch
