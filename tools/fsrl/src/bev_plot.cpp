#include "fsrl/bev_plot.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "fsrl/json_reader.h"

namespace fsrl {
namespace {

constexpr double kPi = 3.14159265358979323846;

bool NumberOf(const JsonValue& object, std::string_view key, double& out) {
  const JsonValue* value = object.Find(key);
  if (value == nullptr || value->kind != JsonValue::Kind::kNumber) {
    return false;
  }
  out = value->number();
  return true;
}

// ---------------------------------------------------------------------------------------------------------------
// Drawing.

struct Rgb {
  double r, g, b;
};

// Diverging: approaching targets blue, receding red. The middle is a mid grey rather than white so that slow
// targets stay visible on the white background.
Rgb RangeRateColour(double range_rate, double limit) {
  static const Rgb kStops[] = {
      {40, 70, 170}, {90, 150, 225}, {150, 150, 150}, {240, 140, 90}, {185, 20, 35},
  };
  constexpr int kLast = static_cast<int>(sizeof kStops / sizeof kStops[0]) - 1;
  double t = (std::min(std::max(range_rate / limit, -1.0), 1.0) + 1.0) * 0.5 * kLast;
  const int i = std::min(static_cast<int>(t), kLast - 1);
  t -= i;
  return Rgb{kStops[i].r + (kStops[i + 1].r - kStops[i].r) * t, kStops[i].g + (kStops[i + 1].g - kStops[i].g) * t,
             kStops[i].b + (kStops[i + 1].b - kStops[i].b) * t};
}

std::string Hex(const Rgb& colour) {
  char text[8];
  std::snprintf(text, sizeof text, "#%02x%02x%02x", static_cast<unsigned>(std::lround(colour.r)),
                static_cast<unsigned>(std::lround(colour.g)), static_cast<unsigned>(std::lround(colour.b)));
  return text;
}

constexpr double kMinRcs = -30.0;
constexpr double kMaxRcs = 30.0;

double MarkerRadius(double rcs) {
  const double t = (std::min(std::max(rcs, kMinRcs), kMaxRcs) - kMinRcs) / (kMaxRcs - kMinRcs);
  return 1.6 + 4.4 * t;
}

std::string Escape(std::string_view text) {
  std::string out;
  for (const char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      default:
        out += c;
    }
  }
  return out;
}

// Appends printf-style text; every number in the picture goes through here with a fixed precision, so the
// output does not depend on the locale or the library's shortest-representation choices.
void Append(std::string& out, const char* format, ...) __attribute__((format(printf, 2, 3)));
void Append(std::string& out, const char* format, ...) {
  char buffer[1024];
  va_list args;
  va_start(args, format);
  const int length = std::vsnprintf(buffer, sizeof buffer, format, args);
  va_end(args);
  if (length > 0) {
    out.append(buffer, std::min(static_cast<std::size_t>(length), sizeof buffer - 1));
  }
}

// A legend value with its sign, and zero without one.
std::string Signed(double value) {
  char text[32];
  std::snprintf(text, sizeof text, std::lround(value) == 0 ? "%.0f" : "%+.0f", std::lround(value) == 0 ? 0.0 : value);
  return text;
}

// The value at @p fraction of the sorted values (0 the smallest, 1 the largest); 0 without values.
double Percentile(std::vector<double> values, double fraction) {
  if (values.empty()) {
    return 0.0;
  }
  const auto rank = static_cast<std::size_t>(fraction * static_cast<double>(values.size() - 1) + 0.5);
  std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(rank), values.end());
  return values[rank];
}

double NiceCeiling(double value) {
  static const double kSteps[] = {5, 10, 15, 20, 25, 30, 40, 50, 60, 80, 100};
  for (const double step : kSteps) {
    if (value <= step) {
      return step;
    }
  }
  return 106.0;
}

struct Point {
  double x;  // metres forward
  double y;  // metres left
};

