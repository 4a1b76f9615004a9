/// @file
/// @brief Buffered output and a small streaming JSON writer, for one JSON object per line at high rates.
#ifndef FSRL_JSON_WRITER_H
#define FSRL_JSON_WRITER_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

namespace fsrl {

/// @brief Collects output in a large buffer and hands it to a FILE in big chunks.
///
/// Small writes cost a memcpy; the stream sees one fwrite per buffer. The first failed fwrite is remembered and
/// everything after it is dropped, so a closed pipe ends the output without a storm of errors.
class OutputBuffer {
 public:
  /// @param file not owned; must outlive the buffer
  /// @param capacity buffer size in bytes
  explicit OutputBuffer(std::FILE* file, std::size_t capacity = std::size_t{1} << 18);
  /// Flushes what is left (see Flush).
  ~OutputBuffer();
  OutputBuffer(const OutputBuffer&) = delete;
  OutputBuffer& operator=(const OutputBuffer&) = delete;

  void Write(const char* data, std::size_t size) {
    // An empty view may come with a null pointer, which memcpy must not be given even for no bytes.
    if (size == 0) {
      return;
    }
    if (size <= capacity_ - size_) {
      std::memcpy(buffer_.get() + size_, data, size);
      size_ += size;
    } else {
      WriteSlow(data, size);
    }
  }
  void Write(std::string_view text) { Write(text.data(), text.size()); }
  void Put(char c) {
    if (size_ == capacity_) {
      Drain();
    }
    buffer_[size_++] = c;
  }

  /// @brief Hands the buffered bytes to the FILE and fflushes it.
  /// @return false when any write so far failed
  bool Flush();
  /// @brief True when a write to the FILE failed.
  bool failed() const { return failed_; }
  /// @brief errno of the first failed write.
  int error_number() const { return errno_value_; }

 private:
  void WriteSlow(const char* data, std::size_t size);
  void Drain();

  std::FILE* file_;
  std::size_t capacity_;
  std::unique_ptr<char[]> buffer_;
  std::size_t size_ = 0;
  bool failed_ = false;
  int errno_value_ = 0;
};

/// @brief Writes JSON values into an OutputBuffer, adding the separators.
///
/// Layout matches a human-readable one-line style: `{"key": value, "key": [1, 2]}`. The caller is responsible
/// for well-formed nesting (every Key inside an object, Begin/End paired); EndLine ends a top-level value with a
/// line feed. Nesting is limited to kMaxDepth levels.
class JsonWriter {
 public:
  static constexpr std::size_t kMaxDepth = 32;

  explicit JsonWriter(OutputBuffer& out) : out_(out) {}

  void BeginObject() {
    BeginValue();
    out_.Put('{');
    Push();
  }
  void EndObject() {
    Pop();
    out_.Put('}');
  }
  void BeginArray() {
    BeginValue();
    out_.Put('[');
    Push();
  }
  void EndArray() {
    Pop();
    out_.Put(']');
  }

  /// @brief An object member's key; the next value written is its value.
  void Key(std::string_view key);
  /// @brief A key prepared by the caller as it appears in the output: quoted, escaped and followed by ": "
  /// (see QuotedKey). Saves the escaping of keys that are written millions of times.
  void PreparedKey(std::string_view quoted_key) {
    BeginValue();
    out_.Write(quoted_key);
    after_key_ = true;
  }

  /// @brief A string, escaped: `"` and `\` are backslashed, control characters written as \n, \t, ... or
  /// \u00XX. Other bytes pass unchanged, so the caller supplies UTF-8.
  void String(std::string_view value);
  void Int(std::int64_t value);
  void UInt(std::uint64_t value);
  void Bool(bool value);
  void Null();
  /// @brief The shortest decimal that reads back (strtod) as exactly @p value; null when not finite.
  void Double(double value);
  /// @brief The shortest decimal that reads back (strtof) as exactly @p value; null when not finite.
  void Float(float value);
  /// @brief Text that the caller guarantees to be a valid JSON number, written as it is.
  void RawNumber(std::string_view number);
  /// @brief An object member whose value is an unsigned number: Key then UInt.
  void UIntMember(std::string_view key, std::uint64_t value) {
    Key(key);
    UInt(value);
  }
  /// @brief Text that the caller guarantees to be one complete JSON value (a number, a quoted and escaped string,
  /// an object or an array), written as it is. For output that repeats the same shapes millions of times: the caller
  /// prepares the fixed parts once instead of having every key and separator written piece by piece.
  void RawValue(std::string_view json) {
    BeginValue();
    out_.Write(json);
  }

  /// @brief Ends a top-level value with '\n' and makes the writer ready for the next one.
  void EndLine();

 private:
  void BeginValue() {
    if (after_key_) {
      after_key_ = false;
    } else if (depth_ > 0 && depth_ <= kMaxDepth) {
      if (has_items_[depth_ - 1]) {
        out_.Write(", ", 2);
      }
      has_items_[depth_ - 1] = true;
    }
  }
  void Push() {
    if (depth_ < kMaxDepth) {
      has_items_[depth_] = false;
    }
    ++depth_;
  }
  void WriteEscaped(std::string_view text);
  void Pop() {
    if (depth_ > 0) {
      --depth_;
    }
  }

  OutputBuffer& out_;
  bool has_items_[kMaxDepth] = {};
  std::size_t depth_ = 0;
  bool after_key_ = false;
};

/// @brief @p key as PreparedKey expects it: `"key": ` with the key escaped.
std::string QuotedKey(std::string_view key);

/// @brief The shortest decimal text of @p value that strtod reads back as exactly @p value ("null" when not
/// finite). At most 32 bytes, not NUL-terminated. @return the length
std::size_t FormatDouble(double value, char* out);
/// @brief As FormatDouble, for strtof and single precision.
std::size_t FormatFloat(float value, char* out);

}  // namespace fsrl

#endif  // FSRL_JSON_WRITER_H
