// `fsrl plot`: a bird's-eye view of the detection scans a replay published, as SVG.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "fsrl/bev_plot.h"
#include "fsrl/command_line.h"
#include "fsrl/input_file.h"
#include "fsrl/simulator.h"
#include "fsrl_cli.h"

namespace fsrl {
namespace {

const char kPlotUsage[] = "Usage: fsrl plot SCANS.jsonl -o FILE.svg [--scan ID | --index K]\n";

const char kPlotAbout[] =
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
    "\n";

const char kPlotEpilogue[] =
    "Exit status: 0 success, 1 when a file cannot be read or written, 2 on a usage error, input that is\n"
    "not replay output, or a scan that is not in the input.\n";

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
  CommandLine command_line("plot", kPlotUsage, kPlotAbout, kPlotEpilogue);
  std::vector<std::string> inputs;
  std::string output;
  std::uint64_t scan_id = 0;
  std::uint64_t index = 0;
  command_line.Arguments("SCANS.jsonl", inputs);
  command_line.Text("-o,--output", output, "FILE", "where to write the SVG (required; '-' for standard output)");
  command_line.Number("--scan", scan_id, 0, 255, "ID",
                      "draw only the scan with this scan id (0..255; the first one if it recurs)");
  command_line.Number("--index", index, 0, 999999999, "K",
                      "draw only the K-th detection scan of the file (0 for the first)");
  if (const std::optional<int> done = command_line.Parse(args, out, err)) {
    return *done;
  }
  if (inputs.empty()) {
    return command_line.UsageError(err, "missing SCANS.jsonl argument");
  }
  if (inputs.size() > 1) {
    return command_line.UsageError(err, "more than one input ('" + inputs[0] + "', '" + inputs[1] + "')");
  }
  if (output.empty()) {
    return command_line.UsageError(err, "missing option '-o FILE.svg'");
  }
  const bool by_scan_id = command_line.Given("--scan");
  const bool by_index = command_line.Given("--index");
  if (by_scan_id && by_index) {
    return command_line.UsageError(err, "--scan and --index cannot be combined");
  }
  const std::string& input = inputs.front();

  std::string text;
  std::string error;
  if (!ReadWholeFile(input, stdin, text, error)) {
    std::fprintf(err, "fsrl plot: %s\n", error.c_str());
    return kExitFailure;
  }
  std::vector<PlotScan> scans;
  if (!ReadDetectionScans(text, scans, error)) {
    std::fprintf(err, "fsrl plot: %s: %s\n", input.c_str(), error.c_str());
    return kExitUsage;
  }
  if (scans.empty()) {
    std::fprintf(err, "fsrl plot: %s: no detection scans to draw\n", input.c_str());
    return kExitUsage;
  }
  const bool one = by_scan_id || by_index;
  if (by_scan_id) {
    std::vector<PlotScan> chosen;
    for (PlotScan& scan : scans) {
      if (scan.scan_id == scan_id) {
        chosen.push_back(std::move(scan));
        break;
      }
    }
    if (chosen.empty()) {
      std::fprintf(err, "fsrl plot: %s: no detection scan with scan id %llu\n", input.c_str(),
                   static_cast<unsigned long long>(scan_id));
      return kExitUsage;
    }
    scans = std::move(chosen);
  } else if (by_index) {
    if (index >= scans.size()) {
      std::fprintf(err, "fsrl plot: %s: has %zu detection scans, no index %llu\n", input.c_str(), scans.size(),
                   static_cast<unsigned long long>(index));
      return kExitUsage;
    }
    std::vector<PlotScan> chosen;
    chosen.push_back(std::move(scans[static_cast<std::size_t>(index)]));
    scans = std::move(chosen);
  }

  PlotOptions options;
  options.subtitle = Subtitle(scans, one);
  options.field_of_view_half_angle = kFieldOfViewHalfAngle;
  const std::string svg = RenderBirdsEyeSvg(scans, options);

  if (!WriteWholeFile(output, out, svg, error)) {
    std::fprintf(err, "fsrl plot: %s\n", error.c_str());
    return kExitFailure;
  }
  return kExitOk;
}

}  // namespace fsrl
