#include "plugin/util/trace.h"

#include <cstdarg>
#include <cstdio>

#include "plugin/platform/platform.h"

namespace qbflv {

void WriteTrace(std::uint32_t category, const char* format, ...) {
  constexpr int kLineBytes = 512;
  char line[kLineBytes];
  const int prefix = std::snprintf(line, kLineBytes, "%08lx ", TraceNumber(category));
  std::va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(line + prefix, static_cast<std::size_t>(kLineBytes - prefix), format, arguments);
  va_end(arguments);
  platform::WriteStandardError(line);
  platform::WriteStandardError("\n");
}

}  // namespace qbflv
