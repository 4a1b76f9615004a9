// Writes one simulated run in every output format, for the tests that read them with tools nobody here wrote
// (pandas for CSV, the MCAP project's own reader for MCAP):
//   fsrl_export_fixture OUT_DIR SCANS
// OUT_DIR receives radar.log (simulated, with faults), replay.jsonl and decode.jsonl (the JSON output of
// `fsrl replay` and `fsrl decode`), and from those JSON lines, read back exactly: detections.csv and status.csv
// (ReplayCsvWriter), status_crlf.csv (CRLF line ends), decode.csv (DecodeCsvWriter), replay.mcap (zstd chunks)
// and replay_none.mcap (uncompressed chunks).
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "fsrl/candump_reader.h"
#include "fsrl/csv_writer.h"
#include "fsrl/frame_map.h"
#include "fsrl/json_reader.h"
#include "fsrl/replay_jsonl.h"
#include "fsrl/replay_mcap.h"
#include "fsrl_cli.h"
#include "initialfrontsideradarlefthal_signal_groups_meta.h"
#include "zol/afw/core/signal_property_status.h"

namespace {

namespace meta = initialfrontsideradarlefthal::meta;

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

bool Fail(const std::string& why) {
  std::fprintf(stderr, "fsrl_export_fixture: %s\n", why.c_str());
  return false;
}

// Sends a whole replay output through a sink into files opened here.
bool WriteSink(const std::string& jsonl, const std::string& jsonl_path, fsrl::ReplaySink& sink) {
  std::string error;
  if (!fsrl::FeedReplayJsonl(jsonl, jsonl_path, sink, error)) {
    return Fail(error);
  }
  if (!sink.Finish(error)) {
    return Fail(error);
  }
  return true;
}

// Seconds text of the JSON output to nanoseconds (at most nine decimals, as FormatSeconds writes them).
std::int64_t Nanoseconds(const std::string& text) {
  const std::size_t dot = text.find('.');
  std::int64_t ns = std::strtoll(text.substr(0, dot).c_str(), nullptr, 10) * 1'000'000'000;
  if (dot != std::string::npos) {
    std::string fraction = text.substr(dot + 1);
    fraction.resize(9, '0');
    ns += std::strtoll(fraction.c_str(), nullptr, 10);
  }
  return ns;
}

// The decode output's lines back into frames, read results and records, through DecodeCsvWriter.
bool WriteDecodeCsv(const std::string& jsonl, const std::string& csv_path) {
  std::FILE* file = std::fopen(csv_path.c_str(), "wb");
  if (file == nullptr) {
    return Fail("cannot create " + csv_path);
  }
  bool ok = true;
  {
    fsrl::DecodeCsvWriter writer(file);
    const fsrl::FrameMap map = fsrl::FrameMap::Default();
    std::istringstream lines(jsonl);
    std::string line;
    std::vector<unsigned char> record;
    while (ok && std::getline(lines, line)) {
      fsrl::JsonValue value;
      std::string error;
      if (!fsrl::ParseJson(line, value, error)) {
        ok = Fail("decode.jsonl: " + error);
        break;
      }
      std::size_t group = 0;
      while (group < fsrl::kGroupCount && fsrl::GroupName(group) != value["group"].text) {
        ++group;
      }
      if (group == fsrl::kGroupCount) {
        ok = Fail("decode.jsonl: unknown group " + value["group"].text);
        break;
      }
      fsrl::CanFrame frame;
      frame.timestamp_ns = Nanoseconds(value["t"].text);
      fsrl::CanId id;
      map.IdOf(group, id);
      frame.id = id.id;
      frame.extended = id.extended;
      int code = fsrl::kMinStatusCode;
      while (code <= fsrl::kMaxStatusCode &&
             value["status"].text !=
                 zol::afw::core::ToString(static_cast<zol::afw::core::SignalPropertyStatusCode>(code))) {
        ++code;
      }
      const meta::GroupInfo& info = meta::kSignalGroups[group];
      record.assign(info.record_size, 0);
      for (std::size_t i = 0; i < info.field_count; ++i) {
        const meta::FieldInfo& field = info.fields[i];
        const std::string& text = value["record"][field.name].text;
        unsigned char* at = record.data() + field.byte_offset;
        std::uint64_t integer = 0;
        if (field.kind == meta::FieldKind::kDouble) {
          const double number = std::strtod(text.c_str(), nullptr);
          std::memcpy(at, &number, sizeof number);
          continue;
        }
        std::from_chars(text.data(), text.data() + text.size(), integer);
        if (field.kind == meta::FieldKind::kUInt8 || field.kind == meta::FieldKind::kEnum8) {
          *at = static_cast<unsigned char>(integer);
        } else if (field.kind == meta::FieldKind::kUInt16 || field.kind == meta::FieldKind::kEnum16) {
          const auto narrow = static_cast<std::uint16_t>(integer);
          std::memcpy(at, &narrow, sizeof narrow);
        } else {
          std::memcpy(at, &integer, sizeof integer);
        }
      }
      writer.WriteFrame(frame, group, static_cast<std::int32_t>(std::strtol(value["result"].text.c_str(), nullptr, 10)),
                        static_cast<zol::afw::core::SignalPropertyStatusCode>(code), record.data());
    }
    if (!writer.Flush()) {
      ok = Fail("cannot write " + csv_path);
    }
  }
  std::fclose(file);
  return ok;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: fsrl_export_fixture OUT_DIR SCANS\n");
    return 2;
  }
  const std::string dir = argv[1];
  const std::string log = dir + "/radar.log";
  // A CRC error, a dropped group and a silence long enough for lost communication: statuses with faults, scans
  // that stay incomplete, and every E2E outcome the decode output knows.
  if (fsrl::RunSimulate({"--scans", argv[2], "--out", log, "--seed", "5", "--fault", "crc:3:RSDS4Detn045To049",
                         "--fault", "drop:6:RSDS4Detn100To104", "--fault", "silence:10:400"},
                        stdout, stderr) != fsrl::kExitOk) {
    return Fail("simulate failed"), 1;
  }
  const std::string replay_path = dir + "/replay.jsonl";
  if (fsrl::RunReplay({log, "--out", replay_path}, stdout, stderr) != fsrl::kExitOk) {
    return Fail("replay failed"), 1;
  }
  const std::string decode_path = dir + "/decode.jsonl";
  std::FILE* decode_out = std::fopen(decode_path.c_str(), "wb");
  if (decode_out == nullptr) {
    return Fail("cannot create " + decode_path), 1;
  }
  const int decoded = fsrl::RunDecode({log}, decode_out, stderr);
  std::fclose(decode_out);
  if (decoded != fsrl::kExitOk) {
    return Fail("decode failed"), 1;
  }

