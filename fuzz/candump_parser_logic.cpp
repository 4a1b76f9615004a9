// Fuzz logic of the candump log reading: ParseCandumpLine on the whole input as one line, and CandumpReader on the
// whole input as a log file, checked line by line against ParseCandumpLine on each line alone.
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "fsrl/candump_reader.h"
#include "fsrl/frame_builder.h"
#include "fsrl/frame_map.h"
#include "fuzz_support.h"
#include "fuzz_targets.h"

namespace fsrl_fuzz {
namespace {

using fsrl::CandumpReader;
using fsrl::CanFrame;
using fsrl::LineKind;

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r'; }

// What parsing one line gave, with the interface name copied out of the line.
struct ParsedLine {
  LineKind kind = LineKind::kBlank;
  CanFrame frame;
  std::string iface;
  std::string reason;
};

// Checks what every parsed frame must satisfy, whatever the line looked like.
void CheckFrame(const CanFrame& frame, const char* line_begin, const char* line_end) {
  FuzzCheck(frame.length <= 64, "a parsed frame has more than 64 data bytes");
  if (!frame.fd) {
    FuzzCheck(frame.length <= 8, "a classic frame has more than 8 data bytes");
    FuzzCheck(frame.fd_flags == 0, "a classic frame carries CAN FD flags");
  }
  FuzzCheck(frame.fd_flags <= 0x0F, "the CAN FD flags are more than one nibble");
  if (frame.remote) {
    FuzzCheck(!frame.fd, "a remote request is marked CAN FD");
    FuzzCheck(frame.length == 0, "a remote request carries data");
    FuzzCheck(frame.remote_length <= 8, "a remote request asks for more than 8 bytes");
  } else {
    FuzzCheck(frame.remote_length == 0, "a data frame has a remote length");
  }
  FuzzCheck(frame.extended ? frame.id <= 0x1FFFFFFFU : frame.id <= 0x7FFU, "the CAN id is out of range");
  FuzzCheck(!frame.error || frame.extended, "an error frame without an extended id");
  FuzzCheck(frame.direction == '\0' || frame.direction == 'T' || frame.direction == 'R',
            "the direction is neither T, R nor absent");
  FuzzCheck(frame.timestamp_ns >= 0, "a negative time stamp");
  FuzzCheck(!frame.iface.empty(), "an empty interface name");
  FuzzCheck(frame.iface.data() >= line_begin && frame.iface.data() + frame.iface.size() <= line_end,
            "the interface name does not point into the line");
  for (const char c : frame.iface) {
    FuzzCheck(!IsBlank(c), "the interface name holds a blank");
  }
}

// Parses a copy of exactly the line's bytes: any read past its end is then outside the allocation, where the
// address sanitizer sees it.
ParsedLine ParseIsolated(const char* begin, std::size_t size) {
  std::unique_ptr<char[]> copy(new char[size]);
  if (size != 0) {
    std::memcpy(copy.get(), begin, size);
  }
  const char* const line_begin = copy.get();
  const char* const line_end = copy.get() + size;
  ParsedLine parsed;
  const char* reason = nullptr;
  parsed.kind = fsrl::ParseCandumpLine(line_begin, line_end, parsed.frame, &reason);

  bool only_blanks = true;
  for (std::size_t i = 0; i < size; ++i) {
    only_blanks = only_blanks && IsBlank(line_begin[i]);
  }
  FuzzCheck(only_blanks == (parsed.kind == LineKind::kBlank), "blank lines and kBlank do not agree");
  if (parsed.kind == LineKind::kMalformed) {
    FuzzCheck(reason != nullptr && reason[0] != '\0', "a malformed line without a reason");
    parsed.reason = reason;
  }
  if (parsed.kind == LineKind::kFrame) {
    CheckFrame(parsed.frame, line_begin, line_end);
    parsed.iface.assign(parsed.frame.iface.data(), parsed.frame.iface.size());
  }
  parsed.frame.iface = std::string_view();  // pointed into the copy, which goes now
  return parsed;
}

bool SameFrame(const CanFrame& a, std::string_view a_iface, const CanFrame& b, std::string_view b_iface) {
  return a.timestamp_ns == b.timestamp_ns && a.id == b.id && a.extended == b.extended && a.fd == b.fd &&
         a.remote == b.remote && a.error == b.error && a.fd_flags == b.fd_flags && a.length == b.length &&
         a.remote_length == b.remote_length && a.direction == b.direction && a_iface == b_iface &&
         std::memcmp(a.data, b.data, a.length) == 0;
}

// A data frame written back as a log line reads as the same frame: the writer and the reader agree on every
// field the line form can carry (the direction and a length code suffix are not written).
void CheckRoundTrip(const ParsedLine& parsed) {
  const CanFrame& frame = parsed.frame;
  if (frame.remote || frame.error) {
    return;  // the writer has no form for these
  }
  std::string line = fsrl::FormatCandumpLine(frame.timestamp_ns, parsed.iface, fsrl::CanId{frame.id, frame.extended},
                                             frame.data, frame.length, frame.fd, frame.fd_flags);
  FuzzCheck(!line.empty() && line.back() == '\n', "a written log line does not end with a line feed");
  line.pop_back();
  const ParsedLine again = ParseIsolated(line.data(), line.size());
  FuzzCheck(again.kind == LineKind::kFrame, "a written log line does not parse back");
  CanFrame expected = frame;
  expected.direction = '\0';
  FuzzCheck(SameFrame(again.frame, again.iface, expected, parsed.iface),
            "a written log line parses back to a different frame");
}

// One line the reader has to report: a frame or a malformed line.
struct ExpectedEvent {
  std::uint64_t line_number;
  ParsedLine parsed;  // kind kFrame or kMalformed
};

void RunReader(const std::uint8_t* data, std::size_t size) {
  const char* const text = reinterpret_cast<const char*>(data);

  // What the reader must report, worked out line by line without it.
  std::vector<ExpectedEvent> expected;
  std::uint64_t line_count = 0;
  std::size_t pos = 0;
  while (pos < size) {
    const void* newline = std::memchr(text + pos, '\n', size - pos);
    const std::size_t end =
        newline != nullptr ? static_cast<std::size_t>(static_cast<const char*>(newline) - text) : size;
    std::size_t line_size = end - pos;
    if (line_size != 0 && text[pos + line_size - 1] == '\r') {
      --line_size;
    }
    ++line_count;
    if (line_size > CandumpReader::kMaxLineLength) {
      ExpectedEvent event{line_count, ParsedLine()};
      event.parsed.kind = LineKind::kMalformed;
      expected.push_back(event);
    } else {
      ParsedLine parsed = ParseIsolated(text + pos, line_size);
      if (parsed.kind != LineKind::kBlank) {
        expected.push_back(ExpectedEvent{line_count, std::move(parsed)});
      }
    }
    pos = newline != nullptr ? end + 1 : size;
  }

  InputFile file(data, size);
  // The smallest block the reader takes, varied a little, so that lines cross block boundaries at many places.
  CandumpReader reader(file.fd(), CandumpReader::kMaxLineLength + 2 + size % 61);
  std::size_t next = 0;
  std::uint64_t last_line = 0;
  CanFrame frame;
  for (;;) {
    FuzzCheck(next <= expected.size(), "the reader reports more lines than the input has");
    const CandumpReader::Result result = reader.Next(frame);
    if (result == CandumpReader::Result::kEnd) {
      break;
    }
    FuzzCheck(result != CandumpReader::Result::kReadError, "the reader failed to read a memory file");
    FuzzCheck(next < expected.size(), "the reader reports a line that is neither a frame nor malformed");
    const ExpectedEvent& event = expected[next++];
    FuzzCheck(reader.line_number() > last_line, "line numbers do not increase");
    FuzzCheck(reader.line_number() >= 1 && reader.line_number() <= line_count,
              "a reported line number is outside the input");
    FuzzCheck(reader.line_number() == event.line_number, "the reader reports the wrong line");
    last_line = reader.line_number();
    if (result == CandumpReader::Result::kMalformed) {
      FuzzCheck(event.parsed.kind == LineKind::kMalformed, "the reader rejects a line the parser accepts");
      FuzzCheck(reader.reason() != nullptr && reader.reason()[0] != '\0', "a malformed line without a reason");
      if (!event.parsed.reason.empty()) {
        FuzzCheck(event.parsed.reason == reader.reason(), "the reader gives another reason than the parser");
      }
      continue;
    }
    FuzzCheck(event.parsed.kind == LineKind::kFrame, "the reader accepts a line the parser rejects");
    FuzzCheck(frame.length <= 64, "a read frame has more than 64 data bytes");
    FuzzCheck(SameFrame(frame, frame.iface, event.parsed.frame, event.parsed.iface),
              "the reader reads another frame than the parser");
  }
  FuzzCheck(next == expected.size(), "the reader ends before the last line");
  FuzzCheck(reader.lines_read() == line_count, "the reader counts another number of lines");
  FuzzCheck(reader.Next(frame) == CandumpReader::Result::kEnd, "the reader goes on after its end");
}

}  // namespace

void RunCandumpParser(const std::uint8_t* data, std::size_t size) {
  const ParsedLine parsed = ParseIsolated(reinterpret_cast<const char*>(data), size);
  if (parsed.kind == LineKind::kFrame) {
    CheckRoundTrip(parsed);
  }
  RunReader(data, size);
}

}  // namespace fsrl_fuzz
