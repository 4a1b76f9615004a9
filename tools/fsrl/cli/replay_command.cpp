// `fsrl replay`: the whole HAL over a recorded log, in the log's own (virtual) time.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "fsrl/candump_reader.h"
#include "fsrl/command_line.h"
#include "fsrl/csv_writer.h"
#include "fsrl/frame_map.h"
#include "fsrl/input_file.h"
#include "fsrl/progress.h"
#include "fsrl/replay.h"
#include "fsrl/replay_mcap.h"
#include "fsrl_cli.h"

namespace fsrl {
namespace {

static_assert(kReplayOk == kExitOk && kReplayFailed == kExitFailure, "the replay's results are exit statuses");

const char kReplayUsage[] =
    "Usage: fsrl replay [--cycle-ms N] [--alive-timeout-ms N] [--clock-jump-ms N] [--frame-map FILE]\n"
    "                   [--format FMT]... [--channel NAME|N] [--filter ID:MASK]... [--from SECONDS]\n"
    "                   [--to SECONDS] [--out FILE] [--status-out FILE] [--mcap FILE]\n"
    "                   [--mcap-compression zstd|none] [--summary-json FILE] [--hal-log] LOG\n";

const char kReplayAbout[] =
    "\n"
    "Runs the real HAL over LOG, a recording ('-' reads standard input), in virtual time, and prints\n"
    "every detection scan and status it publishes. The HAL is created as an application creates it\n"
    "(FrontSideRadarLeftHal::Create with instance \"NoInstanceId\", below an executable whose execution\n"
    "context runs the signal adapter's tasks between cycles) and subscribed to detections and to status.\n"
    "\n"
    "Time: the platform clock follows the log. t0 is the first frame's time stamp; cycle k (k = 1, 2, ...)\n"
    "runs at T_k = t0 + k x N ms (--cycle-ms). Before cycle k, every frame stamped below T_k is handed to the\n"
    "signal communication service in file order, with the clock at the frame's time stamp (a frame stamped\n"
    "earlier than one before it arrives at the clock's current time: the clock never runs backwards). A frame\n"
    "stamped exactly T_k belongs to cycle k + 1. Each cycle sets the clock to T_k, begins a transaction and\n"
    "calls ProcessFsrlInput. The replay ends after the first cycle whose T_k is at or beyond the latest frame\n"
    "time stamp plus one cycle. Gaps in the log are replayed cycle by cycle like any other time.\n"
    "Clock jumps: a time stamp more than --clock-jump-ms ahead of the latest one is a jump of the logger's\n"
    "clock (or a corrupt stamp): that much silence is replayed (the HAL reports lost communication), then\n"
    "the cycles start again from the frame as from a new t0. A time stamp more than one cycle behind the\n"
    "latest one is a step back: the cycles start again from the frame, the platform clock standing still.\n"
    "Either is reported as FILE:LINE: with its size (FILE:OFFSET of the frame's object for BLF) and\n"
    "counted; \"t\" stays on the log's time base.\n"
    "Alive supervision: when no radar frame arrived for longer than the alive timeout\n"
    "(--alive-timeout-ms), device \"FSRL\" reports an alive timeout, the HAL treats communication as lost and\n"
    "publishes a status with a communication fault in every cycle until frames arrive again.\n"
    "\n"
    "Input rules are those of `fsrl decode`: group i (0..51, in signal database order) is carried by\n"
    "standard id 0x400 + i unless --frame-map says otherwise; a group's payload is the first data_length/8\n"
    "bytes of the frame (longer frames carry padding, shorter ones are used as received); frames of other\n"
    "ids, remote requests and error frames are skipped and counted; a malformed line is reported as\n"
    "FILE:LINE: reason and skipped. LOG may be any recording `fsrl decode` reads (candump, ASC, BLF), and\n"
    "--channel, --filter, --from and --to select its frames as there; the others are counted as filtered\n"
    "out and never reach the HAL (t0 is the first frame selected). --format takes a recording format's\n"
    "name for the input, an output format's name for the output, and may be given once for each.\n"
    "\n"
    "Output (--out FILE, or standard output): one JSON object per notification and line, in the order the\n"
    "HAL notified; within a cycle the status comes before the detections. On each notification the matching\n"
    "getter is called and its value written:\n"
    "  {\"type\": \"detections\", \"t\": T_k, \"scan_id\": N, \"is_valid\": B,\n"
    "   \"time_stamps\": {\"short_range\": I, \"near_range\": I, \"mid_range\": I, \"long_range\": I},\n"
    "   \"mounting\": {\"x_offset\": F, \"y_offset\": F, \"phi_offset\": F},\n"
    "   \"detections\": [200 x {\"snr\": F, \"rcs\": F, \"azimuth\": F, \"elevation\": F, \"range\": F,\n"
    "                    \"range_rate\": F, \"is_dynamic\": B, \"mode\": \"kMidRange\",\n"
    "                    \"quality_aggregated\": \"kHigh\"}]}\n"
    "  {\"type\": \"status\", \"t\": T_k, \"scan_id\": N, \"azimuth_alignment_error\": F,\n"
    "   \"elevation_alignment_error\": F, \"blockage\": \"kNoBlockage\", \"interference\": \"kNoInterference\",\n"
    "   \"calibration_status\": \"kComplete\", \"fault_reason\": {\"is_communication_faulty\": B,\n"
    "   \"is_hardware_faulty\": B, \"is_software_faulty\": B, \"is_car_config_faulty\": B,\n"
    "   \"is_system_safety_faulty\": B, \"is_calibration_faulty\": B}, \"is_sensor_status_on\": B,\n"
    "   \"is_transmission_activated\": B, \"is_system_failing\": B, \"is_time_sync_ok\": B,\n"
    "   \"flr_temperature\": F}\n"
    "  t   T_k of the cycle in seconds on the log's time base, exact to the nanosecond (at least 6\n"
    "      fractional digits)\n"
    "  F   the shortest decimal that reads back (as single precision) as exactly the value the HAL holds\n"
    "  I   an integer (the radar's time stamps, taken as signed 64-bit)\n"
    "  enumerations by their enumerator's name: mode kShortRange, kNearRange, kMidRange, kLongRange;\n"
    "  quality_aggregated kLow, kMid, kHigh, kUnknown; blockage kBlockageUnknown, kFullBlockage,\n"
    "  kNoBlockage; interference kInterferenceUnknown, kFullInterference, kNoInterference;\n"
    "  calibration_status kNotStarted, kNotComplete, kComplete (a value without a name is written as\n"
    "  its integer).\n"
    "The HAL holds single-precision values: the decimals above, read as doubles, differ from the float's own\n"
    "double value in the last digits; compare as single precision (numpy.float32) or as text.\n"
    "\n"
    "--format csv writes the same publications as two CSV tables (RFC 4180, a header row, LF line ends):\n"
    "detections to --out (standard output without it), a row per slot of every scan (all 200): t, t_ns,\n"
    "scan_id, is_valid, time_stamp_{short,near,mid,long}_range, mounting_{x,y,phi}_offset, detection (the\n"
    "slot), snr, rcs, azimuth, elevation, range, range_rate, is_dynamic, mode, quality_aggregated; and\n"
    "statuses to --status-out (default: --out with its .csv ending, if any, replaced by .status.csv), a row\n"
    "per status: t, t_ns, scan_id, the status line's fields, the fault reasons flattened. Numbers as in the\n"
    "JSON lines; read them with pandas.read_csv(FILE, float_precision=\"round_trip\").\n"
    "--mcap FILE writes the publications, besides the JSON lines or CSV tables, as an MCAP recording for a\n"
    "3D viewer: /fsrl/detections (foxglove.PointCloud in frame \"vehicle\": a point per populated\n"
    "detection, range, angles, range rate, RCS and SNR as float32 fields), /tf (foxglove.FrameTransform\n"
    "vehicle -> fsrl_radar, the mounting) and /fsrl/status (the status line as JSON), log time = T_k;\n"
    "chunked (1 MiB) and indexed, zstd-compressed unless --mcap-compression none.\n"
    "\n";

const char kReplayEpilogue[] =
    "Diagnostics (standard error): every malformed line as FILE:LINE: reason (FILE is <stdin> for standard\n"
    "input; FILE:OFFSET for BLF), and at the end a short summary: frames read, filtered out and handed\n"
    "over, cycles run, failed and in lost communication, scans and statuses written, ProcessFsrlInput\n"
    "time. When standard error is a terminal (and the JSON lines do not go to it too) a replay that takes\n"
    "longer than a second shows its progress.\n"
    "\n"
    "Exit status: 0 success (also when malformed lines were skipped or cycles failed), 1 when LOG cannot be\n"
    "read, an output file cannot be written or the HAL cannot be set up, 2 on a usage error or an invalid\n"
    "frame map.\n";

// "run.csv" -> "run.status.csv", "run" -> "run.status.csv": the statuses' table beside the detections'.
std::string DefaultStatusPath(const std::string& detections_path) {
  const std::string ending = ".csv";
  std::string stem = detections_path;
  if (stem.size() > ending.size() && stem.compare(stem.size() - ending.size(), ending.size(), ending) == 0) {
    stem.resize(stem.size() - ending.size());
  }
  return stem + ".status.csv";
}

constexpr std::int64_t kNsPerMs = 1000000;
constexpr std::uint64_t kMaxMilliseconds = 86400000;  // one day; keeps every cycle time far from overflow

void PrintSummary(std::FILE* err, const ReplaySummary& summary, const std::string& extent, bool hal_log_shown) {
  std::fprintf(
      err,
      "fsrl replay: %s, %llu frames read, %llu handed to the HAL, %llu unmapped frames skipped, "
      "%llu remote frames skipped, %llu error frames skipped, %llu malformed lines, %llu frames filtered out\n",
      extent.c_str(), static_cast<unsigned long long>(summary.frames),
      static_cast<unsigned long long>(summary.frames_handed_over()),
      static_cast<unsigned long long>(summary.unmapped_frames), static_cast<unsigned long long>(summary.remote_frames),
      static_cast<unsigned long long>(summary.error_frames), static_cast<unsigned long long>(summary.malformed_lines),
      static_cast<unsigned long long>(summary.filtered_frames));
  const std::string periods =
      summary.lost_comm_period_count == 0 ? "" : " in " + std::to_string(summary.lost_comm_period_count) + " period(s)";
  std::fprintf(err,
               "fsrl replay: %llu cycles of %g ms, %llu failed, %llu in lost communication%s; "
               "%llu detection scans and %llu statuses written\n",
               static_cast<unsigned long long>(summary.cycles), static_cast<double>(summary.cycle_ns) / 1e6,
               static_cast<unsigned long long>(summary.failed_cycles),
               static_cast<unsigned long long>(summary.lost_comm_cycles), periods.c_str(),
               static_cast<unsigned long long>(summary.detection_scans),
               static_cast<unsigned long long>(summary.status_publications));
  if (summary.clock_jumps_forward + summary.clock_jumps_backward != 0) {
    std::fprintf(err, "fsrl replay: %llu clock jump(s) forward and %llu step(s) back bridged\n",
                 static_cast<unsigned long long>(summary.clock_jumps_forward),
                 static_cast<unsigned long long>(summary.clock_jumps_backward));
  }
  if (summary.cycles > 0) {
    std::fprintf(err, "fsrl replay: ProcessFsrlInput took %.1f us (median), %.1f us (99th percentile), %.1f us (max)\n",
                 summary.p50_us(), summary.p99_us(), summary.max_us());
  }
  if (summary.hal_log_lines != 0 && !hal_log_shown) {
    std::fprintf(err, "fsrl replay: the HAL logged %llu message(s); --hal-log shows them\n",
                 static_cast<unsigned long long>(summary.hal_log_lines));
  }
}

}  // namespace

int RunReplay(const std::vector<std::string>& args, std::FILE* out, std::FILE* err) {
  CommandLine command_line("replay", kReplayUsage, kReplayAbout, kReplayEpilogue);
  std::uint64_t cycle_ms = 50;
  std::uint64_t alive_timeout_ms = 200;
  // Far above the alive timeout, so that lost communication is seen across every jump, and above a radar
  // restart (one to two seconds), which is replayed as time; at 50 ms it costs at most 100 cycles per jump.
  std::uint64_t clock_jump_ms = 5000;
  std::string out_path;
  std::string summary_path;
  LogInputOptions input_options;
  HalLogOptions hal_options;
  command_line.Number("--cycle-ms", cycle_ms, 1, kMaxMilliseconds, "N",
                      "cycle period in whole milliseconds, 1 to 86400000 (default 50)");
  command_line.Number("--alive-timeout-ms", alive_timeout_ms, 1, kMaxMilliseconds, "N",
                      "alive timeout of the radar in whole milliseconds, 1 to 86400000\n"
                      "(default 200)");
  command_line.Number("--clock-jump-ms", clock_jump_ms, 1, kMaxMilliseconds, "N",
                      "longest silence replayed cycle by cycle; a later time stamp is a clock\n"
                      "jump. Whole milliseconds above --alive-timeout-ms, up to 86400000\n"
                      "(default 5000; used as at least the alive timeout plus two cycles)");
  input_options.AddTo(command_line);
  std::string status_out_path;
  std::string mcap_path;
  std::string mcap_compression = "zstd";
  command_line.Text("--out", out_path, "FILE",
                    "write the JSON lines (the detections CSV with --format csv) to FILE instead of\n"
                    "standard output");
  command_line.Text("--status-out", status_out_path, "FILE",
                    "with --format csv: write the statuses CSV to FILE (default: --out with .csv\n"
                    "replaced by .status.csv; required when the detections go to standard output)");
  command_line.Text("--mcap", mcap_path, "FILE", "also write the publications as an MCAP recording to FILE");
  command_line.Text("--mcap-compression", mcap_compression, "zstd|none",
                    "how the MCAP chunks are stored (default zstd, level 1)");
  command_line.Text("--summary-json", summary_path, "FILE",
                    "write a summary as one JSON object to FILE: \"cycles\" run, \"failed_cycles\"\n"
                    "(ProcessFsrlInput returned kFailure), \"lost_comm_cycles\" (cycles in lost\n"
                    "communication) and \"lost_comm_periods\" ([{\"from\": T, \"until\": T or null}]),\n"
                    "\"detection_scans\" and \"status_publications\" written, \"frames\" read,\n"
                    "\"frames_handed_over\" and \"frames_per_group\" (by group name),\n"
                    "\"unmapped_frames\", \"remote_frames\", \"error_frames\", \"malformed_lines\",\n"
                    "\"filtered_frames\" (dropped by --channel, --filter, --from, --to),\n"
                    "\"process_fsrl_input_us\" ({\"p50\", \"p99\", \"max\"}: wall-clock time of one\n"
                    "ProcessFsrlInput call in microseconds, the subscribers' getter calls\n"
                    "included), \"t0\", \"cycle_ms\", \"alive_timeout_ms\", \"hal_log_lines\",\n"
                    "\"lost_comm_period_count\" (\"lost_comm_periods\" lists the first 100),\n"
                    "\"lost_comm_ms\", \"clock_jumps_forward\", \"clock_jumps_backward\" and\n"
                    "\"clock_jump_ms\"");
  hal_options.AddTo(command_line);
  if (const std::optional<int> done = input_options.Parse(command_line, args, out, err)) {
    return *done;
  }
  // --format (or --output-format) jsonl|csv, declared with the input options; they check the name.
  const std::string& output_format = input_options.output_format;
  const bool csv = output_format == "csv";
  if (!csv && !status_out_path.empty()) {
    return command_line.UsageError(err, "--status-out: only with --format csv");
  }
  if (csv && status_out_path.empty()) {
    if (out_path.empty()) {
      return command_line.UsageError(err, "--format csv: the statuses need a file: give --out or --status-out");
    }
    status_out_path = DefaultStatusPath(out_path);
  }
  if (mcap_compression != "zstd" && mcap_compression != "none") {
    return command_line.UsageError(err, "--mcap-compression: '" + mcap_compression + "' is neither zstd nor none");
  }
  if (command_line.Given("--mcap-compression") && mcap_path.empty()) {
    return command_line.UsageError(err, "--mcap-compression: only with --mcap FILE");
  }
  if (clock_jump_ms <= alive_timeout_ms) {
    return command_line.UsageError(err, "--clock-jump-ms: must exceed the alive timeout (" +
                                            std::to_string(alive_timeout_ms) +
                                            " ms), or lost communication would go unseen across a jump");
  }

  ReplayOptions options;
  options.cycle_ns = static_cast<std::int64_t>(cycle_ms) * kNsPerMs;
  options.alive_timeout_ns = static_cast<std::int64_t>(alive_timeout_ms) * kNsPerMs;
  options.clock_jump_threshold_ns = static_cast<std::int64_t>(clock_jump_ms) * kNsPerMs;
  options.hal_log = hal_options.hal_log;
  options.progress = ProgressWanted(err, out, !out_path.empty());
  if (!input_options.LoadFrameMap(options.frame_map, command_line, err)) {
    return kExitUsage;
  }

  const std::string& log_path = input_options.log_path();
  InputFile input(log_path);
  if (input.fd() < 0) {
    std::fprintf(err, "fsrl replay: cannot open '%s': %s\n", log_path.c_str(), std::strerror(input.error()));
    return kExitFailure;
  }
  // Both output files are opened before the replay, so that a bad path fails at once and not after a long run.
  OutputFile out_file;
  if (!out_path.empty() && !out_file.Open(out_path)) {
    std::fprintf(err, "fsrl replay: cannot open '%s' for writing: %s\n", out_path.c_str(),
                 std::strerror(out_file.error()));
    return kExitFailure;
  }
  OutputFile status_file;
  if (!status_out_path.empty() && !status_file.Open(status_out_path)) {
    std::fprintf(err, "fsrl replay: cannot open '%s' for writing: %s\n", status_out_path.c_str(),
                 std::strerror(status_file.error()));
    return kExitFailure;
  }
  OutputFile mcap_file;
  if (!mcap_path.empty() && !mcap_file.Open(mcap_path)) {
    std::fprintf(err, "fsrl replay: cannot open '%s' for writing: %s\n", mcap_path.c_str(),
                 std::strerror(mcap_file.error()));
    return kExitFailure;
  }
  OutputFile summary_file;
  if (!summary_path.empty() && !summary_file.Open(summary_path)) {
    std::fprintf(err, "fsrl replay: cannot open '%s' for writing: %s\n", summary_path.c_str(),
                 std::strerror(summary_file.error()));
    return kExitFailure;
  }

  options.source_name = input.display_name();
  ReplaySummary summary;
  int status = kExitOk;
  std::string extent;
  {
    std::FILE* const main_out = out_file.get() != nullptr ? out_file.get() : out;
    // The sinks write their file starts (CSV header rows, the MCAP header) at once, and their ends in Finish.
    std::optional<ReplayCsvWriter> csv_writer;
    std::optional<ReplayMcapSink> mcap_sink;
    if (csv) {
      csv_writer.emplace(main_out, status_file.get());
      options.sinks.push_back(&*csv_writer);
    }
    if (mcap_file.get() != nullptr) {
      McapOptions mcap_options;
      mcap_options.compression = mcap_compression == "none" ? McapCompression::kNone : McapCompression::kZstd;
      mcap_sink.emplace(mcap_file.get(), mcap_options);
      options.sinks.push_back(&*mcap_sink);
    }
    ReplaySession session(options, csv ? nullptr : main_out, err, &summary);
    LogFrameReader reader(input, err, "replay", input_options.format(), input_options.filter());
    CanFrame frame;
    bool reading = true;
    while (reading) {
      switch (reader.Next(frame)) {
        case LogFrameReader::Result::kEnd:
          reading = false;
          break;
        case LogFrameReader::Result::kReadError:
          status = kExitFailure;
          reading = false;
          break;
        case LogFrameReader::Result::kMalformed:
          break;
        case LogFrameReader::Result::kFrame:
          reading = session.Feed(frame, reader.line_number());
          break;
      }
    }
    extent = reader.Extent();
    summary.malformed_lines = reader.malformed();
    summary.filtered_frames = reader.filtered();
    if (session.Finish() != kReplayOk) {
      status = kExitFailure;
    }
    // Completed even after a failed replay: what was replayed up to the failure is kept readable.
    std::string sink_error;
    if (csv_writer && !csv_writer->Finish(sink_error)) {
      std::fprintf(err, "fsrl replay: %s (detections to %s, statuses to %s)\n", sink_error.c_str(),
                   out_path.empty() ? "<stdout>" : out_path.c_str(), status_out_path.c_str());
      status = kExitFailure;
    }
    if (mcap_sink && !mcap_sink->Finish(sink_error)) {
      std::fprintf(err, "fsrl replay: %s: %s\n", mcap_path.c_str(), sink_error.c_str());
      status = kExitFailure;
    }
  }
  for (auto [file, path] : {std::pair<OutputFile*, const std::string*>{&status_file, &status_out_path},
                            std::pair<OutputFile*, const std::string*>{&mcap_file, &mcap_path}}) {
    if (!file->Close() && status == kExitOk) {
      std::fprintf(err, "fsrl replay: cannot write '%s': %s\n", path->c_str(), std::strerror(file->error()));
      status = kExitFailure;
    }
  }
  // A write error the replay already reported is not reported again when the file is closed.
  if (!out_file.Close() && status == kExitOk) {
    std::fprintf(err, "fsrl replay: cannot write '%s': %s\n", out_path.c_str(), std::strerror(out_file.error()));
    status = kExitFailure;
  }
  if (summary_file.get() != nullptr) {
    WriteSummaryJson(summary, summary_file.get());
    if (!summary_file.Close()) {
      std::fprintf(err, "fsrl replay: cannot write '%s': %s\n", summary_path.c_str(),
                   std::strerror(summary_file.error()));
      status = kExitFailure;
    }
  }
  PrintSummary(err, summary, extent, hal_options.hal_log);
  return status;
}

}  // namespace fsrl
