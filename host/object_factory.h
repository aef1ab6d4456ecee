// Creates the host's objects for the plug-in.
#pragma once

#include "host/com_object.h"

namespace qbflv::host {

class ObjectFactory final : public ComObject<IQBObjectFactory> {
 public:
  Status CreateInstance(const GUID& classId, void** object) override;
};

}  // namespace qbflv::host
