// Frames out as a Vector BLF log (all numbers little-endian), in the layout the BLF reader takes:
//
//   file header    144 bytes: "LOGG", u32 header size, application id and version (4 x u8), format version
//                  (4 x u8), u64 file size, u64 uncompressed size, u32 object count, u32 objects read, start and
//                  stop time as SYSTEMTIME (8 x u16, local time), zeros. Written as a placeholder first and filled in
//                  by Finish, when the sizes and the count are known.
//   LOG_CONTAINER  object type 10 with a 16-byte base header ("LOBJ", u16 header size, u16 header version 1,
//                  u32 object size, u32 type), then u16 compression method (2: zlib), 6 reserved bytes, u32
//                  uncompressed size, 4 reserved bytes and the zlib stream; followed by `object size % 4` zero bytes,
//                  the padding other writers put behind top-level objects (readers find the next object by its
//                  signature).
//   inside         objects with a version 1 header (32 bytes: base header, u32 flags = 2 for a time stamp in
//                  nanoseconds, u16 client index, u16 object version, u64 time stamp since the start time), each
//                  padded with zeros to a multiple of 4 bytes:
//     CAN_MESSAGE (1)         u16 channel, u8 flags (bit 0 Tx, bit 7 remote), u8 DLC, u32 id (bit 31 extended),
//                             8 data bytes
//     CAN_ERROR (2)           u16 channel, u16 length (0)
//     CAN_FD_MESSAGE_64 (101) u8 channel, u8 DLC, u8 valid data bytes, u8 Tx count, u32 id, u32 frame length,
//                             u32 flags (0x1000 EDL, 0x2000 BRS, 0x4000 ESI), 4 x u32 bit timing and time offsets,
//                             u16 bit count, u8 direction (1 Tx), u8 extended data offset, u32 CRC, the data
//
// An object never spans two containers, so each container inflates to whole objects. Memory is one container's
// data and its compressed form, whatever the run length.
#include <zlib.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "blf_format.h"
#include "frame_writer_internal.h"

namespace fsrl {
namespace detail {
namespace {

using blf::kBaseHeaderSize;
using blf::kCanError;
using blf::kCanFdMessage64;
using blf::kCanFlagRemote;
using blf::kCanFlagTx;
using blf::kCanMessage;
using blf::kContainerHeaderSize;
using blf::kExtendedFlag;
using blf::kFd64Brs;
using blf::kFd64Edl;
using blf::kFd64Esi;
using blf::kLogContainer;
using blf::kTimedHeaderSize;
using blf::kZlibCompression;

constexpr std::size_t kFileHeaderSize = 144;
constexpr std::size_t kCanMessageBody = 16;
constexpr std::size_t kCanErrorBody = 4;
constexpr std::size_t kCanFd64FixedBody = 40;
constexpr std::uint32_t kTimeOneNanosecond = 2;
// Uncompressed data per container: the 128 KiB other writers use, which readers size their buffers for.
constexpr std::size_t kContainerData = std::size_t{1} << 17;
// Format version written into the file header: the version whose object layouts are used here (2.6.8.1).
constexpr std::uint8_t kFormatVersion[4] = {2, 6, 8, 1};
constexpr std::uint8_t kFdLengthOfDlc[16] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 20, 24, 32, 48, 64};

void Put16(std::uint8_t* p, std::uint32_t v) {
  p[0] = static_cast<std::uint8_t>(v);
  p[1] = static_cast<std::uint8_t>(v >> 8U);
}
void Put32(std::uint8_t* p, std::uint32_t v) {
  Put16(p, v & 0xFFFFU);
  Put16(p + 2, v >> 16U);
}
void Put64(std::uint8_t* p, std::uint64_t v) {
  Put32(p, static_cast<std::uint32_t>(v));
  Put32(p + 4, static_cast<std::uint32_t>(v >> 32U));
}

std::uint8_t FdDlcOfLength(std::uint8_t length) {
  std::uint8_t dlc = 0;
  while (dlc < 15 && kFdLengthOfDlc[dlc] < length) {
    ++dlc;
  }
  return dlc;
}

void PutSystemTime(std::uint8_t* p, const LocalCalendarTime& t) {
  Put16(p, static_cast<std::uint32_t>(t.year));
  Put16(p + 2, static_cast<std::uint32_t>(t.month));
  Put16(p + 4, static_cast<std::uint32_t>(t.weekday));
  Put16(p + 6, static_cast<std::uint32_t>(t.day));
  Put16(p + 8, static_cast<std::uint32_t>(t.hour));
  Put16(p + 10, static_cast<std::uint32_t>(t.minute));
  Put16(p + 12, static_cast<std::uint32_t>(t.second));
  Put16(p + 14, static_cast<std::uint32_t>(t.millisecond));
}

class BlfWriter final : public FrameWriter {
 public:
  explicit BlfWriter(std::FILE* out) : out_(out) {
    data_.reserve(kContainerData);
    compressed_.resize(compressBound(static_cast<uLong>(kContainerData)));
  }

