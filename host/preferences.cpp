// The host's settings.
#include "host/preferences.h"

namespace qbflv::host {

void Preferences::SetPref(const char* name, std::string_view value) {
  if (Failed(m_values->SetText(name, value))) throw std::bad_alloc();
}

}  // namespace qbflv::host
