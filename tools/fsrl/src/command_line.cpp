#include "fsrl/command_line.h"

#include <algorithm>
#include <utility>

namespace fsrl {
namespace {

// Option names and values start here in the help, unless a name is longer; descriptions wrap below themselves.
constexpr std::size_t kHelpIndent = 2;
constexpr std::size_t kMaxNameColumn = 24;

std::string RangeMessage(const std::string& text, std::uint64_t min, std::uint64_t max) {
  const std::string range = std::to_string(min) + ".." + std::to_string(max);
  // At most 20 digits fit a 64-bit value; a longer string of digits is out of range all the same.
  const bool digits = !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
  if (!digits) {
    return "'" + text + "' is not a whole number in " + range;
  }
  const std::string trimmed = text.substr(std::min(text.find_first_not_of('0'), text.size() - 1));
  const std::string max_text = std::to_string(max);
  const bool too_big = trimmed.size() > max_text.size() || (trimmed.size() == max_text.size() && trimmed > max_text);
  if (too_big || std::stoull(trimmed) < min) {
    return trimmed + " is not in " + range;
  }
  return {};
}

// "-o,--output" as the help shows it: "-o, --output".
std::string DisplayNames(const CLI::Option& option) {
  std::string names;
  for (const std::string& name : option.get_snames()) {
    names += (names.empty() ? "-" : ", -") + name;
  }
  for (const std::string& name : option.get_lnames()) {
    names += (names.empty() ? "--" : ", --") + name;
  }
  return names;
}

}  // namespace

CommandLine::CommandLine(std::string command, std::string usage, std::string about, std::string epilogue)
    : program_(command.empty() ? "fsrl" : "fsrl " + command),
      usage_(std::move(usage)),
      about_(std::move(about)),
      epilogue_(std::move(epilogue)),
      app_(std::string(), program_) {
  // The help text is ours (Help), and so are the messages: no option is implied, nothing unknown passes.
  app_.set_help_flag();
  app_.allow_extras(false);
  app_.add_flag("-h,--help", help_, "show this help");
}

CLI::Option* CommandLine::Flag(const std::string& names, bool& value, const std::string& help) {
  return app_.add_flag(names, value, help);
}

CLI::Option* CommandLine::Text(const std::string& names, std::string& value, const std::string& value_name,
                               const std::string& help) {
  return app_.add_option(names, value, help)
      ->type_name(value_name)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
}

CLI::Option* CommandLine::Texts(const std::string& names, std::vector<std::string>& values,
                                const std::string& value_name, const std::string& help) {
  // One value per occurrence: `--fault a LOG` must leave LOG an argument.
  return app_.add_option(names, values, help)->type_name(value_name)->allow_extra_args(false);
}

CLI::Option* CommandLine::Number(const std::string& names, std::uint64_t& value, std::uint64_t min,
                                 std::uint64_t max, const std::string& value_name, const std::string& help) {
  // Checked before conversion, so that "-1" or "1e3" never turn into a number.
  const CLI::Validator in_range([min, max](std::string& text) { return RangeMessage(text, min, max); },
                                std::string());  // the help names the range in words
  return app_.add_option(names, value, help)
      ->type_name(value_name)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast)
      ->check(in_range);
}

CLI::Option* CommandLine::Arguments(const std::string& name, std::vector<std::string>& values) {
  return app_.add_option(name, values)->type_name(name);
}

void CommandLine::CommandArguments(std::vector<std::string>& values) {
  app_.prefix_command();
  command_args_ = &values;
}

std::string CommandLine::MissingValue(const std::string& name) const {
  const CLI::Option* option = app_.get_option_no_throw(name);
  const std::string value_name = option != nullptr ? option->get_type_name() : "value";
  return name + ": needs a value (" + value_name + ")";
}

