// Simulator concern: the log writer: frames out as candump lines, through a block of fixed size.
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "fsrl/candump_reader.h"
#include "fsrl/frame_builder.h"
#include "fsrl/simulator.h"

namespace fsrl {

CandumpLogWriter::CandumpLogWriter(std::FILE* out) : out_(out) { block_.reserve(kBlockBytes); }

namespace {
// candump logs an error frame's id with the kernel's error flag (linux/can.h CAN_ERR_FLAG), as 8 hex digits.
constexpr std::uint32_t kErrorFlag = 0x20000000U;
}  // namespace

bool CandumpLogWriter::Write(const CanFrame& frame) {
  if (frame.error) {
    block_ += FormatCandumpLine(frame.timestamp_ns, frame.iface, CanId{frame.id | kErrorFlag, true}, frame.data,
                                frame.length, false);
  } else if (frame.remote) {
    // A remote request has no data: "ID#R", with the requested length when there is one.
    block_ += FormatCandumpLine(frame.timestamp_ns, frame.iface, CanId{frame.id, frame.extended}, frame.data, 0, false);
    block_.back() = 'R';
    if (frame.remote_length != 0) {
      block_ += static_cast<char>('0' + (frame.remote_length > 8 ? 8 : frame.remote_length));
    }
    block_ += '\n';
  } else {
    block_ += FormatCandumpLine(frame.timestamp_ns, frame.iface, CanId{frame.id, frame.extended}, frame.data,
                                frame.length, frame.fd, frame.fd_flags);
  }
  // A candump line is far shorter than the room left, so the block never grows past its reserve.
  if (block_.size() >= kBlockBytes - 256U) {
    return Flush();
  }
  return ok();
}

bool CandumpLogWriter::Flush() {
  if (ok() && !block_.empty() && std::fwrite(block_.data(), 1, block_.size(), out_) != block_.size()) {
    FailErrno(errno);
  }
  block_.clear();
  return ok();
}

bool CandumpLogWriter::Finish() { return Flush() && (std::fflush(out_) == 0 || FailErrno(errno)); }

bool WriteCandumpLog(const std::vector<CanFrame>& frames, std::FILE* out) {
  CandumpLogWriter writer(out);
  for (const CanFrame& frame : frames) {
    if (!writer.Write(frame)) {
      return false;
    }
  }
  return writer.Finish();
}

}  // namespace fsrl
