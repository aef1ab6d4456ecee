// Parses a URL for the options in its query.
#pragma once

#include <cstdint>

#include "plugin/shell/host_interfaces.h"
#include "plugin/util/com_ptr.h"
#include "plugin/util/string.h"
#include "plugin/util/url_parts.h"

namespace qbflv {

// Statuses of a parse.

/// The URL is null.
inline constexpr Status kURLMissing = MakeStatus(0x80040082);
/// The scheme is missing or invalid.
inline constexpr Status kURLBadScheme = MakeStatus(0x800400C9);
/// A network path of the classes HTTP, QTV or RTSP without a usable host.
inline constexpr Status kURLBadHost = MakeStatus(0x800400CB);
/// A "file" URL without a path.
inline constexpr Status kURLNoPath = MakeStatus(0x800400CC);
/// The port is above 65535.
inline constexpr Status kURLBadPort = MakeStatus(0x80040695);

class CQBParsedURL {
 public:
  /// Parses the URL. url may be null; an empty text is a URL without a scheme.
  CQBParsedURL(const char* url, IUnknown* context);

  /// kOk, or the first failure of the parse: one of the statuses above, kInvalidState without an object factory or
  /// lists, or kOutOfMemory.
  [[nodiscard]] Status GetStatus() const { return m_lStatus; }
  [[nodiscard]] const URLParts& GetParts() const { return m_recParts; }
  /// The options. After a failure the list is empty, or holds the options that were set before the failure. Null if the
  /// list could not be created.
  [[nodiscard]] const ComPtr<IQBPropertyList>& GetOptions() const { return m_pOptions; }

 private:
  Status Parse(const char* url);
  Status CreateLists();
  Status RewriteStartTime(CQBString& text) const;
  Status SplitText(const CQBString& text);
  void SetProperties();
  [[nodiscard]] Status CheckAuthority() const;
  Status ParseOptions();

  Status m_lStatus = kOk;
  CQBString m_strURLText;
  URLParts m_recParts;
  ComPtr<IQBPropertyList> m_pProperties;
  ComPtr<IQBPropertyList> m_pOptions;
  ComPtr<IQBObjectFactory> m_pObjectFactory;
  ComPtr<IUnknown> m_pContext;
};

}  // namespace qbflv
