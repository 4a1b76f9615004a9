// The E2E library: the profile 5 check of a 48-byte detection payload, and the decoding of a detection group.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "bench_frames.h"
#include "initialfrontsideradarlefthal_e2e_database.h"
#include "zol/e2e/check_signal_group.h"
#include "zol/e2e/e2e_protection.h"
#include "zol/e2e/signal_group_context.h"

namespace {

zol::e2e::SignalGroupContext DetectionGroupContext() {
  return zol::e2e::InitializeSignalGroup(0U, initialfrontsideradarlefthal_signal_groups,
                                         initialfrontsideradarlefthal_signals, nullptr);
}

// The check of one new 48-byte payload whose counter is the next one: length check, CRC over 46 bytes and the
// data id, counter step. The 256 payloads differ only in counter and CRC, and arrive in counter order.
void BM_E2eP05_Check48(benchmark::State& state) {
  const zol::e2e::SignalGroupContext context = DetectionGroupContext();
  zol::e2e::E2eProtectionProfile5Ptr protection = zol::e2e::E2eProtectionProfile5::Create(context);
  fsrl_bench::ScanFrames frames;
  std::vector<std::vector<std::uint8_t>> payloads;
  for (std::uint64_t k = 0; k < 256U; ++k) {
    payloads.push_back(frames.Payload(0U, k));
  }
  std::uint64_t k = 0;
  std::int64_t not_ok = 0;
  for (auto _ : state) {
    const std::vector<std::uint8_t>& payload = payloads[k++ & 0xFFU];
    const zol::e2e::E2E_P05CheckStatusType status = protection->Check(true, payload.data(), payload.size());
    benchmark::DoNotOptimize(status);
    not_ok += status != zol::e2e::E2E_P05STATUS_OK ? 1 : 0;
  }
  // The first check of a fresh protection may step from its initial counter by more than one.
  if (not_ok > 1) {
    state.SkipWithError("a check did not report OK");
  }
  state.SetItemsProcessed(state.iterations());
  state.SetBytesProcessed(state.iterations() * 48);
}
BENCHMARK(BM_E2eP05_Check48);

// Decoding the 48 signals of a detection group held in the protection's payload buffer into a reserved value
// buffer, through CheckSignalGroup with no new data (so the check itself is trivial).
void BM_Decode_DetectionGroup(benchmark::State& state) {
  const zol::e2e::SignalGroupContext context = DetectionGroupContext();
  zol::e2e::E2eProtectionProfile5Ptr protection = zol::e2e::E2eProtectionProfile5::Create(context);
  fsrl_bench::ScanFrames frames;
  const std::vector<std::uint8_t>& payload = frames.Payload(0U, 1U);
  std::memcpy(protection->payload_buffer(), payload.data(), payload.size());
  zol::e2e::SignalStorageBuffer values;
  values.elements = context.signal_group_->signal_values_storage_total_size / sizeof(SignalAdapter_SignalValue);
  values.data.reserve(values.elements);
  for (auto _ : state) {
    const std::uint64_t result = zol::e2e::CheckSignalGroup(context, values, false, *protection);
    benchmark::DoNotOptimize(result);
    benchmark::DoNotOptimize(values.data.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_Decode_DetectionGroup);

}  // namespace
