// Functions shared by the commands that seek.
#include "cli/seeking.h"

#include <fmt/format.h>

#include "cli/time_text.h"
#include "host/host_error.h"

namespace qbflv::cli {

void AddTimeOption(CLI::App& parser, const std::string& name, std::optional<std::uint32_t>& time,
                   const std::string& description) {
  parser.add_option(name, time, description)->type_name(kTimeType)->transform(TimeToMilliseconds());
}

host::SeekResult SeekOrThrow(host::Session& session, std::uint32_t time) {
  const host::SeekResult result = session.Seek(time);
  if (Failed(result.status)) throw host::HostError(fmt::format("cannot seek to {} ms", time), result.status);
  return result;
}

}  // namespace qbflv::cli
