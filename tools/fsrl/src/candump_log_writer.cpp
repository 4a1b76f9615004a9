// Simulator concern: the log writer: frames out as candump lines, through a block of fixed size.
#include <cerrno>
#include <cstdio>
#include <string>
#include <vector>

#include "fsrl/candump_reader.h"
#include "fsrl/frame_builder.h"
#include "fsrl/simulator.h"

namespace fsrl {

CandumpLogWriter::CandumpLogWriter(std::FILE* out) : out_(out) { block_.reserve(kBlockBytes); }

bool CandumpLogWriter::Write(const CanFrame& frame) {
  block_ += FormatCandumpLine(frame.timestamp_ns, frame.iface, CanId{frame.id, frame.extended}, frame.data,
                              frame.length, frame.fd, frame.fd_flags);
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
