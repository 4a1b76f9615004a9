/// @file
/// @brief A small writer of MCAP recordings (format version 0): chunked, indexed, with a summary, so that
/// viewers open large files quickly and seek in them.
///
/// Layout written: magic, Header, then the data section: Schema and Channel records as they are added, Chunks of
/// Messages (each followed by one Message Index per channel with messages in it), DataEnd with the data section's
/// CRC; then the summary section (every Schema and Channel again, Statistics, one Chunk Index per chunk), one
/// Summary Offset per group of summary records, the Footer with the summary's CRC, and the closing magic.
/// Integers are little-endian; CRCs are CRC-32 (the zlib polynomial).
#ifndef FSRL_MCAP_WRITER_H
#define FSRL_MCAP_WRITER_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace fsrl {

/// How chunks are stored.
enum class McapCompression { kNone, kZstd };

struct McapOptions {
  McapCompression compression = McapCompression::kZstd;
  /// A chunk is closed once its uncompressed records reach this size. 1 MiB keeps a seek cheap (one chunk is
  /// decompressed) while zstd still finds the repetition between scans.
  std::size_t chunk_size = std::size_t{1} << 20;
  /// zstd level: 1 is the fastest, and radar scans compress well even at that level.
  int zstd_level = 1;
  std::string profile;           ///< Header profile ("" for none; the messages here are JSON)
  std::string library = "fsrl";  ///< Header library: what wrote the file
};

/// @brief Writes one MCAP file to a FILE. Add schemas and channels before the messages that use them.
///
/// Every method returns false once a write has failed (error() says why); the file is then incomplete. Close
/// must be called to get a readable file; the destructor does not write.
class McapWriter {
 public:
  /// @param file not owned; the magic and Header are written by Open
  McapWriter(std::FILE* file, McapOptions options);
  ~McapWriter();
  McapWriter(const McapWriter&) = delete;
  McapWriter& operator=(const McapWriter&) = delete;

  bool Open();
  /// @return the schema's id (1, 2, ...); 0 when the write failed
  std::uint16_t AddSchema(std::string_view name, std::string_view encoding, std::string_view data);
  /// @return the channel's id (0, 1, ...); 0xFFFF when the write failed or @p schema_id is unknown
  std::uint16_t AddChannel(std::uint16_t schema_id, std::string_view topic, std::string_view message_encoding,
                           const std::map<std::string, std::string>& metadata = {});
  /// @brief One message on @p channel_id; its sequence number is the channel's count of messages so far.
  bool Write(std::uint16_t channel_id, std::uint64_t log_time_ns, std::uint64_t publish_time_ns, std::string_view data);
  /// @brief Closes the last chunk and writes DataEnd, the summary, the summary offsets, Footer and magic.
  bool Close();

  const std::string& error() const { return error_; }
  std::uint64_t message_count() const { return message_count_; }
  std::uint64_t bytes_written() const { return offset_; }

 private:
  struct ChunkIndexEntry;
  bool FlushChunk();
  bool Emit(const std::string& bytes);
  bool Fail(const std::string& why);

  std::FILE* file_;
  McapOptions options_;
  std::string error_;
  bool open_ = false;
  bool closed_ = false;
  std::uint64_t offset_ = 0;                  // bytes written so far
  std::uint32_t data_crc_ = 0;                // CRC of everything written, until DataEnd
  std::vector<std::string> schema_records_;   // for the summary, as written
  std::vector<std::string> channel_records_;  // for the summary, as written
  std::vector<std::uint16_t> channel_schemas_;
  std::vector<std::uint32_t> sequences_;
  std::vector<std::uint64_t> channel_counts_;
  std::uint64_t message_count_ = 0;
  std::uint64_t first_log_time_ = 0;
  std::uint64_t last_log_time_ = 0;
  // The open chunk: its uncompressed records, time range and per-channel (log time, offset) index.
  std::string chunk_;
  std::uint64_t chunk_start_time_ = 0;
  std::uint64_t chunk_end_time_ = 0;
  std::size_t chunk_messages_ = 0;
  std::map<std::uint16_t, std::vector<std::pair<std::uint64_t, std::uint64_t>>> chunk_index_;
  std::vector<std::string> chunk_index_records_;
  std::string compressed_;  // reused between chunks
  struct ZstdContext;
  std::unique_ptr<ZstdContext> zstd_;
};

}  // namespace fsrl

#endif  // FSRL_MCAP_WRITER_H
