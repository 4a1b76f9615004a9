// Vector BLF logs as a frame stream.
//
// Layout (all numbers little-endian), from the public descriptions of the format:
//
//   file header    "LOGG", u32 header size (144 as written today), application and format versions, u64 file
//                  size, u64 uncompressed size, u32 object count, u32 objects read, start time and stop time as
//                  SYSTEMTIME (8 x u16: year, month, weekday, day, hour, minute, second, millisecond; local time)
//   object header  "LOBJ", u16 header size, u16 header version, u32 object size (header included), u32 type;
//                  versions 1 and 2 go on with u32 flags (1: time in 10 us, 2: in ns) and, at byte 24, the u64
//                  time stamp since the start time; the object's own data begins at the header size
//   padding        objects are followed by up to 7 zero bytes (writers differ in how they count them); the next
//                  object is found by its signature
//   LOG_CONTAINER  type 10: u16 compression (0 none, 2 zlib), 6 reserved bytes, u32 uncompressed size,
//                  4 reserved bytes, then the data. The data of all containers, one after the other, is itself a
//                  stream of objects, and an object may begin in one container and end in the next.
//   CAN_MESSAGE (1), CAN_MESSAGE2 (86): u16 channel, u8 flags (bit 0 Tx, bit 7 remote), u8 DLC, u32 id (bit 31
//                  extended), 8 data bytes (CAN_MESSAGE2 adds frame length and bit count)
//   CAN_FD_MESSAGE (100): u16 channel, u8 flags, u8 DLC, u32 id, u32 frame length, u8 bit count, u8 FD flags
//                  (bit 0 EDL, 1 BRS, 2 ESI), u8 valid data bytes, 5 reserved, 64 data bytes
//   CAN_FD_MESSAGE_64 (101): u8 channel, u8 DLC, u8 valid data bytes, u8 tx count, u32 id, u32 frame length,
//                  u32 flags (0x10 remote, 0x1000 EDL, 0x2000 BRS, 0x4000 ESI), 4 x u32 bit timing and offsets,
//                  u16 bit count, u8 direction, u8 extended data offset, u32 CRC, then the data
//
// Memory stays bounded: the file is read block by block, containers are inflated in slices, and only the object
// at hand is buffered (objects of types not read are skipped without being held).
#include <zlib.h>

#include <cstring>
#include <deque>
#include <vector>

#include "blf_format.h"
#include "frame_source_internal.h"

namespace fsrl {
namespace detail {
namespace {

using blf::kBaseHeaderSize;
using blf::kCanError;
using blf::kCanErrorExt;
using blf::kCanFdError64;
using blf::kCanFdMessage;
using blf::kCanFdMessage64;
using blf::kCanFlagRemote;
using blf::kCanFlagTx;
using blf::kCanMessage;
using blf::kCanMessage2;
using blf::kContainerHeaderSize;
using blf::kExtendedFlag;
using blf::kFd64Brs;
using blf::kFd64Edl;
using blf::kFd64Esi;
using blf::kFd64Remote;
using blf::kLogContainer;
using blf::kTimedHeaderSize;
using blf::kZlibCompression;

constexpr std::size_t kFileHeaderMin = 72;    // through the stop time
constexpr std::size_t kFileHeaderMax = 4096;  // far above the 144 bytes written; bounds what is skipped
// Largest object of a type that is read; the CAN objects are under 200 bytes, extended CAN FD data included.
constexpr std::size_t kMaxFrameObject = 4096;
// Padding between objects, at most: writers pad to a multiple of 4 or by size % 4.
constexpr std::size_t kMaxPadding = 7;
// How much inflated data is produced per step.
constexpr std::size_t kInflateSlice = 65536;
constexpr std::uint32_t kTimeTenMicros = 1;
constexpr std::uint8_t kFdFlagEdl = 0x01;
constexpr std::uint8_t kFdFlagBrsBit = 0x02;
constexpr std::uint8_t kFdFlagEsiBit = 0x04;

std::uint16_t U16(const std::uint8_t* p) { return static_cast<std::uint16_t>(p[0] | (p[1] << 8)); }
std::uint32_t U32(const std::uint8_t* p) {
  return static_cast<std::uint32_t>(p[0]) | (static_cast<std::uint32_t>(p[1]) << 8) |
         (static_cast<std::uint32_t>(p[2]) << 16) | (static_cast<std::uint32_t>(p[3]) << 24);
}
std::uint64_t U64(const std::uint8_t* p) {
  return static_cast<std::uint64_t>(U32(p)) | (static_cast<std::uint64_t>(U32(p + 4)) << 32);
}
bool IsSignature(const std::uint8_t* p) { return std::memcmp(p, "LOBJ", 4) == 0; }

class BlfSource final : public FrameSource {
 public:
  BlfSource(std::unique_ptr<ByteInput> input, std::string name)
      : FrameSource(LogFormat::kBlf, std::move(name)), in_(std::move(input)) {}

