// Fuzz logic of the frame sources: the human-readable candump reader, the ASC reader and the BLF reader, each on
// the whole input as a recording of its format, and on a prefix of it; format detection on the input as well.
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "fsrl/frame_source.h"
#include "fuzz_support.h"
#include "fuzz_targets.h"

namespace fsrl_fuzz {
namespace {

using fsrl::CanFrame;
using fsrl::FrameSource;
using fsrl::LogFormat;
using fsrl::ReadStatus;

struct Frame {
  CanFrame frame;
  std::string iface;
};

bool Same(const Frame& a, const Frame& b) {
  const CanFrame& x = a.frame;
  const CanFrame& y = b.frame;
  return x.timestamp_ns == y.timestamp_ns && x.id == y.id && x.extended == y.extended && x.fd == y.fd &&
         x.remote == y.remote && x.error == y.error && x.fd_flags == y.fd_flags && x.length == y.length &&
         x.remote_length == y.remote_length && x.channel == y.channel && a.iface == b.iface &&
         std::memcmp(x.data, y.data, x.length) == 0;
}

void CheckFrame(const CanFrame& frame, LogFormat format) {
  FuzzCheck(frame.length <= 64, "a frame has more than 64 data bytes");
  FuzzCheck(frame.fd || frame.length <= 8, "a classic frame has more than 8 data bytes");
  FuzzCheck(frame.fd || frame.fd_flags == 0, "a classic frame carries CAN FD flags");
  FuzzCheck((frame.fd_flags & ~(fsrl::kFdFlagBrs | fsrl::kFdFlagEsi)) == 0, "unknown CAN FD flag bits");
  FuzzCheck(!frame.remote || (!frame.fd && frame.length == 0), "a remote request with data or CAN FD");
  FuzzCheck(frame.remote_length <= 8, "a remote request asks for more than 8 bytes");
  FuzzCheck(frame.extended ? frame.id <= 0x1FFFFFFFU : frame.id <= 0x7FFU, "the CAN id is out of range");
  FuzzCheck(frame.timestamp_ns >= 0, "a negative time");
  FuzzCheck(!frame.iface.empty(), "a frame without a channel name");
  if (format == LogFormat::kAsc || format == LogFormat::kBlf) {
    FuzzCheck(frame.iface == std::to_string(frame.channel), "the channel name is not the channel number");
  }
}

// Reads everything; checks what must hold for any input.
std::vector<Frame> ReadAll(const std::uint8_t* data, std::size_t size, LogFormat format) {
  InputFile file(data, size);
  std::string error;
  std::unique_ptr<FrameSource> source = fsrl::OpenFrameSource(file.fd(), "<fuzz>", format, false, &error);
  FuzzCheck(source != nullptr, "a source with an explicit format did not open");
  std::vector<Frame> frames;
  // Every item consumes at least one byte (a line end or an object), so there are at most size + 1 of them.
  const std::size_t limit = size + 2;
  std::uint64_t last_position = 0;
  CanFrame frame;
  for (std::size_t i = 0;; ++i) {
    FuzzCheck(i <= limit, "the source reports more items than the input has bytes");
    const ReadStatus status = source->Next(frame);
    if (status == ReadStatus::kEnd) {
      break;
    }
    FuzzCheck(status != ReadStatus::kReadError, "a read error on a memory file");
    if (format != LogFormat::kBlf) {
      FuzzCheck(source->position() > last_position, "line numbers do not increase");
    }
    FuzzCheck(source->position() <= size + 1, "a reported place lies outside the input");
    last_position = source->position();
    if (status == ReadStatus::kMalformed) {
      FuzzCheck(!source->reason().empty(), "a malformed item without a reason");
      FuzzCheck(source->Where().compare(0, 7, "<fuzz>:") == 0, "the place does not name the input");
      continue;
    }
    CheckFrame(frame, format);
    frames.push_back(Frame{frame, std::string(frame.iface)});
  }
  FuzzCheck(source->Next(frame) == ReadStatus::kEnd, "the source goes on after its end");
  return frames;
}

// A prefix of a recording gives a prefix of its frames: nothing before a cut is lost, nothing is made up.
void CheckPrefix(const std::uint8_t* data, std::size_t size, LogFormat format, const std::vector<Frame>& whole) {
  std::size_t cut = size / 2;
  if (format != LogFormat::kBlf) {
    // Text is cut after a line end, so that no line changes.
    while (cut > 0 && data[cut - 1] != '\n') {
      --cut;
    }
  }
  const std::vector<Frame> part = ReadAll(data, cut, format);
  FuzzCheck(part.size() <= whole.size(), "a prefix of the input gives more frames than the whole");
  for (std::size_t i = 0; i < part.size(); ++i) {
    FuzzCheck(Same(part[i], whole[i]), "a prefix of the input gives other frames than the whole");
  }
}

void Run(const std::uint8_t* data, std::size_t size, LogFormat format) {
  const std::vector<Frame> whole = ReadAll(data, size, format);
  CheckPrefix(data, size, format, whole);
  const LogFormat detected = fsrl::DetectLogFormat(std::string_view(reinterpret_cast<const char*>(data), size));
  if (detected != LogFormat::kAuto) {
    ReadAll(data, size, detected);
  }
}

}  // namespace

void RunCandumpLongReader(const std::uint8_t* data, std::size_t size) {
  // Byte 0 bit 0 picks the time reading: as written, or deltas that add up.
  if (size == 0) {
    return;
  }
  Run(data + 1, size - 1, (data[0] & 1U) != 0 ? LogFormat::kCandumpLongDelta : LogFormat::kCandumpLong);
}

void RunAscReader(const std::uint8_t* data, std::size_t size) { Run(data, size, LogFormat::kAsc); }

void RunBlfReader(const std::uint8_t* data, std::size_t size) { Run(data, size, LogFormat::kBlf); }

}  // namespace fsrl_fuzz
