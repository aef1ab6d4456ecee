// Messages about command lines that cannot be parsed.
#include "cli/usage_error.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>
#include <string_view>
#include <vector>

namespace qbflv::cli {

namespace {

/// Returns the number of insertions, deletions and replacements of characters that turn one word into the other.
std::size_t EditDistance(std::string_view from, std::string_view to) {
  std::vector<std::size_t> row(to.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 0; i < from.size(); ++i) {
    std::size_t diagonal = row[0];
    row[0] = i + 1;
    for (std::size_t j = 0; j < to.size(); ++j) {
      const std::size_t replaced = diagonal + (from[i] == to[j] ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({row[j] + 1, diagonal + 1, replaced});
    }
  }
  return row.back();
}

/// Returns "; did you mean NAME?" for the most similar name, or nothing if none is similar.
std::string Suggestion(std::string_view word, const std::vector<std::string>& names) {
  constexpr std::size_t kMaxDistance = 2;
  std::string_view best;
  std::size_t bestDistance = std::min(kMaxDistance, word.size() / 2) + 1;
  for (const std::string& name : names) {
    const std::size_t distance = EditDistance(word, name);
    if (distance >= bestDistance) continue;
    best = name;
    bestDistance = distance;
  }
  return best.empty() ? std::string() : fmt::format("; did you mean {}?", best);
}

std::vector<std::string> CommandNames(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::App* const command : app.get_subcommands({})) names.push_back(command->get_name());
  return names;
}

std::vector<std::string> OptionNames(const CLI::App& parser) {
  std::vector<std::string> names;
  for (const CLI::Option* const option : parser.get_options()) {
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
  }
  return names;
}

/// Rewrites the library's texts about the number of values of an option.
std::string MismatchText(const CLI::App& parser, std::string_view text) {
  const std::string name(text.substr(0, text.find(':')));
  const CLI::Option* const option = parser.get_option_no_throw(name);
  if (option == nullptr) return std::string(text);
  if (text.find("At Most") != std::string_view::npos) return name + " may be given only once";
  return fmt::format("{} needs a value: {}", name, option->get_type_name());
}

/// Returns true for an option of the command that stands before its name.
bool IsTooEarly(const CLI::App& app, const CLI::App& parser, const std::string& option) {
  if (&parser == &app || parser.get_option_no_throw(option) == nullptr) return false;
  return std::ranges::any_of(app.remaining(false), [&](const std::string& word) { return word.starts_with(option); });
}

std::string ReasonText(const CLI::App& app, const CLI::App& parser, const CLI::ParseError& error) {
  const std::vector<std::string> words = app.remaining(true);
  for (const std::string& word : words) {
    if (!word.starts_with('-')) continue;
    const std::string name = word.substr(0, word.find('='));
    if (IsTooEarly(app, parser, name)) return fmt::format("{} must follow the command", name);
    return fmt::format("unknown option {}{}", name, Suggestion(name, OptionNames(parser)));
  }
  if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::ArgumentMismatch)) {
    return MismatchText(parser, error.what());
  }
  if (error.get_exit_code() != static_cast<int>(CLI::ExitCodes::ExtrasError) || words.empty()) return error.what();
  if (&parser != &app) return fmt::format("unexpected argument '{}'", words.front());
  return fmt::format("unknown command '{}'{}", words.front(), Suggestion(words.front(), CommandNames(app)));
}

}  // namespace

std::string UsageErrorText(const CLI::App& app, const CLI::ParseError& error) {
  const std::vector<CLI::App*> commands = app.get_subcommands();
  if (commands.empty()) return ReasonText(app, app, error) + " (see qbflv --help)";
  const std::string& command = commands.front()->get_name();
  return fmt::format("{}: {} (see qbflv {} --help)", command, ReasonText(app, *commands.front(), error), command);
}

std::string MissingCommandText(const CLI::App& app) {
  return fmt::format("a command is required: {} (see qbflv --help)", fmt::join(CommandNames(app), ", "));
}

}  // namespace qbflv::cli
