// Replay concern: the summary: its fixed-size figures (the histogram of cycle times, totals) and its JSON document.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "fsrl/json_writer.h"
#include "fsrl/replay.h"
#include "replay_json.h"

namespace fsrl {

std::uint64_t ReplaySummary::frames_handed_over() const {
  std::uint64_t total = 0;
  for (const std::uint64_t count : frames_per_group) {
    total += count;
  }
  return total;
}

std::size_t LatencyHistogram::BucketOf(std::uint64_t ns) {
  constexpr std::uint64_t kExact = std::uint64_t{2} << kSubBits;
  if (ns < kExact) {
    return static_cast<std::size_t>(ns);
  }
  unsigned exponent = 63U - static_cast<unsigned>(__builtin_clzll(ns));
  if (exponent >= kTopExponent) {
    return kBuckets - 1;
  }
  const std::uint64_t sub = (ns >> (exponent - kSubBits)) - (std::uint64_t{1} << kSubBits);
  return static_cast<std::size_t>(kExact + (exponent - kSubBits - 1) * (std::uint64_t{1} << kSubBits) + sub);
}

double LatencyHistogram::MiddleOf(std::size_t bucket) {
  constexpr std::size_t kExact = std::size_t{2} << kSubBits;
  if (bucket < kExact) {
    return static_cast<double>(bucket);
  }
  const std::size_t exponent = kSubBits + 1 + (bucket - kExact) / (std::size_t{1} << kSubBits);
  const std::size_t sub = (bucket - kExact) % (std::size_t{1} << kSubBits);
  const double width = std::ldexp(1.0, static_cast<int>(exponent - kSubBits));
  return static_cast<double>((std::size_t{1} << kSubBits) + sub) * width + 0.5 * width;
}

void LatencyHistogram::Record(double us) {
  if (counts_.empty()) {
    counts_.assign(kBuckets, 0);
  }
  const double clamped = std::max(us, 0.0);
  const double ns = std::min(std::round(clamped * 1000.0), 9.0e18);
  ++counts_[BucketOf(static_cast<std::uint64_t>(ns))];
  min_us_ = count_ == 0 ? clamped : std::min(min_us_, clamped);
  max_us_ = count_ == 0 ? clamped : std::max(max_us_, clamped);
  ++count_;
}

double LatencyHistogram::Percentile(double fraction) const {
  if (count_ == 0) {
    return 0.0;
  }
  // Nearest rank: the smallest value with at least that fraction of all values at or below it.
  auto rank = static_cast<std::uint64_t>(std::ceil(fraction * static_cast<double>(count_)));
  rank = std::clamp<std::uint64_t>(rank, 1, count_);
  std::uint64_t seen = 0;
  for (std::size_t bucket = 0; bucket < counts_.size(); ++bucket) {
    seen += counts_[bucket];
    if (seen >= rank) {
      // The last bucket has no upper end; the largest time stands for it.
      return bucket + 1 == kBuckets ? max_us_ : std::clamp(MiddleOf(bucket) / 1000.0, min_us_, max_us_);
    }
  }
  return max_us_;
}

using internal::WriteTime;

void WriteSummaryJson(const ReplaySummary& summary, std::FILE* out) {
  OutputBuffer output(out, std::size_t{1} << 14);
  JsonWriter json(output);
  json.BeginObject();
  json.UIntMember("cycles", summary.cycles);
  json.UIntMember("failed_cycles", summary.failed_cycles);
  json.UIntMember("lost_comm_cycles", summary.lost_comm_cycles);
  json.UIntMember("detection_scans", summary.detection_scans);
  json.UIntMember("status_publications", summary.status_publications);
  json.UIntMember("frames", summary.frames);
  json.UIntMember("frames_handed_over", summary.frames_handed_over());
  json.Key("frames_per_group");
  json.BeginObject();
  for (std::size_t group = 0; group < kGroupCount; ++group) {
    json.Key(GroupName(group));
    json.UInt(summary.frames_per_group[group]);
  }
  json.EndObject();
  json.UIntMember("unmapped_frames", summary.unmapped_frames);
  json.UIntMember("remote_frames", summary.remote_frames);
  json.UIntMember("error_frames", summary.error_frames);
  json.UIntMember("malformed_lines", summary.malformed_lines);
  json.UIntMember("filtered_frames", summary.filtered_frames);
  json.Key("lost_comm_periods");
  json.BeginArray();
  for (const LostCommPeriod& period : summary.lost_comm_periods) {
    json.BeginObject();
    json.Key("from");
    WriteTime(json, period.from_ns);
    json.Key("until");
    if (period.until_ns < 0) {
      json.Null();
    } else {
      WriteTime(json, period.until_ns);
    }
    json.EndObject();
  }
  json.EndArray();
  json.UIntMember("lost_comm_period_count", summary.lost_comm_period_count);
  json.Key("lost_comm_ms");
  json.Double(static_cast<double>(summary.lost_comm_ns) / 1e6);
  json.UIntMember("clock_jumps_forward", summary.clock_jumps_forward);
  json.UIntMember("clock_jumps_backward", summary.clock_jumps_backward);
  json.Key("process_fsrl_input_us");
  json.BeginObject();
  json.Key("p50");
  json.Double(summary.p50_us());
  json.Key("p99");
  json.Double(summary.p99_us());
  json.Key("max");
  json.Double(summary.max_us());
  json.EndObject();
  json.Key("t0");
  WriteTime(json, summary.t0_ns);
  json.Key("cycle_ms");
  json.Double(static_cast<double>(summary.cycle_ns) / 1e6);
  json.Key("alive_timeout_ms");
  json.Double(static_cast<double>(summary.alive_timeout_ns) / 1e6);
  json.Key("clock_jump_ms");
  json.Double(static_cast<double>(summary.clock_jump_threshold_ns) / 1e6);
  json.UIntMember("hal_log_lines", summary.hal_log_lines);
  json.EndObject();
  json.EndLine();
  output.Flush();
}

}  // namespace fsrl
