// `fsrl simulate`: writes the candump log of a simulated left front corner radar, faults included on request.
#include <cerrno>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "fsrl/frame_writer.h"
#include "fsrl/simulator.h"
#include "fsrl_cli.h"

namespace fsrl {
namespace {

const char kSimulateHelp[] =
    "Usage: fsrl simulate --scans N --out LOG [--seed S] [--period-ms MS] [--start-counter C]\n"
    "                     [--fault FAULT]...\n"
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
    "\n"
    "Options:\n"
    "  --scans N          number of scans to simulate (required, 1..10000000)\n"
    "  --out LOG          where to write the log (required)\n"
    "  --seed S           selects the scene's variation and the measurement noise (default 1)\n"
    "  --period-ms MS     time between scans, 6..60000 ms (default 50)\n"
    "  --start-counter C  E2E counter of every group's first frame, 0..255 (default 0). A receiver starts\n"
    "                     from 255 and accepts a first step of at most 14, so a C of 14 or more makes the\n"
    "                     first frame of every group a wrong sequence and costs the first scans\n"
    "  --fault FAULT      inject a fault; may be given more than once. SCAN is a scan's index (0 for the\n"
    "                     first scan, not its 8-bit scan id); GROUP a group name such as RSDS4Detn005To009\n"
    "                     or RSDS4SigSts1 (any letter case) or a group index 0..51 (0..39 detections,\n"
    "                     40..49 objects, 50 and 51 status 1 and 2):\n"
    "                       crc:SCAN:GROUP            the frame's CRC is corrupted\n"
    "                       drop:SCAN:GROUP           the frame is not sent\n"
    "                       repeat:SCAN:GROUP         the previous scan's frame is sent again, counter\n"
    "                                                 included (SCAN 1 or later)\n"
    "                       counterjump:SCAN:GROUP:N  the group's counter skips N values (1..255) from\n"
    "                                                 this frame on\n"
    "                       short:SCAN:GROUP          the frame is cut to the next shorter CAN FD length\n"
    "                       silence:SCAN:MS           nothing is sent for MS ms before the scan: it and all\n"
    "                                                 later scans go out later by MS rounded up to whole\n"
    "                                                 periods (the radar's clock runs on)\n"
    "  -h, --help         show this help\n"
    "\n"
    "Exit status: 0 success, 1 when LOG cannot be written, 2 on a usage error or a bad fault.\n";

struct SimulateCommandLine {
  SimulationOptions options;
  std::string out_path;
  bool help = false;
};

bool ParseUnsigned(const std::string& text, std::uint64_t max, std::uint64_t& value) {
  if (text.empty() || text.size() > 19 || text.find_first_not_of("0123456789") != std::string::npos) {
    return false;
  }
  const std::uint64_t parsed = std::stoull(text);
  if (parsed > max) {
    return false;
  }
  value = parsed;
  return true;
}

// Returns an empty string on success, else what is wrong with the command line.
std::string ParseArguments(const std::vector<std::string>& args, SimulateCommandLine& command_line) {
  bool have_scans = false;
  for (std::size_t i = 0; i < args.size(); ++i) {
    std::string name = args[i];
    std::string value;
    bool inline_value = false;
    if (name == "-h" || name == "--help") {
      command_line.help = true;
      continue;
    }
    const std::size_t equals = name.find('=');
    if (name.compare(0, 2, "--") == 0 && equals != std::string::npos) {
      value = name.substr(equals + 1);
      name = name.substr(0, equals);
      inline_value = true;
    }
    static const char* const kWithValue[] = {"--scans", "--out", "--seed", "--period-ms", "--start-counter", "--fault"};
    bool known = false;
    for (const char* option : kWithValue) {
      known = known || name == option;
    }
    if (!known) {
      return name.empty() || name[0] != '-' ? "unexpected argument '" + name + "'" : "unknown option '" + name + "'";
    }
    if (!inline_value) {
      if (i + 1 == args.size()) {
        return "option '" + name + "' needs a value";
      }
      value = args[++i];
    }
    std::uint64_t number = 0;
    if (name == "--scans") {
      if (!ParseUnsigned(value, 10000000, number) || number == 0) {
        return "--scans '" + value + "' is not a number of scans 1..10000000";
      }
      command_line.options.scans = static_cast<std::uint32_t>(number);
      have_scans = true;
    } else if (name == "--out") {
      if (value.empty()) {
        return "option '--out' needs a file name";
      }
      command_line.out_path = value;
    } else if (name == "--seed") {
      if (!ParseUnsigned(value, UINT64_MAX, number)) {
        return "--seed '" + value + "' is not an unsigned number";
      }
      command_line.options.seed = number;
    } else if (name == "--period-ms") {
      if (!ParseUnsigned(value, 60000, number) || number < 6) {
        return "--period-ms '" + value + "' is not a period of 6..60000 ms";
      }
      command_line.options.period_ns = static_cast<std::int64_t>(number) * 1000000;
    } else if (name == "--start-counter") {
      if (!ParseUnsigned(value, 255, number)) {
        return "--start-counter '" + value + "' is not a counter value 0..255";
      }
      command_line.options.start_counter = static_cast<std::uint8_t>(number);
    } else {
      Fault fault;
      std::string error;
      if (!ParseFault(value, fault, error)) {
        return error;
      }
      command_line.options.faults.push_back(fault);
    }
  }
  if (command_line.help) {
    return {};
  }
  if (!have_scans) {
    return "missing option '--scans N'";
  }
  if (command_line.out_path.empty()) {
    return "missing option '--out LOG'";
  }
  std::string error;
  if (!ValidateSimulationOptions(command_line.options, error)) {
    return error;
  }
  return {};
}

}  // namespace

int RunSimulate(const std::vector<std::string>& args, std::FILE* out, std::FILE* err) {
  SimulateCommandLine command_line;
  const std::string usage_error = ParseArguments(args, command_line);
  if (!usage_error.empty()) {
    std::fprintf(err, "fsrl simulate: %s\nTry 'fsrl simulate --help' for more information.\n", usage_error.c_str());
    return kExitUsage;
  }
  if (command_line.help) {
    std::fputs(kSimulateHelp, out);
    return kExitOk;
  }

  const bool to_stdout = command_line.out_path == "-";
  std::string open_error;
  const std::unique_ptr<FrameWriter> writer = OpenFrameWriter(command_line.out_path, &open_error, out);
  if (writer == nullptr) {
    std::fprintf(err, "fsrl simulate: %s\n", open_error.c_str());
    return kExitFailure;
  }
  // Each scan's frames are written as the scan is made, so a run of any length takes the same memory.
  Simulator simulator(command_line.options);
  SimulatedScan scan;
  std::vector<CanFrame> frames;
  std::size_t scans = 0;
  std::size_t frame_count = 0;
  bool written = true;
  while (written && simulator.Next(scan, frames)) {
    ++scans;
    frame_count += frames.size();
    for (const CanFrame& frame : frames) {
      written = writer->Write(frame) && written;
    }
  }
  written = writer->Finish() && written;
  if (!written) {
    std::fprintf(err, "fsrl simulate: %s\n", writer->error().c_str());
    return kExitFailure;
  }
  std::fprintf(err, "fsrl simulate: %zu scans, %zu frames, %zu fault(s) written to %s\n", scans, frame_count,
               command_line.options.faults.size(), to_stdout ? "<stdout>" : command_line.out_path.c_str());
  return kExitOk;
}

}  // namespace fsrl
