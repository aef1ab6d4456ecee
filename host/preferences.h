// The host's settings.
#pragma once

#include <string_view>

#include "host/com_object.h"
#include "host/property_list.h"

namespace qbflv::host {

class Preferences final : public ComObject<IQBPreferences> {
 public:
  void SetPref(const char* name, std::string_view value);

  /// Returns kFailed for a name that is not set. Names are case-insensitive, as in a property list.
  Status ReadPref(const char* name, IQBBuffer** value) override { return m_values->GetCString(name, value); }

 private:
  ComPtr<PropertyList> m_values = MakeObject<PropertyList>();
};

}  // namespace qbflv::host