  ~BlfWriter() override {
    if (zlib_ready_) {
      deflateEnd(&zs_);
    }
  }
  BlfWriter(const BlfWriter&) = delete;
  BlfWriter& operator=(const BlfWriter&) = delete;

  bool Write(const CanFrame& frame) override {
    if (!ok()) {
      return false;
    }
    if (!header_written_ && !Start(frame.timestamp_ns)) {
      return false;
    }
    if (frame.timestamp_ns < start_ns_) {
      return Refuse("frame at " + std::to_string(frame.timestamp_ns) + " ns is earlier than the start time (" +
                    std::to_string(start_ns_) + " ns, the first frame's millisecond); BLF times cannot be negative");
    }
    const std::uint64_t stamp = static_cast<std::uint64_t>(frame.timestamp_ns - start_ns_);
    if (frame.timestamp_ns > last_ns_) {
      last_ns_ = frame.timestamp_ns;
    }
    const std::uint32_t channel = frame.channel == 0 ? 1U : frame.channel;
    const std::uint8_t length = frame.length > 64 ? 64 : frame.length;
    std::size_t body = 0;
    std::uint32_t type = 0;
    if (frame.error) {
      type = kCanError;
      body = kCanErrorBody;
    } else if (frame.fd) {
      type = kCanFdMessage64;
      body = kCanFd64FixedBody + length;
    } else {
      type = kCanMessage;
      body = kCanMessageBody;
    }
    const std::size_t object_size = kTimedHeaderSize + body;
    const std::size_t padded = (object_size + 3U) & ~std::size_t{3};
    if (data_.size() + padded > kContainerData && !WriteContainer()) {
      return false;
    }
    const std::size_t at = data_.size();
    data_.resize(at + padded, 0);
    std::uint8_t* o = data_.data() + at;
    std::memcpy(o, "LOBJ", 4);
    Put16(o + 4, kTimedHeaderSize);
    Put16(o + 6, 1);
    Put32(o + 8, static_cast<std::uint32_t>(object_size));
    Put32(o + 12, type);
    Put32(o + 16, kTimeOneNanosecond);
    Put64(o + 24, stamp);
    std::uint8_t* b = o + kTimedHeaderSize;
    const std::uint32_t raw_id = frame.id | (frame.extended ? kExtendedFlag : 0U);
    if (type == kCanError) {
      Put16(b, channel);
    } else if (type == kCanFdMessage64) {
      b[0] = static_cast<std::uint8_t>(channel);
      b[1] = FdDlcOfLength(length);
      b[2] = length;
      Put32(b + 4, raw_id);
      Put32(b + 12, kFd64Edl | ((frame.fd_flags & kFdFlagBrs) != 0 ? kFd64Brs : 0U) |
                        ((frame.fd_flags & kFdFlagEsi) != 0 ? kFd64Esi : 0U));
      b[34] = frame.direction == 'T' ? 1 : 0;
      std::memcpy(b + kCanFd64FixedBody, frame.data, length);
    } else {
      Put16(b, channel);
      b[2] =
          static_cast<std::uint8_t>((frame.direction == 'T' ? kCanFlagTx : 0U) | (frame.remote ? kCanFlagRemote : 0U));
      Put32(b + 4, raw_id);
      if (frame.remote) {
        b[3] = frame.remote_length > 8 ? 8 : frame.remote_length;
      } else {
        const std::uint8_t classic = length > 8 ? 8 : length;
        b[3] = classic;
        std::memcpy(b + 8, frame.data, classic);
      }
    }
    if (object_count_ != UINT32_MAX) {
      ++object_count_;  // the header's count field has 32 bits; a longer log says "at least this many"
    }
    return true;
  }

  bool Finish() override {
    if (finished_) {
      return ok();
    }
    finished_ = true;
    if (output_ok() && !header_written_) {
      // Nothing was logged: the measurement starts when the file is made, as a recorder's would.
      Start(static_cast<std::int64_t>(std::time(nullptr)) * 1000000000);
    }
    if (output_ok() && !data_.empty()) {
      WriteContainer();
    }
    if (!output_ok()) {
      return false;
    }
    std::uint8_t header[kFileHeaderSize];
    MakeFileHeader(header);
    if (std::fflush(out_) != 0) {
      return FailErrno(errno);
    }
    if (std::fseek(out_, 0, SEEK_SET) != 0) {
      // A pipe cannot take the statistics; readers do without them.
      return (errno == ESPIPE || FailErrno(errno)) && ok();
    }
    if (std::fwrite(header, 1, sizeof header, out_) != sizeof header || std::fseek(out_, 0, SEEK_END) != 0 ||
        std::fflush(out_) != 0) {
      return FailErrno(errno);
    }
    // A refused frame leaves the file whole, but the run is not.
    return ok();
  }

