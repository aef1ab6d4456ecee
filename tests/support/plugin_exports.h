// The two functions of the library under test. Test programs load the library as it is shipped; the fuzzers link it.
#pragma once

#include "plugin/shell/host_interfaces.h"
#include "plugin/util/com_ptr.h"

namespace qbflv::test {

struct PluginExports {
  CreateInstanceFunction createInstance = nullptr;
  CanUnloadFunction canUnload = nullptr;
};

/// A loaded library is loaded once, and its memory is watched (library_heap.h) from then on.
const PluginExports& Exports();

/// Null if the library makes no object.
inline ComPtr<IQBPlugin> CreatePlugin() {
  ComPtr<IUnknown> object;
  static_cast<void>(Exports().createInstance(object.Out()));
  return object.Query<IQBPlugin>();
}

}  // namespace qbflv::test
