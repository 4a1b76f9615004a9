#include "fsrl/replay_jsonl.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <utility>

#include "fsrl/json_reader.h"
#include "radar_names.h"

namespace fsrl {
namespace {

// Reads fields of one object; the first problem is kept in error_ and every later read fails quietly.
class FieldReader {
 public:
  FieldReader(const JsonValue& object, std::string& error, std::string prefix = {})
      : object_(object), error_(error), prefix_(std::move(prefix)) {}

  const JsonValue* Get(const char* key, JsonValue::Kind kind) {
    if (!error_.empty()) {
      return nullptr;
    }
    const JsonValue* value = object_.Find(key);
    if (value == nullptr) {
      error_ = "missing field '" + prefix_ + key + "'";
      return nullptr;
    }
    if (value->kind != kind) {
      error_ = "field '" + prefix_ + key + "' has the wrong type";
      return nullptr;
    }
    return value;
  }
  // A float as the writer gives it: its shortest text, or null when it was not finite (read back as NaN).
  float Float(const char* key) {
    const JsonValue* value = object_.Find(key);
    if (error_.empty() && value != nullptr && value->kind == JsonValue::Kind::kNull) {
      return std::numeric_limits<float>::quiet_NaN();
    }
    value = Get(key, JsonValue::Kind::kNumber);
    return value == nullptr ? 0.0F : std::strtof(value->text.c_str(), nullptr);
  }
  bool Bool(const char* key) {
    const JsonValue* value = Get(key, JsonValue::Kind::kBool);
    return value != nullptr && value->boolean;
  }
  template <typename Integer>
  Integer Int(const char* key) {
    const JsonValue* value = Get(key, JsonValue::Kind::kNumber);
    Integer result{};
    if (value != nullptr) {
      const char* end = value->text.data() + value->text.size();
      const auto parsed = std::from_chars(value->text.data(), end, result);
      if (parsed.ec != std::errc() || parsed.ptr != end) {
        error_ = "field '" + prefix_ + key + "' is not an integer in range: " + value->text;
      }
    }
    return result;
  }
  // An enumeration: its name as the writer spells it, or the integer it writes for a value without a name.
  template <typename Enum, std::size_t N>
  Enum Enumeration(const char* key, const std::array<Enum, N>& values) {
    const JsonValue* value = object_.Find(key);
    if (error_.empty() && value != nullptr && value->kind == JsonValue::Kind::kNumber) {
      return static_cast<Enum>(Int<std::uint32_t>(key));
    }
    value = Get(key, JsonValue::Kind::kString);
    if (value == nullptr) {
      return values[0];
    }
    for (const Enum candidate : values) {
      if (value->text == internal::NameOf(candidate)) {
        return candidate;
      }
    }
    error_ = "field '" + prefix_ + key + "' names no value: " + value->text;
    return values[0];
  }
  FieldReader Object(const char* key) {
    static const JsonValue kEmpty;
    const JsonValue* value = Get(key, JsonValue::Kind::kObject);
    return FieldReader(value != nullptr ? *value : kEmpty, error_, prefix_ + key + ".");
  }

