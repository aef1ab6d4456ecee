#include "plugin/util/url_options.h"

#include "plugin/util/parsed_url.h"

namespace qbflv {

Status GetURLOptions(IQBRequest* request, IUnknown* context, ComPtr<IQBPropertyList>& options) {
  options = nullptr;
  if (request == nullptr) return kFailed;
  const char* url = nullptr;
  const Status status = request->GetURL(&url);
  if (Failed(status)) return status;
  options = CQBParsedURL(url, context).GetOptions();
  return options ? status : kFailed;
}

}  // namespace qbflv
