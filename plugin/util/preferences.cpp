#include "plugin/util/preferences.h"

#include "plugin/util/com_ptr.h"
#include "plugin/util/host_objects.h"
#include "plugin/util/text.h"

namespace qbflv {

bool ReadIntegerPreference(IUnknown* context, const char* name, std::int64_t& value) {
  if (context == nullptr) return false;
  ComPtr<IQBPreferences> preferences;
  if (context->QueryInterface(IQBPreferences::kId, preferences.OutVoid()) != kOk || !preferences) return false;
  ComPtr<IQBBuffer> text;
  if (preferences->ReadPref(name, text.Out()) != kOk || !text) return false;
  value = ToInteger(BufferText(text.Get()));
  return true;
}

}  // namespace qbflv
