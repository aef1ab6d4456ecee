// Reads the request's "AcceptMetaInfo" header: which additional properties of the file the host wants.
#pragma once

#include "plugin/shell/host_interfaces.h"
#include "plugin/util/com_ptr.h"

namespace qbflv {

struct AcceptMetaInfo {
  /// The header is there.
  bool requested = false;
  /// Its value is "*".
  bool all = false;
  /// The names that it lists, each set to 1; null when it lists none.
  ComPtr<IQBPropertyList> filter;
};

/// kOk, also without the header; the status of the host's calls; or kFailed when the header names nothing that could be
/// kept. Names are separated by white space, ',' and ';'.
[[nodiscard]] Status ReadAcceptMetaInfo(IQBRequest* request, IQBObjectFactory* factory, AcceptMetaInfo& accepted);

}  // namespace qbflv
