// `fsrl decode`: runs recorded radar frames through the HAL's real read path and prints what it reads.
#include <array>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "fsrl/candump_reader.h"
#include "fsrl/command_line.h"
#include "fsrl/csv_writer.h"
#include "fsrl/frame_map.h"
#include "fsrl/hal_log_sink.h"
#include "fsrl/input_file.h"
#include "fsrl/json_writer.h"
#include "fsrl/progress.h"
#include "fsrl/record_printer.h"
#include "fsrl_cli.h"
#include "initialfrontsideradarlefthal_e2e_database.h"
#include "initialfrontsideradarlefthal_signal_adapter.h"
#include "initialfrontsideradarlefthal_signal_groups_meta.h"
#include "zol/afw/core/error_code.h"
#include "zol/afw/core/executable.h"
#include "zol/afw/core/signal_property_status.h"
#include "zol/afw/core/transaction.h"
#include "zol/e2e/e2e_signal_group_property.h"
#include "zol/log/logging.h"
#include "zol/signalcomm/service.h"

namespace fsrl {
namespace {

using zol::afw::core::ErrorCode;
using zol::afw::core::SignalPropertyStatus;
using zol::afw::core::SignalPropertyStatusCode;

const char kDecodeUsage[] =
    "Usage: fsrl decode [--format FMT]... [--channel NAME|N] [--filter ID:MASK]... [--from SECONDS]\n"
    "                   [--to SECONDS] [--frame-map FILE] [--strict] [--hal-log] LOG\n";

const char kDecodeAbout[] =
    "\n"
    "Decodes every radar frame of LOG, a recording ('-' reads standard input), through the\n"
    "HAL's own read path: the frame's payload is published to the signal communication service, a\n"
    "transaction begins, and the group's E2E-protected property of the signal adapter is read\n"
    "(profile 5 check, then decoding into the group's typed record). Frames are handled in file\n"
    "order and the E2E state (counter) of every group carries over from frame to frame.\n"
    "\n"
    "Output (standard output), one JSON object per decoded frame and line:\n"
    "  {\"t\": 1700000000.123456, \"group\": \"RSDS4Detn000To004\", \"result\": 0, \"status\": \"kE2eOk\",\n"
    "   \"record\": {\"rsds4detn000to004range2\": 12.5, ...}}\n"
    "  t       the frame's time stamp in seconds, exact: every nanosecond digit of the log, trailing\n"
    "          zeros trimmed but at least 6 fractional digits kept\n"
    "  group   the signal group the frame carries\n"
    "  result  the read's error code as an integer (0 success, -1 failure, ...)\n"
    "  status  the read's signal property status (kE2eOk, kE2eNoNewData, kE2eWrongCRC, kE2eRepeated,\n"
    "          kE2eWrongSequence, ...)\n"
    "  record  every field of the group's typed record in field order: physical values as the shortest\n"
    "          decimal that reads back as the same double, integers and enumerations as integers.\n"
    "          After a failed check the record holds what was decoded anyway; do not trust it.\n"
    "\n"
    "--format csv writes the same frames as one CSV table (RFC 4180, a header row, LF line ends), a row\n"
    "per decoded frame: t, t_ns, channel, id (decimal), extended, group, result, status, status_code, then\n"
    "one column per record field of every group (the group's name is in its fields' names); a row fills\n"
    "only its own group's columns. Read it with pandas.read_csv(FILE, float_precision=\"round_trip\");\n"
    "64-bit counters and time stamps need dtype=str or \"UInt64\" in a column with gaps.\n"
    "\n"
    "Frames: group i (0..51, in signal database order) is carried by standard id 0x400 + i\n"
    "(0x400..0x433) unless --frame-map says otherwise. A group's payload is the first data_length/8\n"
    "bytes of the frame (48 for a detection group, 50 for an object group, 61 and 21 for the two\n"
    "status groups): a longer frame carries padding, a shorter one is used as received (the missing\n"
    "bytes read as zero, so its CRC check fails). Frames of other ids, remote requests and error\n"
    "frames are skipped and counted.\n"
    "\n"
    "Recordings: candump logs (`candump -l`, and the human-readable form of `candump`, -ta, -tz, -td\n"
    "and log2long), ASC and BLF files, told from the content (--input-format names it). --channel,\n"
    "--filter, --from and --to select the frames looked at; the others are counted as filtered out.\n"
    "--format takes a recording format's name for the input, an output format's name for the output,\n"
    "and may be given once for each.\n"
    "\n";

const char kDecodeEpilogue[] =
    "Diagnostics (standard error): every malformed line as FILE:LINE: reason (FILE is <stdin> for\n"
    "standard input; for BLF, FILE:OFFSET of the damaged object), and at the end a summary: lines (BLF:\n"
    "objects) and frames read, frames decoded per group and status, frames skipped, malformed lines,\n"
    "frames filtered out. When standard error is a terminal (and the JSON lines\n"
    "do not go to it too) a run that takes longer than a second shows its progress.\n"
    "\n"
    "Exit status: 0 success (also when malformed lines were skipped), 1 when LOG cannot be read,\n"
    "the output cannot be written or the HAL cannot be set up, 2 on a usage error, an invalid frame\n"
    "map, or a malformed line under --strict.\n";

// Frames between two looks at the clock for the progress line: a look costs far less than a frame's decode.
constexpr std::uint64_t kFramesPerProgressCheck = 4096;

// Reads one group's property into its record; one instantiation per record type, reached through a table so
// that the per-frame dispatch on the group index is a single indirect call.
using ReadFunction = ErrorCode (*)(const void* property, void* record, SignalPropertyStatus* status);

template <typename Record>
ErrorCode ReadGroup(const void* property, void* record, SignalPropertyStatus* status) {
  return static_cast<const zol::e2e::E2ESignalGroupProperty<Record>*>(property)->get(static_cast<Record*>(record),
                                                                                     status);
}

struct GroupReader {
  std::shared_ptr<void> property;
  std::shared_ptr<void> record;
  ReadFunction read = nullptr;
};

std::array<GroupReader, kGroupCount> MakeReaders(const initialfrontsideradarlefthal::SignalAdapter& adapter) {
  // The X-macro may name record types with or without their namespace; both resolve here.
  using namespace initialfrontsideradarlefthal;         // NOLINT(google-build-using-namespace)
  using namespace initialfrontsideradarlefthal::types;  // NOLINT(google-build-using-namespace)
  std::array<GroupReader, kGroupCount> readers;
#define FSRL_DECODE_READER(index, Record, stem)                                                         \
  static_assert(meta::GroupIndexOf<Record>::value == (index), "adapter groups follow the table order"); \
  readers[(index)] = GroupReader{adapter.stem(), std::make_shared<Record>(), &ReadGroup<Record>};
  FSRL_FOR_EACH_SIGNAL_GROUP(FSRL_DECODE_READER)
#undef FSRL_DECODE_READER
  return readers;
}

// A string as JsonWriter::String writes it (quoted and escaped): QuotedKey's text without the ": " it appends.
std::string QuotedString(std::string_view text) {
  std::string quoted = QuotedKey(text);
  quoted.resize(quoted.size() - 2);
  return quoted;
}

// The fixed parts of every output line, quoted once instead of escaped again for each of millions of frames.
struct LineTexts {
  std::string t = QuotedKey("t");
  std::string group = QuotedKey("group");
  std::string result = QuotedKey("result");
  std::string status = QuotedKey("status");
  std::string record = QuotedKey("record");
  std::array<std::string, kGroupCount> group_names;
  std::array<std::string, kStatusCodeCount> status_names;  // by code - kMinStatusCode

