#include "fsrl/replay_mcap.h"

#include <cmath>
#include <cstring>
#include <utility>

#include "fsrl/candump_reader.h"
#include "fsrl/json_writer.h"
#include "radar_names.h"

namespace fsrl {
namespace {

// foxglove.NumericType values of the packed fields.
constexpr int kUint8 = 1;
constexpr int kFloat32 = 7;

struct PackedField {
  const char* name;
  int offset;
  int type;
};
constexpr PackedField kPointFields[] = {
    {"x", 0, kFloat32},        {"y", 4, kFloat32},          {"z", 8, kFloat32},           {"range", 12, kFloat32},
    {"azimuth", 16, kFloat32}, {"elevation", 20, kFloat32}, {"range_rate", 24, kFloat32}, {"rcs", 28, kFloat32},
    {"snr", 32, kFloat32},     {"detection", 36, kUint8},   {"quality", 37, kUint8},      {"mode", 38, kUint8},
    {"is_dynamic", 39, kUint8}};

// Appending JSON text to a message. Keys are plain identifiers, written as they are.
void Key(std::string& out, const char* key) {
  out += '"';
  out += key;
  out += "\":";
}
void AppendFloat(std::string& out, float value) {
  char text[32];
  out.append(text, FormatFloat(value, text));  // null when not finite, as the JSON lines have it
}
void AppendDouble(std::string& out, double value) {
  char text[32];
  out.append(text, FormatDouble(value, text));
}
void AppendBool(std::string& out, bool value) { out += value ? "true" : "false"; }
template <typename Enum>
void AppendEnum(std::string& out, Enum value) {
  const char* name = internal::NameOf(value);
  if (name != nullptr) {
    out += '"';
    out += name;
    out += '"';
  } else {
    out += std::to_string(static_cast<std::uint64_t>(value));
  }
}
void AppendTime(std::string& out, std::uint64_t ns) {
  out += "{\"sec\":";
  out += std::to_string(ns / 1'000'000'000U);
  out += ",\"nsec\":";
  out += std::to_string(ns % 1'000'000'000U);
  out += '}';
}

void PutFloat(std::string& out, float value) {
  std::uint32_t bits = 0;
  std::memcpy(&bits, &value, sizeof bits);
  for (int i = 0; i < 4; ++i) {
    out.push_back(static_cast<char>((bits >> (8 * i)) & 0xFFU));
  }
}

void AppendBase64(std::string& out, const std::string& bytes) {
  static const char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::size_t i = 0;
  for (; i + 3 <= bytes.size(); i += 3) {
    const std::uint32_t v = (static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[i])) << 16U) |
                            (static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[i + 1])) << 8U) |
                            static_cast<unsigned char>(bytes[i + 2]);
    out += kAlphabet[(v >> 18U) & 63U];
    out += kAlphabet[(v >> 12U) & 63U];
    out += kAlphabet[(v >> 6U) & 63U];
    out += kAlphabet[v & 63U];
  }
  const std::size_t rest = bytes.size() - i;
  if (rest > 0) {
    std::uint32_t v = static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[i])) << 16U;
    if (rest == 2) {
      v |= static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[i + 1])) << 8U;
    }
    out += kAlphabet[(v >> 18U) & 63U];
    out += kAlphabet[(v >> 12U) & 63U];
    out += rest == 2 ? kAlphabet[(v >> 6U) & 63U] : '=';
    out += '=';
  }
}

constexpr const char kTimeSchema[] = R"({"type":"object","properties":{"sec":{"type":"integer","minimum":0},)"
                                     R"("nsec":{"type":"integer","minimum":0,"maximum":999999999}}})";

}  // namespace

