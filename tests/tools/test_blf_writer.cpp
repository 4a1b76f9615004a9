// The BLF writer: the file header's statistics, the containers and objects it writes, exact nanosecond times,
// bounded containers on long runs, outputs that cannot seek, and frames it cannot hold.
#include <unistd.h>
#include <zlib.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "frame_source_test_util.h"
#include "frame_writer_test_util.h"
#include "fsrl/frame_writer.h"
#include "temp_dir.h"

namespace {

using fsrl::CanFrame;
using fsrl::LogFormat;
using fsrl_test::MakeWriterFrame;
using fsrl_test::ReadAll;
using fsrl_test::ScopedUtc;
using ::testing::HasSubstr;

using Bytes = std::vector<std::uint8_t>;

// 2023-11-14 22:13:20.123456789 UTC.
constexpr std::int64_t kStart = 1700000000123456789;
constexpr std::size_t kFileHeaderSize = 144;

std::uint16_t U16(const Bytes& b, std::size_t at) { return static_cast<std::uint16_t>(b[at] | (b[at + 1] << 8)); }
std::uint32_t U32(const Bytes& b, std::size_t at) {
  return static_cast<std::uint32_t>(U16(b, at)) | (static_cast<std::uint32_t>(U16(b, at + 2)) << 16);
}
std::uint64_t U64(const Bytes& b, std::size_t at) {
  return static_cast<std::uint64_t>(U32(b, at)) | (static_cast<std::uint64_t>(U32(b, at + 4)) << 32);
}

Bytes WriteBlf(const std::vector<CanFrame>& frames, bool* finished = nullptr, std::string* error = nullptr) {
  const std::string bytes = fsrl_test::WriteToString(LogFormat::kBlf, frames, finished, error);
  return Bytes(bytes.begin(), bytes.end());
}

// One top-level container, taken apart.
struct Container {
  std::size_t offset = 0;
  std::uint32_t object_size = 0;
  std::uint16_t compression = 0;
  std::uint32_t declared_size = 0;
  Bytes data;  // inflated
};

// The file's containers, in order; fails the test on anything but containers after the header.
std::vector<Container> Containers(const Bytes& file) {
  std::vector<Container> containers;
  std::size_t at = kFileHeaderSize;
  while (at + 4 <= file.size()) {
    Container c;
    c.offset = at;
    EXPECT_EQ(std::memcmp(file.data() + at, "LOBJ", 4), 0) << "at " << at;
    EXPECT_EQ(U16(file, at + 4), 16U);
    c.object_size = U32(file, at + 8);
    EXPECT_EQ(U32(file, at + 12), 10U) << "a LOG_CONTAINER at " << at;
    c.compression = U16(file, at + 16);
    c.declared_size = U32(file, at + 24);
    if (at + c.object_size > file.size() || c.object_size < 32) {
      ADD_FAILURE() << "container at " << at << " runs past the end";
      break;
    }
    c.data.resize(c.declared_size);
    uLongf size = c.declared_size;
    EXPECT_EQ(uncompress(c.data.data(), &size, file.data() + at + 32, c.object_size - 32), Z_OK);
    EXPECT_EQ(size, c.declared_size);
    containers.push_back(c);
    at += c.object_size + c.object_size % 4;
  }
  EXPECT_EQ(at, file.size());
  return containers;
}

// The objects of an inflated container: (offset, type, size).
struct Object {
  std::size_t offset;
  std::uint32_t type;
  std::uint32_t size;
};
std::vector<Object> Objects(const Bytes& data) {
  std::vector<Object> objects;
  std::size_t at = 0;
  while (at < data.size()) {
    EXPECT_EQ(std::memcmp(data.data() + at, "LOBJ", 4), 0) << "at " << at;
    const std::uint32_t size = U32(data, at + 8);
    objects.push_back(Object{at, U32(data, at + 12), size});
    at += (size + 3U) & ~3U;
  }
  EXPECT_EQ(at, data.size());
  return objects;
}

TEST(BlfWriter, FileHeaderStatisticsAreFilledInAtFinish) {
  ScopedUtc utc;
  const std::vector<CanFrame> frames = fsrl_test::MixedFrames();
  const Bytes file = WriteBlf(frames);
  ASSERT_GE(file.size(), kFileHeaderSize);
  EXPECT_EQ(std::memcmp(file.data(), "LOGG", 4), 0);
  EXPECT_EQ(U32(file, 4), kFileHeaderSize);
  EXPECT_EQ(U64(file, 16), file.size());
  EXPECT_EQ(U32(file, 32), frames.size());
  std::uint64_t uncompressed = kFileHeaderSize;
  for (const Container& c : Containers(file)) {
    uncompressed += 32 + c.data.size();
  }
  EXPECT_EQ(U64(file, 24), uncompressed);
  // Start: 2023-11-14 (a Tuesday) 22:13:20.123, the first frame's millisecond.
  const std::uint16_t start[8] = {2023, 11, 2, 14, 22, 13, 20, 123};
  // Stop: the last frame, 7200.057103010 s after the first: Wednesday 00:13:20.180.
  const std::uint16_t stop[8] = {2023, 11, 3, 15, 0, 13, 20, 180};
  for (std::size_t i = 0; i < 8; ++i) {
    EXPECT_EQ(U16(file, 40 + 2 * i), start[i]) << "start field " << i;
    EXPECT_EQ(U16(file, 56 + 2 * i), stop[i]) << "stop field " << i;
  }
}

TEST(BlfWriter, ClassicFramesAreCanMessagesAndFdFramesCanFdMessage64) {
  ScopedUtc utc;
  CanFrame classic = MakeWriterFrame(kStart, 0x12345678, true, {1, 2, 3}, 2);
  classic.direction = 'T';
  CanFrame fd = MakeWriterFrame(kStart + 1, 0x7FF, false, fsrl_test::Counting(20, 0x40), 3);
  fd.fd = true;
  fd.fd_flags = fsrl::kFdFlagBrs;
  const std::vector<Container> containers = Containers(WriteBlf({classic, fd}));
  ASSERT_EQ(containers.size(), 1U);
  const Bytes& d = containers[0].data;
  const std::vector<Object> objects = Objects(d);
  ASSERT_EQ(objects.size(), 2U);

  const std::size_t a = objects[0].offset;
  EXPECT_EQ(objects[0].type, 1U);
  EXPECT_EQ(objects[0].size, 48U);
  EXPECT_EQ(U32(d, a + 16), 2U);           // time stamp in nanoseconds
  EXPECT_EQ(U64(d, a + 24), 456789U);      // since 22:13:20.123
  EXPECT_EQ(U16(d, a + 32), 2U);           // channel
  EXPECT_EQ(d[a + 34], 0x01);              // Tx
  EXPECT_EQ(d[a + 35], 3);                 // DLC
  EXPECT_EQ(U32(d, a + 36), 0x92345678U);  // id with the extended bit
  EXPECT_EQ(Bytes(d.begin() + a + 40, d.begin() + a + 43), (Bytes{1, 2, 3}));

  const std::size_t b = objects[1].offset;
  EXPECT_EQ(objects[1].type, 101U);
  EXPECT_EQ(objects[1].size, 32U + 40U + 20U);
  EXPECT_EQ(U64(d, b + 24), 456790U);
  EXPECT_EQ(d[b + 32], 3);   // channel
  EXPECT_EQ(d[b + 33], 11);  // DLC of 20 bytes
  EXPECT_EQ(d[b + 34], 20);  // valid data bytes
  EXPECT_EQ(U32(d, b + 36), 0x7FFU);
  EXPECT_EQ(U32(d, b + 44), 0x3000U);  // EDL and BRS
  EXPECT_EQ(d[b + 66], 0);             // Rx
  EXPECT_EQ(Bytes(d.begin() + b + 72, d.begin() + b + 92), fsrl_test::Counting(20, 0x40));
}

TEST(BlfWriter, TimesKeepEveryNanosecond) {
  ScopedUtc utc;
  fsrl_test::TempDir dir;
  ASSERT_TRUE(dir.ok());
  const std::string path = dir.path() + "/ns.blf";
  std::vector<CanFrame> frames;
  for (std::int64_t i = 0; i < 5; ++i) {
    frames.push_back(MakeWriterFrame(kStart + i * 1000000007 + i, 0x100, false, {}));
  }
  ASSERT_EQ(fsrl_test::WriteFrames(path, frames), "");
  const fsrl_test::ReadResult read = fsrl_test::ReadPath(path);
  ASSERT_EQ(read.frames.size(), frames.size());
  for (std::size_t i = 0; i < frames.size(); ++i) {
    EXPECT_EQ(read.frames[i].time_ns, frames[i].timestamp_ns) << "frame " << i;
  }
}

TEST(BlfWriter, LongRunsFillManyContainersOfBoundedSize) {
  ScopedUtc utc;
  std::vector<CanFrame> frames;
  for (std::uint32_t i = 0; i < 5000; ++i) {
    CanFrame fd = MakeWriterFrame(kStart + static_cast<std::int64_t>(i) * 100000, 0x400 + i % 52, false,
                                  fsrl_test::Counting(64, static_cast<std::uint8_t>(i)));
    fd.fd = true;
    frames.push_back(fd);
  }
  const Bytes file = WriteBlf(frames);
  const std::vector<Container> containers = Containers(file);
  ASSERT_GE(containers.size(), 5U);  // 5000 objects of 136 bytes, 128 KiB a container
  std::size_t objects = 0;
  for (const Container& c : containers) {
    EXPECT_EQ(c.compression, 2U);
    EXPECT_LE(c.data.size(), 128U * 1024U);
    objects += Objects(c.data).size();
  }
  EXPECT_EQ(objects, frames.size());
  EXPECT_EQ(U32(file, 32), frames.size());
}

TEST(BlfWriter, OutputThatCannotSeekKeepsZeroStatistics) {
  ScopedUtc utc;
  int fds[2];
  ASSERT_EQ(::pipe(fds), 0);
  std::FILE* out = ::fdopen(fds[1], "wb");
  ASSERT_NE(out, nullptr);
  std::unique_ptr<fsrl::FrameWriter> writer = fsrl::MakeFrameWriter(LogFormat::kBlf, out);
  // A few frames: the file stays far below the pipe's buffer, so nobody needs to read while it is written.
  ASSERT_TRUE(writer->Write(MakeWriterFrame(kStart, 0x123, false, {0x01})));
  ASSERT_TRUE(writer->Write(MakeWriterFrame(kStart + 5, 0x124, false, {0x02})));
  EXPECT_TRUE(writer->Finish()) << writer->error();
  std::fclose(out);
  std::unique_ptr<fsrl::FrameSource> source = fsrl::OpenFrameSource(fds[0], "<pipe>", LogFormat::kAuto, true);
  ASSERT_NE(source, nullptr);
  fsrl_test::ReadResult read;
  fsrl_test::Drain(*source, read);
  EXPECT_EQ(read.format, LogFormat::kBlf);
  EXPECT_TRUE(read.problems.empty()) << read.problems.front();
  ASSERT_EQ(read.frames.size(), 2U);
  EXPECT_EQ(read.frames[1].time_ns, kStart + 5);
}

TEST(BlfWriter, FrameBeforeTheStartIsRefusedAndTheFramesBeforeItStay) {
  ScopedUtc utc;
  bool finished = true;
  std::string error;
  const Bytes file =
      WriteBlf({MakeWriterFrame(kStart, 0x1, false, {}), MakeWriterFrame(kStart - 2000000, 0x2, false, {}),
                MakeWriterFrame(kStart + 1000, 0x3, false, {})},
               &finished, &error);
  EXPECT_FALSE(finished);
  EXPECT_THAT(error, HasSubstr("earlier than the start time"));
  EXPECT_EQ(U32(file, 32), 1U);
  const std::vector<Container> containers = Containers(file);
  ASSERT_EQ(containers.size(), 1U);
  ASSERT_EQ(Objects(containers[0].data).size(), 1U);
}

TEST(BlfWriter, EmptyLogIsAHeaderAlone) {
  ScopedUtc utc;
  const Bytes file = WriteBlf({});
  ASSERT_EQ(file.size(), kFileHeaderSize);
  EXPECT_EQ(U64(file, 16), kFileHeaderSize);
  EXPECT_EQ(U32(file, 32), 0U);
  EXPECT_GE(U16(file, 40), 2023U);  // dated when it was made
}

}  // namespace
