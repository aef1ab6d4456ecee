// What the commands that seek have in common.
#include "cli/seeking.h"

#include <fmt/format.h>

#include "cli/command_options.h"
#include "host/host_error.h"

namespace qbflv::cli {

void AddTimeOption(CLI::App& parser, const std::string& name, std::optional<std::uint32_t>& time,
                   const std::string& description) {
  parser.add_option(name, time, description)->type_name("MS")->check(IsNumber());
}

void SeekOrThrow(host::Session& session, std::uint32_t time) {
  const host::SeekResult result = session.Seek(time);
  if (Failed(result.status)) throw host::HostError(fmt::format("cannot seek to {} ms", time), result.status);
}

}  // namespace qbflv::cli