const char* ReplayMcapSink::PointCloudSchema() {
  static const std::string schema =
      std::string(R"({"title":"foxglove.PointCloud","type":"object","properties":{"timestamp":)") + kTimeSchema +
      R"(,"frame_id":{"type":"string"},"pose":{"type":"object","properties":{)"
      R"("position":{"type":"object","properties":{"x":{"type":"number"},"y":{"type":"number"},)"
      R"("z":{"type":"number"}},"required":["x","y","z"]},)"
      R"("orientation":{"type":"object","properties":{"x":{"type":"number"},"y":{"type":"number"},)"
      R"("z":{"type":"number"},"w":{"type":"number"}},"required":["x","y","z","w"]}},)"
      R"("required":["position","orientation"]},"point_stride":{"type":"integer","minimum":0},)"
      R"("fields":{"type":"array","items":{"type":"object","properties":{"name":{"type":"string"},)"
      R"("offset":{"type":"integer","minimum":0},"type":{"type":"integer","minimum":0,"maximum":8}},)"
      R"("required":["name","offset","type"]}},"data":{"type":"string","contentEncoding":"base64"}},)"
      R"("required":["timestamp","frame_id","pose","point_stride","fields","data"]})";
  return schema.c_str();
}

const char* ReplayMcapSink::FrameTransformSchema() {
  static const std::string schema =
      std::string(R"({"title":"foxglove.FrameTransform","type":"object","properties":{"timestamp":)") + kTimeSchema +
      R"(,"parent_frame_id":{"type":"string"},"child_frame_id":{"type":"string"},)"
      R"("translation":{"type":"object","properties":{"x":{"type":"number"},"y":{"type":"number"},)"
      R"("z":{"type":"number"}},"required":["x","y","z"]},)"
      R"("rotation":{"type":"object","properties":{"x":{"type":"number"},"y":{"type":"number"},)"
      R"("z":{"type":"number"},"w":{"type":"number"}},"required":["x","y","z","w"]}},)"
      R"("required":["timestamp","parent_frame_id","child_frame_id","translation","rotation"]})";
  return schema.c_str();
}

const char* ReplayMcapSink::StatusSchema() {
  static const std::string schema =
      std::string(R"({"title":"fsrl.RadarStatus","description":"A radar status as the HAL published it",)"
                  R"("type":"object","properties":{"timestamp":)") +
      kTimeSchema +
      R"(,"t":{"type":"number","description":"notification time, seconds"},)"
      R"("scan_id":{"type":"integer","minimum":0,"maximum":255},)"
      R"("azimuth_alignment_error":{"type":["number","null"],"description":"radians"},)"
      R"("elevation_alignment_error":{"type":["number","null"],"description":"radians"},)"
      R"("blockage":{"type":["string","integer"],"enum":["kBlockageUnknown","kFullBlockage","kNoBlockage"]},)"
      R"("interference":{"type":["string","integer"],)"
      R"("enum":["kInterferenceUnknown","kFullInterference","kNoInterference"]},)"
      R"("calibration_status":{"type":["string","integer"],"enum":["kNotStarted","kNotComplete","kComplete"]},)"
      R"("fault_reason":{"type":"object","properties":{"is_communication_faulty":{"type":"boolean"},)"
      R"("is_hardware_faulty":{"type":"boolean"},"is_software_faulty":{"type":"boolean"},)"
      R"("is_car_config_faulty":{"type":"boolean"},"is_system_safety_faulty":{"type":"boolean"},)"
      R"("is_calibration_faulty":{"type":"boolean"}},"required":["is_communication_faulty","is_hardware_faulty",)"
      R"("is_software_faulty","is_car_config_faulty","is_system_safety_faulty","is_calibration_faulty"]},)"
      R"("is_sensor_status_on":{"type":"boolean"},"is_transmission_activated":{"type":"boolean"},)"
      R"("is_system_failing":{"type":"boolean"},"is_time_sync_ok":{"type":"boolean"},)"
      R"("flr_temperature":{"type":["number","null"]}},)"
      R"("required":["timestamp","t","scan_id","azimuth_alignment_error","elevation_alignment_error","blockage",)"
      R"("interference","calibration_status","fault_reason","is_sensor_status_on","is_transmission_activated",)"
      R"("is_system_failing","is_time_sync_ok","flr_temperature"]})";
  return schema.c_str();
}

