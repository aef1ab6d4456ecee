// The layer between the host and the plug-in's library.
#pragma once

#include <deque>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>

#include "plugin/shell/host_interfaces.h"
#include "watch/handed_out.h"
#include "watch/log.h"

namespace qbflv::watch {

class Layer {
 public:
  /// Created by the first call; destroyed when the library is unloaded, or at the end of the process.
  static Layer& Get();

  Layer();
  Layer(const Layer&) = delete;
  Layer& operator=(const Layer&) = delete;
  /// Reports the references that are left, and writes the totals.
  ~Layer();

  Status CreateInstance(IUnknown** object);
  Status CanUnload() const;

  Log& Reports() { return m_log; }
  /// The seconds after which an operation counts as never completed.
  double Patience() const { return m_patience; }
  void AddTotals(const Totals& totals);

  /// Keeps an object for calls after its last Release: those that are alive, and the latest that are not.
  void Keep(const std::shared_ptr<HandedOut>& object);

  /// Notes who reads a file. False if another session reads it, too.
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
  std::deque<std::shared_ptr<HandedOut>> m_objects;
  std::multimap<const void*, const Session*> m_files;
};

}  // namespace qbflv::watch
