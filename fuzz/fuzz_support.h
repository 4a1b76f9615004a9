// Helpers shared by the fuzz targets' logic.
#ifndef FSRL_FUZZ_FUZZ_SUPPORT_H
#define FSRL_FUZZ_FUZZ_SUPPORT_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "zol/e2e/e2e_protection.h"
#include "zol/log/logging.h"

namespace fsrl_fuzz {

/// Drops every log message: a target feeds mostly damaged data, and the HAL logs each failed read, which would cost
/// more time than the read itself and bury the fuzzer's own output.
class NullSink : public zol::log::Sink {
 public:
  void Write(const zol::log::LogRecord& /*record*/) override {}
};

/// Installs a NullSink for the rest of the process, once.
void SilenceLog();

/// Hands out a fuzz input's bytes; past its end every byte reads as zero.
class Cursor {
 public:
  Cursor(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}
  bool done() const { return pos_ >= size_; }
  std::uint8_t Byte() { return pos_ < size_ ? data_[pos_++] : 0; }
  /// The next @p n bytes into @p out, which has room for them.
  void Bytes(std::uint8_t* out, std::size_t n) {
    const std::size_t taken = n < size_ - pos_ ? n : size_ - pos_;
    if (taken != 0) {
      std::memcpy(out, data_ + pos_, taken);
    }
    if (n > taken) {
      std::memset(out + taken, 0, n - taken);
    }
    pos_ += taken;
  }
  /// The next @p bytes bytes as a little-endian number.
  std::uint64_t Little(int bytes) {
    std::uint64_t value = 0;
    for (int i = 0; i < bytes; ++i) {
      value |= static_cast<std::uint64_t>(Byte()) << (8 * i);
    }
    return value;
  }

 private:
  const std::uint8_t* data_;
  std::size_t size_;
  std::size_t pos_ = 0;
};

/// Bumped by every target that resets the signal service, so that a target keeping a client of the service across
/// inputs knows its client is gone and sets up a new one (the regression tests run all targets in one process).
std::uint64_t& SignalServiceGeneration();

/// The input as a file a CandumpReader can read from: memory-backed when the system allows, else a temporary file.
class InputFile {
 public:
  InputFile(const std::uint8_t* data, std::size_t size);
  ~InputFile();
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;
  int fd() const { return fd_; }

 private:
  int fd_ = -1;
  std::FILE* file_ = nullptr;
};

/// The profile 5 CRC of @p data, computed bit by bit independently of the E2E library: CRC-16/CCITT-FALSE over the
/// bytes before the header, the bytes after the two CRC bytes, then the data id's low and high byte.
std::uint16_t Profile5CrcOracle(std::uint16_t data_id, const std::uint8_t* data, std::size_t length,
                                std::size_t offset_bytes);

/// The CRC a payload carries: little-endian at @p offset_bytes.
inline std::uint16_t StoredCrc(const std::uint8_t* data, std::size_t offset_bytes) {
  return static_cast<std::uint16_t>(data[offset_bytes] | (static_cast<unsigned int>(data[offset_bytes + 1]) << 8U));
}

/// What a profile 5 check of an authentic payload must say for a counter step of @p delta.
inline zol::e2e::E2E_P05CheckStatusType ExpectedStatusForDelta(std::uint8_t delta, std::uint8_t max_delta_counter) {
  if (delta == 0U) {
    return zol::e2e::E2E_P05STATUS_REPEATED;
  }
  if (delta == 1U) {
    return zol::e2e::E2E_P05STATUS_OK;
  }
  return delta <= max_delta_counter ? zol::e2e::E2E_P05STATUS_OKSOMELOST : zol::e2e::E2E_P05STATUS_WRONGSEQUENCE;
}

}  // namespace fsrl_fuzz

#endif  // FSRL_FUZZ_FUZZ_SUPPORT_H