ReplayMcapSink::ReplayMcapSink(std::FILE* file, McapOptions options) : writer_(file, std::move(options)) {
  if (!writer_.Open()) {
    return;
  }
  const std::uint16_t cloud = writer_.AddSchema("foxglove.PointCloud", "jsonschema", PointCloudSchema());
  const std::uint16_t transform = writer_.AddSchema("foxglove.FrameTransform", "jsonschema", FrameTransformSchema());
  const std::uint16_t status = writer_.AddSchema("fsrl.RadarStatus", "jsonschema", StatusSchema());
  detections_channel_ = writer_.AddChannel(cloud, kMcapDetectionsTopic, "json");
  transform_channel_ = writer_.AddChannel(transform, kMcapTransformTopic, "json");
  status_channel_ = writer_.AddChannel(status, kMcapStatusTopic, "json");
}

std::optional<std::uint64_t> ReplayMcapSink::MessageTime(std::int64_t t_ns) {
  if (finished_) {
    return std::nullopt;
  }
  if (t_ns < 0) {
    ++before_epoch_;
    return std::nullopt;
  }
  return static_cast<std::uint64_t>(t_ns);
}

void ReplayMcapSink::StartMessage(std::uint64_t t_ns) {
  message_.clear();
  message_ += '{';
  Key(message_, "timestamp");
  AppendTime(message_, t_ns);
}

void ReplayMcapSink::WriteTransform(std::uint64_t t_ns, float x, float y, float phi) {
  StartMessage(t_ns);
  message_ += R"(,"parent_frame_id":")";
  message_ += kMcapVehicleFrame;
  message_ += R"(","child_frame_id":")";
  message_ += kMcapRadarFrame;
  message_ += R"(","translation":{"x":)";
  AppendFloat(message_, x);
  message_ += R"(,"y":)";
  AppendFloat(message_, y);
  message_ += R"(,"z":0},"rotation":{"x":0,"y":0,"z":)";
  // A yaw about z: the quaternion (0, 0, sin(phi/2), cos(phi/2)).
  const double half = static_cast<double>(phi) / 2.0;
  AppendDouble(message_, std::sin(half));
  message_ += R"(,"w":)";
  AppendDouble(message_, std::cos(half));
  message_ += "}}";
  writer_.Write(transform_channel_, t_ns, t_ns, message_);
}

void ReplayMcapSink::OnDetections(std::int64_t t_ns, const radar_service::CornerRadarDetections& scan) {
  const std::optional<std::uint64_t> message_time = MessageTime(t_ns);
  if (!message_time) {
    return;
  }
  const std::uint64_t time = *message_time;
  const radar_service::RadarMountingInformation& mounting = scan.info().mounting_information();
  const float x_offset = mounting.x_offset();
  const float y_offset = mounting.y_offset();
  const float phi = mounting.phi_offset();
  if (!have_mounting_ || x_offset != mounting_[0] || y_offset != mounting_[1] || phi != mounting_[2]) {
    have_mounting_ = true;
    mounting_[0] = x_offset;
    mounting_[1] = y_offset;
    mounting_[2] = phi;
    WriteTransform(time, x_offset, y_offset, phi);
  }

  points_.clear();
  std::uint8_t slot = 0;
  for (const radar_service::RadarDetection& detection : scan.detections()) {
    const std::uint8_t index = slot++;
    if (detection.quality_aggregated() == radar_service::QualityAggregated::kUnknown) {
      continue;
    }
    const double range = detection.range();
    const double angle = static_cast<double>(phi) + static_cast<double>(detection.azimuth());
    const double elevation = detection.elevation();
    const double ground = range * std::cos(elevation);
    PutFloat(points_, static_cast<float>(static_cast<double>(x_offset) + ground * std::cos(angle)));
    PutFloat(points_, static_cast<float>(static_cast<double>(y_offset) + ground * std::sin(angle)));
    PutFloat(points_, static_cast<float>(range * std::sin(elevation)));
    PutFloat(points_, detection.range());
    PutFloat(points_, detection.azimuth());
    PutFloat(points_, detection.elevation());
    PutFloat(points_, detection.range_rate());
    PutFloat(points_, detection.rcs());
    PutFloat(points_, detection.snr());
    points_.push_back(static_cast<char>(index));
    points_.push_back(static_cast<char>(static_cast<std::uint8_t>(detection.quality_aggregated())));
    points_.push_back(static_cast<char>(static_cast<std::uint8_t>(detection.mode())));
    points_.push_back(static_cast<char>(detection.is_dynamic() ? 1 : 0));
  }

  StartMessage(time);
  message_ += R"(,"frame_id":")";
  message_ += kMcapVehicleFrame;
  message_ += R"(","pose":{"position":{"x":0,"y":0,"z":0},"orientation":{"x":0,"y":0,"z":0,"w":1}},)";
  Key(message_, "point_stride");
  message_ += std::to_string(kMcapPointStride);
  message_ += R"(,"fields":[)";
  bool first = true;
  for (const PackedField& field : kPointFields) {
    message_ += first ? "" : ",";
    first = false;
    message_ += R"({"name":")";
    message_ += field.name;
    message_ += R"(","offset":)";
    message_ += std::to_string(field.offset);
    message_ += R"(,"type":)";
    message_ += std::to_string(field.type);
    message_ += '}';
  }
  message_ += R"(],"data":")";
  AppendBase64(message_, points_);
  message_ += "\"}";
  writer_.Write(detections_channel_, time, time, message_);
}

