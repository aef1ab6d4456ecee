// What the request and the host's preferences ask for.
#pragma once

#include <cstdint>

#include "plugin/shell/host_interfaces.h"
#include "plugin/util/com_ptr.h"

namespace qbflv {

/// A value that a request does not set keeps what an earlier request set.
struct RequestOptions {
  /// The lists of one request, for the payload format.
  struct Lists {
    ComPtr<IQBPropertyList> headers;
    ComPtr<IQBPropertyList> urlOptions;
  };

  /// Both arguments must outlive the call, which calls the host. kInvalidState when the request has no list of headers
  /// or of URL options.
  [[nodiscard]] Status Read(IQBRequest* request, IUnknown* context, Lists& lists);

  /// Units after which each stream ends; 0 for no limit.
  std::uint32_t m_ulProcessTimeUnits = 0;
  /// In ms; 0 when the preference is not set.
  std::uint32_t m_ulMergeSorterMaxTimespan = 0;
  bool m_bMetaInfoRequested = false;
  bool m_bAcceptAllMetaInfo = false;
  bool m_bDisableThumbnailSeekModification = true;
  /// The names that the request's "AcceptMetaInfo" lists. Nothing reads it.
  ComPtr<IQBPropertyList> m_pMetaInfoFilter;

 private:
  void ReadMetaInfo(IQBRequest* request, IUnknown* context);
  void ReadUnitLimit(const Lists& lists, IUnknown* context);
};

}  // namespace qbflv
