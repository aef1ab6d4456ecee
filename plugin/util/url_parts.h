// Takes a URL apart: scheme, authority, path, query and fragment, and what is known of its scheme.
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

/// Families of schemes. The numbers are those that the host's framework uses.
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

  /// There is a ":" where a scheme ends, but no valid scheme before it.
  bool bBadScheme = false;
  /// Brackets in the host that do not enclose all of it, or enclose anything but an IPv6 address.
  bool bHostMalformed = false;
  /// The memory for the parts could not be had.
  bool bParseFailed = false;

  std::uint8_t ucSchemeCode = 0;
  URLProtocolClass protocolClass = kProtocolUnknown;
  std::uint16_t usDefaultPort = 0;
};

// Each answers kOk, or kOutOfMemory when the parts cannot be stored; parts then says that it failed.

/// Fills parts, which must be new, from text.
[[nodiscard]] Status SplitURL(std::string_view text, URLParts& parts);

/// Turns the parts of a URL of class kProtocolFile into those of a network path with a file's path: such a URL has no
/// host but "localhost" (any other is the path's first segment), no fragment, and no backslash in its path. text: what
/// the parts were split from.
[[nodiscard]] Status RewriteFileURL(std::string_view text, URLParts& parts);

/// Escapes what may not stand in query and path.
[[nodiscard]] Status NormaliseURL(URLParts& parts);

/// Sets scheme code, protocol class and default port by the scheme, whose case does not matter.
void LookUpScheme(URLParts& parts);

}  // namespace qbflv
