// The host's context: gives the plug-in the object factory and the preferences.
#include "host/context.h"

#include "host/object_factory.h"
#include "host/preferences.h"

namespace qbflv::host {

ComPtr<Context> MakeContext(const NamedTexts& preferences) {
  const auto values = MakeObject<Preferences>();
  for (const auto& [name, value] : preferences) values->SetPref(name.c_str(), value);
  return MakeObject<Context>(MakeObject<ObjectFactory>().Query<IQBObjectFactory>(), values.Query<IQBPreferences>());
}

}  // namespace qbflv::host