void ReplayMcapSink::OnStatus(std::int64_t t_ns, const radar_service::RadarStatus& status) {
  const std::optional<std::uint64_t> message_time = MessageTime(t_ns);
  if (!message_time) {
    return;
  }
  const std::uint64_t time = *message_time;
  StartMessage(time);
  message_ += ',';
  Key(message_, "t");
  char seconds[32];
  message_.append(seconds, FormatSeconds(t_ns, seconds));
  message_ += ',';
  Key(message_, "scan_id");
  message_ += std::to_string(status.scan_id());
  message_ += ',';
  Key(message_, "azimuth_alignment_error");
  AppendFloat(message_, status.azimuth_alignment_error());
  message_ += ',';
  Key(message_, "elevation_alignment_error");
  AppendFloat(message_, status.elevation_alignment_error());
  message_ += ',';
  Key(message_, "blockage");
  AppendEnum(message_, status.blockage());
  message_ += ',';
  Key(message_, "interference");
  AppendEnum(message_, status.interference());
  message_ += ',';
  Key(message_, "calibration_status");
  AppendEnum(message_, status.calibration_status());
  const radar_service::FaultReason& fault = status.fault_reason();
  message_ += R"(,"fault_reason":{"is_communication_faulty":)";
  AppendBool(message_, fault.is_communication_faulty());
  message_ += R"(,"is_hardware_faulty":)";
  AppendBool(message_, fault.is_hardware_faulty());
  message_ += R"(,"is_software_faulty":)";
  AppendBool(message_, fault.is_software_faulty());
  message_ += R"(,"is_car_config_faulty":)";
  AppendBool(message_, fault.is_car_config_faulty());
  message_ += R"(,"is_system_safety_faulty":)";
  AppendBool(message_, fault.is_system_safety_faulty());
  message_ += R"(,"is_calibration_faulty":)";
  AppendBool(message_, fault.is_calibration_faulty());
  message_ += R"(},"is_sensor_status_on":)";
  AppendBool(message_, status.is_sensor_status_on());
  message_ += R"(,"is_transmission_activated":)";
  AppendBool(message_, status.is_transmission_activated());
  message_ += R"(,"is_system_failing":)";
  AppendBool(message_, status.is_system_failing());
  message_ += R"(,"is_time_sync_ok":)";
  AppendBool(message_, status.is_time_sync_ok());
  message_ += R"(,"flr_temperature":)";
  AppendFloat(message_, status.flr_temperature());
  message_ += '}';
  writer_.Write(status_channel_, time, time, message_);
}

bool ReplayMcapSink::Finish(std::string& error) {
  if (finished_) {
    return writer_.error().empty();
  }
  finished_ = true;
  const bool closed = writer_.Close();
  if (!closed) {
    error = writer_.error();
    return false;
  }
  if (before_epoch_ > 0) {
    error = std::to_string(before_epoch_) +
            " publication(s) stamped before 1970 were left out of the MCAP file (its times are unsigned)";
    return false;
  }
  return true;
}

}  // namespace fsrl