  ~BlfSource() override {
    if (zlib_ready_) {
      inflateEnd(&zs_);
    }
  }

  ReadStatus Next(CanFrame& frame) override {
    if (done_) {
      return ReadStatus::kEnd;
    }
    if (!header_read_) {
      const ReadStatus status = ReadFileHeader();
      if (status != ReadStatus::kFrame) {
        done_ = true;
        return status;
      }
      header_read_ = true;
    }
    for (;;) {
      // The next object's signature, after any padding.
      std::size_t padding = 0;
      for (;;) {
        const Pull pull = NeedInner(4);
        if (pull == Pull::kEnd) {
          done_ = true;
          if (InnerSize() != 0 && !AllZero(InnerData(), InnerSize())) {
            return Fatal(ObjectOffset(), "truncated object at the end of the file");
          }
          return ReadStatus::kEnd;
        }
        if (pull != Pull::kOk) {
          return Failed(pull);
        }
        if (IsSignature(InnerData())) {
          break;
        }
        if (InnerData()[0] != 0 || padding == kMaxPadding) {
          return Fatal(ObjectOffset(), "no object signature 'LOBJ' where an object should begin");
        }
        ConsumeInner(1);
        ++padding;
      }
      const std::uint64_t object_offset = ObjectOffset();
      const Pull pull = NeedInner(kBaseHeaderSize);
      if (pull != Pull::kOk) {
        return pull == Pull::kEnd ? Fatal(object_offset, "truncated object header at the end of the file")
                                  : Failed(pull);
      }
      const std::uint8_t* header = InnerData();
      const std::size_t header_size = U16(header + 4);
      const std::uint32_t object_size = U32(header + 8);
      const std::uint32_t type = U32(header + 12);
      if (header_size < kBaseHeaderSize || object_size < header_size) {
        return Fatal(object_offset, "object header with impossible sizes (header size " + std::to_string(header_size) +
                                        ", object size " + std::to_string(object_size) + ")");
      }
      if (type == kLogContainer) {
        return Fatal(object_offset, "a LOG_CONTAINER inside a LOG_CONTAINER");
      }
      const bool frame_type =
          type == kCanMessage || type == kCanMessage2 || type == kCanFdMessage || type == kCanFdMessage64;
      if (!frame_type) {
        if (type == kCanError || type == kCanErrorExt || type == kCanFdError64) {
          ++skipped_.error_frames;
        } else {
          ++skipped_.other_objects;
        }
        const ReadStatus skipped = SkipInner(object_size, object_offset);
        if (skipped != ReadStatus::kFrame) {
          return skipped;
        }
        continue;
      }
      if (object_size > kMaxFrameObject) {
        return Fatal(object_offset, "CAN object of " + std::to_string(object_size) + " bytes (at most " +
                                        std::to_string(kMaxFrameObject) + " expected)");
      }
      const Pull whole = NeedInner(object_size);
      if (whole != Pull::kOk) {
        return whole == Pull::kEnd ? Fatal(object_offset, "truncated object at the end of the file") : Failed(whole);
      }
      position_ = object_offset;
      const char* failure = ParseFrame(InnerData(), header_size, object_size, type, frame);
      ConsumeInner(object_size);
      if (failure != nullptr) {
        reason_ = failure;
        return ReadStatus::kMalformed;
      }
      return ReadStatus::kFrame;
    }
  }

