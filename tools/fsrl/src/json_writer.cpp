#include "fsrl/json_writer.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>

namespace fsrl {

OutputBuffer::OutputBuffer(std::FILE* file, std::size_t capacity)
    : file_(file), capacity_(capacity < 64 ? 64 : capacity), buffer_(new char[capacity_]) {}

OutputBuffer::~OutputBuffer() { Flush(); }

void OutputBuffer::Drain() {
  if (size_ != 0 && !failed_) {
    if (std::fwrite(buffer_.get(), 1, size_, file_) != size_) {
      failed_ = true;
      errno_value_ = errno;
    }
  }
  size_ = 0;
}

void OutputBuffer::WriteSlow(const char* data, std::size_t size) {
  Drain();
  if (size >= capacity_) {
    // Larger than the whole buffer: copying would only add work.
    if (!failed_ && std::fwrite(data, 1, size, file_) != size) {
      failed_ = true;
      errno_value_ = errno;
    }
    return;
  }
  std::memcpy(buffer_.get(), data, size);
  size_ = size;
}

bool OutputBuffer::Flush() {
  Drain();
  if (!failed_ && std::fflush(file_) != 0) {
    failed_ = true;
    errno_value_ = errno;
  }
  return !failed_;
}

namespace {

std::size_t WriteNull(char* out) {
  constexpr std::string_view kNull = "null";
  return kNull.copy(out, kNull.size());
}

}  // namespace

std::size_t FormatDouble(double value, char* out) {
  if (!std::isfinite(value)) {
    return WriteNull(out);
  }
  // Without a format argument to_chars gives the shortest text that round-trips, the guarantee we need.
  const std::to_chars_result result = std::to_chars(out, out + 32, value);
  return static_cast<std::size_t>(result.ptr - out);
}

namespace {

// The shortest text of recently printed floats, by bit pattern: a replayed scan prints 1,200 floats, and a radar's
// values repeat (resolution steps, unused detections), so most are printed before. Zero-initialised storage: an
// entry of length 0 is empty, as no float prints as nothing.
struct FloatText {
  std::uint32_t bits;
  std::uint8_t length;
  char text[15];  // the longest shortest form of a float, "-1.17549435e-38", is 15 characters
};
constexpr unsigned kFloatCacheBits = 12;  // 4,096 entries of 20 bytes per thread
thread_local std::array<FloatText, std::size_t{1} << kFloatCacheBits> float_texts;

}  // namespace

std::size_t FormatFloat(float value, char* out) {
  if (!std::isfinite(value)) {
    return WriteNull(out);
  }
  std::uint32_t bits = 0;
  std::memcpy(&bits, &value, sizeof bits);
  // Fibonacci hashing spreads neighbouring bit patterns over the table.
  FloatText& entry = float_texts[(bits * 0x9E3779B9U) >> (32U - kFloatCacheBits)];
  if (entry.length != 0 && entry.bits == bits) {
    std::memcpy(out, entry.text, sizeof entry.text);
    return entry.length;
  }
  const std::to_chars_result result = std::to_chars(out, out + 32, value);
  const auto length = static_cast<std::size_t>(result.ptr - out);
  if (length <= sizeof entry.text) {
    entry.bits = bits;
    entry.length = static_cast<std::uint8_t>(length);
    std::memcpy(entry.text, out, length);
  }
  return length;
}

namespace {

// Bytes that a JSON string cannot hold as they are: control characters, '"' and '\\'.
constexpr std::array<bool, 256> MakeEscapeTable() {
  std::array<bool, 256> table{};
  for (std::size_t c = 0; c < 0x20; ++c) {
    table[c] = true;
  }
  table['"'] = true;
  table['\\'] = true;
  return table;
}
constexpr std::array<bool, 256> kNeedsEscape = MakeEscapeTable();

// The escape sequence of a byte that needs one; returns its length.
std::size_t Escape(unsigned char c, char* out) {
  static const char kHexDigits[] = "0123456789abcdef";
  out[0] = '\\';
  switch (c) {
    case '"':
      out[1] = '"';
      return 2;
    case '\\':
      out[1] = '\\';
      return 2;
    case '\n':
      out[1] = 'n';
      return 2;
    case '\r':
      out[1] = 'r';
      return 2;
    case '\t':
      out[1] = 't';
      return 2;
    case '\b':
      out[1] = 'b';
      return 2;
    case '\f':
      out[1] = 'f';
      return 2;
    default:
      out[1] = 'u';
      out[2] = '0';
      out[3] = '0';
      out[4] = kHexDigits[c >> 4];
      out[5] = kHexDigits[c & 0x0F];
      return 6;
  }
}

}  // namespace

std::string QuotedKey(std::string_view key) {
  std::string text = "\"";
  for (const char c : key) {
    const auto byte = static_cast<unsigned char>(c);
    if (kNeedsEscape[byte]) {
      char escaped[6];
      text.append(escaped, Escape(byte, escaped));
    } else {
      text += c;
    }
  }
  text += "\": ";
  return text;
}

void JsonWriter::WriteEscaped(std::string_view text) {
  out_.Put('"');
  const char* run = text.data();
  const char* const end = text.data() + text.size();
  for (const char* p = run; p != end; ++p) {
    const auto c = static_cast<unsigned char>(*p);
    if (!kNeedsEscape[c]) {
      continue;
    }
    out_.Write(run, static_cast<std::size_t>(p - run));
    run = p + 1;
    char escaped[6];
    out_.Write(escaped, Escape(c, escaped));
  }
  out_.Write(run, static_cast<std::size_t>(end - run));
  out_.Put('"');
}

void JsonWriter::Key(std::string_view key) {
  BeginValue();
  WriteEscaped(key);
  out_.Write(": ", 2);
  after_key_ = true;
}

void JsonWriter::String(std::string_view value) {
  BeginValue();
  WriteEscaped(value);
}

void JsonWriter::Int(std::int64_t value) {
  BeginValue();
  char text[24];
  const std::to_chars_result result = std::to_chars(text, text + sizeof text, value);
  out_.Write(text, static_cast<std::size_t>(result.ptr - text));
}

void JsonWriter::UInt(std::uint64_t value) {
  BeginValue();
  char text[24];
  const std::to_chars_result result = std::to_chars(text, text + sizeof text, value);
  out_.Write(text, static_cast<std::size_t>(result.ptr - text));
}

void JsonWriter::Bool(bool value) {
  BeginValue();
  if (value) {
    out_.Write("true", 4);
  } else {
    out_.Write("false", 5);
  }
}

void JsonWriter::Null() {
  BeginValue();
  out_.Write("null", 4);
}

void JsonWriter::Double(double value) {
  BeginValue();
  char text[32];
  out_.Write(text, FormatDouble(value, text));
}

void JsonWriter::Float(float value) {
  BeginValue();
  char text[32];
  out_.Write(text, FormatFloat(value, text));
}

void JsonWriter::RawNumber(std::string_view number) {
  BeginValue();
  out_.Write(number);
}

void JsonWriter::EndLine() {
  out_.Put('\n');
  depth_ = 0;
  after_key_ = false;
}

}  // namespace fsrl
