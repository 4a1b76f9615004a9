/// @file
/// @brief The command line of every fsrl command, on one parser: `--opt=value` and `--opt value`, `--`, `-h` and
/// `--help`, numbers range-checked with one message style, and the options several commands share declared once.
#ifndef FSRL_COMMAND_LINE_H
#define FSRL_COMMAND_LINE_H

#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "fsrl/exit_status.h"
#include "fsrl/frame_map.h"
#include "fsrl/frame_source.h"

namespace fsrl {

/// @brief One command's command line. Adding an option is one call; the help text lists the options as declared.
///
/// Reports go to the error stream as "fsrl COMMAND: what is wrong" followed by where to find help, and the
/// command exits with kExitUsage. A repeated single-value option takes its last value.
class CommandLine {
 public:
  /// @param command the command's name ("decode"), or empty for `fsrl` itself
  /// @param usage the "Usage: ..." lines of the help
  /// @param about what the command does: the help between the usage and the options
  /// @param epilogue what follows the options in the help (diagnostics, exit status)
  CommandLine(std::string command, std::string usage, std::string about, std::string epilogue);

  /// A switch: `--name`.
  CLI::Option* Flag(const std::string& names, bool& value, const std::string& help);
  /// A text value, which must not be empty: `--name VALUE` or `--name=VALUE`.
  CLI::Option* Text(const std::string& names, std::string& value, const std::string& value_name,
                    const std::string& help);
  /// A text value that may be given more than once; each occurrence adds one.
  CLI::Option* Texts(const std::string& names, std::vector<std::string>& values, const std::string& value_name,
                     const std::string& help);
  /// A whole decimal number in [@p min, @p max]; anything else is reported as "--name: 0 is not in 1..60000".
  CLI::Option* Number(const std::string& names, std::uint64_t& value, std::uint64_t min, std::uint64_t max,
                      const std::string& value_name, const std::string& help);
  /// Arguments that are not options (everything after `--` included), in order.
  CLI::Option* Arguments(const std::string& name, std::vector<std::string>& values);

  /// @brief For a program of commands: the first argument that is not an option, and every argument after it
  /// (options included), are left for the command and stored in @p values.
  void CommandArguments(std::vector<std::string>& values);

  /// @brief Parses @p args (the arguments after the command's name).
  /// @return nothing when the command is to run; otherwise the exit status after help was printed on @p out
  /// (kExitOk) or a usage error on @p err (kExitUsage)
  std::optional<int> Parse(const std::vector<std::string>& args, std::FILE* out, std::FILE* err);

  /// @brief Reports @p message as a usage error (for checks made after parsing). @return kExitUsage
  int UsageError(std::FILE* err, const std::string& message) const;

  /// The complete help text.
  std::string Help() const;
  /// "fsrl COMMAND", the prefix of every report.
  const std::string& program() const { return program_; }
  /// Whether the option named @p name (e.g. "--scan") was given.
  bool Given(const std::string& name) const;

 private:
  std::string MissingValue(const std::string& name) const;

  std::string program_;
  std::string usage_;
  std::string about_;
  std::string epilogue_;
  bool help_ = false;
  std::vector<std::string>* command_args_ = nullptr;
  CLI::App app_;
};

/// @brief The recording a command reads, which of its frames it looks at, and how they map to signal groups:
/// LOG ('-' for standard input), `--input-format`, `--channel`, `--filter`, `--from`, `--to`, `--frame-map`,
/// and `--format`, shared with the command's output side. Declared once here for every command that reads a log.
///
/// `--format VALUE` may be given twice, once for each side: a recording format's name (auto, candump,
/// candump-long, candump-delta, asc, blf) selects the input format, an output format's name (output_format_names)
/// the output format. The output side reads output_format and declares nothing itself.
struct LogInputOptions {
  std::vector<std::string> arguments;  ///< what was given for LOG; exactly one after Check
  std::string frame_map_path;          ///< empty: the default frame map
  std::string input_format;            ///< `--input-format`; empty: detect from the content
  std::vector<std::string> formats;    ///< every `--format` value, routed to one side by Check
  /// The output format the command writes (`--output-format`, or `--format` with one of output_format_names).
  std::string output_format = "jsonl";
  /// The output formats a command writes; `--format` with one of these names goes to the output side.
  std::vector<std::string> output_format_names{"jsonl", "csv"};
  std::string channel;               ///< `--channel`: one bus, by name or number; empty: every bus
  std::vector<std::string> filters;  ///< `--filter`: candump filters ID:MASK or ID~MASK
  std::string from_seconds;          ///< `--from`: first time stamp looked at (empty: the first)
  std::string to_seconds;            ///< `--to`: time stamps from here on are dropped (empty: none)

  /// Declares LOG and the input options on @p command_line.
  void AddTo(CommandLine& command_line);
  /// @brief After parsing: routes `--format`, reads the format, channel, filters and times. An empty string,
  /// or what is wrong (no LOG, more than one, a bad option value).
  std::string Check();
  /// @brief Parses @p args with @p command_line, on which AddTo declared these options, then runs Check. Nothing
  /// when the command goes on; else its exit status, with the help, the version or the usage error written.
  std::optional<int> Parse(CommandLine& command_line, const std::vector<std::string>& args, std::FILE* out,
                           std::FILE* err);
  /// The LOG path ("-" for standard input).
  const std::string& log_path() const { return arguments.front(); }
  /// After Check: the recording's format, kAuto to tell it from the content.
  LogFormat format() const { return format_; }
  /// After Check: which frames the command looks at.
  const FrameFilter& filter() const { return filter_; }
  /// @brief The frame map to use; on an invalid file reports "fsrl COMMAND: FILE:LINE: reason" on @p err.
  bool LoadFrameMap(FrameMap& frame_map, const CommandLine& command_line, std::FILE* err) const;

 private:
  std::string RouteFormats();
  std::string output_format_given_;  // `--output-format` as given
  LogFormat format_ = LogFormat::kAuto;
  FrameFilter filter_;
};

/// @brief How a command that runs the HAL treats its log messages: `--hal-log`.
struct HalLogOptions {
  bool hal_log = false;  ///< forward the HAL's messages to the error stream instead of only counting them

  void AddTo(CommandLine& command_line);
};

}  // namespace fsrl

#endif  // FSRL_COMMAND_LINE_H
