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

/// @brief The candump log a command reads and how its frames map to signal groups: LOG ('-' for standard input)
/// and `--frame-map FILE`. Declared once here for every command that reads a log.
struct LogInputOptions {
  std::vector<std::string> arguments;  ///< what was given for LOG; exactly one after Check
  std::string frame_map_path;          ///< empty: the default frame map

  /// Declares LOG and --frame-map on @p command_line.
  void AddTo(CommandLine& command_line);
  /// After parsing: an empty string, or what is wrong (no LOG, more than one).
  std::string Check() const;
  /// The LOG path ("-" for standard input).
  const std::string& log_path() const { return arguments.front(); }
  /// @brief The frame map to use; on an invalid file reports "fsrl COMMAND: FILE:LINE: reason" on @p err.
  bool LoadFrameMap(FrameMap& frame_map, const CommandLine& command_line, std::FILE* err) const;
};

/// @brief How a command that runs the HAL treats its log messages: `--hal-log`.
struct HalLogOptions {
  bool hal_log = false;  ///< forward the HAL's messages to the error stream instead of only counting them

  void AddTo(CommandLine& command_line);
};

}  // namespace fsrl

#endif  // FSRL_COMMAND_LINE_H