 private:
  enum class Pull { kOk, kEnd, kCorrupt, kReadError };

  // One container's data in the inner stream: where it starts there and where it came from in the file.
  struct Segment {
    std::uint64_t inner_start;
    std::uint64_t file_offset;  // of the container object, or of the object itself when not in a container
    std::uint64_t data_offset;  // file offset of the first data byte
    bool compressed;
  };

  ReadStatus ReadFileHeader() {
    in_->Ensure(kFileHeaderMin);
    if (in_->failed()) {
      return Failed(Pull::kReadError);
    }
    const auto* p = reinterpret_cast<const std::uint8_t*>(in_->data());
    if (in_->size() < 4 || std::memcmp(p, "LOGG", 4) != 0) {
      return Fatal(0, "not a BLF file (no 'LOGG' signature)");
    }
    if (in_->size() < kFileHeaderMin) {
      return Fatal(0, "truncated file header");
    }
    const std::uint32_t header_size = U32(p + 4);
    if (header_size < kFileHeaderMin || header_size > kFileHeaderMax) {
      return Fatal(0, "file header size " + std::to_string(header_size) + " out of range");
    }
    const std::uint8_t* start = p + 40;
    if (U16(start) != 0) {
      std::int64_t ns = 0;
      if (!LocalTimeToEpochNs(U16(start), U16(start + 2), U16(start + 6), U16(start + 8), U16(start + 10),
                              U16(start + 12), U16(start + 14), ns)) {
        return Fatal(40, "invalid start time in the file header");
      }
      start_ns_ = ns;
    }
    in_->Ensure(header_size);
    if (in_->failed()) {
      return Failed(Pull::kReadError);
    }
    if (in_->size() < header_size) {
      return Fatal(0, "truncated file header");
    }
    in_->Consume(header_size);
    return ReadStatus::kFrame;
  }

  const char* ParseFrame(const std::uint8_t* o, std::size_t header_size, std::size_t object_size, std::uint32_t type,
                         CanFrame& frame) {
    if (header_size < kTimedHeaderSize) {
      return "CAN object without a time stamp in its header";
    }
    const std::uint32_t time_flags = U32(o + 16);
    const std::uint64_t stamp = U64(o + 24);
    const std::uint64_t scale = time_flags == kTimeTenMicros ? 10000U : 1U;
    if (stamp > static_cast<std::uint64_t>(INT64_MAX - start_ns_) / scale) {
      return "time stamp out of range (more than 2^63-1 nanoseconds)";
    }
    frame.timestamp_ns = start_ns_ + static_cast<std::int64_t>(stamp * scale);
    frame.ClearHeader();
    const std::uint8_t* b = o + header_size;
    const std::size_t body = object_size - header_size;
    std::uint32_t channel = 0;
    std::uint32_t raw_id = 0;
    if (type == kCanMessage || type == kCanMessage2 || type == kCanFdMessage) {
      const std::size_t need = type == kCanFdMessage ? 84 : 16;
      if (body < need) {
        return "CAN object too short for its type";
      }
      channel = U16(b);
      const std::uint8_t flags = b[2];
      const std::uint8_t dlc = b[3];
      raw_id = U32(b + 4);
      frame.direction = (flags & kCanFlagTx) != 0 ? 'T' : 'R';
      frame.remote = (flags & kCanFlagRemote) != 0;
      if (type == kCanFdMessage) {
        const std::uint8_t fd_flags = b[13];
        const std::uint8_t valid = b[14];
        frame.fd = (fd_flags & kFdFlagEdl) != 0;
        if (valid > (frame.fd ? 64 : 8)) {
          return "more valid data bytes than the frame can carry";
        }
        if (frame.fd) {
          frame.fd_flags = static_cast<std::uint8_t>(((fd_flags & kFdFlagBrsBit) != 0 ? kFdFlagBrs : 0) |
                                                     ((fd_flags & kFdFlagEsiBit) != 0 ? kFdFlagEsi : 0));
        }
        frame.length = valid;
        std::memcpy(frame.data, b + 20, valid);
      } else {
        frame.length = static_cast<std::uint8_t>(dlc > 8 ? 8 : dlc);
        std::memcpy(frame.data, b + 8, frame.length);
      }
      if (frame.remote) {
        if (frame.fd) {
          return "remote request marked CAN FD";
        }
        frame.remote_length = static_cast<std::uint8_t>(dlc > 8 ? 8 : dlc);
        frame.length = 0;
      }
    } else {  // kCanFdMessage64
      if (body < 40) {
        return "CAN object too short for its type";
      }
      channel = b[0];
      const std::uint8_t dlc = b[1];
      const std::uint8_t valid = b[2];
      raw_id = U32(b + 4);
      const std::uint32_t flags = U32(b + 12);
      frame.direction = b[34] != 0 ? 'T' : 'R';
      frame.fd = (flags & kFd64Edl) != 0;
      frame.remote = (flags & kFd64Remote) != 0;
      if (valid > (frame.fd ? 64 : 8) || body < 40U + valid) {
        return "more valid data bytes than the frame or object holds";
      }
      if (frame.fd) {
        frame.fd_flags = static_cast<std::uint8_t>(((flags & kFd64Brs) != 0 ? kFdFlagBrs : 0) |
                                                   ((flags & kFd64Esi) != 0 ? kFdFlagEsi : 0));
      }
      frame.length = valid;
      std::memcpy(frame.data, b + 40, valid);
      if (frame.remote) {
        if (frame.fd) {
          return "remote request marked CAN FD";
        }
        frame.remote_length = static_cast<std::uint8_t>(dlc > 8 ? 8 : dlc);
        frame.length = 0;
      }
    }
    frame.extended = (raw_id & kExtendedFlag) != 0;
    frame.id = raw_id & ~kExtendedFlag;
    if (frame.id > (frame.extended ? kExtendedIdMax : kStandardIdMax)) {
      return frame.extended ? "extended CAN id above 1FFFFFFF" : "standard CAN id above 7FF";
    }
    channel_text_.Set(frame, channel);
    return nullptr;
  }

