#include "fsrl/csv_writer.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <map>
#include <memory>

#include "fsrl/frame_map.h"
#include "initialfrontsideradarlefthal_signal_groups_meta.h"
#include "radar_names.h"

namespace fsrl {

namespace meta = initialfrontsideradarlefthal::meta;

void CsvWriter::Text(std::string_view text) {
  Separate();
  if (text.find_first_of(",\"\r\n") == std::string_view::npos) {
    out_.Write(text);
    return;
  }
  out_.Put('"');
  for (const char c : text) {
    if (c == '"') {
      out_.Put('"');
    }
    out_.Put(c);
  }
  out_.Put('"');
}

void CsvWriter::Raw(std::string_view text) {
  Separate();
  out_.Write(text);
}

void CsvWriter::Int(std::int64_t value) {
  char text[24];
  Raw(std::string_view(text, static_cast<std::size_t>(std::to_chars(text, text + sizeof text, value).ptr - text)));
}

void CsvWriter::UInt(std::uint64_t value) {
  char text[24];
  Raw(std::string_view(text, static_cast<std::size_t>(std::to_chars(text, text + sizeof text, value).ptr - text)));
}

void CsvWriter::Double(double value) {
  if (!std::isfinite(value)) {
    Empty();
    return;
  }
  char text[32];
  Raw(std::string_view(text, FormatDouble(value, text)));
}

void CsvWriter::Float(float value) {
  if (!std::isfinite(value)) {
    Empty();
    return;
  }
  char text[32];
  Raw(std::string_view(text, FormatFloat(value, text)));
}

void CsvWriter::Seconds(std::int64_t ns) {
  char text[32];
  Raw(std::string_view(text, FormatSeconds(ns, text)));
}

void CsvWriter::EndRow() {
  if (line_end_ == CsvLineEnd::kCrLf) {
    out_.Put('\r');
  }
  out_.Put('\n');
  in_row_ = false;
}

namespace {

template <typename Enum>
void EnumField(CsvWriter& csv, Enum value) {
  const char* name = internal::NameOf(value);
  if (name != nullptr) {
    csv.Raw(name);
  } else {
    csv.UInt(static_cast<std::uint64_t>(value));
  }
}

void Header(CsvWriter& csv, const std::vector<std::string>& columns) {
  for (const std::string& column : columns) {
    csv.Text(column);
  }
  csv.EndRow();
}

const char* const kDecodeFixedColumns[] = {"t",     "t_ns",   "channel", "id",         "extended",
                                           "group", "result", "status",  "status_code"};

}  // namespace

DecodeCsvWriter::DecodeCsvWriter(std::FILE* out, CsvLineEnd line_end) : buffer_(out), csv_(buffer_, line_end) {
  columns_.assign(std::begin(kDecodeFixedColumns), std::end(kDecodeFixedColumns));
  std::map<std::string, std::size_t> column_of;
  const std::size_t groups = initialfrontsideradarlefthal::types::kSignalGroupCount;
  field_columns_.resize(groups);
  fields_by_column_.resize(groups);
  for (std::size_t group = 0; group < groups; ++group) {
    const meta::GroupInfo& info = meta::kSignalGroups[group];
    for (std::size_t field = 0; field < info.field_count; ++field) {
      const auto inserted = column_of.emplace(info.fields[field].name, column_of.size());
      if (inserted.second) {
        columns_.emplace_back(info.fields[field].name);
      }
      field_columns_[group].push_back(inserted.first->second);
    }
    // Fields in the order of their columns, so that a row is written left to right in one pass.
    std::vector<std::size_t>& order = fields_by_column_[group];
    for (std::size_t field = 0; field < info.field_count; ++field) {
      order.push_back(field);
    }
    std::sort(order.begin(), order.end(), [this, group](std::size_t a, std::size_t b) {
      return field_columns_[group][a] < field_columns_[group][b];
    });
  }
  signal_columns_ = column_of.size();
  Header(csv_, columns_);
}

void DecodeCsvWriter::WriteFrame(const CanFrame& frame, std::size_t group_index, std::int32_t result,
                                 zol::afw::core::SignalPropertyStatusCode status, const void* record) {
  csv_.Seconds(frame.timestamp_ns);
  csv_.Int(frame.timestamp_ns);
  csv_.UInt(frame.channel);
  csv_.UInt(frame.id);
  csv_.Bool(frame.extended);
  const bool known = group_index < field_columns_.size() && record != nullptr;
  if (group_index < field_columns_.size()) {
    csv_.Text(GroupName(group_index));
  } else {
    csv_.Empty();
  }
  csv_.Int(result);
  csv_.Text(zol::afw::core::ToString(status));
  csv_.Int(static_cast<std::int64_t>(status));
  std::size_t next_column = 0;
  if (known) {
    const meta::GroupInfo& info = meta::kSignalGroups[group_index];
    const auto* base = static_cast<const unsigned char*>(record);
    for (const std::size_t field_index : fields_by_column_[group_index]) {
      const std::size_t column = field_columns_[group_index][field_index];
      for (; next_column < column; ++next_column) {
        csv_.Empty();
      }
      ++next_column;
      const meta::FieldInfo& field = info.fields[field_index];
      const unsigned char* at = base + field.byte_offset;
      // memcpy reads the field whatever its declared type; an enumeration has the layout of its underlying type.
      switch (field.kind) {
        case meta::FieldKind::kDouble: {
          double value = 0.0;
          std::memcpy(&value, at, sizeof value);
          csv_.Double(value);
          break;
        }
        case meta::FieldKind::kUInt8:
        case meta::FieldKind::kEnum8:
          csv_.UInt(*at);
          break;
        case meta::FieldKind::kUInt16:
        case meta::FieldKind::kEnum16: {
          std::uint16_t value = 0;
          std::memcpy(&value, at, sizeof value);
          csv_.UInt(value);
          break;
        }
        case meta::FieldKind::kUInt64: {
          std::uint64_t value = 0;
          std::memcpy(&value, at, sizeof value);
          csv_.UInt(value);
          break;
        }
      }
    }
  }
  for (; next_column < signal_columns_; ++next_column) {
    csv_.Empty();
  }
  csv_.EndRow();
}

struct ReplayCsvWriter::Table {
  Table(std::FILE* file, CsvLineEnd line_end) : buffer(file), csv(buffer, line_end) {}
  OutputBuffer buffer;
  CsvWriter csv;
};

const std::vector<std::string>& ReplayCsvWriter::DetectionColumns() {
  static const std::vector<std::string> columns = {"t",
                                                   "t_ns",
                                                   "scan_id",
                                                   "is_valid",
                                                   "time_stamp_short_range",
                                                   "time_stamp_near_range",
                                                   "time_stamp_mid_range",
                                                   "time_stamp_long_range",
                                                   "mounting_x_offset",
                                                   "mounting_y_offset",
                                                   "mounting_phi_offset",
                                                   "detection",
                                                   "snr",
                                                   "rcs",
                                                   "azimuth",
                                                   "elevation",
                                                   "range",
                                                   "range_rate",
                                                   "is_dynamic",
                                                   "mode",
                                                   "quality_aggregated"};
  return columns;
}

const std::vector<std::string>& ReplayCsvWriter::StatusColumns() {
  static const std::vector<std::string> columns = {"t",
                                                   "t_ns",
                                                   "scan_id",
                                                   "azimuth_alignment_error",
                                                   "elevation_alignment_error",
                                                   "blockage",
                                                   "interference",
                                                   "calibration_status",
                                                   "is_communication_faulty",
                                                   "is_hardware_faulty",
                                                   "is_software_faulty",
                                                   "is_car_config_faulty",
                                                   "is_system_safety_faulty",
                                                   "is_calibration_faulty",
                                                   "is_sensor_status_on",
                                                   "is_transmission_activated",
                                                   "is_system_failing",
                                                   "is_time_sync_ok",
                                                   "flr_temperature"};
  return columns;
}

ReplayCsvWriter::ReplayCsvWriter(std::FILE* detections_out, std::FILE* status_out, CsvLineEnd line_end) {
  if (detections_out != nullptr) {
    detections_ = std::make_unique<Table>(detections_out, line_end);
    Header(detections_->csv, DetectionColumns());
  }
  if (status_out != nullptr) {
    statuses_ = std::make_unique<Table>(status_out, line_end);
    Header(statuses_->csv, StatusColumns());
  }
}

ReplayCsvWriter::~ReplayCsvWriter() = default;

void ReplayCsvWriter::OnDetections(std::int64_t t_ns, const radar_service::CornerRadarDetections& scan) {
  if (!detections_ || finished_) {
    return;
  }
  CsvWriter& csv = detections_->csv;
  const radar_service::RadarDetectionsInfo& info = scan.info();
  // The scan's own columns are the same on all its rows: formatted once.
  std::string prefix;
  {
    char text[32];
    prefix.append(text, FormatSeconds(t_ns, text));
    prefix += ',';
    prefix += std::to_string(t_ns);
    prefix += ',';
    prefix += std::to_string(info.scan_id());
    prefix += info.is_valid() ? ",true," : ",false,";
    prefix += std::to_string(info.time_stamps().short_range());
    prefix += ',';
    prefix += std::to_string(info.time_stamps().near_range());
    prefix += ',';
    prefix += std::to_string(info.time_stamps().mid_range());
    prefix += ',';
    prefix += std::to_string(info.time_stamps().long_range());
    const float mounting[] = {info.mounting_information().x_offset(), info.mounting_information().y_offset(),
                              info.mounting_information().phi_offset()};
    for (const float value : mounting) {
      prefix += ',';
      if (std::isfinite(value)) {
        prefix.append(text, FormatFloat(value, text));
      }
    }
  }
  std::uint64_t slot = 0;
  for (const radar_service::RadarDetection& detection : scan.detections()) {
    csv.Raw(prefix);
    csv.UInt(slot++);
    csv.Float(detection.snr());
    csv.Float(detection.rcs());
    csv.Float(detection.azimuth());
    csv.Float(detection.elevation());
    csv.Float(detection.range());
    csv.Float(detection.range_rate());
    csv.Bool(detection.is_dynamic());
    EnumField(csv, detection.mode());
    EnumField(csv, detection.quality_aggregated());
    csv.EndRow();
  }
}

void ReplayCsvWriter::OnStatus(std::int64_t t_ns, const radar_service::RadarStatus& status) {
  if (!statuses_ || finished_) {
    return;
  }
  CsvWriter& csv = statuses_->csv;
  csv.Seconds(t_ns);
  csv.Int(t_ns);
  csv.UInt(status.scan_id());
  csv.Float(status.azimuth_alignment_error());
  csv.Float(status.elevation_alignment_error());
  EnumField(csv, status.blockage());
  EnumField(csv, status.interference());
  EnumField(csv, status.calibration_status());
  const radar_service::FaultReason& fault = status.fault_reason();
  csv.Bool(fault.is_communication_faulty());
  csv.Bool(fault.is_hardware_faulty());
  csv.Bool(fault.is_software_faulty());
  csv.Bool(fault.is_car_config_faulty());
  csv.Bool(fault.is_system_safety_faulty());
  csv.Bool(fault.is_calibration_faulty());
  csv.Bool(status.is_sensor_status_on());
  csv.Bool(status.is_transmission_activated());
  csv.Bool(status.is_system_failing());
  csv.Bool(status.is_time_sync_ok());
  csv.Float(status.flr_temperature());
  csv.EndRow();
}

bool ReplayCsvWriter::Finish(std::string& error) {
  finished_ = true;
  bool ok = true;
  if (detections_ && !detections_->buffer.Flush()) {
    error = std::string("cannot write the detections CSV: ") + std::strerror(detections_->buffer.error_number());
    ok = false;
  }
  if (statuses_ && !statuses_->buffer.Flush()) {
    error = std::string("cannot write the status CSV: ") + std::strerror(statuses_->buffer.error_number());
    ok = false;
  }
  return ok;
}

}  // namespace fsrl