// The vehicle's outline: origin at the rear axle, front bumper 3.9 m ahead.
constexpr double kVehicleRear = -1.0;
constexpr double kVehicleFront = 3.9;
constexpr double kVehicleHalfWidth = 0.95;

}  // namespace

bool ReadDetectionScans(std::string_view jsonl, std::vector<PlotScan>& scans, std::string& error) {
  std::size_t line_number = 0;
  std::size_t start = 0;
  while (start < jsonl.size()) {
    std::size_t end = jsonl.find('\n', start);
    if (end == std::string_view::npos) {
      end = jsonl.size();
    }
    const std::string_view line = jsonl.substr(start, end - start);
    start = end + 1;
    ++line_number;
    if (line.find_first_not_of(" \t\r") == std::string_view::npos) {
      continue;
    }
    const std::string where = "line " + std::to_string(line_number) + ": ";
    JsonValue value;
    std::string parse_error;
    if (!ParseJson(line, value, parse_error)) {
      error = where + "not JSON (" + parse_error + ")";
      return false;
    }
    if (value.kind != JsonValue::Kind::kObject) {
      error = where + "not a JSON object";
      return false;
    }
    const JsonValue* type = value.Find("type");
    if (type == nullptr || type->kind != JsonValue::Kind::kString || type->text != "detections") {
      continue;
    }
    PlotScan scan;
    double scan_id = 0.0;
    const JsonValue* mounting = value.Find("mounting");
    const JsonValue* detections = value.Find("detections");
    if (!NumberOf(value, "t", scan.t_s) || !NumberOf(value, "scan_id", scan_id) || mounting == nullptr ||
        !NumberOf(*mounting, "x_offset", scan.x_offset) || !NumberOf(*mounting, "y_offset", scan.y_offset) ||
        !NumberOf(*mounting, "phi_offset", scan.phi_offset) || detections == nullptr ||
        detections->kind != JsonValue::Kind::kArray) {
      error = where + "a detections line without t, scan_id, mounting {x_offset, y_offset, phi_offset} or detections";
      return false;
    }
    scan.scan_id = static_cast<unsigned>(scan_id);
    for (const JsonValue& item : detections->items) {
      const JsonValue* quality = item.Find("quality_aggregated");
      if (quality != nullptr && quality->kind == JsonValue::Kind::kString && quality->text == "kUnknown") {
        continue;  // an unpopulated slot
      }
      PlotDetection detection;
      if (!NumberOf(item, "range", detection.range) || !NumberOf(item, "azimuth", detection.azimuth) ||
          !NumberOf(item, "range_rate", detection.range_rate) || !NumberOf(item, "rcs", detection.rcs)) {
        error = where + "a detection without range, azimuth, range_rate or rcs";
        return false;
      }
      scan.detections.push_back(detection);
    }
    scans.push_back(std::move(scan));
  }
  return true;
}