  // ---- the inner stream ----

  const std::uint8_t* InnerData() const { return inner_.get() + inner_begin_; }
  std::size_t InnerSize() const { return inner_end_ - inner_begin_; }
  void ConsumeInner(std::size_t n) {
    inner_begin_ += n;
    inner_consumed_ += n;
  }
  static bool AllZero(const std::uint8_t* p, std::size_t n) {
    for (std::size_t i = 0; i < n; ++i) {
      if (p[i] != 0) {
        return false;
      }
    }
    return true;
  }

  // File offset of the next inner byte: exact in uncompressed data, the container's offset in compressed data.
  std::uint64_t ObjectOffset() {
    while (segments_.size() > 1 && segments_[1].inner_start <= inner_consumed_) {
      segments_.pop_front();
    }
    if (segments_.empty()) {
      return in_->offset();
    }
    const Segment& segment = segments_.front();
    return segment.compressed ? segment.file_offset : segment.data_offset + (inner_consumed_ - segment.inner_start);
  }

  ReadStatus SkipInner(std::uint64_t n, std::uint64_t object_offset) {
    while (n != 0) {
      if (InnerSize() == 0) {
        const Pull pull = NeedInner(1);
        if (pull != Pull::kOk) {
          return pull == Pull::kEnd ? Fatal(object_offset, "truncated object at the end of the file") : Failed(pull);
        }
      }
      const std::size_t take = InnerSize() < n ? InnerSize() : static_cast<std::size_t>(n);
      ConsumeInner(take);
      n -= take;
    }
    return ReadStatus::kFrame;
  }

  // Makes @p n bytes of the inner stream available, reading and inflating containers as needed.
  Pull NeedInner(std::size_t n) {
    while (InnerSize() < n) {
      if (inner_begin_ != 0) {
        std::memmove(inner_.get(), inner_.get() + inner_begin_, InnerSize());
        inner_end_ -= inner_begin_;
        inner_begin_ = 0;
      }
      if (container_left_ == 0 && !(compressed_ && !stream_end_ && in_container_)) {
        const Pull next = NextContainer();
        if (next != Pull::kOk) {
          return next;
        }
        continue;
      }
      const Pull pulled = PullContainerData();
      if (pulled != Pull::kOk) {
        return pulled;
      }
    }
    return Pull::kOk;
  }

