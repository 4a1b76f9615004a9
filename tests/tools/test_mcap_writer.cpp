#include <zlib.h>
#include <zstd.h>

#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fsrl/mcap_writer.h"
#include "temp_dir.h"

namespace {

using fsrl::McapCompression;
using fsrl::McapOptions;
using fsrl::McapWriter;
using ::testing::HasSubstr;

const std::string kMagic("\x89MCAP0\r\n", 8);

std::uint64_t Le(const std::string& bytes, std::size_t at, int size) {
  std::uint64_t value = 0;
  for (int i = size - 1; i >= 0; --i) {
    value = (value << 8U) | static_cast<unsigned char>(bytes.at(at + static_cast<std::size_t>(i)));
  }
  return value;
}

std::uint32_t Crc(const std::string& bytes, std::size_t from, std::size_t to) {
  return static_cast<std::uint32_t>(
      ::crc32(0, reinterpret_cast<const Bytef*>(bytes.data() + from), static_cast<uInt>(to - from)));
}

struct Record {
  std::uint8_t opcode;
  std::size_t offset;  // of the opcode
  std::string content;
};

// The records between the magics, in order; fails the test on a record running past the end.
std::vector<Record> Records(const std::string& file) {
  std::vector<Record> records;
  std::size_t at = kMagic.size();
  while (at + 9 <= file.size() - kMagic.size()) {
    const std::uint64_t length = Le(file, at + 1, 8);
    EXPECT_LE(at + 9 + length, file.size() - kMagic.size()) << "record at " << at;
    if (at + 9 + length > file.size()) {
      break;
    }
    records.push_back(Record{static_cast<std::uint8_t>(file[at]), at, file.substr(at + 9, length)});
    at += 9 + length;
  }
  EXPECT_EQ(at, file.size() - kMagic.size());
  return records;
}

std::string WriteFile(McapOptions options, int messages) {
  std::FILE* file = std::tmpfile();
  McapWriter writer(file, options);
  EXPECT_TRUE(writer.Open());
  const std::uint16_t schema = writer.AddSchema("test.Thing", "jsonschema", R"({"type":"object"})");
  EXPECT_EQ(schema, 1);
  const std::uint16_t a = writer.AddChannel(schema, "/a", "json");
  const std::uint16_t b = writer.AddChannel(schema, "/b", "json", {{"k", "v"}});
  EXPECT_EQ(a, 0);
  EXPECT_EQ(b, 1);
  for (int i = 0; i < messages; ++i) {
    EXPECT_TRUE(writer.Write(i % 3 == 0 ? b : a, 1000 + static_cast<std::uint64_t>(i) * 10, 5,
                             "{\"i\":" + std::to_string(i) + "}"));
  }
  EXPECT_TRUE(writer.Close()) << writer.error();
  std::string bytes = fsrl_test::ReadAll(file);
  std::fclose(file);
  return bytes;
}

TEST(McapWriter, FileStartsAndEndsWithMagicAndFooterLeadsToTheSummary) {
  McapOptions options;
  options.compression = McapCompression::kNone;
  const std::string file = WriteFile(options, 30);
  ASSERT_GT(file.size(), 2 * kMagic.size());
  EXPECT_EQ(file.substr(0, 8), kMagic);
  EXPECT_EQ(file.substr(file.size() - 8), kMagic);
  const std::vector<Record> records = Records(file);
  ASSERT_GE(records.size(), 4U);
  EXPECT_EQ(records.front().opcode, 0x01);
  const Record& footer = records.back();
  ASSERT_EQ(footer.opcode, 0x02);
  const std::uint64_t summary_start = Le(footer.content, 0, 8);
  const std::uint64_t summary_offset_start = Le(footer.content, 8, 8);
  // Summary CRC: from the summary's start through the footer's summary_offset_start field.
  EXPECT_EQ(Le(footer.content, 16, 4), Crc(file, summary_start, footer.offset + 9 + 16));
  // DataEnd directly before the summary, with the CRC of everything before it.
  const auto data_end = std::find_if(records.begin(), records.end(), [](const Record& r) { return r.opcode == 0x0F; });
  ASSERT_NE(data_end, records.end());
  EXPECT_EQ(data_end->offset + 9 + 4, summary_start);
  EXPECT_EQ(Le(data_end->content, 0, 4), Crc(file, 0, data_end->offset));
  // Every summary offset names a group of records of its opcode.
  std::map<std::uint8_t, int> groups;
  for (const Record& record : records) {
    if (record.opcode != 0x0E) {
      continue;
    }
    EXPECT_GE(record.offset, summary_offset_start);
    const auto group_opcode = static_cast<std::uint8_t>(record.content[0]);
    const std::uint64_t start = Le(record.content, 1, 8);
    ++groups[group_opcode];
    EXPECT_EQ(static_cast<std::uint8_t>(file.at(start)), group_opcode);
  }
  EXPECT_EQ(groups, (std::map<std::uint8_t, int>{{0x03, 1}, {0x04, 1}, {0x08, 1}, {0x0B, 1}}));
}

TEST(McapWriter, ChunkIndexesPointAtTheirChunksAndMessageIndexes) {
  McapOptions options;
  options.compression = McapCompression::kNone;
  options.chunk_size = 200;  // a few messages a chunk
  const std::string file = WriteFile(options, 40);
  const std::vector<Record> records = Records(file);
  int chunks = 0;
  int indexes = 0;
  std::uint64_t messages_indexed = 0;
  for (const Record& record : records) {
    chunks += record.opcode == 0x06 ? 1 : 0;
    if (record.opcode != 0x08) {
      continue;
    }
    ++indexes;
    const std::string& index = record.content;
    const std::uint64_t chunk_start = Le(index, 16, 8);
    const std::uint64_t chunk_length = Le(index, 24, 8);
    ASSERT_EQ(static_cast<std::uint8_t>(file.at(chunk_start)), 0x06);
    EXPECT_EQ(9 + Le(file, chunk_start + 1, 8), chunk_length);
    const std::uint32_t map_length = static_cast<std::uint32_t>(Le(index, 32, 4));
    for (std::size_t at = 36; at < 36 + map_length; at += 10) {
      const std::uint64_t message_index = Le(index, at + 2, 8);
      ASSERT_EQ(static_cast<std::uint8_t>(file.at(message_index)), 0x07);
      EXPECT_EQ(Le(file, message_index + 9, 2), Le(index, at, 2)) << "the index of the channel named";
      messages_indexed += Le(file, message_index + 11, 4) / 16;
    }
  }
  EXPECT_GT(chunks, 3);
  EXPECT_EQ(indexes, chunks);
  EXPECT_EQ(messages_indexed, 40U);
}

TEST(McapWriter, ZstdChunkDecompressesToItsMessagesWithTheirCrc) {
  McapOptions options;
  options.compression = McapCompression::kZstd;
  const std::string file = WriteFile(options, 50);
  const std::vector<Record> records = Records(file);
  const auto chunk = std::find_if(records.begin(), records.end(), [](const Record& r) { return r.opcode == 0x06; });
  ASSERT_NE(chunk, records.end());
  const std::string& content = chunk->content;
  const std::uint64_t uncompressed_size = Le(content, 16, 8);
  const std::uint32_t crc = static_cast<std::uint32_t>(Le(content, 24, 4));
  const std::uint32_t compression_length = static_cast<std::uint32_t>(Le(content, 28, 4));
  EXPECT_EQ(content.substr(32, compression_length), "zstd");
  const std::size_t records_at = 32 + compression_length + 8;
  std::string plain(uncompressed_size, '\0');
  const std::size_t got =
      ZSTD_decompress(plain.data(), plain.size(), content.data() + records_at, content.size() - records_at);
  ASSERT_EQ(got, uncompressed_size) << ZSTD_getErrorName(got);
  EXPECT_EQ(Crc(plain, 0, plain.size()), crc);
  EXPECT_EQ(static_cast<std::uint8_t>(plain[0]), 0x05);
  EXPECT_NE(plain.find("{\"i\":49}"), std::string::npos);
  EXPECT_EQ(Le(content, 0, 8), 1000U);  // message start time
  EXPECT_EQ(Le(content, 8, 8), 1490U);  // message end time
}

TEST(McapWriter, UnknownSchemaOrChannelIsRefusedWithAReason) {
  std::FILE* file = std::tmpfile();
  McapWriter writer(file, McapOptions{});
  ASSERT_TRUE(writer.Open());
  EXPECT_EQ(writer.AddChannel(4, "/x", "json"), 0xFFFF);
  EXPECT_THAT(writer.error(), HasSubstr("schema 4"));
  std::fclose(file);

  std::FILE* other = std::tmpfile();
  McapWriter second(other, McapOptions{});
  ASSERT_TRUE(second.Open());
  EXPECT_FALSE(second.Write(3, 0, 0, "{}"));
  EXPECT_THAT(second.error(), HasSubstr("channel 3"));
  std::fclose(other);
}

TEST(McapWriter, FailedWriteNamesTheOffset) {
  fsrl_test::TempDir dir;
  ASSERT_TRUE(dir.ok());
  std::FILE* read_only = std::fopen(dir.Write("x.mcap", "").c_str(), "rb");
  ASSERT_NE(read_only, nullptr);
  McapWriter writer(read_only, McapOptions{});
  std::setvbuf(read_only, nullptr, _IONBF, 0);  // the failure shows at the write, not at a later flush
  EXPECT_FALSE(writer.Open());
  EXPECT_THAT(writer.error(), HasSubstr("cannot write the MCAP file at offset 0"));
  EXPECT_FALSE(writer.Close());
  std::fclose(read_only);
}

}  // namespace
