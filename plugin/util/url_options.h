// Gets the options from the URL of a request.
#pragma once

#include "plugin/shell/host_interfaces.h"
#include "plugin/util/com_ptr.h"

namespace qbflv {

/// Stores the URL's options; the list is empty if the URL is invalid or has none. Returns the status of the request's
/// GetURL, or kFailed without a request or if no list could be created. options is null on failure.
[[nodiscard]] Status GetURLOptions(IQBRequest* request, IUnknown* context, ComPtr<IQBPropertyList>& options);

}  // namespace qbflv
