#include "fsrl/command_line.h"

#include <algorithm>
#include <cstdint>
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

CLI::Option* CommandLine::Number(const std::string& names, std::uint64_t& value, std::uint64_t min, std::uint64_t max,
                                 const std::string& value_name, const std::string& help) {
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

namespace {

// The recording formats by the names `--format` and `--input-format` take, for messages and the help.
const char kInputFormatNames[] = "auto, candump, candump-long, candump-delta, asc, blf";

std::string Joined(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) {
    text += (text.empty() ? "" : ", ") + name;
  }
  return text;
}

// "SECONDS[.FRACTION]" on the recording's time base, to the nanosecond: a double would lose the nanoseconds of
// an absolute time stamp (1.7e9 s), so the digits are read as they are written.
bool ParseSeconds(const std::string& text, std::int64_t& ns) {
  constexpr std::int64_t kNsPerSecond = 1000000000;
  constexpr int kFractionDigits = 9;  // nanoseconds
  std::size_t i = 0;
  std::int64_t seconds = 0;
  while (i < text.size() && text[i] >= '0' && text[i] <= '9') {
    if (seconds > (INT64_MAX / kNsPerSecond - 9) / 10) {
      return false;
    }
    seconds = seconds * 10 + (text[i] - '0');
    ++i;
  }
  if (i == 0) {
    return false;
  }
  std::int64_t fraction = 0;
  int digits = 0;
  if (i < text.size() && text[i] == '.') {
    ++i;
    while (i < text.size() && text[i] >= '0' && text[i] <= '9' && digits < kFractionDigits) {
      fraction = fraction * 10 + (text[i] - '0');
      ++digits;
      ++i;
    }
  }
  // The last whole second below 2^63-1 nanoseconds keeps every fraction in range.
  if (i != text.size() || seconds >= INT64_MAX / kNsPerSecond) {
    return false;
  }
  for (; digits < kFractionDigits; ++digits) {
    fraction *= 10;
  }
  ns = seconds * kNsPerSecond + fraction;
  return true;
}

}  // namespace

void LogInputOptions::AddTo(CommandLine& command_line) {
  command_line.Arguments("LOG", arguments);
  command_line.Texts("--format", formats, "FMT",
                     "the recording's format (auto, candump, candump-long, candump-delta, asc, blf)\n"
                     "or the output's format (" +
                         Joined(output_format_names) + "); give it twice to name both");
  command_line.Text("--input-format", input_format, "FMT",
                    "the recording's format: auto (the default: told from the content), candump\n"
                    "(`candump -l`), candump-long (`candump`, -ta, -tz, log2long), candump-delta\n"
                    "(`candump -td`), asc, blf");
  command_line.Text("--output-format", output_format_given_, "FMT",
                    "the output's format: " + Joined(output_format_names) + " (default " + output_format + ")");
  command_line.Text("--channel", channel, "NAME|N",
                    "only the frames of one bus: an interface name (can0) or a channel number\n"
                    "(1 is the first bus: ASC and BLF channel 1, the first candump interface seen)");
  command_line.Texts("--filter", filters, "ID:MASK",
                     "only frames whose id matches (id & MASK == ID & MASK, hex, as candump\n"
                     "filters; ID~MASK: those that do not). May be given more than once: a frame\n"
                     "passes when any filter passes it. Dropped frames are counted as filtered");
  command_line.Text("--from", from_seconds, "SECONDS",
                    "skip frames stamped before SECONDS (the recording's time base, as \"t\")");
  command_line.Text("--to", to_seconds, "SECONDS", "skip frames stamped at or after SECONDS");
  command_line.Text("--frame-map", frame_map_path, "FILE",
                    "take the frame map from FILE: one GROUP_NAME,CAN_ID_HEX[,CHANNEL] per line (for\n"
                    "example RSDS4SigSts1,432), '#' starts a comment, blank lines are ignored. An id\n"
                    "written with 8 hex digits, or above 7FF, is extended. With CHANNEL (a name or\n"
                    "number, as --channel) the id carries the group on that bus only. Groups not\n"
                    "listed are not received.");
}

std::string LogInputOptions::RouteFormats() {
  std::string input = input_format;
  std::string output = output_format_given_;
  const std::string output_names = Joined(output_format_names);
  for (const std::string& value : formats) {
    LogFormat parsed = LogFormat::kAuto;
    const bool is_input = ParseLogFormat(value, parsed);
    const bool is_output =
        std::find(output_format_names.begin(), output_format_names.end(), value) != output_format_names.end();
    if (!is_input && !is_output) {
      return "--format: '" + value + "' is neither a recording format (" + kInputFormatNames +
             ") nor an output format (" + output_names + ")";
    }
    std::string& side = is_input ? input : output;
    if (!side.empty() && side != value) {
      return std::string("--format: two ") + (is_input ? "recording" : "output") + " formats given ('" + side +
             "' and '" + value + "')";
    }
    side = value;
  }
  if (!input.empty() && !ParseLogFormat(input, format_)) {
    return "--input-format: unknown format '" + input + "' (" + kInputFormatNames + ")";
  }
  if (!output.empty()) {
    if (std::find(output_format_names.begin(), output_format_names.end(), output) == output_format_names.end()) {
      return "--output-format: unknown format '" + output + "' (" + output_names + ")";
    }
    output_format = output;
  }
  return {};
}

std::optional<int> LogInputOptions::Parse(CommandLine& command_line, const std::vector<std::string>& args,
                                          std::FILE* out, std::FILE* err) {
  if (const std::optional<int> done = command_line.Parse(args, out, err)) {
    return done;
  }
  if (const std::string problem = Check(); !problem.empty()) {
    return command_line.UsageError(err, problem);
  }
  return std::nullopt;
}

std::string LogInputOptions::Check() {
  if (arguments.empty()) {
    return "missing LOG argument (a recording: candump log, ASC or BLF file, or '-' for standard input)";
  }
  if (arguments.size() > 1) {
    return "more than one LOG argument ('" + arguments[0] + "', '" + arguments[1] + "')";
  }
  if (std::string problem = RouteFormats(); !problem.empty()) {
    return problem;
  }
  filter_ = FrameFilter();
  if (!channel.empty() && !filter_.SetChannel(channel)) {
    return "--channel: needs a name or a number";
  }
  for (const std::string& text : filters) {
    std::string error;
    if (!filter_.AddIdFilter(text, &error)) {
      return "--filter: " + error;
    }
  }
  std::int64_t from_ns = INT64_MIN;
  std::int64_t to_ns = INT64_MAX;
  if (!from_seconds.empty() && !ParseSeconds(from_seconds, from_ns)) {
    return "--from: '" + from_seconds + "' is not a time in seconds (SECONDS or SECONDS.FRACTION)";
  }
  if (!to_seconds.empty() && !ParseSeconds(to_seconds, to_ns)) {
    return "--to: '" + to_seconds + "' is not a time in seconds (SECONDS or SECONDS.FRACTION)";
  }
  if (from_ns >= to_ns) {
    return "--to: must be later than --from (" + from_seconds + ")";
  }
  filter_.SetTimeWindow(from_ns, to_ns);
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
