#include "fsrl/mcap_writer.h"

#include <zlib.h>
#include <zstd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace fsrl {
namespace {

// The file's first and last eight bytes: 0x89, "MCAP", the major version '0', CR, LF.
constexpr char kMagic[] = {'\x89', 'M', 'C', 'A', 'P', '0', '\r', '\n'};

// Record opcodes of format version 0.
enum Opcode : std::uint8_t {
  kHeader = 0x01,
  kFooter = 0x02,
  kSchema = 0x03,
  kChannel = 0x04,
  kMessage = 0x05,
  kChunk = 0x06,
  kMessageIndex = 0x07,
  kChunkIndex = 0x08,
  kStatistics = 0x0B,
  kSummaryOffset = 0x0E,
  kDataEnd = 0x0F,
};

// Little-endian serialisation of record fields.
void PutU8(std::string& out, std::uint8_t value) { out.push_back(static_cast<char>(value)); }
void PutU16(std::string& out, std::uint16_t value) {
  for (int i = 0; i < 2; ++i) {
    out.push_back(static_cast<char>((value >> (8 * i)) & 0xFFU));
  }
}
void PutU32(std::string& out, std::uint32_t value) {
  for (int i = 0; i < 4; ++i) {
    out.push_back(static_cast<char>((value >> (8 * i)) & 0xFFU));
  }
}
void PutU64(std::string& out, std::uint64_t value) {
  for (int i = 0; i < 8; ++i) {
    out.push_back(static_cast<char>((value >> (8 * i)) & 0xFFU));
  }
}
// A String or Bytes field with a 32-bit length prefix.
void PutString(std::string& out, std::string_view text) {
  PutU32(out, static_cast<std::uint32_t>(text.size()));
  out.append(text.data(), text.size());
}
// A record: opcode, 64-bit content length, content.
std::string Record(std::uint8_t opcode, const std::string& content) {
  std::string record;
  record.reserve(9 + content.size());
  PutU8(record, opcode);
  PutU64(record, content.size());
  record += content;
  return record;
}

std::uint32_t Crc(std::uint32_t crc, const char* data, std::size_t size) {
  // zlib's crc32 takes at most 4 GiB at once.
  while (size > 0) {
    const auto part = static_cast<uInt>(size > 0x40000000U ? 0x40000000U : size);
    crc = static_cast<std::uint32_t>(::crc32(crc, reinterpret_cast<const Bytef*>(data), part));
    data += part;
    size -= part;
  }
  return crc;
}

}  // namespace

struct McapWriter::ZstdContext {
  ZSTD_CCtx* context = ZSTD_createCCtx();
  ZstdContext() = default;
  ~ZstdContext() { ZSTD_freeCCtx(context); }
  ZstdContext(const ZstdContext&) = delete;
  ZstdContext& operator=(const ZstdContext&) = delete;
  ZstdContext(ZstdContext&&) = delete;
  ZstdContext& operator=(ZstdContext&&) = delete;
};

McapWriter::McapWriter(std::FILE* file, McapOptions options) : file_(file), options_(std::move(options)) {}

McapWriter::~McapWriter() = default;

bool McapWriter::Fail(const std::string& why) {
  if (error_.empty()) {
    error_ = why;
  }
  return false;
}

bool McapWriter::Emit(const std::string& bytes) {
  if (!error_.empty()) {
    return false;
  }
  if (std::fwrite(bytes.data(), 1, bytes.size(), file_) != bytes.size()) {
    return Fail(std::string("cannot write the MCAP file at offset ") + std::to_string(offset_) + ": " +
                std::strerror(errno));
  }
  data_crc_ = Crc(data_crc_, bytes.data(), bytes.size());
  offset_ += bytes.size();
  return true;
}

bool McapWriter::Open() {
  if (open_) {
    return error_.empty();
  }
  open_ = true;
  if (options_.compression == McapCompression::kZstd) {
    zstd_ = std::make_unique<ZstdContext>();
    if (zstd_->context == nullptr) {
      return Fail("cannot set up zstd compression");
    }
  }
  std::string header;
  PutString(header, options_.profile);
  PutString(header, options_.library);
  return Emit(std::string(kMagic, sizeof kMagic)) && Emit(Record(kHeader, header));
}

