// The options that every command has: the file, and what its host is like.
#include "cli/command_options.h"

#include <utility>

#include "cli/plugin_location.h"
#include "host/file_url.h"

namespace qbflv::cli {

namespace {

constexpr char kHostGroup[] = "The host";

std::string CheckNameAndValue(const std::string& text) {
  const std::size_t equals = text.find('=');
  if (equals != std::string::npos && equals > 0) return {};
  return "expected NAME=VALUE instead of '" + text + "'";
}

/// One NAME=VALUE each time the option is given.
void AddNamedTexts(CLI::App& parser, const std::string& name, std::vector<std::string>& texts,
                   const std::string& description) {
  parser.add_option(name, texts, description)
      ->type_name("NAME=VALUE")
      ->allow_extra_args(false)
      ->check(CLI::Validator(CheckNameAndValue, ""))
      ->group(kHostGroup);
}

/// An option that takes one of two or three words, of which the first stands for the value that target has.
template <typename Value>
void AddChoice(CLI::App& parser, const std::string& name, Value& target,
               const std::vector<std::pair<std::string, Value>>& choices, const std::string& description) {
  std::vector<std::string> words;
  words.reserve(choices.size());
  for (const auto& choice : choices) words.push_back(choice.first);
  const auto take = [&target, choices](const std::string& word) {
    for (const auto& [known, value] : choices) {
      if (known == word) target = value;
    }
  };
  parser.add_option_function<std::string>(name, take, description + " (default: " + words.front() + ")")
      ->type_name(CLI::detail::join(words, "|"))
      ->check(CLI::IsMember(words).description(""))
      ->group(kHostGroup);
}

std::string CheckNumber(const std::string& text) {
  if (!text.empty() && text.find_first_not_of("0123456789") == std::string::npos) return {};
  return "expected a number instead of '" + text + "'";
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
  parser.add_option("--plugin", options.plugin, "The plug-in (default: beside this command or where it was installed)")
      ->type_name("PATH")
      ->group(kHostGroup);
  parser.add_option("--url", options.url, "The request's URL (default: the file's own)")
      ->type_name("URL")
      ->group(kHostGroup);
  AddNamedTexts(parser, "--header", options.headers, "A header of the request, as text; may be repeated");
  AddNamedTexts(parser, "--pref", options.preferences, "A preference of the host; may be repeated");
  AddChoice<FileOptions::Answers>(
      parser, "--host-io", file.answers,
      {{"inline", FileOptions::Answers::kInline}, {"queued", FileOptions::Answers::kQueued}},
      "File operations are answered inside the call or from an event loop");
  AddChoice<FileOptions::EndOfFile>(
      parser, "--host-eof", file.endOfFile,
      {{"short", FileOptions::EndOfFile::kShort}, {"fail", FileOptions::EndOfFile::kFail}},
      "A read at the end gives no bytes or fails");
  AddChoice<FileOptions::Stat>(
      parser, "--host-stat", file.stat,
      {{"yes", FileOptions::Stat::kYes}, {"no", FileOptions::Stat::kNo}, {"fail", FileOptions::Stat::kFail}},
      "The file tells its size, has no interface for it, or fails to");
  AddChoice<FileOptions::Order>(parser, "--host-order", file.order,
                                {{"random", FileOptions::Order::kRandom}, {"linear", FileOptions::Order::kLinear}},
                                "The file is read in any order or best from front to back");
}

CLI::Validator IsNumber() { return {CheckNumber, ""}; }

host::SessionOptions MakeSessionOptions(const CommandOptions& options, host::BlockReader::Observer onBlock) {
  host::SessionOptions session;
  session.plugin = options.plugin.empty() ? FindPlugin() : options.plugin;
  session.file = options.file;
  session.url = options.url.empty() ? host::FileUrl(options.file) : options.url;
  session.headers = SplitNamedTexts(options.headers);
  session.preferences = SplitNamedTexts(options.preferences);
  session.fileOptions = options.fileOptions;
  session.fileOptions.onBlock = std::move(onBlock);
  return session;
}

}  // namespace qbflv::cli
