// The floor of the input cycle: a hand-written program doing only the work one cycle cannot do without, measured in
// the same binary and the same way as BM_ProcessFsrlInput_FullScan, so that the HAL's cycle is judged by its ratio to
// it rather than by a number from another run on this shared machine.
//
// Per cycle: the 42 payloads the HAL reads are copied out of their buffers and given a profile 5 check (CRC over the
// payload and the data id, counter step); each read gets one heap buffer of exactly the group's value count; every
// signal of the group is decoded table-driven (field load, sign, scale and offset, limits); the 200 detections are
// translated into a working scan in place; the complete scan is copied once into the published one. Nothing else:
// no locks, no properties, no logging, no failure paths beyond the checks' own comparisons.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "bench_frames.h"
#include "frontsideradarlefthal_types.h"
#include "initialfrontsideradarlefthal_e2e_database.h"

namespace {

using Clock = std::chrono::steady_clock;
namespace rs = radar_service;

// CRC-16/CCITT-FALSE (polynomial 0x1021, the profile 5 CRC) with eight tables: eight payload bytes per step.
struct CrcTables {
  std::uint16_t t[8][256];
  CrcTables() : t() {
    for (unsigned int b = 0; b < 256U; ++b) {
      auto crc = static_cast<std::uint16_t>(b << 8U);
      for (int bit = 0; bit < 8; ++bit) {
        crc = static_cast<std::uint16_t>((crc & 0x8000U) != 0U ? (crc << 1U) ^ 0x1021U : crc << 1U);
      }
      t[0][b] = crc;
    }
    for (unsigned int b = 0; b < 256U; ++b) {
      for (int k = 1; k < 8; ++k) {
        t[k][b] = static_cast<std::uint16_t>((t[k - 1][b] << 8U) ^ t[0][t[k - 1][b] >> 8U]);
      }
    }
  }
};
const CrcTables kCrc;

std::uint16_t Crc16(const std::uint8_t* p, std::size_t n, std::uint16_t crc) {
  while (n >= 8U) {
    crc = static_cast<std::uint16_t>(kCrc.t[7][((crc >> 8U) ^ p[0]) & 0xFFU] ^ kCrc.t[6][(crc ^ p[1]) & 0xFFU] ^
                                     kCrc.t[5][p[2]] ^ kCrc.t[4][p[3]] ^ kCrc.t[3][p[4]] ^ kCrc.t[2][p[5]] ^
                                     kCrc.t[1][p[6]] ^ kCrc.t[0][p[7]]);
    p += 8;
    n -= 8U;
  }
  while (n-- > 0U) {
    crc = static_cast<std::uint16_t>((crc << 8U) ^ kCrc.t[0][((crc >> 8U) ^ *p++) & 0xFFU]);
  }
  return crc;
}

// One signal as a table row: its field is (64-bit little-endian word at `byte`) >> shift, masked; a signed field is
// sign-extended through `sign`; a double is raw * scale + offset limited to [min, max], an integer limited alike.
struct Row {
  double scale, offset, min, max;
  std::uint64_t umin, umax;
  std::uint64_t mask, sign;
  std::uint16_t slot, byte;
  std::uint8_t shift;
  bool is_double;
};

// The slots of one detection's nine fields.
struct DetectionSlots {
  std::uint16_t range, range_rate, azimuth, elevation, rcs, snr, quality, dyn, mode;
};

struct FloorGroup {
  std::size_t index = 0;
  std::size_t payload_length = 0;
  std::size_t value_count = 0;
  std::size_t e2e_byte = 0;
  std::uint16_t data_id = 0;
  std::uint8_t last_counter = 0;
  std::vector<Row> rows;  // the double rows first, then the integer rows: one loop each, no branch per signal
  std::size_t double_rows = 0;
  std::array<DetectionSlots, 5> detections{};
};

bool EndsWith(const std::string& s, const std::string& suffix) {
  return s.size() >= suffix.size() && s.compare(s.size() - suffix.size(), suffix.size(), suffix) == 0;
}

FloorGroup MakeGroup(std::size_t index, std::size_t payload_length) {
  const SignalAdapter_SignalGroup& group = initialfrontsideradarlefthal_signal_groups[index];
  FloorGroup floor;
  floor.index = index;
  floor.payload_length = payload_length;
  floor.value_count = group.signal_values_storage_total_size / sizeof(SignalAdapter_SignalValue);
  floor.e2e_byte = group.offset / 8U;
  floor.data_id = group.data_id;
  floor.last_counter = 0xFFU;
  for (std::size_t i = 0; i < group.nbr_of_signals; ++i) {
    const SignalAdapter_Signal& s = initialfrontsideradarlefthal_signals[group.signal_start_index + i];
    const unsigned int start =
        group.packing_info.payload_bit_offset + static_cast<unsigned int>(s.value_relative_bit_offset);
    Row row{};
    row.slot = s.value_storage_start_index;
    row.byte = static_cast<std::uint16_t>(start / 8U);
    row.shift = static_cast<std::uint8_t>(start % 8U);
    row.mask = s.value_bit_length >= 64U ? ~std::uint64_t{0} : (std::uint64_t{1} << s.value_bit_length) - 1U;
    row.sign = s.codec_type == SIGNAL_DB_SIGNAL_CODEC_VALUE_TYPE_SIGNED_INTEGER && s.value_bit_length < 64U
                   ? std::uint64_t{1} << (s.value_bit_length - 1U)
                   : 0U;
    row.is_double = s.value_type == SIGNAL_DB_SIGNAL_VALUE_TYPE_FLOAT;
    row.scale = s.value_factor_offset.scale_factor.double_float;
    row.offset = s.value_factor_offset.offset.double_float;
    row.min = s.value_min_max.min.double_float;
    row.max = s.value_min_max.max.double_float;
    row.umin = s.value_min_max.min.unsigned_int;
    row.umax = s.value_min_max.max.unsigned_int;
    floor.rows.push_back(row);
    floor.double_rows += row.is_double ? 1U : 0U;

    const std::string name(reinterpret_cast<const char*>(s.name));
    for (std::uint16_t d = 0; d < 5U; ++d) {
      const std::string n = std::to_string(d);
      DetectionSlots& slots = floor.detections[d];
      const std::uint16_t slot = s.value_storage_start_index;
      if (EndsWith(name, "Range" + n)) slots.range = slot;
      if (EndsWith(name, "RngRt" + n)) slots.range_rate = slot;
      if (EndsWith(name, "AziAng" + n)) slots.azimuth = slot;
      if (EndsWith(name, "EleAng" + n)) slots.elevation = slot;
      if (EndsWith(name, "RCS" + n)) slots.rcs = slot;
      if (EndsWith(name, "SNR" + n)) slots.snr = slot;
      if (EndsWith(name, "Quality" + n)) slots.quality = slot;
      if (EndsWith(name, "DynPrPty" + n)) slots.dyn = slot;
      if (EndsWith(name, "Mode" + n)) slots.mode = slot;
    }
  }
  std::stable_partition(floor.rows.begin(), floor.rows.end(), [](const Row& row) { return row.is_double; });
  return floor;
}

std::uint64_t Load64(const std::uint8_t* p) {
  std::uint64_t w;
  std::memcpy(&w, p, sizeof(w));
  return w;
}

// The check and decoding of one group: payload copy, CRC and counter, decoding into a fresh heap buffer of exactly
// the group's values. Returns the buffer (the caller translates and frees it), null when the check fails.
SignalAdapter_SignalValue* ReadGroup(FloorGroup& g, const std::uint8_t* received) {
  // The received bytes are followed by 8 zero bytes, so every field is one 64-bit load from where they lie.
  const std::uint8_t* const padded = received;
  const std::uint8_t* header = padded + g.e2e_byte;
  std::uint16_t crc = Crc16(padded, g.e2e_byte, 0xFFFFU);
  crc = Crc16(header + 2, g.payload_length - g.e2e_byte - 2U, crc);
  const std::uint8_t id[2] = {static_cast<std::uint8_t>(g.data_id), static_cast<std::uint8_t>(g.data_id >> 8U)};
  crc = Crc16(id, 2U, crc);
  const auto received_crc = static_cast<std::uint16_t>(header[0] | (header[1] << 8U));
  const std::uint8_t counter = header[2];
  const auto delta = static_cast<std::uint8_t>(counter - g.last_counter);
  g.last_counter = counter;
  if (crc != received_crc || delta == 0U) {
    return nullptr;
  }

  auto* values =
      static_cast<SignalAdapter_SignalValue*>(::operator new(g.value_count * sizeof(SignalAdapter_SignalValue)));
  const Row* row = g.rows.data();
  for (const Row* const end = row + g.double_rows; row != end; ++row) {
    const std::uint64_t raw = (Load64(padded + row->byte) >> row->shift) & row->mask;
    const auto bits = static_cast<std::int64_t>((raw ^ row->sign) - row->sign);
    double v = static_cast<double>(bits) * row->scale + row->offset;
    v = v < row->min ? row->min : v;
    v = v > row->max ? row->max : v;
    values[row->slot].double_float = v;
  }
  for (const Row* const end = g.rows.data() + g.rows.size(); row != end; ++row) {
    const std::uint64_t raw = (Load64(padded + row->byte) >> row->shift) & row->mask;
    std::uint64_t v = raw < row->umin ? row->umin : raw;
    v = v > row->umax ? row->umax : v;
    values[row->slot].unsigned_int = v;
  }
  return values;
}

constexpr rs::Mode kModes[4] = {rs::Mode::kShortRange, rs::Mode::kNearRange, rs::Mode::kMidRange, rs::Mode::kLongRange};
constexpr rs::QualityAggregated kQualities[4] = {rs::QualityAggregated::kLow, rs::QualityAggregated::kMid,
                                                 rs::QualityAggregated::kHigh, rs::QualityAggregated::kUnknown};

using Received = std::array<std::array<std::uint8_t, 64 + 8>, fsrl_bench::kGroupsPerCycle>;

// What one cycle keeps: the groups' tables and counters, the working scan (translated in place) and the published
// scan (one copy per cycle).
struct FloorState {
  std::vector<FloorGroup> groups;
  rs::CornerRadarDetections::DetectionArray working;
  rs::CornerRadarDetections published;
};

// The cycle itself, not inlined into the benchmark so that callgrind counts its instructions per call. Returns the
// number of failed checks.
__attribute__((noinline)) std::int64_t FloorCycle(FloorState& floor, const Received& received) {
  std::int64_t failures = 0;
  std::int64_t mid_range = 0;
  for (std::size_t i = 0; i < floor.groups.size(); ++i) {
    FloorGroup& g = floor.groups[i];
    SignalAdapter_SignalValue* values = ReadGroup(g, received[i].data());
    if (values == nullptr) {
      ++failures;
      continue;
    }
    if (g.index < fsrl_bench::kDetectionGroupCount) {
      const std::size_t first = g.index * 5U;
      for (std::size_t d = 0; d < 5U; ++d) {
        const DetectionSlots& s = g.detections[d];
        ::new (&floor.working[first + d]) rs::RadarDetection(
            static_cast<float>(values[s.snr].double_float), static_cast<float>(values[s.rcs].double_float),
            static_cast<float>(values[s.azimuth].double_float), static_cast<float>(values[s.elevation].double_float),
            static_cast<float>(values[s.range].double_float), static_cast<float>(values[s.range_rate].double_float),
            values[s.dyn].unsigned_int == 1U, kModes[values[s.mode].unsigned_int & 3U],
            kQualities[values[s.quality].unsigned_int & 3U]);
      }
    } else {
      mid_range += static_cast<std::int64_t>(values[0].unsigned_int);
    }
    ::operator delete(values);
  }
  floor.published.set_detections(floor.working);
  benchmark::DoNotOptimize(mid_range);
  return failures;
}

void BM_Floor_InputCycle(benchmark::State& state) {
  fsrl_bench::ScanFrames frames;
  std::vector<std::size_t> order;
  order.push_back(fsrl_bench::kStatus1Group);
  order.push_back(fsrl_bench::kStatus2Group);
  for (std::size_t g = 0; g < fsrl_bench::kDetectionGroupCount; ++g) {
    order.push_back(g);
  }
  auto floor = std::make_unique<FloorState>();
  for (const std::size_t g : order) {
    floor->groups.push_back(MakeGroup(g, frames.Payload(g, 0U).size()));
  }
  // The received payloads, staged before the timed part as the signal service holds them when a cycle starts.
  Received received{};
  std::uint64_t k = 0;
  std::int64_t failures = 0;
  fsrl_bench::IterationTimes times;
  for (auto _ : state) {
    for (std::size_t i = 0; i < order.size(); ++i) {
      const std::vector<std::uint8_t>& payload = frames.Payload(order[i], k);
      std::memcpy(received[i].data(), payload.data(), payload.size());
    }
    ++k;
    const Clock::time_point begin = Clock::now();
    failures += FloorCycle(*floor, received);
    const Clock::time_point end = Clock::now();
    benchmark::DoNotOptimize(floor->published);
    times.Add(state, fsrl_bench::Seconds(begin, end));
  }
  times.Report(state);
  if (failures != 0) {
    state.SkipWithError("a payload failed its check");
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_Floor_InputCycle)->UseManualTime();

}  // namespace
