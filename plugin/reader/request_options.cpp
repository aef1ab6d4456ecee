#include "plugin/reader/request_options.h"

#include <utility>

#include "plugin/reader/meta_info_filter.h"
#include "plugin/reader/option_value.h"
#include "plugin/util/preferences.h"
#include "plugin/util/url_options.h"

namespace qbflv {

Status RequestOptions::Read(IQBRequest* request, IUnknown* context, Lists& lists) {
  ReadMetaInfo(request, context);
  const Status urlStatus = GetURLOptions(request, context, lists.urlOptions);
  const Status headerStatus = request->GetHeaders(lists.headers.Out());
  if (Failed(urlStatus) || Failed(headerStatus) || !lists.urlOptions || !lists.headers) return kInvalidState;

  ReadUnitLimit(lists, context);
  std::int64_t maxTimespan = 0;
  if (ReadIntegerPreference(context, "FLVMergeSorterMaxTimespan", maxTimespan)) {
    m_ulMergeSorterMaxTimespan = static_cast<std::uint32_t>(maxTimespan);
  }
  return kOk;
}

void RequestOptions::ReadMetaInfo(IQBRequest* request, IUnknown* context) {
  const ComPtr<IQBObjectFactory> factory = QueryFor<IQBObjectFactory>(context);
  AcceptMetaInfo accepted;
  if (!factory || Failed(ReadAcceptMetaInfo(request, factory.Get(), accepted))) return;
  m_bMetaInfoRequested = accepted.requested;
  m_bAcceptAllMetaInfo = accepted.all;
  m_pMetaInfoFilter = std::move(accepted.filter);
}

/// The URL limits the units of each stream ("ProcessTimeUnits"), or the request's headers where the URL does not.
void RequestOptions::ReadUnitLimit(const Lists& lists, IUnknown* context) {
  OptionValue limit;
  if (Failed(FindOption(lists.urlOptions.Get(), "ProcessTimeUnits", limit)) &&
      Failed(FindOption(lists.headers.Get(), "ProcessTimeUnits", limit))) {
    return;
  }
  if (limit.isNumber) m_ulProcessTimeUnits = limit.number;
  if (m_ulProcessTimeUnits == 0) return;
  std::int64_t disabled = 0;
  if (ReadIntegerPreference(context, "DisableFLVThumbnailSeekModification", disabled)) {
    m_bDisableThumbnailSeekModification = disabled != 0;
  }
}

}  // namespace qbflv
