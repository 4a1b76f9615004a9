/// @file
/// @brief CSV output (RFC 4180) of decoded frames and of a replay's publications, for pandas and spreadsheets.
///
/// Every file has a header row. A field holding a comma, a double quote, CR or LF is quoted (quotes doubled);
/// rows end in LF, or CRLF when asked (RFC 4180's own line end), the same in the whole file. Numbers are the
/// shortest text that reads back as exactly the value written: a double as a double, a single-precision value
/// as a float (its decimal, read as a double, is not the float's double value; read with
/// `pandas.read_csv(..., float_precision="round_trip")` and compare with numpy.float32 or with the same text).
/// Flags are `true`/`false`, enumerations their names as the JSON output spells them (an integer when the value
/// has no name), the time both as seconds (`t`, exact: as the JSON output writes it) and as integer nanoseconds
/// (`t_ns`).
#ifndef FSRL_CSV_WRITER_H
#define FSRL_CSV_WRITER_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "frontsideradarlefthal_types.h"
#include "fsrl/candump_reader.h"
#include "fsrl/json_writer.h"
#include "fsrl/replay_sink.h"
#include "zol/afw/core/signal_property_status.h"

namespace fsrl {

/// Line end of every row of a file.
enum class CsvLineEnd { kLf, kCrLf };

/// @brief Writes CSV rows field by field into an OutputBuffer.
class CsvWriter {
 public:
  explicit CsvWriter(OutputBuffer& out, CsvLineEnd line_end = CsvLineEnd::kLf) : out_(out), line_end_(line_end) {}

  /// A text field, quoted when it holds a comma, a double quote, CR or LF.
  void Text(std::string_view text);
  /// A field the caller guarantees needs no quoting (a number, a name of letters and digits).
  void Raw(std::string_view text);
  void Int(std::int64_t value);
  void UInt(std::uint64_t value);
  void Bool(bool value) { Raw(value ? "true" : "false"); }
  /// Shortest round-trip text of a double; empty when not finite (pandas reads an empty field as NaN).
  void Double(double value);
  /// Shortest round-trip text of a float; empty when not finite.
  void Float(float value);
  /// Seconds of @p ns, exact to the nanosecond (the JSON output's time).
  void Seconds(std::int64_t ns);
  void Empty() { Raw({}); }
  void EndRow();

 private:
  void Separate() {
    if (in_row_) {
      out_.Put(',');
    }
    in_row_ = true;
  }

  OutputBuffer& out_;
  CsvLineEnd line_end_;
  bool in_row_ = false;
};

/// @brief `fsrl decode` as one table: a row per decoded frame.
///
/// Columns: t, t_ns, channel, id (the frame's identifier, decimal), extended, group, result (the read's error
/// code), status (its signal property status name), status_code (the status as an integer), then one column per
/// field name of all groups' records, in group order and then field order (the union of the groups' fields; the
/// radar's field names carry their group's name, so in practice every group has columns of its own). A row fills
/// its group's columns and leaves the others empty. One table with fixed columns is what pandas reads in one call;
/// `df[df.group == "RSDS4SigSts1"].dropna(axis=1, how="all")` gives one group's own table.
class DecodeCsvWriter {
 public:
  /// @param out not owned; the header row is written at once
  explicit DecodeCsvWriter(std::FILE* out, CsvLineEnd line_end = CsvLineEnd::kLf);
  /// @brief One row: @p record points to a record of group @p group_index's type, as WriteRecord takes it.
  void WriteFrame(const CanFrame& frame, std::size_t group_index, std::int32_t result,
                  zol::afw::core::SignalPropertyStatusCode status, const void* record);
  /// @brief Hands everything to the FILE. @return false when a write failed (errno in error_number())
  bool Flush() { return buffer_.Flush(); }
  bool failed() const { return buffer_.failed(); }
  int error_number() const { return buffer_.error_number(); }
  /// The column names, in order.
  const std::vector<std::string>& columns() const { return columns_; }

 private:
  OutputBuffer buffer_;
  CsvWriter csv_;
  std::vector<std::string> columns_;
  // Per group, the union column of each field (in field order); and the fields in column order.
  std::vector<std::vector<std::size_t>> field_columns_;
  std::vector<std::vector<std::size_t>> fields_by_column_;
  std::size_t signal_columns_ = 0;
};

/// @brief A replay's publications as two tables.
///
/// Detections (one row per detection of every published scan, all 200 slots as the JSON output has them):
/// t, t_ns, scan_id, is_valid, time_stamp_short_range, time_stamp_near_range, time_stamp_mid_range,
/// time_stamp_long_range, mounting_x_offset, mounting_y_offset, mounting_phi_offset, detection (slot 0-199), snr,
/// rcs, azimuth, elevation, range, range_rate, is_dynamic, mode, quality_aggregated.
///
/// Statuses (one row per published status): t, t_ns, scan_id, azimuth_alignment_error, elevation_alignment_error,
/// blockage, interference, calibration_status, is_communication_faulty, is_hardware_faulty, is_software_faulty,
/// is_car_config_faulty, is_system_safety_faulty, is_calibration_faulty, is_sensor_status_on,
/// is_transmission_activated, is_system_failing, is_time_sync_ok, flr_temperature.
class ReplayCsvWriter : public ReplaySink {
 public:
  /// @param detections_out, status_out not owned; either may be null (that table is not written). The header
  /// rows are written at once.
  ReplayCsvWriter(std::FILE* detections_out, std::FILE* status_out, CsvLineEnd line_end = CsvLineEnd::kLf);
  ~ReplayCsvWriter() override;
  ReplayCsvWriter(const ReplayCsvWriter&) = delete;
  ReplayCsvWriter& operator=(const ReplayCsvWriter&) = delete;
  void OnDetections(std::int64_t t_ns, const radar_service::CornerRadarDetections& scan) override;
  void OnStatus(std::int64_t t_ns, const radar_service::RadarStatus& status) override;
  bool Finish(std::string& error) override;

  static const std::vector<std::string>& DetectionColumns();
  static const std::vector<std::string>& StatusColumns();

 private:
  struct Table;
  std::unique_ptr<Table> detections_;
  std::unique_ptr<Table> statuses_;
  bool finished_ = false;
};

}  // namespace fsrl

#endif  // FSRL_CSV_WRITER_H
