// `fsrl plot`: a bird's-eye view of the detection scans a replay published, as SVG.
#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "fsrl/bev_plot.h"
#include "fsrl/simulator.h"
#include "fsrl_cli.h"

namespace fsrl {
namespace {

const char kPlotHelp[] =
    "Usage: fsrl plot SCANS.jsonl -o FILE.svg [--scan ID | --index K]\n"
    "\n"
    "Draws the detection scans of SCANS.jsonl (the output of `fsrl replay` or `fsrl demo`; '-' reads\n"
    "standard input) as a bird's-eye view in vehicle coordinates: x forward pointing up, y to the left\n"
    "pointing left, metres on both axes. Each detection (range r, azimuth a) is placed with its scan's\n"
    "mounting information (x_offset, y_offset, yaw phi_offset) at x = x_offset + r cos(phi + a),\n"
    "y = y_offset + r sin(phi + a). Only populated detections are drawn (quality other than kUnknown),\n"
    "coloured by range rate (blue approaching, red receding) and sized by radar cross section. The\n"
    "vehicle, the radar and its field of view (+-75 degrees) are drawn too. Status lines are ignored.\n"
    "\n"
    "By default every scan is drawn, older scans fainter and the latest one outlined on top.\n"
    "\n"
    "Options:\n"
    "  -o, --output FILE  where to write the SVG (required; '-' for standard output)\n"
    "  --scan ID          draw only the scan with this scan id (0..255; the first one if it recurs)\n"
    "  --index K          draw only the K-th detection scan of the file (0 for the first)\n"
    "  -h, --help         show this help\n"
    "\n"
    "Exit status: 0 success, 1 when a file cannot be read or written, 2 on a usage error, input that is\n"
    "not replay output, or a scan that is not in the input.\n";

struct PlotCommandLine {
  std::string input;
  std::string output;
  long scan_id = -1;
  long index = -1;
  bool help = false;
};

bool ParseCount(const std::string& text, long max, long& value) {
  if (text.empty() || text.size() > 9 || text.find_first_not_of("0123456789") != std::string::npos) {
    return false;
  }
  value = std::stol(text);
  return value <= max;
}

std::string ParseArguments(const std::vector<std::string>& args, PlotCommandLine& command_line) {
  bool have_input = false;
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& arg = args[i];
    if (arg == "-h" || arg == "--help") {
      command_line.help = true;
    } else if (arg == "-o" || arg == "--output" || arg == "--scan" || arg == "--index") {
      if (i + 1 == args.size()) {
        return "option '" + arg + "' needs a value";
      }
      const std::string& value = args[++i];
      if (arg == "--scan") {
        if (!ParseCount(value, 255, command_line.scan_id)) {
          return "--scan '" + value + "' is not a scan id 0..255";
        }
      } else if (arg == "--index") {
        if (!ParseCount(value, 999999999, command_line.index)) {
          return "--index '" + value + "' is not a scan index";
        }
      } else {
        if (value.empty()) {
          return "option '" + arg + "' needs a file name";
        }
        command_line.output = value;
      }
    } else if (arg.size() > 1 && arg[0] == '-') {
      return "unknown option '" + arg + "'";
    } else if (have_input) {
      return "more than one input ('" + command_line.input + "', '" + arg + "')";
    } else {
      command_line.input = arg;
      have_input = true;
    }
  }
  if (command_line.help) {
    return {};
  }
  if (!have_input) {
    return "missing SCANS.jsonl argument";
  }
  if (command_line.output.empty()) {
    return "missing option '-o FILE.svg'";
  }
  if (command_line.scan_id >= 0 && command_line.index >= 0) {
    return "--scan and --index cannot be combined";
  }
  return {};
}

bool ReadWhole(std::FILE* file, std::string& text) {
  char block[1 << 16];
  std::size_t got = 0;
  while ((got = std::fread(block, 1, sizeof block, file)) > 0) {
    text.append(block, got);
  }
  return std::ferror(file) == 0;
}

std::string Subtitle(const std::vector<PlotScan>& scans, bool one) {
  std::size_t detections = 0;
  for (const PlotScan& scan : scans) {
    detections += scan.detections.size();
  }
  char text[256];
  if (one) {
    std::snprintf(text, sizeof text, "scan id %u at t = %.3f s: %zu populated detections", scans.front().scan_id,
                  scans.front().t_s, detections);
  } else {
    std::snprintf(text, sizeof text, "%zu scans over %.2f s (scan ids %u .. %u): %zu populated detections",
                  scans.size(), scans.back().t_s - scans.front().t_s, scans.front().scan_id, scans.back().scan_id,
                  detections);
  }
  return text;
}

}  // namespace

