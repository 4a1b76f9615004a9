#include "fsrl_cli.h"

#include <cstring>
#include <string>

namespace fsrl {
namespace {

const char kUsage[] =
    "Usage: fsrl <command> [options] [arguments]\n"
    "       fsrl --help | fsrl <command> --help\n"
    "\n"
    "Runs the left front side radar HAL (libhal_frontsideradarleft) on recorded CAN traffic.\n"
    "\n"
    "Commands:\n"
    "  decode    decode every radar frame of a candump log through the HAL's signal adapter\n"
    "            (E2E check and decoding) and print one JSON object per frame\n"
    "  replay    run the whole HAL over a candump log in virtual time and print the published\n"
    "            detection scans and statuses as JSON lines\n"
    "  simulate  write a candump log of a simulated radar, optionally with faults\n"
    "  plot      draw a bird's-eye view of replayed detection scans as SVG\n"
    "  demo      simulate, replay and plot in one go, and summarise what happened\n"
    "  help      show this text, or `fsrl help <command>` for a command's help\n"
    "\n"
    "Exit status: 0 success, 1 failure (a file could not be read or written, set-up failed),\n"
    "2 usage error (unknown command or option, missing argument) or rejected input.\n";

using CommandFunction = int (*)(const std::vector<std::string>& args, std::FILE* out, std::FILE* err);

struct Command {
  const char* name;
  CommandFunction run;
};

int Decode(const std::vector<std::string>& args, std::FILE* out, std::FILE* err) { return RunDecode(args, out, err); }

const Command kCommands[] = {
    {"decode", &Decode}, {"replay", &RunReplay}, {"simulate", &RunSimulate}, {"plot", &RunPlot}, {"demo", &RunDemo},
};

const Command* FindCommand(const std::string& name) {
  for (const Command& command : kCommands) {
    if (name == command.name) {
      return &command;
    }
  }
  return nullptr;
}

}  // namespace

int RunFsrl(const std::vector<std::string>& args, std::FILE* out, std::FILE* err) {
  if (args.empty()) {
    std::fputs("fsrl: missing command\nTry 'fsrl --help' for more information.\n", err);
    return kExitUsage;
  }
  const std::string& command = args[0];
  const std::vector<std::string> rest(args.begin() + 1, args.end());
  if (command == "--help" || command == "-h") {
    std::fputs(kUsage, out);
    return kExitOk;
  }
  if (command == "help") {
    if (rest.empty()) {
      std::fputs(kUsage, out);
      return kExitOk;
    }
    if (const Command* help_for = FindCommand(rest[0])) {
      return help_for->run({"--help"}, out, err);
    }
    std::fprintf(err, "fsrl: unknown command '%s'\nTry 'fsrl --help' for more information.\n", rest[0].c_str());
    return kExitUsage;
  }
  if (const Command* found = FindCommand(command)) {
    return found->run(rest, out, err);
  }
  if (!command.empty() && command[0] == '-') {
    std::fprintf(err, "fsrl: unknown option '%s'\nTry 'fsrl --help' for more information.\n", command.c_str());
  } else {
    std::fprintf(err, "fsrl: unknown command '%s'\nTry 'fsrl --help' for more information.\n", command.c_str());
  }
  return kExitUsage;
}

}  // namespace fsrl
