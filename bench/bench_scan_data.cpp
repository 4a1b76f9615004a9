// The scan store: translating one scan's decoded records into the data model and publishing the scan.
#include <benchmark/benchmark.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "initialfrontsideradarlefthal_detection_groups.h"
#include "initialfrontsideradarlefthal_signal_groups.h"
#include "initialfrontsideradarlefthal_signal_groups_meta.h"
#include "radarScanDataManager.h"

namespace {

namespace types = initialfrontsideradarlefthal::types;
namespace meta = initialfrontsideradarlefthal::meta;

// Fills every field of a record with a value of its kind, as decoding would: physical values as doubles,
// enumerations running through small raw values.
void FillRecord(std::size_t group, void* record) {
  const meta::GroupInfo& info = meta::kSignalGroups[group];
  auto* base = static_cast<unsigned char*>(record);
  for (std::size_t i = 0; i < info.field_count; ++i) {
    const meta::FieldInfo& field = info.fields[i];
    unsigned char* at = base + field.byte_offset;
    switch (field.kind) {
      case meta::FieldKind::kDouble: {
        const double value = 1.0 + 0.25 * static_cast<double>(i);
        std::memcpy(at, &value, sizeof value);
        break;
      }
      case meta::FieldKind::kUInt8:
      case meta::FieldKind::kEnum8:
        *at = static_cast<unsigned char>(i % 3U);
        break;
      case meta::FieldKind::kUInt16:
      case meta::FieldKind::kEnum16: {
        const auto value = static_cast<std::uint16_t>(i % 3U);
        std::memcpy(at, &value, sizeof value);
        break;
      }
      case meta::FieldKind::kUInt64: {
        const std::uint64_t value = i;
        std::memcpy(at, &value, sizeof value);
        break;
      }
    }
  }
}

// The scan id field of a detection record, found by its name.
unsigned char* ScanIdField(std::size_t group, void* record) {
  const meta::GroupInfo& info = meta::kSignalGroups[group];
  const std::string name = std::string(info.stem) + "scan_id";
  for (std::size_t i = 0; i < info.field_count; ++i) {
    if (name == info.fields[i].name) {
      return static_cast<unsigned char*>(record) + info.fields[i].byte_offset;
    }
  }
  return nullptr;
}

// The records of one scan as the HAL core holds them after its reads.
struct ScanRecords {
  ScanRecords() {
#define FSRL_BENCH_FILL(suffix, record_type, first_detection, accessor)            \
  FillRecord(meta::GroupIndexOf<types::record_type>::value, &detections_##suffix); \
  scan_id_fields[meta::GroupIndexOf<types::record_type>::value] =                  \
      ScanIdField(meta::GroupIndexOf<types::record_type>::value, &detections_##suffix);
    FSRL_FOR_EACH_DETECTION_GROUP(FSRL_BENCH_FILL)
#undef FSRL_BENCH_FILL
    FillRecord(meta::GroupIndexOf<types::RSDS4SigSts1>::value, &status1);
    FillRecord(meta::GroupIndexOf<types::RSDS4SigSts2>::value, &status2);
    status1.rsds4sig_sts1rdr_sts_detn = types::RSDS4SigSts1RdrStsDetnEnum::RdrStsDetn_Active;
  }

  // Scan k: scan id k mod 256 everywhere, time stamps growing with k.
  void SetScan(std::uint64_t k) {
    const auto scan_id = static_cast<std::uint8_t>(k & 0xFFU);
    for (unsigned char* field : scan_id_fields) {
      *field = scan_id;
    }
    const std::uint64_t mid_range = 1000000000U + k * 50000000U;
    status1.rsds4sig_sts1scan_id = scan_id;
    status1.rsds4sig_sts1time_stamp0 = mid_range - 3000000U;
    status1.rsds4sig_sts1time_stamp1 = mid_range - 2000000U;
    status1.rsds4sig_sts1time_stamp2 = mid_range;
    status1.rsds4sig_sts1time_stamp3 = mid_range + 1000000U;
    status2.rsds4sig_sts2scan_id = scan_id;
  }

  std::array<unsigned char*, 40> scan_id_fields{};
  types::RSDS4SigSts1 status1{};
  types::RSDS4SigSts2 status2{};
#define FSRL_BENCH_MEMBER(suffix, record_type, first_detection, accessor) types::record_type detections_##suffix{};
  FSRL_FOR_EACH_DETECTION_GROUP(FSRL_BENCH_MEMBER)
#undef FSRL_BENCH_MEMBER
};

// One scan through the store in the order the input cycle drives it: status slots started, both statuses
// translated and the status published; the detection slot started, 40 groups (200 detections) translated and the
// scan published. Returns how many of the two were not published. Not inlined, so that an instruction count can
// name it.
[[gnu::noinline]] int TranslateAndPublishScan(RadarScanDataManager& manager, ScanRecords& records, std::uint64_t k) {
  records.SetScan(k);
  const std::uint8_t scan_id = records.status1.rsds4sig_sts1scan_id;
  int unpublished = 0;
  manager.InitializeStatusData(scan_id);
  manager.InitializeDetectionsData(scan_id);
  manager.TranslateAndStoreStatus(records.status1);
  manager.TranslateAndStoreStatus(records.status2);
  unpublished += manager.UpdateLatestCompleteStatus(scan_id) ? 0 : 1;
  manager.InitializeDetectionsData(scan_id);
#define FSRL_BENCH_TRANSLATE(suffix, record_type, first_detection, accessor) \
  manager.TranslateAndStoreDetection##suffix(records.detections_##suffix);
  FSRL_FOR_EACH_DETECTION_GROUP(FSRL_BENCH_TRANSLATE)
#undef FSRL_BENCH_TRANSLATE
  unpublished += manager.UpdateLatestCompleteDetections(scan_id) ? 0 : 1;
  return unpublished;
}

void BM_ScanManager_TranslateAndPublish(benchmark::State& state) {
  auto manager = std::make_unique<RadarScanDataManager>();
  auto records = std::make_unique<ScanRecords>();
  std::uint64_t k = 0;
  std::int64_t unpublished = 0;
  for (auto _ : state) {
    unpublished += TranslateAndPublishScan(*manager, *records, k++);
    benchmark::ClobberMemory();
  }
  if (unpublished != 0) {
    state.SkipWithError("a scan or status was not published");
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_ScanManager_TranslateAndPublish);

}  // namespace