int RunPlot(const std::vector<std::string>& args, std::FILE* out, std::FILE* err) {
  PlotCommandLine command_line;
  const std::string usage_error = ParseArguments(args, command_line);
  if (!usage_error.empty()) {
    std::fprintf(err, "fsrl plot: %s\nTry 'fsrl plot --help' for more information.\n", usage_error.c_str());
    return kExitUsage;
  }
  if (command_line.help) {
    std::fputs(kPlotHelp, out);
    return kExitOk;
  }

  std::string text;
  {
    const bool from_stdin = command_line.input == "-";
    std::FILE* input = from_stdin ? stdin : std::fopen(command_line.input.c_str(), "rb");
    if (input == nullptr) {
      std::fprintf(err, "fsrl plot: cannot open '%s': %s\n", command_line.input.c_str(), std::strerror(errno));
      return kExitFailure;
    }
    const bool read = ReadWhole(input, text);
    if (!from_stdin) {
      std::fclose(input);
    }
    if (!read) {
      std::fprintf(err, "fsrl plot: cannot read '%s'\n", command_line.input.c_str());
      return kExitFailure;
    }
  }
  std::vector<PlotScan> scans;
  std::string error;
  if (!ReadDetectionScans(text, scans, error)) {
    std::fprintf(err, "fsrl plot: %s: %s\n", command_line.input.c_str(), error.c_str());
    return kExitUsage;
  }
  if (scans.empty()) {
    std::fprintf(err, "fsrl plot: %s: no detection scans to draw\n", command_line.input.c_str());
    return kExitUsage;
  }
  const bool one = command_line.scan_id >= 0 || command_line.index >= 0;
  if (command_line.scan_id >= 0) {
    std::vector<PlotScan> chosen;
    for (PlotScan& scan : scans) {
      if (scan.scan_id == static_cast<unsigned>(command_line.scan_id)) {
        chosen.push_back(std::move(scan));
        break;
      }
    }
    if (chosen.empty()) {
      std::fprintf(err, "fsrl plot: %s: no detection scan with scan id %ld\n", command_line.input.c_str(),
                   command_line.scan_id);
      return kExitUsage;
    }
    scans = std::move(chosen);
  } else if (command_line.index >= 0) {
    if (static_cast<std::size_t>(command_line.index) >= scans.size()) {
      std::fprintf(err, "fsrl plot: %s: has %zu detection scans, no index %ld\n", command_line.input.c_str(),
                   scans.size(), command_line.index);
      return kExitUsage;
    }
    std::vector<PlotScan> chosen;
    chosen.push_back(std::move(scans[static_cast<std::size_t>(command_line.index)]));
    scans = std::move(chosen);
  }

  PlotOptions options;
  options.subtitle = Subtitle(scans, one);
  options.field_of_view_half_angle = kFieldOfViewHalfAngle;
  const std::string svg = RenderBirdsEyeSvg(scans, options);

  const bool to_stdout = command_line.output == "-";
  std::FILE* file = to_stdout ? out : std::fopen(command_line.output.c_str(), "wb");
  if (file == nullptr) {
    std::fprintf(err, "fsrl plot: cannot open '%s': %s\n", command_line.output.c_str(), std::strerror(errno));
    return kExitFailure;
  }
  bool written = std::fwrite(svg.data(), 1, svg.size(), file) == svg.size();
  written = (to_stdout ? std::fflush(file) == 0 : std::fclose(file) == 0) && written;
  if (!written) {
    std::fprintf(err, "fsrl plot: cannot write '%s'\n", command_line.output.c_str());
    return kExitFailure;
  }
  return kExitOk;
}

}  // namespace fsrl