  Pull PullContainerData() {
    if (zlib_failed_) {
      return Pull::kCorrupt;  // reported once the data inflated before the damage has been read
    }
    if (container_left_ != 0 && in_->size() == 0 && !in_->Fill()) {
      if (in_->failed()) {
        return Pull::kReadError;
      }
      fatal_reason_ = "truncated LOG_CONTAINER or object: the file ends inside it";
      return Pull::kCorrupt;
    }
    std::size_t available = in_->size();
    if (available > container_left_) {
      available = static_cast<std::size_t>(container_left_);
    }
    // NeedInner keeps at least one slice free behind what it still needs.
    const std::size_t room = kInnerCapacity - inner_end_;
    if (!compressed_) {
      if (available > room) {
        available = room;
      }
      std::memcpy(inner_.get() + inner_end_, in_->data(), available);
      inner_end_ += available;
      in_->Consume(available);
      container_left_ -= available;
      return Pull::kOk;
    }
    if (stream_end_) {
      // Bytes behind the end of the compressed stream belong to the container but carry nothing.
      in_->Consume(available);
      container_left_ -= available;
      return Pull::kOk;
    }
    zs_.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(in_->data()));
    zs_.avail_in = static_cast<uInt>(available);
    zs_.next_out = inner_.get() + inner_end_;
    zs_.avail_out = static_cast<uInt>(room);
    const int result = inflate(&zs_, Z_NO_FLUSH);
    const std::size_t used = available - zs_.avail_in;
    const std::size_t produced = room - zs_.avail_out;
    in_->Consume(used);
    container_left_ -= used;
    inner_end_ += produced;
    if (result == Z_STREAM_END) {
      stream_end_ = true;
      return Pull::kOk;
    }
    if (result != Z_OK && !(result == Z_BUF_ERROR && (used != 0 || produced != 0))) {
      fatal_reason_ =
          std::string("corrupt LOG_CONTAINER data (zlib: ") + (zs_.msg != nullptr ? zs_.msg : "no progress") + ")";
      // What inflated before the damage still holds whole objects: hand them out first.
      zlib_failed_ = true;
      return produced != 0 ? Pull::kOk : Pull::kCorrupt;
    }
    if (container_left_ == 0 && produced == 0) {
      fatal_reason_ = "LOG_CONTAINER data ends before its compressed stream does";
      return Pull::kCorrupt;
    }
    return Pull::kOk;
  }

