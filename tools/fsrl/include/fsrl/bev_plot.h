/// @file
/// @brief A bird's-eye view of published detection scans as SVG: the detections placed around the vehicle with
/// the mounting information each scan carries.
#ifndef FSRL_BEV_PLOT_H
#define FSRL_BEV_PLOT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace fsrl {

/// One populated detection, in the sensor's frame.
struct PlotDetection {
  double range = 0.0;       ///< metres
  double azimuth = 0.0;     ///< radians, counter-clockwise from the boresight
  double range_rate = 0.0;  ///< metres per second
  double rcs = 0.0;         ///< dBsm
};

/// One published detection scan.
struct PlotScan {
  double t_s = 0.0;  ///< the notification's time, seconds
  unsigned scan_id = 0;
  double x_offset = 0.0;                  ///< mounting: metres forward of the vehicle's origin
  double y_offset = 0.0;                  ///< metres to the left
  double phi_offset = 0.0;                ///< boresight yaw, radians, counter-clockwise from the vehicle's x axis
  std::vector<PlotDetection> detections;  ///< populated detections only
};

/// @brief Reads the detection scans of `fsrl replay` output (one JSON object per line). Lines of other types
/// (statuses) and blank lines are skipped; detections whose quality is kUnknown (unpopulated slots) are left out.
/// @return false on a line that is not a JSON object or a detection line without the fields a plot needs;
/// @p error then says which line and why
bool ReadDetectionScans(std::string_view jsonl, std::vector<PlotScan>& scans, std::string& error);

/// What to draw.
struct PlotOptions {
  std::string title = "FSRL detections, bird's-eye view";
  std::string subtitle;                                  ///< a second line under the title; empty for none
  bool fade = true;                                      ///< older scans fainter (for more than one scan)
  double field_of_view_half_angle = 1.3089969389957472;  ///< radians (75 degrees)
  double min_range = 10.0;                               ///< the field of view is drawn at least this far, metres
};

/// @brief Renders @p scans (oldest first) as a standalone SVG document: x forward pointing up, y left pointing
/// left, equal scale on both axes, a metre grid, the vehicle, the radar and its field of view, every detection
/// as a circle (class "det") coloured by range rate and sized by RCS, and legends for both.
std::string RenderBirdsEyeSvg(const std::vector<PlotScan>& scans, const PlotOptions& options);

}  // namespace fsrl

#endif  // FSRL_BEV_PLOT_H
