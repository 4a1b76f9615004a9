// `fsrl simulate`: writes the candump log of a simulated left front corner radar, faults included on request.
#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "fsrl/command_line.h"
#include "fsrl/frame_writer.h"
#include "fsrl/input_file.h"
#include "fsrl/progress.h"
#include "fsrl/simulator.h"
#include "fsrl_cli.h"

namespace fsrl {
namespace {

const char kSimulateUsage[] =
    "Usage: fsrl simulate --scans N --out LOG [--seed S] [--period-ms MS] [--start-counter C]\n"
    "                     [--fault FAULT]...\n";

const char kSimulateAbout[] =
    "\n"
    "Writes LOG ('-' for standard output), a log of a simulated left front corner radar in the format of\n"
    "LOG's extension (.log `candump -l`, .asc Vector ASC, .blf Vector BLF; '-' and names without an\n"
    "extension candump):\n"
    "a car drives along a street at about 8 m/s; the radar (3.6 m forward, 0.8 m left, turned 50 degrees\n"
    "to the left, field of view +-75 degrees, range 80 m) sees overtaking and oncoming traffic, walkers,\n"
    "parked cars, trees and clutter. Every scan has 200 detection slots (unused ones marked unpopulated),\n"
    "both status groups (sensor time stamps in nanoseconds, mounting, status) and the ten object groups.\n"
    "\n"
    "Frames are CAN FD on the default frame map of `fsrl decode` (group i on id 0x400 + i), payloads padded\n"
    "with zeros to the next CAN FD length, every group protected with E2E profile 5 and its own counter.\n"
    "Scan ids count 0, 1, ... 255, 0, ... Each scan's 52 frames go out 0.1 ms apart at the start of its\n"
    "period, in the order status 1, status 2, detection groups 0..39, object groups 0..9, so that a replay\n"
    "with the same cycle sees each scan whole in one cycle. The same options give the same log, byte for\n"
    "byte.\n"
    "\n";

const char kSimulateEpilogue[] =
    "When standard error is a terminal (and the log does not go to it too) a run that takes longer than a\n"
    "second shows its progress.\n"
    "\n"
    "Exit status: 0 success, 1 when LOG cannot be written, 2 on a usage error or a bad fault.\n";

}  // namespace

int RunSimulate(const std::vector<std::string>& args, std::FILE* out, std::FILE* err) {
  CommandLine command_line("simulate", kSimulateUsage, kSimulateAbout, kSimulateEpilogue);
  SimulationOptions options;
  std::uint64_t scans = 0;
  std::uint64_t seed = options.seed;
  std::uint64_t period_ms = 50;
  std::uint64_t start_counter = 0;
  std::string out_path;
  std::string format_error;
  std::vector<std::string> fault_texts;
  command_line.Number("--scans", scans, 1, 10000000, "N", "number of scans to simulate (required, 1..10000000)");
  command_line.Text("--out", out_path, "LOG", "where to write the log (required; '-' for standard output)");
  command_line.Number("--seed", seed, 0, UINT64_MAX, "S",
                      "selects the scene's variation and the measurement noise (default 1)");
  command_line.Number("--period-ms", period_ms, 6, 60000, "MS", "time between scans, 6..60000 ms (default 50)");
  command_line.Number("--start-counter", start_counter, 0, 255, "C",
                      "E2E counter of every group's first frame, 0..255 (default 0). A receiver starts\n"
                      "from 255 and accepts a first step of at most 14, so a C of 14 or more makes the\n"
                      "first frame of every group a wrong sequence and costs the first scans");
  command_line.Texts("--fault", fault_texts, "FAULT",
                     "inject a fault; may be given more than once. SCAN is a scan's index (0 for the\n"
                     "first scan, not its 8-bit scan id); GROUP a group name such as RSDS4Detn005To009\n"
                     "or RSDS4SigSts1 (any letter case) or a group index 0..51 (0..39 detections,\n"
                     "40..49 objects, 50 and 51 status 1 and 2):\n"
                     "  crc:SCAN:GROUP            the frame's CRC is corrupted\n"
                     "  drop:SCAN:GROUP           the frame is not sent\n"
                     "  repeat:SCAN:GROUP         the previous scan's frame is sent again, counter\n"
                     "                            included (SCAN 1 or later)\n"
                     "  counterjump:SCAN:GROUP:N  the group's counter skips N values (1..255) from\n"
                     "                            this frame on\n"
                     "  short:SCAN:GROUP          the frame is cut to the next shorter CAN FD length\n"
                     "  silence:SCAN:MS           nothing is sent for MS ms before the scan: it and all\n"
                     "                            later scans go out later by MS rounded up to whole\n"
                     "                            periods (the radar's clock runs on)");
  if (const std::optional<int> done = command_line.Parse(args, out, err)) {
    return *done;
  }
  if (!command_line.Given("--scans")) {
    return command_line.UsageError(err, "missing option '--scans N'");
  }
  if (out_path.empty()) {
    return command_line.UsageError(err, "missing option '--out LOG'");
  }
  // The format comes from the name: a mistyped extension is a usage error before anything is simulated.
  if (LogFormat format{}; out_path != "-" && !FrameWriterFormatForPath(out_path, format, &format_error)) {
    return command_line.UsageError(err, "--out: " + format_error);
  }
  options.scans = static_cast<std::uint32_t>(scans);
  options.seed = seed;
  options.period_ns = static_cast<std::int64_t>(period_ms) * 1000000;
  options.start_counter = static_cast<std::uint8_t>(start_counter);
  for (const std::string& text : fault_texts) {
    Fault fault;
    std::string error;
    if (!ParseFault(text, fault, error)) {
      return command_line.UsageError(err, error);
    }
    options.faults.push_back(fault);
  }
  if (std::string error; !ValidateSimulationOptions(options, error)) {
    return command_line.UsageError(err, error);
  }

  const bool to_stdout = out_path == "-";
  ProgressLine progress(err, ProgressWanted(err, out, !to_stdout));
  std::string open_error;
  const std::unique_ptr<FrameWriter> writer = OpenFrameWriter(out_path, &open_error, out);
  if (writer == nullptr) {
    std::fprintf(err, "fsrl simulate: %s\n", open_error.c_str());
    return kExitFailure;
  }
  // Each scan's frames are written as the scan is made, so a run of any length takes the same memory.
  Simulator simulator(options);
  SimulatedScan scan;
  std::vector<CanFrame> frames;
  std::size_t scan_count = 0;
  std::size_t frame_count = 0;
  bool written = true;
  while (written && simulator.Next(scan, frames)) {
    ++scan_count;
    frame_count += frames.size();
    for (const CanFrame& frame : frames) {
      written = writer->Write(frame) && written;
    }
    if (progress.Due()) {
      progress.Show("fsrl simulate: " + std::to_string(scan_count) + " of " + std::to_string(options.scans) +
                    " scans written");
    }
  }
  written = writer->Finish() && written;
  progress.Clear();
  if (!written) {
    std::fprintf(err, "fsrl simulate: %s\n", writer->error().c_str());
    return kExitFailure;
  }
  std::fprintf(err, "fsrl simulate: %zu scans, %zu frames, %zu fault(s) written to %s\n", scan_count, frame_count,
               options.faults.size(), to_stdout ? "<stdout>" : out_path.c_str());
  return kExitOk;
}

}  // namespace fsrl
