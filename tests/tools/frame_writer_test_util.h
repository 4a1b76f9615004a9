// Frames of every kind the writers take, and writing them to a file, for the writers' tests.
#ifndef FSRL_TESTS_TOOLS_FRAME_WRITER_TEST_UTIL_H
#define FSRL_TESTS_TOOLS_FRAME_WRITER_TEST_UTIL_H

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "fsrl/candump_reader.h"
#include "fsrl/frame_source.h"
#include "fsrl/frame_writer.h"
#include "temp_dir.h"

namespace fsrl_test {

/// A frame; the interface name "can0" (channel 1) or "can1" (channel 2) by @p channel.
inline fsrl::CanFrame MakeWriterFrame(std::int64_t time_ns, std::uint32_t id, bool extended,
                                      const std::vector<std::uint8_t>& data, std::uint32_t channel = 1) {
  fsrl::CanFrame frame;
  frame.timestamp_ns = time_ns;
  frame.id = id;
  frame.extended = extended;
  frame.length = static_cast<std::uint8_t>(data.size());
  for (std::size_t i = 0; i < data.size(); ++i) {
    frame.data[i] = data[i];
  }
  frame.channel = channel;
  frame.iface = channel == 2 ? "can1" : "can0";
  return frame;
}

inline std::vector<std::uint8_t> Counting(std::size_t n, std::uint8_t first = 0) {
  std::vector<std::uint8_t> bytes(n);
  for (std::size_t i = 0; i < n; ++i) {
    bytes[i] = static_cast<std::uint8_t>(first + i);
  }
  return bytes;
}

/// Start of the mixed frames: a time with nanoseconds below the microsecond, 456 us past a millisecond.
constexpr std::int64_t kMixedStartNs = 1700000000123456789;

/// Classic, extended, empty, remote, CAN FD of several lengths with every BRS/ESI combination, on two channels,
/// received and sent; no error frames (each format keeps those differently).
inline std::vector<fsrl::CanFrame> MixedFrames() {
  std::vector<fsrl::CanFrame> frames;
  std::int64_t t = kMixedStartNs;
  auto next = [&t](std::int64_t step) { return t += step; };
  frames.push_back(MakeWriterFrame(t, 0x123, false, {0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88}));
  frames.push_back(MakeWriterFrame(next(1000), 0x12345678, true, {0xDE, 0xAD, 0xBE, 0xEF}));
  frames.back().direction = 'T';
  frames.push_back(MakeWriterFrame(next(100000), 0x7FF, false, {}, 2));
  fsrl::CanFrame remote = MakeWriterFrame(next(2000), 0x456, false, {}, 2);
  remote.remote = true;
  remote.remote_length = 4;
  frames.push_back(remote);
  const std::uint8_t fd_lengths[] = {0, 5, 8, 12, 20, 48, 64};
  std::uint8_t flags = 0;
  for (const std::uint8_t length : fd_lengths) {
    fsrl::CanFrame fd = MakeWriterFrame(next(1000001), 0x400 + length, length % 2 == 1,
                                        Counting(length, static_cast<std::uint8_t>(length * 3)), 1 + length % 2);
    fd.fd = true;
    fd.fd_flags = static_cast<std::uint8_t>(flags++ % 4);  // none, BRS, ESI, both
    frames.push_back(fd);
  }
  fsrl::CanFrame extended_fd = MakeWriterFrame(next(50000000), 0x1ABCDEF0, true, Counting(64, 0xA0));
  extended_fd.fd = true;
  extended_fd.fd_flags = fsrl::kFdFlagBrs;
  extended_fd.direction = 'T';
  frames.push_back(extended_fd);
  // Hours later, so that long offsets are written as well.
  frames.push_back(MakeWriterFrame(next(7200LL * 1000000000 + 3), 0x001, false, {0x00}));
  return frames;
}

/// Writes @p frames to @p path through OpenFrameWriter; an empty string on success, else the error.
inline std::string WriteFrames(const std::string& path, const std::vector<fsrl::CanFrame>& frames) {
  std::string error;
  std::unique_ptr<fsrl::FrameWriter> writer = fsrl::OpenFrameWriter(path, &error);
  if (writer == nullptr) {
    return error;
  }
  for (const fsrl::CanFrame& frame : frames) {
    if (!writer->Write(frame)) {
      break;
    }
  }
  writer->Finish();
  return writer->error();
}

/// Everything the writer of @p format makes of @p frames; whether Finish succeeded and the writer's error when asked.
inline std::string WriteToString(fsrl::LogFormat format, const std::vector<fsrl::CanFrame>& frames,
                                 bool* finished = nullptr, std::string* error = nullptr) {
  std::FILE* out = std::tmpfile();
  std::unique_ptr<fsrl::FrameWriter> writer = fsrl::MakeFrameWriter(format, out);
  for (const fsrl::CanFrame& frame : frames) {
    writer->Write(frame);
  }
  const bool ok = writer->Finish();
  if (finished != nullptr) {
    *finished = ok;
  }
  if (error != nullptr) {
    *error = writer->error();
  }
  std::string text = ReadAll(out);
  std::fclose(out);
  return text;
}

}  // namespace fsrl_test

#endif  // FSRL_TESTS_TOOLS_FRAME_WRITER_TEST_UTIL_H
