// The options of the URL that a request asks for.
#pragma once

#include "plugin/shell/host_interfaces.h"
#include "plugin/util/com_ptr.h"

namespace qbflv {

/// The answer of the request's GetURL, with a list that is empty for a URL that cannot have options; or kFailed and
/// null without a request or when no list could be made.
[[nodiscard]] Status GetURLOptions(IQBRequest* request, IUnknown* context, ComPtr<IQBPropertyList>& options);

}  // namespace qbflv
