// `fsrl dbc`: the radar's signal database as a DBC file, for the frame map a recording was made with.
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "fsrl/command_line.h"
#include "fsrl/dbc_writer.h"
#include "fsrl/frame_map.h"
#include "fsrl_cli.h"

namespace fsrl {
namespace {

const char kDbcUsage[] = "Usage: fsrl dbc [--frame-map FILE] [-o FILE]\n";

const char kDbcAbout[] =
    "\n"
    "Writes the radar's signal database as a CAN FD DBC file, so that any DBC tool (a bus analyser, a\n"
    "plotting tool, a Python DBC library) decodes a recording with the layout, scaling, limits and value\n"
    "tables the HAL itself uses. One message per group the frame map carries, named as the group, at its\n"
    "identifier and as long as the CAN FD frame that carries its payload; the E2E data id and profile are\n"
    "message attributes. Groups the frame map leaves out are left out.\n"
    "\n"
    "With the default frame map (group i at standard id 0x400 + i) the text is byte for byte the\n"
    "generator's autogen/signal_adapters/fsrl.dbc.\n"
    "\n";

const char kDbcEpilogue[] =
    "Exit status: 0 success, 1 when the file cannot be written, 2 on a usage error or an invalid frame\n"
    "map.\n";

}  // namespace

int RunDbc(const std::vector<std::string>& args, std::FILE* out, std::FILE* err) {
  CommandLine command_line("dbc", kDbcUsage, kDbcAbout, kDbcEpilogue);
  // Only the frame map of the shared log options: this command reads no log.
  LogInputOptions input_options;
  std::string output_path;
  command_line.Text("--frame-map", input_options.frame_map_path, "FILE",
                    "the frame map the recording was made with (the format `fsrl decode --help`\n"
                    "describes); by default group i at standard id 0x400 + i");
  command_line.Text("-o,--output", output_path, "FILE", "write the DBC to FILE instead of standard output");
  if (const std::optional<int> done = command_line.Parse(args, out, err)) {
    return *done;
  }
  FrameMap frame_map;
  if (!input_options.LoadFrameMap(frame_map, command_line, err)) {
    return kExitUsage;
  }
  if (output_path.empty() || output_path == "-") {
    const std::string text = DbcText(frame_map, GeneratedDbcVersion());
    if (std::fwrite(text.data(), 1, text.size(), out) != text.size() || std::fflush(out) != 0) {
      std::fprintf(err, "fsrl dbc: cannot write the output\n");
      return kExitFailure;
    }
    return kExitOk;
  }
  if (std::string error; !WriteDbcFile(frame_map, GeneratedDbcVersion(), output_path, error)) {
    std::fprintf(err, "fsrl dbc: %s\n", error.c_str());
    return kExitFailure;
  }
  return kExitOk;
}

}  // namespace fsrl