  LineTexts() {
    for (std::size_t group_index = 0; group_index < kGroupCount; ++group_index) {
      group_names[group_index] = QuotedString(GroupName(group_index));
    }
    for (int code = kMinStatusCode; code <= kMaxStatusCode; ++code) {
      status_names[static_cast<std::size_t>(code - kMinStatusCode)] =
          QuotedString(zol::afw::core::ToString(static_cast<SignalPropertyStatusCode>(code)));
    }
  }
};

std::size_t StatusSlot(SignalPropertyStatusCode code) {
  int value = static_cast<int>(code);
  if (value < kMinStatusCode || value > kMaxStatusCode) {
    value = 0;  // unknown codes are counted as kNotAvailable
  }
  return static_cast<std::size_t>(value - kMinStatusCode);
}

void PrintSummary(std::FILE* err, const DecodeStats& stats, const LogFrameReader& reader, bool hal_log_shown) {
  // Good outcomes first, then the E2E failures, then what a typed read does not normally report.
  static const SignalPropertyStatusCode kOrder[] = {SignalPropertyStatusCode::kE2eOk,
                                                    SignalPropertyStatusCode::kE2eNoNewData,
                                                    SignalPropertyStatusCode::kE2eWrongCRC,
                                                    SignalPropertyStatusCode::kE2eRepeated,
                                                    SignalPropertyStatusCode::kE2eWrongSequence,
                                                    SignalPropertyStatusCode::kLostComm,
                                                    SignalPropertyStatusCode::kNotAvailable,
                                                    SignalPropertyStatusCode::kNoNewData,
                                                    SignalPropertyStatusCode::kDataUpdated,
                                                    SignalPropertyStatusCode::kDataModified};
  static_assert(sizeof kOrder / sizeof kOrder[0] == kStatusCodeCount, "every status code is listed once");
  std::fprintf(err,
               "fsrl decode: %s, %llu frames read, %llu decoded, %llu unmapped frames skipped, "
               "%llu remote frames skipped, %llu error frames skipped, %llu malformed lines, "
               "%llu frames filtered out\n",
               reader.Extent().c_str(), static_cast<unsigned long long>(stats.frames),
               static_cast<unsigned long long>(stats.decoded), static_cast<unsigned long long>(stats.unmapped),
               static_cast<unsigned long long>(stats.remote), static_cast<unsigned long long>(stats.error_frames),
               static_cast<unsigned long long>(stats.malformed), static_cast<unsigned long long>(reader.filtered()));
  for (std::size_t group = 0; group < kGroupCount; ++group) {
    std::string line;
    for (const SignalPropertyStatusCode code : kOrder) {
      const std::uint64_t count = stats.by_status[group][StatusSlot(code)];
      if (count == 0) {
        continue;
      }
      line += line.empty() ? "" : ", ";
      line += std::to_string(count) + " " + zol::afw::core::ToString(code);
    }
    if (!line.empty()) {
      const std::string_view name = GroupName(group);
      std::fprintf(err, "fsrl decode:   %.*s: %s\n", static_cast<int>(name.size()), name.data(), line.c_str());
    }
  }
  if (stats.hal_log_lines != 0 && !hal_log_shown) {
    std::fprintf(err, "fsrl decode: the HAL logged %llu message(s); --hal-log shows them\n",
                 static_cast<unsigned long long>(stats.hal_log_lines));
  }
}

}  // namespace

int RunDecode(const std::vector<std::string>& args, std::FILE* out, std::FILE* err, DecodeStats* stats_out) {
  CommandLine command_line("decode", kDecodeUsage, kDecodeAbout, kDecodeEpilogue);
  LogInputOptions input_options;
  HalLogOptions hal_options;
  bool strict = false;
  input_options.AddTo(command_line);
  command_line.Flag("--strict", strict, "stop at the first malformed line, with exit status 2, instead of skipping it");
  hal_options.AddTo(command_line);
  if (const std::optional<int> done = input_options.Parse(command_line, args, out, err)) {
    return *done;
  }
  // --format (or --output-format) jsonl|csv, declared with the input options; they check the name.
  const std::string& output_format = input_options.output_format;
  FrameMap frame_map;
  if (!input_options.LoadFrameMap(frame_map, command_line, err)) {
    return kExitUsage;
  }

  InputFile input(input_options.log_path());
  if (input.fd() < 0) {
    std::fprintf(err, "fsrl decode: cannot open '%s': %s\n", input_options.log_path().c_str(),
                 std::strerror(input.error()));
    return kExitFailure;
  }

  HalLogSink log_sink(err, hal_options.hal_log);
  const zol::log::ScopedSink scoped_sink(&log_sink);

  // The same set-up an application has: the service knows the radar's groups, and the adapter hangs below an
  // executable that provides its execution context. The context's queue stays idle: invalidation tasks are
  // then dropped by the adapter, and every read below fetches the group cache itself.
  auto& service = zol::signalcomm::Service::Instance();
  service.DefineSignalGroups(initialfrontsideradarlefthal_signal_groups,
                             initialfrontsideradarlefthal_signal_group_count);
  zol::afw::core::Executable executable("fsrl");
  auto adapter = initialfrontsideradarlefthal::SignalAdapter::Create(&executable);
  if (!adapter) {
    std::fprintf(err, "fsrl decode: the HAL's signal adapter could not be set up\n");
    return kExitFailure;
  }
  const std::array<GroupReader, kGroupCount> readers = MakeReaders(*adapter);
  std::array<SignalComm_Name_t, kGroupCount> identities{};
  std::array<std::string_view, kGroupCount> names{};
  for (std::size_t group = 0; group < kGroupCount; ++group) {
    names[group] = GroupName(group);
    identities[group] = service.IdentityOf(zol::string_view(names[group].data(), names[group].size()));
  }

  const LineTexts texts;
  DecodeStats stats;
  OutputBuffer output(out);
  JsonWriter json(output);
  // The CSV table has its own buffer; its header row is written only when it is the output.
  std::optional<DecodeCsvWriter> csv;
  if (output_format == "csv") {
    csv.emplace(out);
  }
  LogFrameReader reader(input, err, "decode", input_options.format(), input_options.filter());
  if (strict) {
    // Output written so far goes out first, so that the report and the output agree on where it stopped.
    reader.set_before_malformed_report([&output, &csv] {
      output.Flush();
      if (csv) {
        csv->Flush();
      }
    });
  }
  ProgressLine progress(err, ProgressWanted(err, out, false));
  CanFrame frame;
  int status = kExitOk;
  for (;;) {
    const LogFrameReader::Result result = reader.Next(frame);
    if (result == LogFrameReader::Result::kEnd) {
      break;
    }
    if (result == LogFrameReader::Result::kReadError) {
      status = kExitFailure;
      break;
    }
    if (result == LogFrameReader::Result::kMalformed) {
      if (strict) {
        status = kExitUsage;
        break;
      }
      continue;
    }
    if (stats.frames % kFramesPerProgressCheck == 0 && progress.Due()) {
      progress.Show("fsrl decode: " + std::to_string(stats.frames) + " frames read, " + std::to_string(stats.decoded) +
                    " decoded");
    }
    ++stats.frames;
    if (frame.remote) {
      ++stats.remote;
      continue;
    }
    if (frame.error) {
      ++stats.error_frames;
      continue;
    }
    const int group_index = frame_map.GroupOf(frame);
    if (group_index < 0) {
      ++stats.unmapped;
      continue;
    }
    const auto group = static_cast<std::size_t>(group_index);
    const GroupReader& group_reader = readers[group];

    service.Publish(identities[group],
                    zol::memory::span<const std::uint8_t>(frame.data, GroupPayloadBytes(group, frame)));
    zol::afw::core::Transaction::Begin();
    SignalPropertyStatus property_status;
    const ErrorCode read_result =
        group_reader.read(group_reader.property.get(), group_reader.record.get(), &property_status);
    ++stats.decoded;
    ++stats.by_status[group][StatusSlot(property_status.status_code_)];

    if (csv) {
      csv->WriteFrame(frame, group, static_cast<std::int32_t>(read_result), property_status.status_code_,
                      group_reader.record.get());
      if (csv->failed()) {
        break;
      }
      continue;
    }
    char seconds[32];
    json.BeginObject();
    json.PreparedKey(texts.t);
    json.RawNumber(std::string_view(seconds, FormatSeconds(frame.timestamp_ns, seconds)));
    json.PreparedKey(texts.group);
    json.RawValue(texts.group_names[group]);
    json.PreparedKey(texts.result);
    json.Int(static_cast<std::int32_t>(read_result));
    json.PreparedKey(texts.status);
    const int code = static_cast<int>(property_status.status_code_);
    if (code >= kMinStatusCode && code <= kMaxStatusCode) {
      json.RawValue(texts.status_names[static_cast<std::size_t>(code - kMinStatusCode)]);
    } else {
      json.String(zol::afw::core::ToString(property_status.status_code_));
    }
    json.PreparedKey(texts.record);
    WriteRecord(json, group, group_reader.record.get());
    json.EndObject();
    json.EndLine();
    if (output.failed()) {
      break;
    }
  }
  progress.Clear();
  stats.lines = reader.lines();
  stats.malformed = reader.malformed();
  if (!output.Flush()) {
    std::fprintf(err, "fsrl decode: cannot write the output: %s\n", std::strerror(output.error_number()));
    status = kExitFailure;
  } else if (csv && !csv->Flush()) {
    std::fprintf(err, "fsrl decode: cannot write the output: %s\n", std::strerror(csv->error_number()));
    status = kExitFailure;
  }
  stats.hal_log_lines = log_sink.count();
  PrintSummary(err, stats, reader, hal_options.hal_log);
  if (stats_out != nullptr) {
    *stats_out = stats;
  }
  return status;
}

}  // namespace fsrl
