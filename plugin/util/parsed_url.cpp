#include "plugin/util/parsed_url.h"

#include "plugin/util/host_objects.h"
#include "plugin/util/preferences.h"
#include "plugin/util/text.h"
#include "plugin/util/time_value.h"
#include "plugin/util/url_query.h"

namespace qbflv {

CQBParsedURL::CQBParsedURL(const char* url, IUnknown* context) : m_pContext(ComPtr<IUnknown>::Retain(context)) {
  m_lStatus = Parse(url);
}

Status CQBParsedURL::Parse(const char* url) {
  if (url == nullptr) return kURLMissing;
  if (!m_strURLText.Assign(url)) return kOutOfMemory;
  Status status = CreateLists();
  if (Failed(status)) return status;

  CQBString text;
  status = RewriteStartTime(text);
  if (Failed(status)) return status;
  status = SplitText(text);
  if (Failed(status)) return status;
  SetProperties();
  if (m_recParts.kind == kURLOpaque) return kOk;
  status = CheckAuthority();
  if (Failed(status)) return status;
  return ParseOptions();
}

Status CQBParsedURL::CreateLists() {
  m_pObjectFactory = QueryFor<IQBObjectFactory>(m_pContext.Get());
  const bool created = Succeeded(CreateObject(m_pObjectFactory.Get(), m_pProperties)) &&
                       Succeeded(CreateObject(m_pObjectFactory.Get(), m_pOptions));
  return created ? kOk : kInvalidState;
}

/// Expands the start-time shorthand: "$1:30" at the end of a URL means "?start=1:30".
Status CQBParsedURL::RewriteStartTime(CQBString& text) const {
  text = m_strURLText;
  const std::string_view whole = m_strURLText.GetView();
  const std::size_t sign = FindStartTime(whole);
  if (sign == std::string_view::npos) return kOk;
  const bool rewritten =
      text.Assign(Slice(whole, 0, sign)) && text.Append("?start=") && text.Append(Slice(whole, sign + 1));
  return rewritten ? kOk : kOutOfMemory;
}

Status CQBParsedURL::SplitText(const CQBString& text) {
  Status status = SplitURL(text.GetView(), m_recParts);
  if (Failed(status)) return status;
  if (m_recParts.bBadScheme || m_recParts.scheme.IsEmpty()) return kURLBadScheme;
  LookUpScheme(m_recParts);
  if (m_recParts.protocolClass == kProtocolFile) {
    status = RewriteFileURL(text.GetView(), m_recParts);
    if (Failed(status)) return status;
    if (m_recParts.path.IsEmpty()) return kURLNoPath;
  }
  return NormaliseURL(m_recParts);
}

/// Nothing reads this list, so it holds only numbers, which are cheap to set, and failures to set them are ignored.
void CQBParsedURL::SetProperties() {
  const std::int32_t port = m_recParts.lPort == kNoPort ? m_recParts.usDefaultPort : m_recParts.lPort;
  static_cast<void>(m_pProperties->SetULONG32("SchemeCode", m_recParts.ucSchemeCode));
  static_cast<void>(m_pProperties->SetULONG32("ProtocolClass", m_recParts.protocolClass));
  static_cast<void>(m_pProperties->SetULONG32("Port", static_cast<std::uint32_t>(port)));
}

Status CQBParsedURL::CheckAuthority() const {
  constexpr std::int32_t kMaxPort = 65535;
  if (m_recParts.kind != kURLNetworkPath) return kOk;
  switch (m_recParts.protocolClass) {
    case kProtocolUnknown:
    case kProtocolFile:
      return kOk;
    case kProtocolHTTP:
    case kProtocolQTV:
    case kProtocolRTSP:
      if (m_recParts.host.IsEmpty() || m_recParts.bHostMalformed) return kURLBadHost;
      break;
    case kProtocolSDP:
    case kProtocolProd:
    case kProtocolMMS:
    case kProtocolMPTS:
      break;
  }
  return m_recParts.lPort > kMaxPort ? kURLBadPort : kOk;
}

Status CQBParsedURL::ParseOptions() {
  std::int64_t ignored = 0;
  if (ReadIntegerPreference(m_pContext.Get(), "IgnoreURLOptions", ignored) && ignored != 0) return kOk;
  if (m_recParts.query.IsEmpty()) return kOk;
  ComPtr<IQBPropertyList> options;
  Status status = CreateObject(m_pObjectFactory.Get(), options);
  if (Succeeded(status)) {
    m_pOptions = options;
    status = SetQueryOptions(m_recParts.query.GetView(), m_pObjectFactory.Get(), options.Get());
  }
  // An option that the host rejects does not make the URL invalid.
  return status == kOutOfMemory ? status : kOk;
}

}  // namespace qbflv
