#include "bench_frames.h"

#include <cstring>
#include <string_view>

#include "device_activator/device_activation_service.h"
#include "device_activator/device_activator.h"
#include "initialfrontsideradarlefthal_e2e_database.h"
#include "initialfrontsideradarlefthal_signal_groups_meta.h"
#include "zol/afw/core/transaction.h"
#include "zol/afw/core/transaction_testing.h"
#include "zol/e2e/signal_codec.h"
#include "zol/memory/span.h"
#include "zol/signalcomm/service.h"

namespace fsrl_bench {
namespace {

namespace meta = initialfrontsideradarlefthal::meta;

// Sensor time of scan 0, in nanoseconds; later scans follow at kScanPeriodNs.
constexpr std::uint64_t kFirstScanTimeNs = 1000000000U;

std::string FieldName(std::size_t group, const char* suffix) {
  return std::string(meta::kSignalGroups[group].stem) + suffix;
}

// A raw value for every signal that decodes strictly inside the signal's physical range, varying with the scan
// and the slot, so that decoding does real work and never clamps.
std::uint64_t RawValue(const SignalAdapter_Signal& signal, std::uint64_t variation) {
  const std::uint64_t field_max =
      signal.value_bit_length >= 64U ? ~std::uint64_t{0} : ((std::uint64_t{1} << signal.value_bit_length) - 1U);
  const bool scaled = (signal.codec_flags & SIGNAL_DB_SIGNAL_CODEC_FLAGS_FACTOR_OFFSET_FLOAT) != 0U &&
                      (signal.codec_flags & SIGNAL_DB_SIGNAL_CODEC_FLAGS_SKIP_FACTOR_OFFSET_CALC) == 0U;
  if (scaled) {
    const double min = signal.value_min_max.min.double_float;
    const double max = signal.value_min_max.max.double_float;
    const double fraction = 0.05 + 0.9 * static_cast<double>(variation % 1000U) / 1000.0;
    const std::uint64_t raw = zol::e2e::EncodePhysical(signal, min + (max - min) * fraction);
    return raw > field_max ? field_max : raw;
  }
  const std::uint64_t max = signal.value_min_max.max.unsigned_int;
  const std::uint64_t limit = max < field_max ? max : field_max;
  return limit == ~std::uint64_t{0} ? variation : variation % (limit + 1U);
}

fsrl::GroupPayloadBuilder MakeBuilder(std::size_t group, std::uint64_t scan) {
  fsrl::GroupPayloadBuilder builder(group);
  const std::size_t count = fsrl::GroupSignalCount(group);
  for (std::size_t slot = 0; slot < count; ++slot) {
    builder.SetRaw(slot, RawValue(*fsrl::GroupSignal(group, slot), scan * 7919U + slot * 104729U + group * 13U));
  }
  return builder;
}

void SetField(fsrl::GroupPayloadBuilder& builder, const char* suffix, std::uint64_t raw) {
  builder.SetRaw(FieldName(builder.group_index(), suffix), raw);
}

// Status 1 of scan k: the fields that make the scan publishable (scan id, time stamps) and a healthy sensor.
void SetStatus1(fsrl::GroupPayloadBuilder& builder, std::uint64_t k) {
  const std::uint64_t mid_range = kFirstScanTimeNs + k * kScanPeriodNs;
  SetField(builder, "scan_id", k & 0xFFU);
  SetField(builder, "time_stamp0", mid_range - 3000000U);
  SetField(builder, "time_stamp1", mid_range - 2000000U);
  SetField(builder, "time_stamp2", mid_range);
  SetField(builder, "time_stamp3", mid_range + 1000000U);
  SetField(builder, "rdr_sts_detn", 1U);
  SetField(builder, "rdr_emsn_sts", 1U);
  SetField(builder, "dtn_list_fault_reason", 0U);
  SetField(builder, "time_stamp_status", 1U);
}

}  // namespace

ScanFrames::ScanFrames() : status1_(kStatus1Group) {
  for (std::size_t group = 0; group < fsrl::kGroupCount; ++group) {
    if (group == kStatus1Group) {
      continue;
    }
    by_scan_[group].reserve(256U);
    for (std::uint64_t k = 0; k < 256U; ++k) {
      fsrl::GroupPayloadBuilder builder = MakeBuilder(group, k);
      SetField(builder, "scan_id", k);
      by_scan_[group].push_back(builder.Build(static_cast<std::uint8_t>(k)));
    }
  }
  status1_ = MakeBuilder(kStatus1Group, 0U);
}

const std::vector<std::uint8_t>& ScanFrames::Payload(std::size_t group, std::uint64_t k) {
  if (group != kStatus1Group) {
    return by_scan_[group][k & 0xFFU];
  }
  if (status1_scan_ != k) {
    SetStatus1(status1_, k);
    status1_payload_ = status1_.Build(static_cast<std::uint8_t>(k & 0xFFU));
    status1_scan_ = k;
  }
  return status1_payload_;
}

void ScanFrames::Connect() {
  auto& service = zol::signalcomm::Service::Instance();
  service.DefineSignalGroups(initialfrontsideradarlefthal_signal_groups,
                             initialfrontsideradarlefthal_signal_group_count);
  for (std::size_t group = 0; group < fsrl::kGroupCount; ++group) {
    const std::string_view name = fsrl::GroupName(group);
    identities_[group] = service.IdentityOf(zol::string_view(name.data(), name.size()));
  }
}

void ScanFrames::Publish(std::size_t group, std::uint64_t k) {
  const std::vector<std::uint8_t>& payload = Payload(group, k);
  zol::signalcomm::Service::Instance().Publish(identities_[group],
                                               zol::memory::span<const std::uint8_t>(payload.data(), payload.size()));
}

void ScanFrames::PublishDetections(std::uint64_t k) {
  for (std::size_t group = 0; group < kDetectionGroupCount; ++group) {
    Publish(group, k);
  }
}

void ScanFrames::PublishCycle(std::uint64_t k) {
  Publish(kStatus1Group, k);
  Publish(kStatus2Group, k);
  PublishDetections(k);
}

std::string MakeCandumpLog(std::uint32_t scans, std::int64_t period_ns) {
  ScanFrames frames;
  std::string log;
  log.reserve(static_cast<std::size_t>(scans) * fsrl::kGroupCount * 160U);
  const std::int64_t start_ns = 1700000000000000000;
  for (std::uint32_t k = 0; k < scans; ++k) {
    for (std::size_t group = 0; group < fsrl::kGroupCount; ++group) {
      const std::vector<std::uint8_t>& payload = frames.Payload(group, k);
      std::uint8_t data[64] = {};
      std::memcpy(data, payload.data(), payload.size());
      const std::int64_t t =
          start_ns + static_cast<std::int64_t>(k) * period_ns + static_cast<std::int64_t>(group) * 100000;
      log += fsrl::FormatCandumpLine(
          t, "can0", fsrl::CanId{fsrl::FrameMap::kDefaultBaseId + static_cast<std::uint32_t>(group), false}, data,
          fsrl::CanFdLength(payload.size()), true);
    }
  }
  return log;
}

void ResetPlatform() {
  zol::afw::core::TransactionTesting::Reset();
  zol::signalcomm::Service::Instance().Reset();
  device_activator::DeviceActivationService::Instance().Reset();
}

}  // namespace fsrl_bench