  const std::string jsonl = ReadFile(replay_path);
  std::FILE* detections = std::fopen((dir + "/detections.csv").c_str(), "wb");
  std::FILE* statuses = std::fopen((dir + "/status.csv").c_str(), "wb");
  std::FILE* statuses_crlf = std::fopen((dir + "/status_crlf.csv").c_str(), "wb");
  std::FILE* mcap = std::fopen((dir + "/replay.mcap").c_str(), "wb");
  std::FILE* mcap_none = std::fopen((dir + "/replay_none.mcap").c_str(), "wb");
  if (detections == nullptr || statuses == nullptr || statuses_crlf == nullptr || mcap == nullptr ||
      mcap_none == nullptr) {
    return Fail("cannot create the output files in " + dir), 1;
  }
  bool ok = true;
  {
    fsrl::ReplayCsvWriter csv(detections, statuses);
    fsrl::ReplayCsvWriter crlf(nullptr, statuses_crlf, fsrl::CsvLineEnd::kCrLf);
    fsrl::ReplayMcapSink zstd(mcap);
    fsrl::McapOptions none_options;
    none_options.compression = fsrl::McapCompression::kNone;
    // Small chunks, so that the uncompressed file has several and its indexes are exercised.
    none_options.chunk_size = 64 * 1024;
    fsrl::ReplayMcapSink none(mcap_none, none_options);
    ok = WriteSink(jsonl, replay_path, csv) && WriteSink(jsonl, replay_path, crlf) &&
         WriteSink(jsonl, replay_path, zstd) && WriteSink(jsonl, replay_path, none);
  }
  for (std::FILE* file : {detections, statuses, statuses_crlf, mcap, mcap_none}) {
    std::fclose(file);
  }
  ok = ok && WriteDecodeCsv(ReadFile(decode_path), dir + "/decode.csv");
  return ok ? 0 : 1;
}
