// Replay concern: the JSON output, one line per notification of the HAL.
#include "replay_json.h"

#include <array>
#include <string>
#include <string_view>

#include "fsrl/candump_reader.h"
#include "radar_names.h"

namespace fsrl {
namespace internal {
namespace {

// Values of an enumeration whose JSON text is made once: every enumerator of the radar data model is below it.
constexpr std::uint64_t kPreparedEnumValues = 16;

// The JSON text of @p value when it is below kPreparedEnumValues, made once per type: the quoted enumerator name (an
// identifier, so nothing to escape), or the number for a value without one. Empty for a larger value.
template <typename Enum>
std::string_view PreparedEnumText(Enum value) {
  static const std::array<std::string, kPreparedEnumValues> kTexts = [] {
    std::array<std::string, kPreparedEnumValues> texts;
    for (std::uint64_t raw = 0; raw < kPreparedEnumValues; ++raw) {
      const char* name = NameOf(static_cast<Enum>(raw));
      texts[raw] = name != nullptr ? "\"" + std::string(name) + "\"" : std::to_string(raw);
    }
    return texts;
  }();
  const auto raw = static_cast<std::uint64_t>(value);
  return raw < kPreparedEnumValues ? std::string_view(kTexts[raw]) : std::string_view();
}

template <typename Enum>
void WriteEnum(JsonWriter& json, Enum value) {
  const std::string_view prepared = PreparedEnumText(value);
  if (!prepared.empty()) {
    json.RawValue(prepared);
    return;
  }
  const char* name = NameOf(value);
  if (name != nullptr) {
    json.String(name);
  } else {
    json.UInt(static_cast<std::uint64_t>(value));
  }
}

// Keys are written millions of times on a long log; they are prepared once.
#define FSRL_KEY(name) "\"" #name "\": "
constexpr std::string_view kKeySnr = FSRL_KEY(snr);
constexpr std::string_view kKeyRcs = FSRL_KEY(rcs);
constexpr std::string_view kKeyAzimuth = FSRL_KEY(azimuth);
constexpr std::string_view kKeyElevation = FSRL_KEY(elevation);
constexpr std::string_view kKeyRange = FSRL_KEY(range);
constexpr std::string_view kKeyRangeRate = FSRL_KEY(range_rate);
constexpr std::string_view kKeyIsDynamic = FSRL_KEY(is_dynamic);
constexpr std::string_view kKeyMode = FSRL_KEY(mode);
constexpr std::string_view kKeyQuality = FSRL_KEY(quality_aggregated);
#undef FSRL_KEY

}  // namespace

void WriteTime(JsonWriter& json, std::int64_t ns) {
  char text[32];
  json.RawNumber(std::string_view(text, FormatSeconds(ns, text)));
}

void WriteDetectionsLine(JsonWriter& json, std::int64_t t_ns, const radar_service::CornerRadarDetections& scan) {
  const radar_service::RadarDetectionsInfo& info = scan.info();
  json.BeginObject();
  json.Key("type");
  json.String("detections");
  json.Key("t");
  WriteTime(json, t_ns);
  json.Key("scan_id");
  json.UInt(info.scan_id());
  json.Key("is_valid");
  json.Bool(info.is_valid());
  json.Key("time_stamps");
  json.BeginObject();
  json.Key("short_range");
  json.Int(info.time_stamps().short_range());
  json.Key("near_range");
  json.Int(info.time_stamps().near_range());
  json.Key("mid_range");
  json.Int(info.time_stamps().mid_range());
  json.Key("long_range");
  json.Int(info.time_stamps().long_range());
  json.EndObject();
  json.Key("mounting");
  json.BeginObject();
  json.Key("x_offset");
  json.Float(info.mounting_information().x_offset());
  json.Key("y_offset");
  json.Float(info.mounting_information().y_offset());
  json.Key("phi_offset");
  json.Float(info.mounting_information().phi_offset());
  json.EndObject();
  json.Key("detections");
  json.BeginArray();
  for (const radar_service::RadarDetection& detection : scan.detections()) {
    json.BeginObject();
    json.PreparedKey(kKeySnr);
    json.Float(detection.snr());
    json.PreparedKey(kKeyRcs);
    json.Float(detection.rcs());
    json.PreparedKey(kKeyAzimuth);
    json.Float(detection.azimuth());
    json.PreparedKey(kKeyElevation);
    json.Float(detection.elevation());
    json.PreparedKey(kKeyRange);
    json.Float(detection.range());
    json.PreparedKey(kKeyRangeRate);
    json.Float(detection.range_rate());
    json.PreparedKey(kKeyIsDynamic);
    json.Bool(detection.is_dynamic());
    json.PreparedKey(kKeyMode);
    WriteEnum(json, detection.mode());
    json.PreparedKey(kKeyQuality);
    WriteEnum(json, detection.quality_aggregated());
    json.EndObject();
  }
  json.EndArray();
  json.EndObject();
  json.EndLine();
}

void WriteStatusLine(JsonWriter& json, std::int64_t t_ns, const radar_service::RadarStatus& status) {
  json.BeginObject();
  json.Key("type");
  json.String("status");
  json.Key("t");
  WriteTime(json, t_ns);
  json.Key("scan_id");
  json.UInt(status.scan_id());
  json.Key("azimuth_alignment_error");
  json.Float(status.azimuth_alignment_error());
  json.Key("elevation_alignment_error");
  json.Float(status.elevation_alignment_error());
  json.Key("blockage");
  WriteEnum(json, status.blockage());
  json.Key("interference");
  WriteEnum(json, status.interference());
  json.Key("calibration_status");
  WriteEnum(json, status.calibration_status());
  json.Key("fault_reason");
  const radar_service::FaultReason& fault = status.fault_reason();
  json.BeginObject();
  json.Key("is_communication_faulty");
  json.Bool(fault.is_communication_faulty());
  json.Key("is_hardware_faulty");
  json.Bool(fault.is_hardware_faulty());
  json.Key("is_software_faulty");
  json.Bool(fault.is_software_faulty());
  json.Key("is_car_config_faulty");
  json.Bool(fault.is_car_config_faulty());
  json.Key("is_system_safety_faulty");
  json.Bool(fault.is_system_safety_faulty());
  json.Key("is_calibration_faulty");
  json.Bool(fault.is_calibration_faulty());
  json.EndObject();
  json.Key("is_sensor_status_on");
  json.Bool(status.is_sensor_status_on());
  json.Key("is_transmission_activated");
  json.Bool(status.is_transmission_activated());
  json.Key("is_system_failing");
  json.Bool(status.is_system_failing());
  json.Key("is_time_sync_ok");
  json.Bool(status.is_time_sync_ok());
  json.Key("flr_temperature");
  json.Float(status.flr_temperature());
  json.EndObject();
  json.EndLine();
}

}  // namespace internal

}  // namespace fsrl