std::string RenderBirdsEyeSvg(const std::vector<PlotScan>& scans, const PlotOptions& options) {
  // Everything in vehicle coordinates first.
  std::vector<std::vector<Point>> points(scans.size());
  std::vector<double> xs;
  std::vector<double> ys;
  std::vector<double> speeds;
  double max_range = options.min_range;
  std::size_t total = 0;
  for (std::size_t s = 0; s < scans.size(); ++s) {
    const PlotScan& scan = scans[s];
    for (const PlotDetection& detection : scan.detections) {
      const double angle = scan.phi_offset + detection.azimuth;
      const Point point{scan.x_offset + detection.range * std::cos(angle),
                        scan.y_offset + detection.range * std::sin(angle)};
      points[s].push_back(point);
      xs.push_back(point.x);
      ys.push_back(point.y);
      speeds.push_back(std::fabs(detection.range_rate));
      max_range = std::max(max_range, detection.range);
      ++total;
    }
  }
  // The radar as the newest scan places it (the mounting rarely changes; the latest is what the HAL holds now).
  const PlotScan* latest = scans.empty() ? nullptr : &scans.back();
  const Point sensor = latest != nullptr ? Point{latest->x_offset, latest->y_offset} : Point{0.0, 0.0};
  const double boresight = latest != nullptr ? latest->phi_offset : 0.0;

  // The view: the vehicle and nearly all detections, with a margin, on whole grid steps. A few stray points far
  // out would otherwise widen the view and shrink everything else, so with many points the outermost 0.5 % on
  // each side may fall outside (they are clipped).
  const double trim = xs.size() > 200 ? 0.005 : 0.0;
  double x_min = std::min({kVehicleRear, sensor.x, Percentile(xs, trim)});
  double x_max = std::max({kVehicleFront, sensor.x, Percentile(xs, 1.0 - trim)});
  double y_min = std::min({-kVehicleHalfWidth, sensor.y, Percentile(ys, trim)});
  double y_max = std::max({kVehicleHalfWidth, sensor.y, Percentile(ys, 1.0 - trim)});
  const double span = std::max(x_max - x_min, y_max - y_min);
  const double step = span > 120.0 ? 20.0 : (span > 40.0 ? 10.0 : 5.0);
  x_min = std::floor((x_min - 3.0) / step) * step;
  x_max = std::ceil((x_max + 3.0) / step) * step;
  y_min = std::floor((y_min - 3.0) / step) * step;
  y_max = std::ceil((y_max + 3.0) / step) * step;

  constexpr double kPlotSize = 820.0;  // pixels along the longer side
  const double scale = kPlotSize / std::max(x_max - x_min, y_max - y_min);
  const double plot_width = (y_max - y_min) * scale;
  const double plot_height = (x_max - x_min) * scale;
  constexpr double kLeft = 78.0;
  constexpr double kTop = 78.0;
  constexpr double kRight = 230.0;
  constexpr double kBottom = 64.0;
  const double width = kLeft + plot_width + kRight;
  const double height = kTop + std::max(plot_height, 430.0) + kBottom;
  // Vehicle coordinates to pixels: x forward is up, y left is left.
  const auto u = [&](double y) { return kLeft + (y_max - y) * scale; };
  const auto v = [&](double x) { return kTop + (x_max - x) * scale; };

  const double speed_limit = NiceCeiling(std::max(Percentile(speeds, 0.98), 1.0));

  std::string svg;
  svg.reserve(256 + total * 72);
  Append(svg, "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n");
  Append(svg,
         "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%.0f\" height=\"%.0f\" viewBox=\"0 0 %.0f %.0f\" "
         "font-family=\"DejaVu Sans, Helvetica, Arial, sans-serif\" font-size=\"13\">\n",
         width, height, width, height);
  Append(svg,
         "<defs>\n<clipPath id=\"plot-area\"><rect x=\"%.1f\" y=\"%.1f\" width=\"%.1f\" height=\"%.1f\"/></clipPath>\n",
         kLeft, kTop, plot_width, plot_height);
  svg += "<linearGradient id=\"range-rate\" x1=\"0\" y1=\"1\" x2=\"0\" y2=\"0\">\n";
  for (int i = 0; i <= 10; ++i) {
    const double rate = (i / 5.0 - 1.0) * speed_limit;
    Append(svg, "<stop offset=\"%.1f\" stop-color=\"%s\"/>\n", i / 10.0,
           Hex(RangeRateColour(rate, speed_limit)).c_str());
  }
  svg += "</linearGradient>\n</defs>\n";
  Append(svg, "<rect width=\"%.0f\" height=\"%.0f\" fill=\"#ffffff\"/>\n", width, height);
  Append(svg, "<rect x=\"%.1f\" y=\"%.1f\" width=\"%.1f\" height=\"%.1f\" fill=\"#fbfbfb\"/>\n", kLeft, kTop,
         plot_width, plot_height);

  // Grid and tick labels.
  svg += "<g stroke=\"#e3e3e3\" stroke-width=\"1\">\n";
  for (double x = x_min; x <= x_max + 1e-9; x += step) {
    Append(svg, "<line x1=\"%.1f\" y1=\"%.1f\" x2=\"%.1f\" y2=\"%.1f\"/>\n", kLeft, v(x), kLeft + plot_width, v(x));
  }
  for (double y = y_min; y <= y_max + 1e-9; y += step) {
    Append(svg, "<line x1=\"%.1f\" y1=\"%.1f\" x2=\"%.1f\" y2=\"%.1f\"/>\n", u(y), kTop, u(y), kTop + plot_height);
  }
  svg += "</g>\n<g stroke=\"#9a9a9a\" stroke-width=\"1\">\n";
  Append(svg, "<line x1=\"%.1f\" y1=\"%.1f\" x2=\"%.1f\" y2=\"%.1f\"/>\n", kLeft, v(0.0), kLeft + plot_width, v(0.0));
  Append(svg, "<line x1=\"%.1f\" y1=\"%.1f\" x2=\"%.1f\" y2=\"%.1f\"/>\n", u(0.0), kTop, u(0.0), kTop + plot_height);
  svg += "</g>\n<g fill=\"#444444\" font-size=\"12\">\n";
  for (double x = x_min; x <= x_max + 1e-9; x += step) {
    Append(svg, "<text x=\"%.1f\" y=\"%.1f\" text-anchor=\"end\">%.0f</text>\n", kLeft - 8.0, v(x) + 4.0, x);
  }
  for (double y = y_min; y <= y_max + 1e-9; y += step) {
    Append(svg, "<text x=\"%.1f\" y=\"%.1f\" text-anchor=\"middle\">%.0f</text>\n", u(y), kTop + plot_height + 18.0, y);
  }
  svg += "</g>\n";
  Append(svg,
         "<text x=\"%.1f\" y=\"%.1f\" text-anchor=\"middle\" fill=\"#222222\">y (m, positive to the left)</text>\n",
         kLeft + plot_width / 2.0, kTop + plot_height + 42.0);
  Append(svg,
         "<text transform=\"translate(%.1f %.1f) rotate(-90)\" text-anchor=\"middle\" fill=\"#222222\">"
         "x (m, forward)</text>\n",
         kLeft - 50.0, kTop + plot_height / 2.0);

  // Field of view: a wedge from the radar, as far as the farthest detection (at least min_range).
  const double half = options.field_of_view_half_angle;
  const double reach = std::ceil(max_range / 10.0) * 10.0;
  const auto wedge_point = [&](double angle, double r) {
    return Point{sensor.x + r * std::cos(angle), sensor.y + r * std::sin(angle)};
  };
  const Point edge_right = wedge_point(boresight - half, reach);
  const Point edge_left = wedge_point(boresight + half, reach);
  svg += "<g clip-path=\"url(#plot-area)\">\n";
  // Counter-clockwise in the vehicle frame is counter-clockwise on the screen too (x up, y left), which SVG
  // calls sweep 0.
  Append(svg,
         "<path d=\"M %.1f %.1f L %.1f %.1f A %.1f %.1f 0 %d 0 %.1f %.1f Z\" fill=\"#fff1c1\" fill-opacity=\"0.55\" "
         "stroke=\"#d9a520\" stroke-width=\"1.2\" stroke-dasharray=\"6 4\"/>\n",
         u(sensor.y), v(sensor.x), u(edge_right.y), v(edge_right.x), reach * scale, reach * scale,
         2.0 * half > kPi ? 1 : 0, u(edge_left.y), v(edge_left.x));
  // Range rings inside the field of view, every 20 m.
  for (double ring = 20.0; ring < reach - 1e-9; ring += 20.0) {
    const Point a = wedge_point(boresight - half, ring);
    const Point b = wedge_point(boresight + half, ring);
    Append(svg,
           "<path d=\"M %.1f %.1f A %.1f %.1f 0 %d 0 %.1f %.1f\" fill=\"none\" stroke=\"#e2c36a\" "
           "stroke-width=\"0.8\" stroke-dasharray=\"2 4\"/>\n",
           u(a.y), v(a.x), ring * scale, ring * scale, 2.0 * half > kPi ? 1 : 0, u(b.y), v(b.x));
  }
  const Point axis_end = wedge_point(boresight, reach);
  Append(svg,
         "<line x1=\"%.1f\" y1=\"%.1f\" x2=\"%.1f\" y2=\"%.1f\" stroke=\"#d9a520\" stroke-width=\"1\" "
         "stroke-dasharray=\"1 5\"/>\n",
         u(sensor.y), v(sensor.x), u(axis_end.y), v(axis_end.x));

  // Detections, oldest first so that the newest scan lies on top. The newest scan is drawn solid with an
  // outline; older ones fade with age.
  for (std::size_t s = 0; s < scans.size(); ++s) {
    if (points[s].empty()) {
      continue;
    }
    const bool newest = s + 1 == scans.size();
    double opacity = 1.0;
    if (options.fade && !newest) {
      const double age = static_cast<double>(scans.size() - 1 - s) / static_cast<double>(scans.size());
      opacity = 0.06 + 0.6 * (1.0 - age) * (1.0 - age);
    }
    Append(svg, "<g opacity=\"%.3f\"%s>\n", opacity, newest ? " stroke=\"#1a1a1a\" stroke-width=\"0.7\"" : "");
    for (std::size_t d = 0; d < points[s].size(); ++d) {
      const PlotDetection& detection = scans[s].detections[d];
      Append(svg, "<circle class=\"det\" cx=\"%.1f\" cy=\"%.1f\" r=\"%.1f\" fill=\"%s\"/>\n", u(points[s][d].y),
             v(points[s][d].x), MarkerRadius(detection.rcs),
             Hex(RangeRateColour(detection.range_rate, speed_limit)).c_str());
    }
    svg += "</g>\n";
  }

  // The vehicle, its direction of travel and the radar.
  Append(svg,
         "<rect x=\"%.1f\" y=\"%.1f\" width=\"%.1f\" height=\"%.1f\" rx=\"%.1f\" fill=\"#cfd8dc\" stroke=\"#37474f\" "
         "stroke-width=\"1.2\"/>\n",
         u(kVehicleHalfWidth), v(kVehicleFront), 2.0 * kVehicleHalfWidth * scale,
         (kVehicleFront - kVehicleRear) * scale, 0.3 * scale);
  Append(svg, "<path d=\"M %.1f %.1f L %.1f %.1f L %.1f %.1f Z\" fill=\"#37474f\"/>\n", u(0.0), v(kVehicleFront - 0.4),
         u(0.5), v(kVehicleFront - 1.4), u(-0.5), v(kVehicleFront - 1.4));
  Append(svg,
         "<path d=\"M %.1f %.1f l 6 6 l -6 6 l -6 -6 Z\" fill=\"#111111\" stroke=\"#ffffff\" stroke-width=\"1\"/>\n",
         u(sensor.y), v(sensor.x) - 6.0);
  svg += "</g>\n";
  Append(svg, "<rect x=\"%.1f\" y=\"%.1f\" width=\"%.1f\" height=\"%.1f\" fill=\"none\" stroke=\"#555555\"/>\n", kLeft,
         kTop, plot_width, plot_height);

  // Titles.
  Append(svg, "<text x=\"%.1f\" y=\"30\" font-size=\"19\" font-weight=\"bold\" fill=\"#111111\">%s</text>\n", kLeft,
         Escape(options.title).c_str());
  if (!options.subtitle.empty()) {
    Append(svg, "<text x=\"%.1f\" y=\"54\" font-size=\"13\" fill=\"#444444\">%s</text>\n", kLeft,
           Escape(options.subtitle).c_str());
  }

  // Legends, right of the plot.
  const double legend_x = kLeft + plot_width + 28.0;
  double legend_y = kTop + 6.0;
  Append(svg, "<text x=\"%.1f\" y=\"%.1f\" font-weight=\"bold\" fill=\"#222222\">range rate (m/s)</text>\n", legend_x,
         legend_y);
  legend_y += 14.0;
  constexpr double kBarHeight = 170.0;
  Append(svg,
         "<rect x=\"%.1f\" y=\"%.1f\" width=\"18\" height=\"%.1f\" fill=\"url(#range-rate)\" stroke=\"#555555\" "
         "stroke-width=\"0.8\"/>\n",
         legend_x, legend_y, kBarHeight);
  for (int i = 0; i <= 4; ++i) {
    const double rate = (1.0 - i / 2.0) * speed_limit;
    const double y = legend_y + kBarHeight * i / 4.0;
    Append(svg, "<line x1=\"%.1f\" y1=\"%.1f\" x2=\"%.1f\" y2=\"%.1f\" stroke=\"#555555\"/>\n", legend_x + 18.0, y,
           legend_x + 23.0, y);
    Append(svg, "<text x=\"%.1f\" y=\"%.1f\" fill=\"#333333\" font-size=\"12\">%s%s</text>\n", legend_x + 27.0, y + 4.0,
           Signed(rate).c_str(), i == 0 ? " receding" : (i == 4 ? " approaching" : ""));
  }
  legend_y += kBarHeight + 42.0;
  Append(svg, "<text x=\"%.1f\" y=\"%.1f\" font-weight=\"bold\" fill=\"#222222\">RCS (dBsm)</text>\n", legend_x,
         legend_y);
  legend_y += 8.0;
  for (const double rcs : {-20.0, 0.0, 20.0}) {
    const double r = MarkerRadius(rcs);
    legend_y += 2.0 * r + 8.0;
    Append(svg,
           "<circle class=\"legend\" cx=\"%.1f\" cy=\"%.1f\" r=\"%.1f\" fill=\"#9a9a9a\" stroke=\"#1a1a1a\" "
           "stroke-width=\"0.7\"/>\n",
           legend_x + 9.0, legend_y - r, r);
    Append(svg, "<text x=\"%.1f\" y=\"%.1f\" fill=\"#333333\" font-size=\"12\">%s</text>\n", legend_x + 27.0,
           legend_y - r + 4.0, Signed(rcs).c_str());
  }
  legend_y += 34.0;
  Append(svg,
         "<path d=\"M %.1f %.1f l 6 6 l -6 6 l -6 -6 Z\" fill=\"#111111\"/>\n"
         "<text x=\"%.1f\" y=\"%.1f\" fill=\"#333333\" font-size=\"12\">radar</text>\n",
         legend_x + 9.0, legend_y - 10.0, legend_x + 27.0, legend_y);
  legend_y += 22.0;
  Append(svg,
         "<rect x=\"%.1f\" y=\"%.1f\" width=\"18\" height=\"12\" fill=\"#fff1c1\" stroke=\"#d9a520\" "
         "stroke-dasharray=\"4 2\"/>\n"
         "<text x=\"%.1f\" y=\"%.1f\" fill=\"#333333\" font-size=\"12\">field of view &#177;%.0f&#176;</text>\n",
         legend_x, legend_y - 10.0, legend_x + 27.0, legend_y, half * 180.0 / kPi);
  if (scans.size() > 1 && options.fade) {
    legend_y += 22.0;
    Append(svg,
           "<text x=\"%.1f\" y=\"%.1f\" fill=\"#333333\" font-size=\"12\">older scans fainter;</text>\n"
           "<text x=\"%.1f\" y=\"%.1f\" fill=\"#333333\" font-size=\"12\">outlined: the latest</text>\n",
           legend_x, legend_y, legend_x, legend_y + 16.0);
  }
  svg += "</svg>\n";
  return svg;
}

}  // namespace fsrl