std::uint16_t McapWriter::AddSchema(std::string_view name, std::string_view encoding, std::string_view data) {
  // Id 0 means "no schema" to readers; schemas count from 1.
  if (!open_ || closed_ || !error_.empty() || schema_records_.size() >= 0xFFFEU) {
    Fail("cannot add a schema now");
    return 0;
  }
  const auto id = static_cast<std::uint16_t>(schema_records_.size() + 1);
  std::string content;
  PutU16(content, id);
  PutString(content, name);
  PutString(content, encoding);
  PutString(content, data);
  std::string record = Record(kSchema, content);
  if (!Emit(record)) {
    return 0;
  }
  schema_records_.push_back(std::move(record));
  return id;
}

std::uint16_t McapWriter::AddChannel(std::uint16_t schema_id, std::string_view topic, std::string_view message_encoding,
                                     const std::map<std::string, std::string>& metadata) {
  constexpr std::uint16_t kFailed = 0xFFFF;
  if (!open_ || closed_ || !error_.empty() || channel_records_.size() >= kFailed) {
    Fail("cannot add a channel now");
    return kFailed;
  }
  if (schema_id > schema_records_.size()) {
    Fail("channel '" + std::string(topic) + "' names schema " + std::to_string(schema_id) + ", which was not added");
    return kFailed;
  }
  const auto id = static_cast<std::uint16_t>(channel_records_.size());
  std::string content;
  PutU16(content, id);
  PutU16(content, schema_id);
  PutString(content, topic);
  PutString(content, message_encoding);
  std::string map;
  for (const auto& entry : metadata) {
    PutString(map, entry.first);
    PutString(map, entry.second);
  }
  PutString(content, map);  // a Map is its byte length, then its entries
  std::string record = Record(kChannel, content);
  if (!Emit(record)) {
    return kFailed;
  }
  channel_records_.push_back(std::move(record));
  channel_schemas_.push_back(schema_id);
  sequences_.push_back(0);
  channel_counts_.push_back(0);
  return id;
}

bool McapWriter::Write(std::uint16_t channel_id, std::uint64_t log_time_ns, std::uint64_t publish_time_ns,
                       std::string_view data) {
  if (!open_ || closed_ || !error_.empty()) {
    return Fail("cannot write a message: the file is not open");
  }
  if (channel_id >= channel_records_.size()) {
    return Fail("message on channel " + std::to_string(channel_id) + ", which was not added");
  }
  if (chunk_messages_ == 0) {
    chunk_start_time_ = log_time_ns;
    chunk_end_time_ = log_time_ns;
  }
  chunk_start_time_ = std::min(chunk_start_time_, log_time_ns);
  chunk_end_time_ = std::max(chunk_end_time_, log_time_ns);
  if (message_count_ == 0) {
    first_log_time_ = log_time_ns;
    last_log_time_ = log_time_ns;
  }
  first_log_time_ = std::min(first_log_time_, log_time_ns);
  last_log_time_ = std::max(last_log_time_, log_time_ns);
  chunk_index_[channel_id].emplace_back(log_time_ns, chunk_.size());
  PutU8(chunk_, kMessage);
  PutU64(chunk_, 2 + 4 + 8 + 8 + data.size());
  PutU16(chunk_, channel_id);
  PutU32(chunk_, sequences_[channel_id]++);
  PutU64(chunk_, log_time_ns);
  PutU64(chunk_, publish_time_ns);
  chunk_.append(data.data(), data.size());
  ++chunk_messages_;
  ++message_count_;
  ++channel_counts_[channel_id];
  if (chunk_.size() >= options_.chunk_size) {
    return FlushChunk();
  }
  return true;
}