 private:
  const JsonValue& object_;
  std::string& error_;
  std::string prefix_;
};

// Seconds as the replay writes them ("1700000000.05", at most nine fractional digits) to nanoseconds, exactly.
bool ParseSeconds(const std::string& text, std::int64_t& ns) {
  std::size_t i = 0;
  const bool negative = !text.empty() && text[0] == '-';
  i += negative ? 1 : 0;
  std::int64_t seconds = 0;
  const std::size_t digits_start = i;
  while (i < text.size() && text[i] >= '0' && text[i] <= '9') {
    if (seconds > (INT64_MAX / 1'000'000'000) / 10) {
      return false;
    }
    seconds = seconds * 10 + (text[i++] - '0');
  }
  if (i == digits_start) {
    return false;
  }
  std::int64_t fraction = 0;
  int fraction_digits = 0;
  if (i < text.size() && text[i] == '.') {
    ++i;
    while (i < text.size() && text[i] >= '0' && text[i] <= '9' && fraction_digits < 9) {
      fraction = fraction * 10 + (text[i++] - '0');
      ++fraction_digits;
    }
  }
  if (i != text.size()) {
    return false;  // more than nine fractional digits, or an exponent: not a time the replay writes
  }
  for (; fraction_digits < 9; ++fraction_digits) {
    fraction *= 10;
  }
  ns = seconds * 1'000'000'000 + fraction;
  ns = negative ? -ns : ns;
  return true;
}

constexpr std::array<radar_service::Mode, 4> kModes = {radar_service::Mode::kShortRange,
                                                       radar_service::Mode::kNearRange, radar_service::Mode::kMidRange,
                                                       radar_service::Mode::kLongRange};
constexpr std::array<radar_service::QualityAggregated, 4> kQualities = {
    radar_service::QualityAggregated::kLow, radar_service::QualityAggregated::kMid,
    radar_service::QualityAggregated::kHigh, radar_service::QualityAggregated::kUnknown};
constexpr std::array<radar_service::SensorBlockage, 3> kBlockages = {radar_service::SensorBlockage::kBlockageUnknown,
                                                                     radar_service::SensorBlockage::kFullBlockage,
                                                                     radar_service::SensorBlockage::kNoBlockage};
constexpr std::array<radar_service::Interference, 3> kInterferences = {
    radar_service::Interference::kInterferenceUnknown, radar_service::Interference::kFullInterference,
    radar_service::Interference::kNoInterference};
constexpr std::array<radar_service::CalibrationStatus, 3> kCalibrations = {
    radar_service::CalibrationStatus::kNotStarted, radar_service::CalibrationStatus::kNotComplete,
    radar_service::CalibrationStatus::kComplete};

void ReadDetections(FieldReader& line, radar_service::CornerRadarDetections& scan, std::string& error) {
  radar_service::RadarDetectionsInfo info;
  info.set_scan_id(line.Int<std::uint8_t>("scan_id"));
  info.set_is_valid(line.Bool("is_valid"));
  FieldReader stamps = line.Object("time_stamps");
  radar_service::ScanTimeStamp time_stamps;
  time_stamps.set_short_range(stamps.Int<std::int64_t>("short_range"));
  time_stamps.set_near_range(stamps.Int<std::int64_t>("near_range"));
  time_stamps.set_mid_range(stamps.Int<std::int64_t>("mid_range"));
  time_stamps.set_long_range(stamps.Int<std::int64_t>("long_range"));
  info.set_time_stamps(time_stamps);
  FieldReader mounting = line.Object("mounting");
  radar_service::RadarMountingInformation mounting_information;
  mounting_information.set_x_offset(mounting.Float("x_offset"));
  mounting_information.set_y_offset(mounting.Float("y_offset"));
  mounting_information.set_phi_offset(mounting.Float("phi_offset"));
  info.set_mounting_information(mounting_information);
  scan.set_info(info);
  const JsonValue* items = line.Get("detections", JsonValue::Kind::kArray);
  if (items == nullptr) {
    return;
  }
  auto detections = scan.detections();
  if (items->items.size() != detections.size()) {
    error = "field 'detections' has " + std::to_string(items->items.size()) + " entries instead of " +
            std::to_string(detections.size());
    return;
  }
  for (std::size_t i = 0; i < detections.size() && error.empty(); ++i) {
    if (items->items[i].kind != JsonValue::Kind::kObject) {
      error = "detections[" + std::to_string(i) + "] is not an object";
      return;
    }
    FieldReader item(items->items[i], error, "detections[" + std::to_string(i) + "].");
    radar_service::RadarDetection& detection = detections[i];
    detection.set_snr(item.Float("snr"));
    detection.set_rcs(item.Float("rcs"));
    detection.set_azimuth(item.Float("azimuth"));
    detection.set_elevation(item.Float("elevation"));
    detection.set_range(item.Float("range"));
    detection.set_range_rate(item.Float("range_rate"));
    detection.set_is_dynamic(item.Bool("is_dynamic"));
    detection.set_mode(item.Enumeration("mode", kModes));
    detection.set_quality_aggregated(item.Enumeration("quality_aggregated", kQualities));
  }
  scan.set_detections(detections);
}

void ReadStatus(FieldReader& line, radar_service::RadarStatus& status) {
  status.set_scan_id(line.Int<std::uint8_t>("scan_id"));
  status.set_azimuth_alignment_error(line.Float("azimuth_alignment_error"));
  status.set_elevation_alignment_error(line.Float("elevation_alignment_error"));
  status.set_blockage(line.Enumeration("blockage", kBlockages));
  status.set_interference(line.Enumeration("interference", kInterferences));
  status.set_calibration_status(line.Enumeration("calibration_status", kCalibrations));
  FieldReader fault = line.Object("fault_reason");
  radar_service::FaultReason reason;
  reason.set_is_communication_faulty(fault.Bool("is_communication_faulty"));
  reason.set_is_hardware_faulty(fault.Bool("is_hardware_faulty"));
  reason.set_is_software_faulty(fault.Bool("is_software_faulty"));
  reason.set_is_car_config_faulty(fault.Bool("is_car_config_faulty"));
  reason.set_is_system_safety_faulty(fault.Bool("is_system_safety_faulty"));
  reason.set_is_calibration_faulty(fault.Bool("is_calibration_faulty"));
  status.set_fault_reason(reason);
  status.set_is_sensor_status_on(line.Bool("is_sensor_status_on"));
  status.set_is_transmission_activated(line.Bool("is_transmission_activated"));
  status.set_is_system_failing(line.Bool("is_system_failing"));
  status.set_is_time_sync_ok(line.Bool("is_time_sync_ok"));
  status.set_flr_temperature(line.Float("flr_temperature"));
}

}  // namespace

bool ParseReplayLine(std::string_view line, ReplayLine& out, std::string& error) {
  JsonValue root;
  std::string parse_error;
  if (!ParseJson(line, root, parse_error)) {
    error = "not JSON: " + parse_error;
    return false;
  }
  if (root.kind != JsonValue::Kind::kObject) {
    error = "not a JSON object";
    return false;
  }
  const JsonValue& type = root["type"];
  out.kind = ReplayLine::Kind::kOther;
  if (type.kind != JsonValue::Kind::kString || (type.text != "detections" && type.text != "status")) {
    return true;
  }
  std::string field_error;
  FieldReader reader(root, field_error);
  const JsonValue* t = reader.Get("t", JsonValue::Kind::kNumber);
  if (t != nullptr && !ParseSeconds(t->text, out.t_ns)) {
    field_error = "field 't' is not a time in seconds with at most nine decimals: " + t->text;
  }
  if (type.text == "detections") {
    out.kind = ReplayLine::Kind::kDetections;
    out.detections = radar_service::CornerRadarDetections();
    ReadDetections(reader, out.detections, field_error);
  } else {
    out.kind = ReplayLine::Kind::kStatus;
    out.status = radar_service::RadarStatus();
    ReadStatus(reader, out.status);
  }
  if (!field_error.empty()) {
    error = field_error;
    return false;
  }
  return true;
}

bool FeedReplayJsonl(std::string_view jsonl, const std::string& name, ReplaySink& sink, std::string& error) {
  std::uint64_t line_number = 0;
  std::size_t start = 0;
  ReplayLine parsed;
  while (start < jsonl.size()) {
    std::size_t end = jsonl.find('\n', start);
    if (end == std::string_view::npos) {
      end = jsonl.size();
    }
    std::string_view line = jsonl.substr(start, end - start);
    start = end + 1;
    ++line_number;
    if (!line.empty() && line.back() == '\r') {
      line.remove_suffix(1);
    }
    if (line.find_first_not_of(" \t") == std::string_view::npos) {
      continue;
    }
    std::string why;
    if (!ParseReplayLine(line, parsed, why)) {
      error = name + ":" + std::to_string(line_number) + ": " + why;
      return false;
    }
    if (parsed.kind == ReplayLine::Kind::kDetections) {
      sink.OnDetections(parsed.t_ns, parsed.detections);
    } else if (parsed.kind == ReplayLine::Kind::kStatus) {
      sink.OnStatus(parsed.t_ns, parsed.status);
    }
  }
  return true;
}

}  // namespace fsrl