std::optional<int> CommandLine::Parse(const std::vector<std::string>& args, std::FILE* out, std::FILE* err) {
  // The parser would take "--out= LOG" as "--out LOG", and then write over the log: an empty value is refused.
  for (const std::string& arg : args) {
    if (arg == "--" || (command_args_ != nullptr && (arg.empty() || arg[0] != '-'))) {
      break;
    }
    if (arg.size() > 3 && arg.compare(0, 2, "--") == 0 && arg.back() == '=' && arg.find('=') == arg.size() - 1) {
      return UsageError(err, MissingValue(arg.substr(0, arg.size() - 1)));
    }
  }
  // The parser takes the arguments last first.
  std::vector<std::string> reversed(args.rbegin(), args.rend());
  try {
    app_.parse(reversed);
  } catch (const CLI::ExtrasError&) {
    const std::vector<std::string> extras = app_.remaining();
    const std::string first = extras.empty() ? std::string() : extras.front();
    return UsageError(err, first.size() > 1 && first[0] == '-' ? "unknown option '" + first + "'"
                                                                : "unexpected argument '" + first + "'");
  } catch (const CLI::ArgumentMismatch& error) {
    // The parser says "--name: 1 required TYPE missing"; the name is what matters.
    const std::string what = error.what();
    return UsageError(err, MissingValue(what.substr(0, what.find(':'))));
  } catch (const CLI::ParseError& error) {
    return UsageError(err, error.what());
  }
  if (command_args_ != nullptr) {
    *command_args_ = app_.remaining();
  }
  if (help_) {
    const std::string help = Help();
    std::fputs(help.c_str(), out);
    return kExitOk;
  }
  return std::nullopt;
}

int CommandLine::UsageError(std::FILE* err, const std::string& message) const {
  std::fprintf(err, "%s: %s\nTry '%s --help' for more information.\n", program_.c_str(), message.c_str(),
               program_.c_str());
  return kExitUsage;
}

bool CommandLine::Given(const std::string& name) const {
  const CLI::Option* option = app_.get_option_no_throw(name);
  return option != nullptr && option->count() > 0;
}

std::string CommandLine::Help() const {
  struct Row {
    std::string names;
    std::string help;
  };
  std::vector<Row> rows;
  std::size_t column = 0;
  for (const CLI::Option* option : app_.get_options()) {
    if (option->get_positional() || option->get_description().empty()) {
      continue;
    }
    Row row{DisplayNames(*option), option->get_description()};
    if (option->get_type_size() != 0 && !option->get_type_name().empty()) {
      row.names += " " + option->get_type_name();
    }
    if (row.names.size() <= kMaxNameColumn) {
      column = std::max(column, row.names.size());
    }
    rows.push_back(std::move(row));
  }
  // -h, --help was declared first, but reads best last.
  std::rotate(rows.begin(), rows.begin() + 1, rows.end());
  // The about text starts with its own blank line and ends with one.
  std::string help = usage_ + (about_.empty() ? "\n" : about_) + "Options:\n";
  const std::string indent(kHelpIndent + column + 2, ' ');
  for (const Row& row : rows) {
    std::string line = std::string(kHelpIndent, ' ') + row.names;
    if (row.names.size() > column) {
      line += "\n" + indent;
    } else {
      line += std::string(column - row.names.size() + 2, ' ');
    }
    // Continuation lines of a description stay under its first line.
    std::size_t start = 0;
    while (start <= row.help.size()) {
      const std::size_t end = std::min(row.help.find('\n', start), row.help.size());
      line += (start == 0 ? "" : "\n" + indent) + row.help.substr(start, end - start);
      start = end + 1;
    }
    help += line + "\n";
  }
  return help + (epilogue_.empty() ? "" : "\n" + epilogue_);
}

void LogInputOptions::AddTo(CommandLine& command_line) {
  command_line.Arguments("LOG", arguments);
  command_line.Text("--frame-map", frame_map_path, "FILE",
                    "take the frame map from FILE: one GROUP_NAME,CAN_ID_HEX per line (for example\n"
                    "RSDS4SigSts1,432), '#' starts a comment, blank lines are ignored. An id written\n"
                    "with 8 hex digits, or above 7FF, is extended. Groups not listed are not received.");
}

std::string LogInputOptions::Check() const {
  if (arguments.empty()) {
    return "missing LOG argument (a candump log file, or '-' for standard input)";
  }
  if (arguments.size() > 1) {
    return "more than one LOG argument ('" + arguments[0] + "', '" + arguments[1] + "')";
  }
  return {};
}

bool LogInputOptions::LoadFrameMap(FrameMap& frame_map, const CommandLine& command_line, std::FILE* err) const {
  frame_map = FrameMap::Default();
  if (frame_map_path.empty()) {
    return true;
  }
  std::string error;
  if (!FrameMap::Load(frame_map_path, frame_map, error)) {
    std::fprintf(err, "%s: %s\n", command_line.program().c_str(), error.c_str());
    return false;
  }
  return true;
}

void HalLogOptions::AddTo(CommandLine& command_line) {
  command_line.Flag("--hal-log", hal_log,
                    "show the HAL's own log messages on standard error (by default they are only\n"
                    "counted: every failed read is already in the output or the summary)");
}

}  // namespace fsrl
