/// @file
/// @brief The `fsrl` command line as functions, so that tests run exactly what the executable runs.
#ifndef FSRL_CLI_FSRL_CLI_H
#define FSRL_CLI_FSRL_CLI_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "fsrl/exit_status.h"
#include "fsrl/frame_map.h"

namespace fsrl {

// The exit statuses of every command (kExitOk, kExitFailure, kExitUsage) are in fsrl/exit_status.h.

/// @brief Runs `fsrl` with @p args (the arguments after the program name), writing to @p out and @p err.
int RunFsrl(const std::vector<std::string>& args, std::FILE* out, std::FILE* err);

/// Statuses a property read can report, from kLostComm (-4) to kDataModified (5).
constexpr int kMinStatusCode = -4;
constexpr int kMaxStatusCode = 5;
constexpr std::size_t kStatusCodeCount = kMaxStatusCode - kMinStatusCode + 1;

/// What `fsrl decode` counted.
struct DecodeStats {
  std::uint64_t lines = 0;          ///< input lines, blank and malformed included
  std::uint64_t frames = 0;         ///< well-formed frame lines
  std::uint64_t decoded = 0;        ///< frames handed to the HAL
  std::uint64_t unmapped = 0;       ///< data frames of an id the frame map does not know
  std::uint64_t remote = 0;         ///< remote requests (no data to decode)
  std::uint64_t error_frames = 0;   ///< error frames (no data to decode)
  std::uint64_t malformed = 0;      ///< malformed lines
  std::uint64_t hal_log_lines = 0;  ///< log lines the HAL wrote during the run
  /// frames decoded per group and status code (index: code - kMinStatusCode)
  std::array<std::array<std::uint64_t, kStatusCodeCount>, kGroupCount> by_status{};
};

/// @brief `fsrl decode`: @p args are the arguments after "decode". When @p stats is not null it receives the
/// counts that the summary on @p err reports.
int RunDecode(const std::vector<std::string>& args, std::FILE* out, std::FILE* err, DecodeStats* stats = nullptr);

/// @brief `fsrl replay`: the whole HAL over a candump log in virtual time (arguments after "replay").
int RunReplay(const std::vector<std::string>& args, std::FILE* out, std::FILE* err);

/// @brief `fsrl simulate`: writes a candump log of a simulated radar (arguments after "simulate").
int RunSimulate(const std::vector<std::string>& args, std::FILE* out, std::FILE* err);

/// @brief `fsrl plot`: a bird's-eye view of replayed detection scans as SVG (arguments after "plot").
int RunPlot(const std::vector<std::string>& args, std::FILE* out, std::FILE* err);

/// @brief `fsrl dbc`: the signal database as a DBC file for a frame map (arguments after "dbc").
int RunDbc(const std::vector<std::string>& args, std::FILE* out, std::FILE* err);

/// @brief `fsrl demo`: simulate with faults, replay through the HAL, summarise and plot (arguments after "demo").
int RunDemo(const std::vector<std::string>& args, std::FILE* out, std::FILE* err);

}  // namespace fsrl

#endif  // FSRL_CLI_FSRL_CLI_H
