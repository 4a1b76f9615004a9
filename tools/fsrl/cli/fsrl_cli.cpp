#include "fsrl_cli.h"

#include <string>

#include "fsrl/command_line.h"

namespace fsrl {
namespace {

const char kUsage[] =
    "Usage: fsrl <command> [options] [arguments]\n"
    "       fsrl --help | fsrl <command> --help | fsrl --version\n";

const char kAbout[] =
    "\n"
    "Runs the left front side radar HAL (libhal_frontsideradarleft) on recorded CAN traffic.\n"
    "\n"
    "Commands:\n"
    "  decode    decode every radar frame of a candump log through the HAL's signal adapter\n"
    "            (E2E check and decoding) and print one JSON object (or CSV row) per frame\n"
    "  replay    run the whole HAL over a candump log in virtual time and print the published\n"
    "            detection scans and statuses as JSON lines or CSV tables, and as MCAP\n"
    "  simulate  write a candump log of a simulated radar, optionally with faults\n"
    "  plot      draw a bird's-eye view of replayed detection scans as SVG\n"
    "  dbc       write the radar's signal database as a DBC file for a frame map\n"
    "  demo      simulate, replay and plot in one go, and summarise what happened\n"
    "  help      show this text, or `fsrl help <command>` for a command's help\n"
    "\n";

const char kEpilogue[] =
    "Exit status: 0 success, 1 failure (a file could not be read or written, set-up failed),\n"
    "2 usage error (unknown command or option, missing argument) or rejected input.\n";

using CommandFunction = int (*)(const std::vector<std::string>& args, std::FILE* out, std::FILE* err);

struct Command {
  const char* name;
  CommandFunction run;
};

int Decode(const std::vector<std::string>& args, std::FILE* out, std::FILE* err) { return RunDecode(args, out, err); }

const Command kCommands[] = {
    {"decode", &Decode}, {"replay", &RunReplay}, {"simulate", &RunSimulate},
    {"plot", &RunPlot},  {"dbc", &RunDbc},       {"demo", &RunDemo},
};

const Command* FindCommand(const std::string& name) {
  for (const Command& command : kCommands) {
    if (name == command.name) {
      return &command;
    }
  }
  return nullptr;
}

int UnknownCommand(const CommandLine& command_line, const std::string& name, std::FILE* err) {
  // An option the parser left for a command, because it came where the command belongs.
  if (name.size() > 1 && name[0] == '-') {
    return command_line.UsageError(err, "unknown option '" + name + "'");
  }
  return command_line.UsageError(err, "unknown command '" + name + "'");
}

}  // namespace

int RunFsrl(const std::vector<std::string>& args, std::FILE* out, std::FILE* err) {
  CommandLine command_line("", kUsage, kAbout, kEpilogue);
  bool version = false;
  command_line.Flag("--version", version, "print the version and exit");
  // The first argument that is not an option names the command; the rest is the command's.
  std::vector<std::string> command_args;
  command_line.CommandArguments(command_args);
  if (const std::optional<int> done = command_line.Parse(args, out, err)) {
    return *done;
  }
  if (version) {
    std::fprintf(out, "fsrl %s\n", FSRL_VERSION);
    return kExitOk;
  }
  if (command_args.empty()) {
    return command_line.UsageError(err, "missing command");
  }
  const std::string& command = command_args[0];
  const std::vector<std::string> rest(command_args.begin() + 1, command_args.end());
  if (command == "help") {
    if (rest.empty()) {
      std::fputs(command_line.Help().c_str(), out);
      return kExitOk;
    }
    if (const Command* help_for = FindCommand(rest[0])) {
      return help_for->run({"--help"}, out, err);
    }
    return UnknownCommand(command_line, rest[0], err);
  }
  if (const Command* found = FindCommand(command)) {
    return found->run(rest, out, err);
  }
  return UnknownCommand(command_line, command, err);
}

}  // namespace fsrl