bool McapWriter::FlushChunk() {
  if (chunk_messages_ == 0) {
    return error_.empty();
  }
  const std::uint64_t chunk_start = offset_;
  std::string_view stored = chunk_;
  std::string compression;
  if (options_.compression == McapCompression::kZstd) {
    compressed_.resize(ZSTD_compressBound(chunk_.size()));
    const std::size_t size = ZSTD_compressCCtx(zstd_->context, compressed_.data(), compressed_.size(), chunk_.data(),
                                               chunk_.size(), options_.zstd_level);
    if (ZSTD_isError(size) != 0U) {
      return Fail(std::string("zstd compression failed: ") + ZSTD_getErrorName(size));
    }
    stored = std::string_view(compressed_.data(), size);
    compression = "zstd";
  }
  std::string content;
  content.reserve(8 * 3 + 4 + 4 + compression.size() + 8 + stored.size());
  PutU64(content, chunk_start_time_);
  PutU64(content, chunk_end_time_);
  PutU64(content, chunk_.size());
  PutU32(content, Crc(0, chunk_.data(), chunk_.size()));
  PutString(content, compression);
  PutU64(content, stored.size());
  content.append(stored.data(), stored.size());
  if (!Emit(Record(kChunk, content))) {
    return false;
  }
  const std::uint64_t chunk_length = offset_ - chunk_start;

  std::map<std::uint16_t, std::uint64_t> index_offsets;
  const std::uint64_t indexes_start = offset_;
  for (const auto& channel : chunk_index_) {
    std::string index;
    PutU16(index, channel.first);
    std::string entries;
    for (const auto& entry : channel.second) {
      PutU64(entries, entry.first);
      PutU64(entries, entry.second);
    }
    PutString(index, entries);  // an Array is its byte length, then its entries
    index_offsets[channel.first] = offset_;
    if (!Emit(Record(kMessageIndex, index))) {
      return false;
    }
  }

  std::string chunk_index;
  PutU64(chunk_index, chunk_start_time_);
  PutU64(chunk_index, chunk_end_time_);
  PutU64(chunk_index, chunk_start);
  PutU64(chunk_index, chunk_length);
  std::string offsets;
  for (const auto& entry : index_offsets) {
    PutU16(offsets, entry.first);
    PutU64(offsets, entry.second);
  }
  PutString(chunk_index, offsets);
  PutU64(chunk_index, offset_ - indexes_start);
  PutString(chunk_index, compression);
  PutU64(chunk_index, stored.size());
  PutU64(chunk_index, chunk_.size());
  chunk_index_records_.push_back(Record(kChunkIndex, chunk_index));

  chunk_.clear();
  chunk_index_.clear();
  chunk_messages_ = 0;
  return true;
}

bool McapWriter::Close() {
  if (closed_) {
    return error_.empty();
  }
  if (!open_ && !Open()) {
    return false;
  }
  closed_ = true;
  if (!FlushChunk()) {
    return false;
  }
  std::string data_end;
  PutU32(data_end, data_crc_);
  if (!Emit(Record(kDataEnd, data_end))) {
    return false;
  }

  // The summary: groups of records of one kind each, every group found through a Summary Offset.
  const std::uint64_t summary_start = offset_;
  data_crc_ = 0;  // from here on the running CRC is the summary's
  std::vector<std::pair<std::uint8_t, std::pair<std::uint64_t, std::uint64_t>>> groups;
  auto emit_group = [&](std::uint8_t opcode, const std::vector<std::string>& records) {
    if (records.empty()) {
      return true;
    }
    const std::uint64_t start = offset_;
    for (const std::string& record : records) {
      if (!Emit(record)) {
        return false;
      }
    }
    groups.emplace_back(opcode, std::make_pair(start, offset_ - start));
    return true;
  };
  std::string statistics;
  PutU64(statistics, message_count_);
  PutU16(statistics, static_cast<std::uint16_t>(schema_records_.size()));
  PutU32(statistics, static_cast<std::uint32_t>(channel_records_.size()));
  PutU32(statistics, 0);  // attachments
  PutU32(statistics, 0);  // metadata
  PutU32(statistics, static_cast<std::uint32_t>(chunk_index_records_.size()));
  PutU64(statistics, first_log_time_);
  PutU64(statistics, last_log_time_);
  std::string counts;
  for (std::size_t channel = 0; channel < channel_counts_.size(); ++channel) {
    PutU16(counts, static_cast<std::uint16_t>(channel));
    PutU64(counts, channel_counts_[channel]);
  }
  PutString(statistics, counts);
  if (!emit_group(kSchema, schema_records_) || !emit_group(kChannel, channel_records_) ||
      !emit_group(kStatistics, {Record(kStatistics, statistics)}) || !emit_group(kChunkIndex, chunk_index_records_)) {
    return false;
  }
  const std::uint64_t summary_offset_start = offset_;
  for (const auto& group : groups) {
    std::string content;
    PutU8(content, group.first);
    PutU64(content, group.second.first);
    PutU64(content, group.second.second);
    if (!Emit(Record(kSummaryOffset, content))) {
      return false;
    }
  }
  // The summary CRC covers the summary, the summary offsets and the Footer up to its own CRC field.
  std::string footer;
  PutU8(footer, kFooter);
  PutU64(footer, 8 + 8 + 4);
  PutU64(footer, summary_start);
  PutU64(footer, summary_offset_start);
  const std::uint32_t summary_crc = Crc(data_crc_, footer.data(), footer.size());
  PutU32(footer, summary_crc);
  if (!Emit(footer) || !Emit(std::string(kMagic, sizeof kMagic))) {
    return false;
  }
  if (std::fflush(file_) != 0) {
    return Fail(std::string("cannot write the MCAP file: ") + std::strerror(errno));
  }
  return true;
}

}  // namespace fsrl
