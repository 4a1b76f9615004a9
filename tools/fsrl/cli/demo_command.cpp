// `fsrl demo`: a simulated radar with a handful of faults, replayed through the real HAL, summarised and drawn.
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "fsrl/bev_plot.h"
#include "fsrl/command_line.h"
#include "fsrl/input_file.h"
#include "fsrl/json_writer.h"
#include "fsrl/progress.h"
#include "fsrl/replay.h"
#include "fsrl/replay_mcap.h"
#include "fsrl/simulator.h"
#include "fsrl_cli.h"

namespace fsrl {
namespace {

const char kDemoUsage[] = "Usage: fsrl demo [--out-dir DIR] [--scans N] [--seed S]\n";

const char kDemoAbout[] =
    "\n"
    "Simulates the left front corner radar (as `fsrl simulate` does) with a handful of faults: a corrupted\n"
    "CRC, a dropped status frame, a repeated frame, a counter jump, a frame cut short and a silence of\n"
    "600 ms. The frames are replayed in memory through the real HAL (as `fsrl replay` does, in 50 ms\n"
    "cycles), and a short summary is printed: scans published, scans lost and why, periods of lost\n"
    "communication and the time ProcessFsrlInput took (median and 99th percentile).\n"
    "\n"
    "Files written to DIR:\n"
    "  scans.jsonl   every notification of the replay, exactly the `fsrl replay` output\n"
    "  summary.json  the summary above as JSON, with the replay's own summary under \"replay\"\n"
    "  bev.svg       bird's-eye view of all published scans (as `fsrl plot` draws it)\n"
    "  replay.mcap   the same notifications as an MCAP recording for a 3D viewer (as `fsrl replay\n"
    "                --mcap` writes it): detections as point clouds, the mounting, the statuses\n"
    "\n";

const char kDemoEpilogue[] =
    "When standard error is a terminal a replay that takes longer than a second shows its progress.\n"
    "\n"
    "Exit status: 0 success, 1 when a file cannot be written or the HAL cannot be set up, 2 on a usage\n"
    "error.\n";

constexpr std::uint32_t kMinScans = 20;
constexpr std::uint32_t kMaxScans = 100000;

struct DemoCommandLine {
  std::string out_dir = "demo";
  std::uint32_t scans = 200;
  std::uint64_t seed = 1;
};

// One of each kind that loses data, spread over the run so that each outcome stands alone.
std::vector<Fault> DemoFaults(std::uint32_t scans) {
  const auto at = [scans](std::uint32_t percent) { return std::max<std::uint32_t>(1, scans * percent / 100); };
  std::vector<Fault> faults;
  const auto add = [&faults](FaultKind kind, std::uint32_t scan, const char* group, std::uint32_t amount) {
    Fault fault;
    fault.kind = kind;
    fault.scan = scan;
    fault.group = group != nullptr ? static_cast<std::size_t>(FindGroup(group)) : 0;
    fault.amount = amount;
    faults.push_back(fault);
  };
  add(FaultKind::kCrc, at(15), "RSDS4Detn045To049", 0);
  add(FaultKind::kDrop, at(30), "RSDS4SigSts1", 0);
  add(FaultKind::kRepeat, at(45), "RSDS4Detn120To124", 0);
  add(FaultKind::kCounterJump, at(55), "RSDS4Detn000To004", 20);
  add(FaultKind::kShort, at(65), "RSDS4SigSts2", 0);
  add(FaultKind::kSilence, at(80), nullptr, 600);
  return faults;
}

// Every notification of the replay: the demo's runs are short, and it matches each one to a simulated scan.
struct Publications : ReplayObserver {
  std::vector<PublishedDetections> detections;
  std::vector<PublishedStatus> statuses;
  void OnDetections(const PublishedDetections& published) override { detections.push_back(published); }
  void OnStatus(const PublishedStatus& published) override { statuses.push_back(published); }
};

// What happened to one simulated scan.
struct ScanOutcome {
  bool detections_published = false;
  bool status_published = false;
};

// Matches the notifications to the simulated scans. Detection scans are told apart by their mid-range time
// stamps (unique and rising); statuses carry only their scan id, so they are matched in order, leaving out the
// statuses that only mark lost communication.
std::vector<ScanOutcome> Outcomes(const Simulation& simulation, const Publications& notifications) {
  std::vector<ScanOutcome> outcomes(simulation.scans.size());
  std::size_t next = 0;
  for (const PublishedDetections& published : notifications.detections) {
    while (next < simulation.scans.size() &&
           static_cast<std::int64_t>(simulation.scans[next].time_stamps[2]) < published.mid_range_time_stamp) {
      ++next;
    }
    if (next < simulation.scans.size() &&
        static_cast<std::int64_t>(simulation.scans[next].time_stamps[2]) == published.mid_range_time_stamp) {
      outcomes[next].detections_published = true;
    }
  }
  next = 0;
  for (const PublishedStatus& published : notifications.statuses) {
    if (published.communication_fault) {
      continue;
    }
    std::size_t look = next;
    while (look < simulation.scans.size() && simulation.scans[look].scan_id != published.scan_id) {
      ++look;
    }
    if (look < simulation.scans.size()) {
      outcomes[look].status_published = true;
      next = look + 1;
    }
  }
  return outcomes;
}

bool InOrderOnce(const Publications& notifications) {
  const std::vector<PublishedDetections>& detections = notifications.detections;
  for (std::size_t i = 1; i < detections.size(); ++i) {
    if (detections[i].mid_range_time_stamp <= detections[i - 1].mid_range_time_stamp) {
      return false;
    }
  }
  return true;
}

std::vector<std::string> FaultsAt(const std::vector<Fault>& faults, std::uint32_t index) {
  std::vector<std::string> names;
  for (const Fault& fault : faults) {
    if (fault.scan == index && fault.kind != FaultKind::kSilence) {
      names.push_back(FormatFault(fault));
    }
  }
  return names;
}

std::string Join(const std::vector<std::string>& parts) {
  std::string text;
  for (const std::string& part : parts) {
    text += (text.empty() ? "" : ", ") + part;
  }
  return text.empty() ? "no fault at this scan" : text;
}

const char* LostWhat(const ScanOutcome& outcome) {
  if (!outcome.detections_published && !outcome.status_published) {
    return "detections and status";
  }
  return outcome.detections_published ? "status" : "detections";
}

double Seconds(std::int64_t ns) { return static_cast<double>(ns) * 1e-9; }

bool WriteSummary(const std::string& path, const DemoCommandLine& command_line, const SimulationOptions& options,
                  const Simulation& simulation, const ReplaySummary& summary, const Publications& published,
                  const std::vector<ScanOutcome>& outcomes, std::size_t comm_fault_statuses) {
  std::FILE* file = std::fopen(path.c_str(), "wb");
  if (file == nullptr) {
    return false;
  }
  std::size_t detections = 0;
  std::size_t statuses = 0;
  for (const ScanOutcome& outcome : outcomes) {
    detections += outcome.detections_published ? 1U : 0U;
    statuses += outcome.status_published ? 1U : 0U;
  }
  bool ok = true;
  {
    // The demo's own findings first; the replay's summary document follows whole under "replay".
    std::fputs("{\"demo\": ", file);
    OutputBuffer buffer(file);
    JsonWriter json(buffer);
    json.BeginObject();
    json.UIntMember("scans", command_line.scans);
    json.UIntMember("seed", command_line.seed);
    json.Key("period_ms");
    json.Int(options.period_ns / 1000000);
    json.Key("faults");
    json.BeginArray();
    for (const Fault& fault : options.faults) {
      json.String(FormatFault(fault));
    }
    json.EndArray();
    json.UIntMember("detection_scans_published", detections);
    json.Key("detection_scans_in_order_once");
    json.Bool(InOrderOnce(published) && published.detections.size() == detections);
    json.UIntMember("statuses_published", statuses);
    json.UIntMember("lost_communication_statuses", comm_fault_statuses);
    json.Key("lost_scans");
    json.BeginArray();
    for (std::size_t i = 0; i < outcomes.size(); ++i) {
      if (outcomes[i].detections_published && outcomes[i].status_published) {
        continue;
      }
      json.BeginObject();
      json.UIntMember("index", i);
      json.UIntMember("scan_id", simulation.scans[i].scan_id);
      json.Key("detections_published");
      json.Bool(outcomes[i].detections_published);
      json.Key("status_published");
      json.Bool(outcomes[i].status_published);
      json.Key("faults");
      json.BeginArray();
      for (const std::string& name : FaultsAt(options.faults, static_cast<std::uint32_t>(i))) {
        json.String(name);
      }
      json.EndArray();
      json.EndObject();
    }
    json.EndArray();
    // Milliseconds after the first frame: cycle times are whole milliseconds here, and read better so.
    json.Key("lost_communication_periods_ms");
    json.BeginArray();
    for (const LostCommPeriod& period : summary.lost_comm_periods) {
      json.BeginObject();
      json.Key("from");
      json.Int((period.from_ns - summary.t0_ns) / 1000000);
      json.Key("until");
      if (period.until_ns < 0) {
        json.Null();
      } else {
        json.Int((period.until_ns - summary.t0_ns) / 1000000);
      }
      json.EndObject();
    }
    json.EndArray();
    // ProcessFsrlInput's timing is the replay's to report: it is under "replay", as `fsrl replay` writes it.
    json.EndObject();
    ok = buffer.Flush();
  }
  std::fputs(", \"replay\": ", file);
  WriteSummaryJson(summary, file);  // ends with a line feed; the object is closed on the next line
  std::fputs("}\n", file);
  ok = std::ferror(file) == 0 && ok;
  return std::fclose(file) == 0 && ok;
}

}  // namespace

int RunDemo(const std::vector<std::string>& args, std::FILE* out, std::FILE* err) {
  CommandLine parser("demo", kDemoUsage, kDemoAbout, kDemoEpilogue);
  DemoCommandLine command_line;
  std::uint64_t scans = command_line.scans;
  parser.Text("--out-dir", command_line.out_dir, "DIR",
              "where to write the files (default 'demo'; created if missing)");
  parser.Number("--scans", scans, kMinScans, kMaxScans, "N", "number of scans to simulate, 20..100000 (default 200)");
  parser.Number("--seed", command_line.seed, 0, UINT64_MAX, "S",
                "selects the scene's variation and the measurement noise (default 1)");
  if (const std::optional<int> done = parser.Parse(args, out, err)) {
    return *done;
  }
  command_line.scans = static_cast<std::uint32_t>(scans);

  SimulationOptions options;
  options.scans = command_line.scans;
  options.seed = command_line.seed;
  options.faults = DemoFaults(command_line.scans);
  // The replay shows its own progress by the same rule; the simulation before it cannot, so it is ticked.
  const bool show_progress = ProgressWanted(err, out, true);
  ProgressLine progress(err, show_progress);
  Simulation simulation;
  {
    const ProgressTicker ticker(progress, "fsrl demo: simulating " + std::to_string(options.scans) + " scans");
    simulation = Simulate(options);
  }

  std::error_code dir_error;
  std::filesystem::create_directories(command_line.out_dir, dir_error);
  if (dir_error) {
    std::fprintf(err, "fsrl demo: cannot create '%s': %s\n", command_line.out_dir.c_str(), dir_error.message().c_str());
    return kExitFailure;
  }
  const std::string jsonl_path = command_line.out_dir + "/scans.jsonl";
  const std::string summary_path = command_line.out_dir + "/summary.json";
  const std::string svg_path = command_line.out_dir + "/bev.svg";
  const std::string mcap_path = command_line.out_dir + "/replay.mcap";

  std::FILE* jsonl = std::fopen(jsonl_path.c_str(), "w+b");
  if (jsonl == nullptr) {
    std::fprintf(err, "fsrl demo: cannot open '%s': %s\n", jsonl_path.c_str(), std::strerror(errno));
    return kExitFailure;
  }
  OutputFile mcap_file;
  if (!mcap_file.Open(mcap_path)) {
    std::fprintf(err, "fsrl demo: cannot open '%s': %s\n", mcap_path.c_str(), std::strerror(mcap_file.error()));
    std::fclose(jsonl);
    return kExitFailure;
  }
  ReplayMcapSink mcap(mcap_file.get());
  ReplayOptions replay_options;
  replay_options.sinks.push_back(&mcap);
  replay_options.cycle_ns = options.period_ns;
  // The replay's lines go to a file and the summary comes after the progress line is gone.
  replay_options.progress = show_progress;
  Publications published;
  replay_options.observer = &published;
  ReplaySummary summary;
  const int replayed = Replay(simulation.frames, replay_options, jsonl, err, &summary);
  // The file is read back for the picture, so the picture shows exactly what was written.
  std::string jsonl_text;
  if (replayed == kReplayOk && std::fflush(jsonl) == 0) {
    std::rewind(jsonl);
    char block[1 << 16];
    std::size_t got = 0;
    while ((got = std::fread(block, 1, sizeof block, jsonl)) > 0) {
      jsonl_text.append(block, got);
    }
  }
  const bool jsonl_ok = std::ferror(jsonl) == 0;
  std::fclose(jsonl);
  if (replayed != kReplayOk || !jsonl_ok) {
    std::fprintf(err, "fsrl demo: the replay failed; see above\n");
    return kExitFailure;
  }
  if (std::string error; !mcap.Finish(error)) {
    std::fprintf(err, "fsrl demo: %s: %s\n", mcap_path.c_str(), error.c_str());
    return kExitFailure;
  }
  if (!mcap_file.Close()) {
    std::fprintf(err, "fsrl demo: cannot write '%s': %s\n", mcap_path.c_str(), std::strerror(mcap_file.error()));
    return kExitFailure;
  }

  const std::vector<ScanOutcome> outcomes = Outcomes(simulation, published);
  std::size_t comm_fault_statuses = 0;
  for (const PublishedStatus& status : published.statuses) {
    comm_fault_statuses += status.communication_fault ? 1U : 0U;
  }
  std::size_t detections = 0;
  std::size_t statuses = 0;
  for (const ScanOutcome& outcome : outcomes) {
    detections += outcome.detections_published ? 1U : 0U;
    statuses += outcome.status_published ? 1U : 0U;
  }

  if (!WriteSummary(summary_path, command_line, options, simulation, summary, published, outcomes,
                    comm_fault_statuses)) {
    std::fprintf(err, "fsrl demo: cannot write '%s'\n", summary_path.c_str());
    return kExitFailure;
  }

  std::vector<PlotScan> plot_scans;
  std::string plot_error;
  if (!ReadDetectionScans(jsonl_text, plot_scans, plot_error)) {
    std::fprintf(err, "fsrl demo: %s: %s\n", jsonl_path.c_str(), plot_error.c_str());
    return kExitFailure;
  }
  PlotOptions plot_options;
  plot_options.title = "FSRL demo: simulated scans replayed through the HAL";
  char subtitle[200];
  std::snprintf(subtitle, sizeof subtitle, "%zu published scans of %u over %.2f s, seed %llu; older scans fainter",
                plot_scans.size(), command_line.scans,
                plot_scans.empty() ? 0.0 : plot_scans.back().t_s - plot_scans.front().t_s,
                static_cast<unsigned long long>(command_line.seed));
  plot_options.subtitle = subtitle;
  plot_options.field_of_view_half_angle = kFieldOfViewHalfAngle;
  const std::string svg = RenderBirdsEyeSvg(plot_scans, plot_options);
  if (std::string error; !WriteWholeFile(svg_path, nullptr, svg, error)) {
    std::fprintf(err, "fsrl demo: %s\n", error.c_str());
    return kExitFailure;
  }

  // The human summary.
  std::fprintf(out,
               "fsrl demo: %u scans simulated (seed %llu, %lld ms period) with %zu faults, replayed through "
               "the HAL in %llu cycles\n",
               command_line.scans, static_cast<unsigned long long>(command_line.seed),
               static_cast<long long>(options.period_ns / 1000000), options.faults.size(),
               static_cast<unsigned long long>(summary.cycles));
  std::fprintf(out, "  faults: ");
  for (std::size_t i = 0; i < options.faults.size(); ++i) {
    std::fprintf(out, "%s%s", i == 0 ? "" : ", ", FormatFault(options.faults[i]).c_str());
  }
  std::fprintf(out, "\n");
  std::fprintf(out, "Detection scans published: %zu of %u%s\n", detections, command_line.scans,
               InOrderOnce(published) && published.detections.size() == detections ? " (each once, in order)"
                                                                                   : " (NOT each once in order)");
  std::fprintf(out, "Statuses published: %zu of %u, plus %zu marking lost communication\n", statuses,
               command_line.scans, comm_fault_statuses);
  std::size_t lost = 0;
  for (const ScanOutcome& outcome : outcomes) {
    lost += (outcome.detections_published && outcome.status_published) ? 0U : 1U;
  }
  std::fprintf(out, "Scans lost: %zu\n", lost);
  for (std::size_t i = 0; i < outcomes.size(); ++i) {
    if (outcomes[i].detections_published && outcomes[i].status_published) {
      continue;
    }
    std::fprintf(out, "  scan %4zu (id %3u): %-21s lost; %s\n", i, simulation.scans[i].scan_id, LostWhat(outcomes[i]),
                 Join(FaultsAt(options.faults, static_cast<std::uint32_t>(i))).c_str());
  }
  std::fprintf(out, "Lost communication: %llu period(s)\n",
               static_cast<unsigned long long>(summary.lost_comm_period_count));
  for (const LostCommPeriod& period : summary.lost_comm_periods) {
    if (period.until_ns < 0) {
      std::fprintf(out, "  from %.3f s to the end\n", Seconds(period.from_ns - summary.t0_ns));
    } else {
      std::fprintf(out, "  %.3f s to %.3f s (%.0f ms); scans resumed after a silence\n",
                   Seconds(period.from_ns - summary.t0_ns), Seconds(period.until_ns - summary.t0_ns),
                   Seconds(period.until_ns - period.from_ns) * 1e3);
    }
  }
  std::fprintf(out, "ProcessFsrlInput: p50 %.1f us, p99 %.1f us (max %.1f us)\n", summary.p50_us(), summary.p99_us(),
               summary.max_us());
  std::fprintf(out, "Wrote %s, %s, %s, %s\n", jsonl_path.c_str(), summary_path.c_str(), svg_path.c_str(),
               mcap_path.c_str());
  return kExitOk;
}

}  // namespace fsrl
