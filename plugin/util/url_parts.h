// Splits a URL into scheme, authority, path, query and fragment, and looks up its scheme.
#pragma once

#include <cstdint>
#include <string_view>

#include "plugin/shell/host_interfaces.h"
#include "plugin/util/string.h"

namespace qbflv {

enum URLKind : std::uint8_t {
  /// The scheme's ":" is not followed by "/".
  kURLOpaque = 0,
  /// "//" follows.
  kURLNetworkPath = 1,
  /// One "/" follows.
  kURLAbsolutePath = 2,
  /// No scheme.
  kURLRelative = 3,
};

/// Families of schemes, with the numbers of the host's framework.
enum URLProtocolClass : std::uint8_t {
  kProtocolUnknown = 0,
  kProtocolHTTP = 1,
  kProtocolQTV = 2,
  kProtocolRTSP = 3,
  kProtocolFile = 4,
  kProtocolSDP = 7,
  kProtocolProd = 8,
  kProtocolMMS = 9,
  kProtocolMPTS = 10,
};

inline constexpr std::int32_t kNoPort = -1;

struct URLParts {
  URLKind kind = kURLOpaque;
  CQBString scheme;
  CQBString userInformation;
  CQBString host;
  std::int32_t lPort = kNoPort;
  CQBString path;
  CQBString query;
  CQBString fragment;

  /// The text before the ":" is not a valid scheme.
  bool bBadScheme = false;
  /// The host has brackets that do not enclose all of it, or that enclose no IPv6 address.
  bool bHostMalformed = false;

  std::uint8_t ucSchemeCode = 0;
  URLProtocolClass protocolClass = kProtocolUnknown;
  std::uint16_t usDefaultPort = 0;
};

// The functions return kOk, or kOutOfMemory if they cannot store the parts.

/// Splits text. REQUIRES: parts is new.
[[nodiscard]] Status SplitURL(std::string_view text, URLParts& parts);

/// Rewrites the parts of a URL of class kProtocolFile as a network path. Such a URL has no host except "localhost" (any
/// other host becomes the first segment of the path), no fragment, and no backslash in its path. text: the text that
/// the parts come from.
[[nodiscard]] Status RewriteFileURL(std::string_view text, URLParts& parts);

/// Percent-encodes query and path.
[[nodiscard]] Status NormaliseURL(URLParts& parts);

/// Sets scheme code, protocol class and default port for the scheme, ignoring its case.
void LookUpScheme(URLParts& parts);

}  // namespace qbflv