  // Reads the next top-level object: a container to draw from, or any other object, which is read as if a
  // container held just it.
  Pull NextContainer() {
    in_container_ = false;
    for (std::size_t padding = 0;; ++padding) {
      in_->Ensure(4);
      if (in_->failed()) {
        return Pull::kReadError;
      }
      if (in_->size() < 4) {
        if (!AllZero(reinterpret_cast<const std::uint8_t*>(in_->data()), in_->size())) {
          fatal_offset_ = in_->offset();
          fatal_reason_ = "truncated object at the end of the file";
          return Pull::kCorrupt;
        }
        return Pull::kEnd;
      }
      const auto* p = reinterpret_cast<const std::uint8_t*>(in_->data());
      if (IsSignature(p)) {
        break;
      }
      if (p[0] != 0 || padding == kMaxPadding) {
        fatal_offset_ = in_->offset();
        fatal_reason_ = "no object signature 'LOBJ' where an object should begin";
        return Pull::kCorrupt;
      }
      in_->Consume(1);
    }
    const std::uint64_t offset = in_->offset();
    in_->Ensure(kBaseHeaderSize + kContainerHeaderSize);
    if (in_->failed()) {
      return Pull::kReadError;
    }
    if (in_->size() < kBaseHeaderSize) {
      fatal_offset_ = offset;
      fatal_reason_ = "truncated object header at the end of the file";
      return Pull::kCorrupt;
    }
    const auto* p = reinterpret_cast<const std::uint8_t*>(in_->data());
    const std::size_t header_size = U16(p + 4);
    const std::uint32_t object_size = U32(p + 8);
    const std::uint32_t type = U32(p + 12);
    if (header_size < kBaseHeaderSize || object_size < header_size) {
      fatal_offset_ = offset;
      fatal_reason_ = "object header with impossible sizes (header size " + std::to_string(header_size) +
                      ", object size " + std::to_string(object_size) + ")";
      return Pull::kCorrupt;
    }
    if (type != kLogContainer) {
      // Not consumed: the object, header included, is the "container data".
      container_left_ = object_size;
      compressed_ = false;
      in_container_ = true;
      segments_.push_back(Segment{inner_consumed_ + InnerSize(), offset, offset, false});
      return Pull::kOk;
    }
    if (header_size + kContainerHeaderSize > object_size || in_->size() < header_size + kContainerHeaderSize) {
      fatal_offset_ = offset;
      fatal_reason_ = "truncated LOG_CONTAINER header";
      return Pull::kCorrupt;
    }
    const std::uint16_t compression = U16(p + header_size);
    if (compression != 0 && compression != kZlibCompression) {
      fatal_offset_ = offset;
      fatal_reason_ = "LOG_CONTAINER with unknown compression method " + std::to_string(compression);
      return Pull::kCorrupt;
    }
    in_->Consume(header_size + kContainerHeaderSize);
    container_left_ = object_size - header_size - kContainerHeaderSize;
    compressed_ = compression == kZlibCompression;
    stream_end_ = false;
    in_container_ = true;
    if (compressed_) {
      const int result = zlib_ready_ ? inflateReset(&zs_) : inflateInit(&zs_);
      if (result != Z_OK) {
        fatal_offset_ = offset;
        fatal_reason_ = "zlib cannot be set up";
        return Pull::kCorrupt;
      }
      zlib_ready_ = true;
    }
    segments_.push_back(Segment{inner_consumed_ + InnerSize(), offset, in_->offset(), compressed_});
    current_container_ = offset;
    return Pull::kOk;
  }

  ReadStatus Failed(Pull pull) {
    done_ = true;
    if (pull == Pull::kReadError) {
      position_ = in_->offset();
      errno_value_ = in_->errno_value();
      reason_ = std::strerror(errno_value_);
      return ReadStatus::kReadError;
    }
    // kCorrupt: the place is the container being read, where the damage is.
    position_ = fatal_offset_ != kNoOffset ? fatal_offset_ : current_container_;
    reason_ = fatal_reason_;
    return ReadStatus::kMalformed;
  }

  ReadStatus Fatal(std::uint64_t offset, std::string reason) {
    done_ = true;
    position_ = offset;
    reason_ = std::move(reason);
    return ReadStatus::kMalformed;
  }

  static constexpr std::uint64_t kNoOffset = ~std::uint64_t{0};

  std::unique_ptr<ByteInput> in_;
  bool header_read_ = false;
  bool done_ = false;
  std::int64_t start_ns_ = 0;

  bool in_container_ = false;
  bool compressed_ = false;
  bool stream_end_ = false;
  std::uint64_t container_left_ = 0;
  std::uint64_t current_container_ = 0;
  z_stream zs_{};
  bool zlib_ready_ = false;
  bool zlib_failed_ = false;

  // The inner stream's unread bytes: at most one object of a type that is read, plus a slice of new data.
  static constexpr std::size_t kInnerCapacity = kMaxFrameObject + kInflateSlice;
  std::unique_ptr<std::uint8_t[]> inner_{new std::uint8_t[kInnerCapacity]};
  std::size_t inner_begin_ = 0;
  std::size_t inner_end_ = 0;
  std::uint64_t inner_consumed_ = 0;
  std::deque<Segment> segments_;

  std::uint64_t fatal_offset_ = kNoOffset;
  std::string fatal_reason_;

  ChannelText channel_text_;
};

}  // namespace

std::unique_ptr<FrameSource> MakeBlfSource(std::unique_ptr<ByteInput> input, std::string name) {
  return std::make_unique<BlfSource>(std::move(input), std::move(name));
}

}  // namespace detail
}  // namespace fsrl
