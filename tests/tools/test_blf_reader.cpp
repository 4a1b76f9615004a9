// The BLF reader, on a file python-can wrote and on files built here object by object.
#include <zlib.h>

#include <cstring>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "frame_source_test_util.h"
#include "fsrl/frame_source.h"
#include "temp_dir.h"

namespace {

using fsrl::LogFormat;
using fsrl_test::ReadPath;
using fsrl_test::ReadResult;
using fsrl_test::ScopedUtc;
using fsrl_test::TempDir;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

using Bytes = std::vector<std::uint8_t>;

const std::string kFixtures = FSRL_READER_FIXTURES;
constexpr std::int64_t kNs = 1000000000;
constexpr std::int64_t kMs = 1000000;

// Object types and flags of the format.
constexpr std::uint32_t kCanMessage = 1;
constexpr std::uint32_t kCanErrorExt = 73;
constexpr std::uint32_t kCanMessage2 = 86;
constexpr std::uint32_t kGlobalMarker = 96;
constexpr std::uint32_t kCanFdMessage = 100;
constexpr std::uint32_t kCanFdMessage64 = 101;
constexpr std::uint32_t kTimeOneNanos = 2;
constexpr std::uint32_t kTimeTenMicros = 1;

void Put16(Bytes& b, std::uint32_t v) {
  b.push_back(static_cast<std::uint8_t>(v));
  b.push_back(static_cast<std::uint8_t>(v >> 8));
}
void Put32(Bytes& b, std::uint32_t v) {
  Put16(b, v & 0xFFFFU);
  Put16(b, v >> 16);
}
void Put64(Bytes& b, std::uint64_t v) {
  Put32(b, static_cast<std::uint32_t>(v));
  Put32(b, static_cast<std::uint32_t>(v >> 32));
}

// One object with a version 1 header, followed by size % 4 padding bytes as python-can writes it.
Bytes Object(std::uint32_t type, const Bytes& body, std::uint64_t stamp, std::uint32_t time_flags = kTimeOneNanos) {
  Bytes b = {'L', 'O', 'B', 'J'};
  const auto size = static_cast<std::uint32_t>(32 + body.size());
  Put16(b, 32);
  Put16(b, 1);
  Put32(b, size);
  Put32(b, type);
  Put32(b, time_flags);
  Put16(b, 0);
  Put16(b, 0);
  Put64(b, stamp);
  b.insert(b.end(), body.begin(), body.end());
  b.resize(b.size() + size % 4, 0);
  return b;
}

Bytes CanMessageBody(std::uint16_t channel, std::uint32_t id, const Bytes& data, bool extended = false,
                     bool remote = false, bool message2 = false) {
  Bytes b;
  Put16(b, channel);
  b.push_back(remote ? 0x80 : 0x00);
  b.push_back(static_cast<std::uint8_t>(data.size()));
  Put32(b, id | (extended ? 0x80000000U : 0U));
  Bytes padded = data;
  padded.resize(8, 0);
  b.insert(b.end(), padded.begin(), padded.end());
  if (message2) {
    Put32(b, 111);
    b.push_back(64);
    b.push_back(0);
    Put16(b, 0);
  }
  return b;
}

Bytes CanFdMessageBody(std::uint16_t channel, std::uint32_t id, const Bytes& data, std::uint8_t fd_flags) {
  Bytes b;
  Put16(b, channel);
  b.push_back(0x01);  // Tx
  b.push_back(0x0F);
  Put32(b, id);
  Put32(b, 0);
  b.push_back(0);
  b.push_back(fd_flags);
  b.push_back(static_cast<std::uint8_t>(data.size()));
  b.resize(b.size() + 5, 0);
  Bytes padded = data;
  padded.resize(64, 0);
  b.insert(b.end(), padded.begin(), padded.end());
  return b;
}

Bytes CanFd64Body(std::uint8_t channel, std::uint32_t id, const Bytes& data, std::uint32_t flags) {
  Bytes b;
  b.push_back(channel);
  b.push_back(0x0D);
  b.push_back(static_cast<std::uint8_t>(data.size()));
  b.push_back(0);
  Put32(b, id);
  Put32(b, 0);
  Put32(b, flags);
  for (int i = 0; i < 4; ++i) {
    Put32(b, 0);
  }
  Put16(b, 0);
  b.push_back(0);  // Rx
  b.push_back(0);
  Put32(b, 0);
  b.insert(b.end(), data.begin(), data.end());
  return b;
}

Bytes FileHeader(int year = 2023, int month = 11, int day = 14, int hour = 22, int minute = 13, int second = 20,
                 int millisecond = 123) {
  Bytes b = {'L', 'O', 'G', 'G'};
  Put32(b, 144);
  b.resize(40, 0);
  for (const int v : {year, month, 2, day, hour, minute, second, millisecond}) {
    Put16(b, static_cast<std::uint32_t>(v));
  }
  b.resize(144, 0);
  return b;
}

Bytes Container(const Bytes& data, bool compress) {
  Bytes payload = data;
  if (compress) {
    uLongf size = compressBound(static_cast<uLong>(data.size()));
    payload.resize(size);
    EXPECT_EQ(compress2(payload.data(), &size, data.data(), static_cast<uLong>(data.size()), 6), Z_OK);
    payload.resize(size);
  }
  Bytes b = {'L', 'O', 'B', 'J'};
  const auto size = static_cast<std::uint32_t>(32 + payload.size());
  Put16(b, 16);
  Put16(b, 1);
  Put32(b, size);
  Put32(b, 10);
  Put16(b, compress ? 2 : 0);
  b.resize(b.size() + 6, 0);
  Put32(b, static_cast<std::uint32_t>(data.size()));
  Put32(b, 0);
  b.insert(b.end(), payload.begin(), payload.end());
  b.resize(b.size() + size % 4, 0);
  return b;
}

// A file of the objects in @p stream, cut into containers at @p cuts (offsets into the stream).
Bytes File(const Bytes& stream, const std::vector<std::size_t>& cuts, bool compress) {
  Bytes file = FileHeader();
  std::size_t begin = 0;
  std::vector<std::size_t> ends = cuts;
  ends.push_back(stream.size());
  for (const std::size_t end : ends) {
    const Bytes part(stream.begin() + static_cast<std::ptrdiff_t>(begin),
                     stream.begin() + static_cast<std::ptrdiff_t>(end));
    const Bytes container = Container(part, compress);
    file.insert(file.end(), container.begin(), container.end());
    begin = end;
  }
  return file;
}

Bytes Concat(const std::vector<Bytes>& parts) {
  Bytes all;
  for (const Bytes& part : parts) {
    all.insert(all.end(), part.begin(), part.end());
  }
  return all;
}

// The four CAN object types, one frame each.
Bytes FourFrameStream() {
  return Concat({
      Object(kCanMessage, CanMessageBody(1, 0x123, {0x11, 0x22, 0x33}), 0),
      Object(kCanMessage2, CanMessageBody(2, 0x1ABCDEF0, {0xAA}, true, false, true), 1000),
      Object(kCanFdMessage, CanFdMessageBody(1, 0x400, Bytes(12, 0x5A), 0x01 | 0x02), 2000),
      Object(kCanFdMessage64, CanFd64Body(3, 0x7FF, Bytes(64, 0xC3), 0x1000 | 0x4000), 3000),
  });
}

ReadResult ReadBytes(const Bytes& bytes, TempDir& dir, std::string* path_out = nullptr) {
  const std::string path =
      dir.Write("log.blf", std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
  if (path_out != nullptr) {
    *path_out = path;
  }
  return ReadPath(path);
}

void ExpectFourFrames(const ReadResult& result) {
  ASSERT_EQ(result.frames.size(), 4U);
  const std::int64_t start = 1700000000 * kNs + 123 * kMs;
  EXPECT_EQ(result.frames[0].time_ns, start);
  EXPECT_EQ(result.frames[0].id, 0x123U);
  EXPECT_THAT(result.frames[0].data, ElementsAre(0x11, 0x22, 0x33));
  EXPECT_EQ(result.frames[0].channel, 1U);
  EXPECT_EQ(result.frames[0].iface, "1");
  EXPECT_EQ(result.frames[1].time_ns, start + 1000);
  EXPECT_TRUE(result.frames[1].extended);
  EXPECT_EQ(result.frames[1].id, 0x1ABCDEF0U);
  EXPECT_EQ(result.frames[1].channel, 2U);
  EXPECT_TRUE(result.frames[2].fd);
  EXPECT_EQ(result.frames[2].fd_flags, fsrl::kFdFlagBrs);
  EXPECT_EQ(result.frames[2].data, Bytes(12, 0x5A));
  EXPECT_TRUE(result.frames[3].fd);
  EXPECT_EQ(result.frames[3].fd_flags, fsrl::kFdFlagEsi);
  EXPECT_EQ(result.frames[3].data, Bytes(64, 0xC3));
  EXPECT_EQ(result.frames[3].channel, 3U);
}

TEST(BlfReader, ReadsEveryCanObjectTypeFromZlibContainers) {
  const ScopedUtc utc;
  TempDir dir;
  const ReadResult result = ReadBytes(File(FourFrameStream(), {}, true), dir);
  ASSERT_TRUE(result.opened) << result.open_error;
  EXPECT_EQ(result.format, LogFormat::kBlf);
  EXPECT_TRUE(result.problems.empty()) << result.problems.front();
  ExpectFourFrames(result);
}

TEST(BlfReader, ReadsEveryCanObjectTypeFromUncompressedContainersAndWithoutContainers) {
  const ScopedUtc utc;
  TempDir dir;
  const ReadResult contained = ReadBytes(File(FourFrameStream(), {}, false), dir);
  EXPECT_TRUE(contained.problems.empty()) << contained.problems.front();
  ExpectFourFrames(contained);
  const ReadResult bare = ReadBytes(Concat({FileHeader(), FourFrameStream()}), dir);
  EXPECT_TRUE(bare.problems.empty()) << bare.problems.front();
  ExpectFourFrames(bare);
}

TEST(BlfReader, ReadsObjectsSplitAcrossContainersAtEveryByte) {
  const ScopedUtc utc;
  TempDir dir;
  const Bytes stream = FourFrameStream();
  for (const bool compress : {true, false}) {
    for (std::size_t cut = 1; cut < stream.size(); ++cut) {
      const ReadResult result = ReadBytes(File(stream, {cut, cut + (stream.size() - cut) / 2}, compress), dir);
      ASSERT_TRUE(result.problems.empty()) << "cut " << cut << ": " << result.problems.front();
      ASSERT_NO_FATAL_FAILURE(ExpectFourFrames(result)) << "cut " << cut;
    }
  }
}

TEST(BlfReader, SkipsAndCountsOtherObjectsAndErrorObjects) {
  TempDir dir;
  const Bytes stream = Concat({
      Object(kGlobalMarker, Bytes(40, 1), 0),
      Object(kCanMessage, CanMessageBody(1, 0x100, {1}), 0),
      Object(kCanErrorExt, Bytes(32, 0), 0),
      Object(999, Bytes(300000, 7), 0),  // larger than any buffer slice
      Object(kCanMessage, CanMessageBody(1, 0x101, {2}), 0),
  });
  const ReadResult result = ReadBytes(File(stream, {100}, true), dir);
  EXPECT_TRUE(result.problems.empty()) << result.problems.front();
  ASSERT_EQ(result.frames.size(), 2U);
  EXPECT_EQ(result.frames[1].id, 0x101U);
  EXPECT_EQ(result.skipped.other_objects, 2U);
  EXPECT_EQ(result.skipped.error_frames, 1U);
}

TEST(BlfReader, ReadsRemoteRequestsAndTimeStampsInTenMicroseconds) {
  const ScopedUtc utc;
  TempDir dir;
  const Bytes stream = Object(kCanMessage, CanMessageBody(1, 0x321, Bytes(4, 0), false, true), 7, kTimeTenMicros);
  const ReadResult result = ReadBytes(File(stream, {}, true), dir);
  ASSERT_EQ(result.frames.size(), 1U);
  EXPECT_TRUE(result.frames[0].remote);
  EXPECT_EQ(result.frames[0].remote_length, 4U);
  EXPECT_TRUE(result.frames[0].data.empty());
  EXPECT_EQ(result.frames[0].time_ns, 1700000000 * kNs + 123 * kMs + 70000);
}

TEST(BlfReader, EndsATruncatedFileWithAnErrorAfterEveryEarlierFrame) {
  TempDir dir;
  Bytes stream;
  for (std::uint32_t i = 0; i < 20; ++i) {
    const Bytes object = Object(kCanMessage, CanMessageBody(1, i, {static_cast<std::uint8_t>(i)}), i);
    stream.insert(stream.end(), object.begin(), object.end());
  }
  for (const bool compress : {true, false}) {
    const Bytes whole = File(stream, {stream.size() / 2}, compress);
    const Bytes first_container = File(Bytes(stream.begin(), stream.begin() + stream.size() / 2), {}, compress);
    // Cut in the middle of the second container.
    const Bytes truncated(whole.begin(), whole.begin() + (first_container.size() + whole.size()) / 2);
    std::string path;
    const ReadResult result = ReadBytes(truncated, dir, &path);
    ASSERT_GE(result.frames.size(), 10U);
    for (std::size_t i = 0; i < result.frames.size(); ++i) {
      EXPECT_EQ(result.frames[i].id, i);
    }
    ASSERT_EQ(result.problems.size(), 1U);
    EXPECT_THAT(result.problems[0], HasSubstr(path + ":"));
    EXPECT_THAT(result.problems[0], HasSubstr("truncated"));
  }
}

TEST(BlfReader, NamesTheOffsetOfACorruptCompressedContainer) {
  TempDir dir;
  Bytes stream;
  for (std::uint32_t i = 0; i < 20; ++i) {
    const Bytes object = Object(kCanMessage, CanMessageBody(1, i, {static_cast<std::uint8_t>(i)}), i);
    stream.insert(stream.end(), object.begin(), object.end());
  }
  Bytes file = File(stream, {stream.size() / 2}, true);
  const std::size_t second = File(Bytes(stream.begin(), stream.begin() + stream.size() / 2), {}, true).size();
  // Damage the second container's zlib header: its data begins 32 bytes into the object.
  file[second + 32] = 0xFF;
  file[second + 33] = 0xFF;
  std::string path;
  const ReadResult result = ReadBytes(file, dir, &path);
  EXPECT_EQ(result.frames.size(), 10U);
  ASSERT_EQ(result.problems.size(), 1U);
  EXPECT_THAT(result.problems[0], HasSubstr(path + ":" + std::to_string(second) + ": corrupt LOG_CONTAINER"));
}

TEST(BlfReader, RejectsAFileWithoutTheSignatureAtOffsetZero) {
  TempDir dir;
  const std::string path = dir.Write("not.blf",
                                     "LOGX and more bytes than a header has, and then some more of them, "
                                     "so many that nothing is short");
  const ReadResult result = ReadPath(path, LogFormat::kBlf);
  ASSERT_EQ(result.problems.size(), 1U);
  EXPECT_EQ(result.problems[0], path + ":0: not a BLF file (no 'LOGG' signature)");
}

TEST(BlfReader, ReportsAnObjectWithImpossibleSizesAndStops) {
  TempDir dir;
  Bytes stream = Object(kCanMessage, CanMessageBody(1, 0x100, {1}), 0);
  Bytes bad = Object(kCanMessage, CanMessageBody(1, 0x101, {2}), 0);
  bad[8] = 8;  // object size below the header size
  bad[9] = bad[10] = bad[11] = 0;
  stream.insert(stream.end(), bad.begin(), bad.end());
  std::string path;
  const ReadResult result = ReadBytes(Concat({FileHeader(), stream}), dir, &path);
  ASSERT_EQ(result.frames.size(), 1U);
  ASSERT_EQ(result.problems.size(), 1U);
  EXPECT_THAT(result.problems[0], HasSubstr(path + ":" + std::to_string(144 + 48) + ": object header with impossible"));
}

TEST(BlfReader, ReadsPythonCanOutputAsTheFramesOfItsSourceLog) {
  const ScopedUtc utc;
  const ReadResult original = ReadPath(kFixtures + "/mixed.log");
  const ReadResult result = ReadPath(kFixtures + "/mixed_python_can.blf");
  ASSERT_TRUE(result.opened) << result.open_error;
  EXPECT_TRUE(result.problems.empty()) << result.problems.front();
  // python-can writes error frames as error objects.
  ASSERT_EQ(result.frames.size(), original.frames.size() - 1);
  EXPECT_EQ(result.skipped.error_frames, 1U);
  std::size_t j = 0;
  for (const fsrl_test::ReadFrame& frame : original.frames) {
    if (frame.error) {
      continue;
    }
    const fsrl_test::ReadFrame& read = result.frames[j++];
    // The file's start time has milliseconds; python-can's start is the first frame, and it computes the
    // offsets in double seconds, which at 1.7e9 s resolve about 0.24 us: a microsecond log stays within 1 us.
    EXPECT_NEAR(static_cast<double>(read.time_ns - result.frames[0].time_ns),
                static_cast<double>(frame.time_ns - original.frames[0].time_ns), 1000.0)
        << frame;
    EXPECT_EQ(read.id, frame.id) << frame;
    EXPECT_EQ(read.extended, frame.extended) << frame;
    EXPECT_EQ(read.fd, frame.fd) << frame;
    EXPECT_EQ(read.remote, frame.remote) << frame;
    EXPECT_EQ(read.data, frame.data) << frame;
    EXPECT_EQ(read.channel, frame.channel) << frame;
  }
  EXPECT_EQ(result.frames[0].time_ns, 1700000000 * kNs + 123 * kMs);
}

}  // namespace
