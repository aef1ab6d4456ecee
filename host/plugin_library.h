// The plug-in's dynamic library, loaded as a server loads it.
#pragma once

#include <filesystem>

#include "plugin/shell/host_interfaces.h"
#include "plugin/util/com_ptr.h"

namespace qbflv::host {

/// The destructor unloads the library unless objects of the library still exist.
class PluginLibrary {
 public:
  /// Throws HostError when the library cannot be loaded or lacks one of the two exports.
  explicit PluginLibrary(const std::filesystem::path& path);
  PluginLibrary(const PluginLibrary&) = delete;
  PluginLibrary& operator=(const PluginLibrary&) = delete;
  ~PluginLibrary();

  /// Creates a file-format object. Throws HostError.
  ComPtr<IQBPlugin> CreateInstance() const;

  bool CanUnload() const { return m_canUnload() == kOk; }

 private:
  void* Resolve(const char* name) const;

  std::filesystem::path m_path;
  void* m_library = nullptr;
  CreateInstanceFunction m_createInstance = nullptr;
  CanUnloadFunction m_canUnload = nullptr;
};

}  // namespace qbflv::host
