// The options of every command that reads one file: the file, and the behaviour of the host.
#include "cli/command_options.h"

#include <fmt/format.h>

#include <charconv>
#include <utility>

#include "cli/file_kind.h"
#include "cli/interrupt.h"
#include "cli/plugin_location.h"
#include "cli/process.h"
#include "host/file_url.h"
#include "host/open_file.h"

namespace qbflv::cli {

namespace {

constexpr char kHostGroup[] = "The host";

std::string CheckNameAndValue(const std::string& text) {
  const std::size_t equals = text.find('=');
  if (equals != std::string::npos && equals > 0) return {};
  return "expected NAME=VALUE instead of '" + text + "'";
}

/// Adds an option that takes NAME=VALUE and may be repeated.
void AddNamedTexts(CLI::App& parser, const std::string& name, std::vector<std::string>& texts,
                   const std::string& description) {
  parser.add_option(name, texts, description)
      ->type_name("NAME=VALUE")
      ->allow_extra_args(false)
      ->check(CLI::Validator(CheckNameAndValue, ""))
      ->group(kHostGroup);
}

/// Adds an option that takes one of several words. The first word is the default.
template <typename Value>
void AddChoice(CLI::App& parser, const std::string& name, Value& target,
               const std::vector<std::pair<std::string, Value>>& choices, const std::string& description) {
  std::vector<std::string> words;
  words.reserve(choices.size());
  for (const auto& choice : choices) words.push_back(choice.first);
  const auto store = [&target, choices](const std::string& word) {
    for (const auto& [known, value] : choices) {
      if (known == word) target = value;
    }
  };
  parser.add_option_function<std::string>(name, store, description + " (default: " + words.front() + ")")
      ->type_name(CLI::detail::join(words, "|"))
      ->check(CLI::IsMember(words).description(""))
      ->group(kHostGroup);
}

host::NamedTexts SplitNamedTexts(const std::vector<std::string>& texts) {
  host::NamedTexts split;
  for (const std::string& text : texts) {
    const std::size_t equals = text.find('=');
    split.emplace_back(text.substr(0, equals), text.substr(equals + 1));
  }
  return split;
}

}  // namespace

void AddCommandOptions(CLI::App& parser, CommandOptions& options) {
  using host::FileOptions;
  FileOptions& file = options.fileOptions;
  parser.add_option("FILE", options.file, "The FLV file to read")->required()->type_name("");
  parser
      .add_option("--plugin", options.plugin,
                  "The plug-in (default: the one beside this command, or the installed one)")
      ->type_name("PATH")
      ->group(kHostGroup);
  parser
      .add_flag("--watch", options.watch,
                "Check the calls between host and plug-in; report to standard error or to QBFLVPLUS_WATCH_LOG")
      ->group(kHostGroup);
  parser.add_option("--url", options.url, "The URL of the request (default: the URL of the file)")
      ->type_name("URL")
      ->group(kHostGroup);
  AddNamedTexts(parser, "--header", options.headers, "A text header of the request; may be repeated");
  AddNamedTexts(parser, "--pref", options.preferences, "A preference of the host; may be repeated");
  AddChoice<FileOptions::Completions>(
      parser, "--host-io", file.completions,
      {{"inline", FileOptions::Completions::kInline}, {"queued", FileOptions::Completions::kQueued}},
      "File operations complete inside the call or from an event loop");
  AddChoice<FileOptions::EndOfFile>(
      parser, "--host-eof", file.endOfFile,
      {{"short", FileOptions::EndOfFile::kShort}, {"fail", FileOptions::EndOfFile::kFail}},
      "A read at the end of the file returns no bytes or fails");
  AddChoice<FileOptions::Stat>(
      parser, "--host-stat", file.stat,
      {{"yes", FileOptions::Stat::kYes}, {"no", FileOptions::Stat::kNo}, {"fail", FileOptions::Stat::kFail}},
      "The file reports its size, has no interface for it, or fails");
  AddChoice<FileOptions::Order>(parser, "--host-order", file.order,
                                {{"random", FileOptions::Order::kRandom}, {"linear", FileOptions::Order::kLinear}},
                                "The file supports random access or prefers front-to-back reading");
}

CLI::Validator NumberUpTo(std::uint64_t max) {
  const auto check = [max](const std::string& text) -> std::string {
    std::uint64_t value = 0;
    const char* const end = text.data() + text.size();
    const auto parsed = std::from_chars(text.data(), end, value);
    if (parsed.ec == std::errc() && parsed.ptr == end && value <= max) return {};
    return fmt::format("expected a number from 0 to {} instead of '{}'", max, text);
  };
  return {check, ""};
}

void AddRepairOption(CLI::App& parser, CommandOptions& options, bool byDefault) {
  options.repair = byDefault;
  if (byDefault) {
    parser.add_flag_callback(
        "--raw", [&] { options.repair = false; }, "Let the plug-in read FILE as it is, unrepaired");
  } else {
    parser.add_flag("--repair", options.repair,
                    "Let the plug-in read FILE as a well-formed file; does not change FILE");
  }
}

host::SessionOptions MakeSessionOptions(const CommandOptions& options, host::BlockReader::Observer onBlock) {
  RequireFlvFile(options.file);
  host::SessionOptions session;
  session.plugin = options.plugin.empty() ? FindPlugin() : options.plugin;
  if (options.watch) {
    // The watch layer loads the library that this variable names.
    SetEnvironment("QBFLVPLUS_LIBRARY", session.plugin);
    session.plugin = FindWatchLayer();
  }
  session.file = options.file;
  if (options.repair) {
    flv::ScanOptions scan;
    scan.onProgress = [&](std::uint64_t done, std::uint64_t total) {
      ThrowIfInterrupted();
      if (onBlock) onBlock(done, total);
      return true;
    };
    session.view = host::OpenRepaired(options.file, options.view, scan);
  }
  session.url = options.url.empty() ? host::FileUrl(options.file) : options.url;
  session.headers = SplitNamedTexts(options.headers);
  session.preferences = SplitNamedTexts(options.preferences);
  session.fileOptions = options.fileOptions;
  session.fileOptions.onBlock = std::move(onBlock);
  return session;
}

}  // namespace qbflv::cli
