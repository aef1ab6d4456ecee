// The exports of the plug-in, whose code is linked into the fuzzers so that they measure its coverage.
#include "tests/support/plugin_exports.h"

extern "C" qbflv::Status QBMCreateInstance(qbflv::IUnknown** object);
extern "C" qbflv::Status CanUnload2();

namespace qbflv::test {

const PluginExports& Exports() {
  static const PluginExports exports{&QBMCreateInstance, &CanUnload2};
  return exports;
}

}  // namespace qbflv::test
