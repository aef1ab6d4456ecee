// The two functions that the library exports.
#include <new>

#include "plugin/platform/platform.h"
#include "plugin/shell/plus_file_format.h"

extern "C" {

qbflv::Status QBMCreateInstance(qbflv::IUnknown** object) {
  if (object == nullptr) return qbflv::kInvalidArgument;
  auto created = qbflv::ComPtr<qbflv::IQBPlugin>::Retain(new (std::nothrow) qbflv::CQBFLVPlusFileFormat);
  const bool made = static_cast<bool>(created);
  *object = created.Detach();
  return made ? qbflv::kOk : qbflv::kOutOfMemory;
}

qbflv::Status CanUnload2() {
  return qbflv::platform::AtomicLoad(qbflv::g_lObjectCount) > 0 ? qbflv::kFailed : qbflv::kOk;
}

}  // extern "C"