 private:
  bool Start(std::int64_t first_ns) {
    header_written_ = true;
    start_ns_ = FloorToMillisecond(first_ns);
    last_ns_ = first_ns;
    if (!ToLocalCalendarTime(start_ns_, start_time_)) {
      return Fail("the first frame's time (" + std::to_string(first_ns) + " ns) has no local calendar date");
    }
    std::uint8_t header[kFileHeaderSize];
    MakeFileHeader(header);
    uncompressed_size_ = kFileHeaderSize;
    return Put(header, sizeof header);
  }

  void MakeFileHeader(std::uint8_t* h) const {
    std::memset(h, 0, kFileHeaderSize);
    std::memcpy(h, "LOGG", 4);
    Put32(h + 4, kFileHeaderSize);
    // h[8..11]: application id and version, 0: no registered application.
    std::memcpy(h + 12, kFormatVersion, sizeof kFormatVersion);
    Put64(h + 16, file_size_);
    Put64(h + 24, uncompressed_size_);
    Put32(h + 32, object_count_);
    PutSystemTime(h + 40, start_time_);
    LocalCalendarTime stop = start_time_;
    if (!ToLocalCalendarTime(last_ns_, stop)) {
      stop = start_time_;
    }
    PutSystemTime(h + 56, stop);
  }

  bool WriteContainer() {
    if (!zlib_ready_) {
      // zlib's fastest level: on radar frames it writes twice as many frames per second as the default level for
      // files 3 % larger (bench/bench_frame_writers.cpp).
      if (deflateInit(&zs_, Z_BEST_SPEED) != Z_OK) {
        return Fail("zlib cannot be set up");
      }
      zlib_ready_ = true;
    } else if (deflateReset(&zs_) != Z_OK) {
      return Fail("zlib cannot be reset");
    }
    zs_.next_in = data_.data();
    zs_.avail_in = static_cast<uInt>(data_.size());
    zs_.next_out = compressed_.data();
    zs_.avail_out = static_cast<uInt>(compressed_.size());
    if (deflate(&zs_, Z_FINISH) != Z_STREAM_END) {
      return Fail("zlib could not compress a container");
    }
    const std::size_t compressed_size = compressed_.size() - zs_.avail_out;
    const std::size_t object_size = kBaseHeaderSize + kContainerHeaderSize + compressed_size;
    std::uint8_t header[kBaseHeaderSize + kContainerHeaderSize] = {};
    std::memcpy(header, "LOBJ", 4);
    Put16(header + 4, kBaseHeaderSize);
    Put16(header + 6, 1);
    Put32(header + 8, static_cast<std::uint32_t>(object_size));
    Put32(header + 12, kLogContainer);
    Put16(header + 16, kZlibCompression);
    Put32(header + 24, static_cast<std::uint32_t>(data_.size()));
    static const std::uint8_t kZeros[4] = {};
    const std::size_t padding = object_size % 4;
    if (!Put(header, sizeof header) || !Put(compressed_.data(), compressed_size) || !Put(kZeros, padding)) {
      return false;
    }
    uncompressed_size_ += sizeof header + data_.size();
    data_.clear();
    return true;
  }

  bool Put(const std::uint8_t* bytes, std::size_t size) {
    if (size != 0 && std::fwrite(bytes, 1, size, out_) != size) {
      return FailErrno(errno);
    }
    file_size_ += size;
    return true;
  }

  std::FILE* out_;
  bool header_written_ = false;
  bool finished_ = false;
  std::int64_t start_ns_ = 0;
  std::int64_t last_ns_ = 0;
  LocalCalendarTime start_time_;
  std::vector<std::uint8_t> data_;        // objects of the container being filled
  std::vector<std::uint8_t> compressed_;  // its zlib stream
  z_stream zs_{};
  bool zlib_ready_ = false;
  std::uint64_t file_size_ = 0;
  std::uint64_t uncompressed_size_ = 0;
  std::uint32_t object_count_ = 0;
};

}  // namespace

std::unique_ptr<FrameWriter> MakeBlfWriter(std::FILE* out) { return std::make_unique<BlfWriter>(out); }

}  // namespace detail
}  // namespace fsrl
